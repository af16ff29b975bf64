#include "camera/capturethread.h"

#include <QDateTime>
#include <QDebug>
#include <QMutexLocker>
#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <numeric>
#include <utility>

#include "camera/kvcap2.h"
#include "settings/settingsfile.h"

namespace {

constexpr unsigned long kIdleMicroseconds = 1000;
constexpr unsigned long kDemoFrameMilliseconds = 200;
constexpr int kGrayLevels = 256;

quint64 millisecondsSinceEpoch() {
    return static_cast<quint64>(QDateTime::currentMSecsSinceEpoch());
}

/// Distance in bytes between the rows of a camera frame, or 0 if `length` bytes cannot hold it. Cameras send
/// packed rows; a library that pads its rows to 32 bit announces just the length of that.
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

CaptureThread::CaptureThread(QObject* owner) : QThread(owner), grayColorTable(kGrayLevels) {
    // The signal crosses threads, so the queued call has to know its argument types.
    qRegisterMetaType<unsigned char*>("unsigned char*");
    qRegisterMetaType<unsigned char*>("uchar*");
    for (int level = 0; level < kGrayLevels; ++level)
        grayColorTable[level] = qRgb(level, level, level);
}

void CaptureThread::limitUnderWay(qint64 bytes) {
    mostBytesUnderWay = bytes;
    // The first of all connections, so that it is called just before the receivers are.
    connect(this, &CaptureThread::captured, this, &CaptureThread::countDelivered);
}

void CaptureThread::send(const QImage& image, std::unique_ptr<unsigned char[]> block, qint64 bytes,
                         quint64 timestamp) {
    if (mostBytesUnderWay > 0) {
        const QMutexLocker lock(&underWayMutex);
        const qint64 sum =
            std::accumulate(underWay.cbegin(), underWay.cend(), bytes,
                            [](qint64 total, const Block& other) { return total + other.bytes; });
        if (!underWay.isEmpty() && sum > mostBytesUnderWay)
            return;
        if (block)
            underWay.append({block.get(), bytes});
    }
    emit captured(tileIndex, image, block.release(), timestamp);
}

void CaptureThread::countDelivered(int id, const QImage& image, const unsigned char* buffer) {
    Q_UNUSED(id)
    Q_UNUSED(image)
    const QMutexLocker lock(&underWayMutex);
    // A frame that somebody else sends in this thread's name was never under way.
    const auto found = std::find_if(underWay.begin(), underWay.end(),
                                    [buffer](const Block& block) { return block.buffer == buffer; });
    lastDelivered = found == underWay.end() ? nullptr : buffer;
    if (found != underWay.end())
        underWay.erase(found);
}

bool CaptureThread::takeDelivered(const unsigned char* buffer) {
    return buffer != nullptr && std::exchange(lastDelivered, nullptr) == buffer;
}

bool CaptureThread::isMoreUnderWay() const {
    const QMutexLocker lock(&underWayMutex);
    return !underWay.isEmpty();
}

void CaptureThread::stopCapturing() {
    capturing = false;
    terminateRequested = true;
}

void CaptureThread::run() {
    qDebug() << "thread run" << cameraIndex;
    const bool color = readSetting(settingsFile, keys::kColor) != 0;
    const FrameKind kind = color ? FrameKind{kFormatRgb24, QImage::Format_RGB888, 3}
                                 : FrameKind{kFormatMono8, QImage::Format_Grayscale8, 1};

    for (;;) {
        if (!capturing)
            usleep(kIdleMicroseconds);
        else if (demo)
            captureDemoFrame(kind);
        else if (!captureCameraFrame(kind))
            break;

        if (terminateRequested) {
            qDebug() << "term thread" << cameraIndex;
            break;
        }
    }
    qDebug() << "exit capture";
}

void CaptureThread::captureDemoFrame(const FrameKind& kind) {
    const quint64 timestamp = millisecondsSinceEpoch();
    // A missing or broken file gives an empty picture, which is sent all the same: the tile shows that it has
    // none.
    const QImage picture = QImage(QStringLiteral("%1.jpg").arg(tileIndex)).convertToFormat(kind.imageFormat);
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
    send(image, std::move(block), length, timestamp);
    msleep(kDemoFrameMilliseconds);
}

bool CaptureThread::captureCameraFrame(const FrameKind& kind) {
    int32_t width = 0;
    int32_t height = 0;
    int32_t length = 0;
    CameraGetImageSize(cameraIndex, &width, &height);
    CameraGetImageBufferSize(cameraIndex, &length, kind.formatCode);
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
    if (CameraQueryImage(cameraIndex, block.get(), &length, kind.formatCode) != 0)
        return true;
    if (terminateRequested)
        return false;
    // The size can change between the two questions; a frame that the buffer cannot hold is no frame.
    const int64_t stride = rowStride(width, height, kind.bytesPerPixel, announced);
    if (stride == 0)
        return true;
    const QImage image(block.get(), width, height, static_cast<int>(stride), kind.imageFormat);
    send(image, std::move(block), announced, millisecondsSinceEpoch());
    return true;
}
