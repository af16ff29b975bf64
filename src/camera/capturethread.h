#pragma once

#include <QImage>
#include <QThread>
#include <QVector>
#include <atomic>
#include <cstdint>

/// What a capture thread works on; does not change while it lives.
struct CaptureTask {
    int32_t tile = 0;    ///< sent with every frame
    int32_t camera = 0;  ///< camera library index
    bool demo = false;   ///< frames from the file `<tile>.jpg` of the working folder, no camera
};

/// Fetches frames for one tile, one at a time, and sends each by the signal `captured`: from a camera through
/// the camera library, or in demo mode from an image file. It never touches the screen.
///
/// The object lives on the GUI thread; `run` is the thread. Control goes through two flags, written by the
/// GUI thread without locks and seen by the loop at the latest one iteration later.
class CaptureThread : public QThread {
    Q_OBJECT

public:
    /// `owner` (the main window) becomes the parent. The thread is not started.
    explicit CaptureThread(const CaptureTask& task, QObject* owner);
    /// Does not wait: whoever deletes the thread has stopped it and waited for it.
    ~CaptureThread() override = default;

    int32_t tileIndex() const { return task.tile; }
    /// Camera library index.
    int32_t cameraIndex() const { return task.camera; }

    /// Starts the thread, if it does not run yet, for colour or monochrome frames, and lets it fetch frames.
    /// No effect on a stopped thread: whoever stopped it is about to delete it.
    void stream(bool inColour);
    /// Lets the loop fetch frames. No effect on a stopped thread.
    void startCapturing() { capturing = true; }
    /// Lets the loop idle.
    void pauseCapturing() { capturing = false; }
    /// Whether it fetches frames as far as it was told.
    bool isCapturing() const { return capturing; }
    /// Lets the loop end after its current iteration; there is no way back.
    void stopCapturing();

signals:
    /// One frame. `id` is the tile index; the pixels of `img` lie in `buffer` without a copy; `buffer` was
    /// allocated with `new unsigned char[]` and belongs to the receiver; `timestamp` is in ms since the
    /// epoch. Emitted by the thread.
    void captured(int id, QImage img, unsigned char* buffer, quint64 timestamp);

protected:
    void run() override;

private:
    struct FrameKind;

    void captureDemoFrame(const FrameKind& kind);
    /// False when the loop has to end at once: stopped while the frame was under way.
    bool captureCameraFrame(const FrameKind& kind);

    std::atomic<bool> capturing{false};
    std::atomic<bool> terminateRequested{false};
    const CaptureTask task;
    bool colour = false;           // only written while the thread does not run
    QVector<QRgb> grayColorTable;  // entry i = opaque grey i, for indexed grey pictures
};
