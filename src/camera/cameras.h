#pragma once

#include <QByteArray>
#include <QSize>
#include <QVector>

/// The attached cameras in use, from opening to freeing; camera library indices 0 ... count - 1. GUI thread.
class Cameras {
public:
    Cameras() = default;
    /// Frees what is open. No thread may be inside the library for one of these cameras any more.
    ~Cameras() { free(); }
    Cameras(const Cameras&) = delete;
    Cameras& operator=(const Cameras&) = delete;

    /// Number of cameras that the library has; may be anything that a library says.
    static int attached();
    /// Size in px of the frames that a camera sends now; empty when it does not say.
    static QSize frameSize(int camera);

    /// Opens the first `count` cameras, hands each the time-out (library units) and asks its serial number. A
    /// camera that fails in any of it stays in use: its tile has no pictures.
    void open(int count, int timeout);
    /// Frees all that were opened, once.
    void free();
    /// Releases one frame of each camera that waits for a trigger.
    void trigger() const;

    /// One entry per opened camera, at most 12 bytes; empty if the camera told none.
    const QVector<QByteArray>& serialNumbers() const { return serials; }

private:
    QVector<QByteArray> serials;
};
