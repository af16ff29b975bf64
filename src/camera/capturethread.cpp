// SPDX-License-Identifier: Apache-2.0
#include "camera/capturethread.h"

#include <QDateTime>
#include <QDebug>
#include <QElapsedTimer>
#include <algorithm>
#include <memory>
#include <new>

#include "camera/demoframe.h"
#include "camera/kvcap2.h"
#include "platform/crashtrace.h"

namespace {

constexpr unsigned long kIdleMilliseconds = 1;
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
    // Divided: the biggest size in colour has more bytes than can be counted.
    if (packed > length / height)
        return 0;
    const int64_t padded = (packed + 3) / 4 * 4;
    return length == padded * height ? padded : packed;
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
    setObjectName(QStringLiteral("tile %1").arg(task.tile));  // what the log calls it
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
    const platform::CrashStack stack;
    qDebug() << "thread run" << task.camera;
    const FrameKind kind = colour ? FrameKind{kFormatRgb24, QImage::Format_RGB888, 3}
                                  : FrameKind{kFormatMono8, QImage::Format_Grayscale8, 1};

    for (;;) {
        if (!capturing) {
            pacing.startAnew();
            msleep(kIdleMilliseconds);
        } else if (task.demo) {
            captureDemoFrame(kind);
        } else if (!tryCamera(kind)) {
            break;
        }

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
    DemoFrame frame = readDemoFrame(QStringLiteral("%1.jpg").arg(task.tile), kind.imageFormat);
    emit captured(task.tile, frame.image, frame.block.release(), timestamp);
    msleep(kDemoFrameMilliseconds);
}

bool CaptureThread::tryCamera(const FrameKind& kind) {
    QElapsedTimer timer;
    timer.start();
    const Try result = captureCameraFrame(kind);
    if (result == Try::Sent) {
        pacing.startAnew();
    } else if (result != Try::Stopped) {
        // A failed query is silent and tried again at once, unless that has led to nothing very often.
        auto wait = static_cast<unsigned long>(pacing.waitAfter(timer.nsecsElapsed() / 1000));
        if (result == Try::NoQuery)
            wait = std::max(wait, kIdleMilliseconds);
        if (wait > 0 && !terminateRequested)
            msleep(wait);
    }
    return result != Try::Stopped;
}

CaptureThread::Try CaptureThread::captureCameraFrame(const FrameKind& kind) {
    int32_t width = 0;
    int32_t height = 0;
    int32_t length = 0;
    CameraGetImageSize(task.camera, &width, &height);
    CameraGetImageBufferSize(task.camera, &length, kind.formatCode);
    if (width <= 0 || height <= 0 || length <= 0)
        return Try::NoQuery;
    const int32_t announced = length;
    std::unique_ptr<unsigned char[]> block(new (std::nothrow) unsigned char[static_cast<size_t>(length)]);
    if (!block)
        return Try::NoQuery;
    if (CameraQueryImage(task.camera, block.get(), &length, kind.formatCode) != 0)
        return Try::Failed;
    if (terminateRequested)
        return Try::Stopped;
    // The size can change between the questions, and while the query waits: a frame that the buffer cannot
    // hold, or that is shorter than its size says, is no frame.
    const int64_t stride = rowStride(width, height, kind.bytesPerPixel, announced);
    const int64_t needed = stride * (height - 1) + int64_t{width} * kind.bytesPerPixel;
    if (stride == 0 || length < needed)
        return Try::Failed;
    const QImage image(block.get(), width, height, static_cast<int>(stride), kind.imageFormat);
    const quint64 timestamp = millisecondsSinceEpoch();
    emit captured(task.tile, image, block.release(), timestamp);
    return Try::Sent;
}
