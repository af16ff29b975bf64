#pragma once

#include <QImage>
#include <QMutex>
#include <QThread>
#include <QVector>
#include <atomic>
#include <cstdint>
#include <memory>

/// Fetches frames for one tile, one at a time, and hands each to the main window by the signal `captured`:
/// from a camera through the camera library, or in demo mode from an image file. It never touches the screen.
///
/// The object lives on the GUI thread; `run` is the thread. Control goes through two flags, written by the
/// GUI thread without locks and seen by the loop at the latest one iteration later. Everything else is set
/// before the start and only read afterwards.
class CaptureThread : public QThread {
    Q_OBJECT

public:
    /// `owner` (the main window) becomes the parent. The thread is not started.
    explicit CaptureThread(QObject* owner);
    /// Does not wait: whoever deletes the thread has stopped it and waited for it.
    ~CaptureThread() override = default;

    /// Lets the loop fetch frames. No effect on a stopped thread.
    void startCapturing() { capturing = true; }
    /// Lets the loop idle.
    void pauseCapturing() { capturing = false; }
    /// Whether it fetches frames as far as it was told.
    bool isCapturing() const { return capturing; }
    /// Lets the loop end after its current iteration; there is no way back.
    void stopCapturing();
    /// True after `stopCapturing`.
    bool isStopRequested() const { return terminateRequested; }

    /// From now on frames are freed instead of sent while those that are sent and not delivered take more
    /// than `bytes`: for a receiver on the owner's thread that can be busy for long. Call it before anything
    /// is connected to `captured`, and before the start.
    void limitUnderWay(qint64 bytes);
    /// Whether the frame in this block has just come through the queue, as the frames that the thread fetches
    /// do; another one may be right behind it then. True once, for the receiver that asks while the signal is
    /// being delivered. Needs limitUnderWay(). GUI thread.
    bool takeDelivered(const unsigned char* buffer);
    /// Whether frames are on their way through the queue.
    bool isMoreUnderWay() const;

signals:
    /// One frame. `id` is the tile index; the pixels of `img` lie in `buffer` without a copy; `buffer` was
    /// allocated with `new unsigned char[]` and belongs to the receiver; `timestamp` is in ms since the
    /// epoch.
    void captured(int id, QImage img, unsigned char* buffer, quint64 timestamp);

protected:
    void run() override;

private:
    struct FrameKind;

    void captureDemoFrame(const FrameKind& kind);
    /// False when the loop has to end at once: stopped while the frame was under way.
    bool captureCameraFrame(const FrameKind& kind);

    struct Block {
        const unsigned char* buffer;
        qint64 bytes;
    };

    /// Sends a frame in a block of `bytes`, or frees it when the receiver has not come to look at frames for
    /// so long that those that wait for it fill the memory that one tile may take.
    void send(const QImage& image, std::unique_ptr<unsigned char[]> block, qint64 bytes, quint64 timestamp);
    void countDelivered(int id, const QImage& image, const unsigned char* buffer);

    qint64 mostBytesUnderWay = 0;                  // 0: no limit, nothing is counted
    mutable QMutex underWayMutex;                  // guards the next one, for a moment
    QVector<Block> underWay;                       // sent and not delivered yet
    const unsigned char* lastDelivered = nullptr;  // GUI thread
    std::atomic<bool> capturing{false};
    std::atomic<bool> terminateRequested{false};

public:
    // Set by the owner between construction and start.
    int32_t cameraIndex = 0;  ///< camera library index
    int32_t tileIndex = 0;    ///< sent with every frame
    bool demo = false;        ///< frames from the file `<tileIndex>.jpg`
    QString settingsFile;     ///< `File/Color` is read from it once per run

private:
    QVector<QRgb> grayColorTable;  ///< entry i = opaque grey i, for indexed grey pictures
};
