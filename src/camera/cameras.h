// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QSize>
#include <QVector>
#include <future>
#include <vector>

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

    /// Whether a camera sends frames only when it is told to. One that does not say counts as sending them by
    /// itself.
    static bool isTriggered(int camera);

    /// Opens the first `count` cameras, hands each the time-out (library units) and asks its serial number. A
    /// camera that fails in any of it stays in use: its tile has no pictures.
    void open(int count, int timeout);
    /// Frees all that were opened, once. An exit() of the process frees what is open then.
    void free() { freeAllBut({}); }
    /// The same, but for `left`, which stay as they are for ever; and so do those that longestWait() has
    /// asked and that have not answered yet.
    void freeAllBut(const QVector<int>& left);
    /// The longest time that an opened camera waits for a frame (library units); 0 when none says. They are
    /// asked on threads of their own, and what they have not said within `patience` ms, all together, doesn't
    /// count.
    int longestWait(int patience);
    /// Releases one frame of each camera that waits for a trigger.
    void trigger() const;

    /// One entry per opened camera, at most 12 bytes; empty if the camera told none.
    const QVector<QByteArray>& serialNumbers() const { return serials; }

private:
    QVector<QByteArray> serials;
    std::vector<std::future<int>> waits;  // per camera: the question for its time-out, if it is under way
};
