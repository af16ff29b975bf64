// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <QThread>
#include <QVector>
#include <atomic>
#include <cstdint>

#include "camera/retrypacing.h"

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
/// GUI thread without locks and seen by the loop at the latest one iteration later, and the wait of at most
/// 50 ms that follows one when the camera keeps failing at once (RetryPacing).
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
    /// Its frames come from a file; there is no camera.
    bool isDemo() const { return task.demo; }

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
    /// What became of a try to get a frame.
    enum class Try {
        Sent,
        Failed,   ///< the query brought none
        NoQuery,  ///< there was nothing to ask for
        Stopped   ///< while the frame was under way: the loop has to end at once
    };

    void captureDemoFrame(const FrameKind& kind);
    Try captureCameraFrame(const FrameKind& kind);
    /// One try, and the wait after it. False when the loop has to end at once.
    bool tryCamera(const FrameKind& kind);

    std::atomic<bool> capturing{false};
    std::atomic<bool> terminateRequested{false};
    const CaptureTask task;
    RetryPacing pacing;            // the thread's own
    bool colour = false;           // only written while the thread does not run
    QVector<QRgb> grayColorTable;  // entry i = opaque grey i, for indexed grey pictures
};
