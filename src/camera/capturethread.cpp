#include "camera/capturethread.h"

#include <QDateTime>
#include <QDebug>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "camera/kvcap2.h"

namespace {

constexpr unsigned long kIdleMicroseconds = 1000;
constexpr unsigned long kDemoFrameMilliseconds = 200;
constexpr int kGrayLevels = 256;

quint64 millisecondsSinceEpoch() {
    return static_cast<quint64>(QDateTime::currentMSecsSinceEpoch());
}

/// Distance in bytes between the rows of a camera frame in a buffer of `length` bytes, or 0 if they cannot
/// hold it. Cameras send packed rows; a library that pads its rows to 32 bit announces just the length of
/// that.
int64_t rowStride(int32_t width, int32_t height, int bytesPerPixel, int32_t length) {
    const int64_t packed = int64_t{width} * bytesPerPixel;
    const int64_t padded = (packed + 3) / 4 * 4;
    if (length == padded * height)
        return padded;
    return length >= packed * height ? packed : 0;
}

}  // namespace

/// What `File/Color` chooses.
struct CaptureThread::FrameKind {
    int32_t formatCode;
    QImage::Format imageFormat;
    int bytesPerPixel;
};

CaptureThread::CaptureThread(const CaptureTask& work, QObject* owner)
    : QThread(owner), task(work), grayColorTable(kGrayLevels) {
    // The signal may cross threads, and then a queued call has to know its argument types.
    qRegisterMetaType<unsigned char*>("unsigned char*");
    qRegisterMetaType<unsigned char*>("uchar*");
    for (int level = 0; level < kGrayLevels; ++level)
        grayColorTable[level] = qRgb(level, level, level);
}

void CaptureThread::stream(bool inColour) {
    if (terminateRequested)
        return;
    if (!isRunning())
        colour = inColour;
    start(QThread::InheritPriority);
    startCapturing();
}

void CaptureThread::stopCapturing() {
    capturing = false;
    terminateRequested = true;
}

void CaptureThread::run() {
    qDebug() << "thread run" << task.camera;
    const FrameKind kind = colour ? FrameKind{kFormatRgb24, QImage::Format_RGB888, 3}
                                  : FrameKind{kFormatMono8, QImage::Format_Grayscale8, 1};

    for (;;) {
        if (!capturing)
            usleep(kIdleMicroseconds);
        else if (task.demo)
            captureDemoFrame(kind);
        else if (!captureCameraFrame(kind))
            break;

        if (terminateRequested) {
            qDebug() << "term thread" << task.camera;
            break;
        }
    }
    qDebug() << "exit capture";
}

void CaptureThread::captureDemoFrame(const FrameKind& kind) {
    const quint64 timestamp = millisecondsSinceEpoch();
    // A missing or broken file gives an empty picture, which is sent all the same: the tile shows that it has
    // none.
    const QImage picture = QImage(QStringLiteral("%1.jpg").arg(task.tile)).convertToFormat(kind.imageFormat);
    const int64_t bytes = int64_t{picture.width()} * picture.depth() * picture.height() / 8;
    const int32_t length = bytes <= std::numeric_limits<int32_t>::max() ? static_cast<int32_t>(bytes) : 0;
    // Rows are taken as packed although those of the picture may be padded; such pictures come out sheared,
    // which is kept as it always was.
    std::unique_ptr<unsigned char[]> block(new (std::nothrow) unsigned char[static_cast<size_t>(length)]);
    QImage image;
    if (block && length > 0) {
        std::memcpy(block.get(), picture.constBits(), static_cast<size_t>(length));
        image = QImage(block.get(), picture.width(), picture.height(), picture.width() * kind.bytesPerPixel,
                       kind.imageFormat);
    }
    emit captured(task.tile, image, block.release(), timestamp);
    msleep(kDemoFrameMilliseconds);
}

bool CaptureThread::captureCameraFrame(const FrameKind& kind) {
    int32_t width = 0;
    int32_t height = 0;
    int32_t length = 0;
    CameraGetImageSize(task.camera, &width, &height);
    CameraGetImageBufferSize(task.camera, &length, kind.formatCode);
    if (width <= 0 || height <= 0 || length <= 0) {
        usleep(kIdleMicroseconds);
        return true;
    }
    const int32_t announced = length;
    std::unique_ptr<unsigned char[]> block(new (std::nothrow) unsigned char[static_cast<size_t>(length)]);
    if (!block) {
        usleep(kIdleMicroseconds);
        return true;
    }
    // A failed query is silent and tried again at once: the library's wait paces the loop.
    if (CameraQueryImage(task.camera, block.get(), &length, kind.formatCode) != 0)
        return true;
    if (terminateRequested)
        return false;
    // The size can change between the questions, and while the query waits: a frame that the buffer cannot
    // hold, or that is shorter than its size says, is no frame.
    const int64_t stride = rowStride(width, height, kind.bytesPerPixel, announced);
    const int64_t needed = stride * (height - 1) + int64_t{width} * kind.bytesPerPixel;
    if (stride == 0 || length < needed)
        return true;
    const QImage image(block.get(), width, height, static_cast<int>(stride), kind.imageFormat);
    const quint64 timestamp = millisecondsSinceEpoch();
    emit captured(task.tile, image, block.release(), timestamp);
    return true;
}
