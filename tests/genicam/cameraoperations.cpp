// SPDX-License-Identifier: Apache-2.0
#include "cameraoperations.h"

#include <QMutex>
#include <QtGlobal>

#include <algorithm>

#include "camera/kvcap2.h"
#include "scene.h"

namespace operations {

namespace {

std::mutex logMutex;
QStringList logLines;
QtMessageHandler previousHandler = nullptr;

void keep(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    if (text.startsWith(QStringLiteral("KVCap2"))) {
        const std::lock_guard<std::mutex> lock(logMutex);
        logLines.append(text);
    } else if (previousHandler != nullptr) {
        previousHandler(type, context, text);
    }
}

template <typename T>
void ask(int32_t (*getter)(int32_t, T*), int camera, Sweep& sweep) {
    T value{};
    const Clock::time_point begin = Clock::now();
    const int32_t status = getter(camera, &value);
    sweep.longest = std::max(sweep.longest, since(begin));
    ++sweep.calls;
    sweep.good += status == 0 ? 1 : 0;
}

}  // namespace

int since(Clock::time_point begin) {
    return static_cast<int>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count());
}

uint32_t Shot::number() const {
    return fake::readStamp(reinterpret_cast<const uint8_t*>(pixels.constData()), size.width(), 1, 0);
}

bool Shot::isTorn() const {
    if (!fake::isStamped(size.width(), size.height()) || pixels.size() != size.width() * size.height())
        return true;
    const auto* data = reinterpret_cast<const uint8_t*>(pixels.constData());
    return number() != fake::readStamp(data, size.width(), 1, size.height() - fake::kStampHeight);
}

Shot query(int camera) {
    Shot shot;
    int32_t width = 640;
    int32_t height = 480;
    int32_t length = 0;
    CameraGetImageSize(camera, &width, &height);
    if (CameraGetImageBufferSize(camera, &length, kFormatMono8) != 0)
        length = width * height;
    shot.pixels.resize(length);
    const Clock::time_point begin = Clock::now();
    shot.status =
        CameraQueryImage(camera, reinterpret_cast<uint8_t*>(shot.pixels.data()), &length, kFormatMono8);
    shot.elapsed = since(begin);
    // The resolution may change between the questions.
    if (shot.status == 0 && length == width * height)
        shot.size = QSize(width, height);
    return shot;
}

Sweep getAll(int camera) {
    Sweep sweep;
    const Clock::time_point begin = Clock::now();
    for (auto* getter : {CameraGetGamma, CameraGetContrast, CameraGetSaturation})
        ask(getter, camera, sweep);
    for (auto* getter : {CameraGetBlackLevel, CameraGetAdvancedGain, CameraGetGain, CameraGetExposure,
                         CameraGetAETarget, CameraGetTimeout, CameraGetAntiFlicker, CameraGetDelay,
                         CameraGetSnapMode, CameraGetResolutionCount})
        ask(getter, camera, sweep);
    for (auto* getter : {CameraGetAGC, CameraGetAEC, CameraGetMirrorX, CameraGetMirrorY, CameraGetHighspeed})
        ask(getter, camera, sweep);
    sweep.elapsed = since(begin);
    return sweep;
}

Watcher::Watcher(int camera) : camera_(camera), last_(Clock::now()), thread_([this] { run(); }) {}

Watcher::~Watcher() {
    stop();
}

void Watcher::stop() {
    isDone_ = true;
    if (thread_.joinable())
        thread_.join();
}

int Watcher::longestGap() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::max(longestGap_, since(last_));
}

void Watcher::reset() {
    const std::lock_guard<std::mutex> lock(mutex_);
    longestGap_ = 0;
    last_ = Clock::now();
}

void Watcher::run() {
    while (!isDone_) {
        const Shot shot = query(camera_);
        slowest_ = std::max<int>(slowest_, shot.elapsed);
        if (shot.status != 0) {
            ++failures_;
            if (quickestFailure_ < 0 || shot.elapsed < quickestFailure_)
                quickestFailure_ = shot.elapsed;
            continue;
        }
        torn_ += !shot.size.isEmpty() && shot.isTorn() ? 1 : 0;
        const std::lock_guard<std::mutex> lock(mutex_);
        longestGap_ = std::max(longestGap_, since(last_));
        last_ = Clock::now();
        ++frames_;
    }
}

bool deliversWithin(int camera, int milliseconds) {
    return becomes([camera] { return query(camera).status == 0; }, milliseconds);
}

bool becomes(const std::function<bool()>& condition, int milliseconds) {
    const Clock::time_point begin = Clock::now();
    while (!condition()) {
        if (since(begin) >= milliseconds)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

Log::Log() {
    clear();
    previousHandler = qInstallMessageHandler(keep);
}

Log::~Log() {
    qInstallMessageHandler(previousHandler);
}

int Log::count(const QStringList& parts) const {
    const std::lock_guard<std::mutex> lock(logMutex);
    return static_cast<int>(std::count_if(logLines.cbegin(), logLines.cend(), [&](const QString& line) {
        return std::all_of(parts.cbegin(), parts.cend(),
                           [&](const QString& part) { return line.contains(part); });
    }));
}

QString Log::text() const {
    const std::lock_guard<std::mutex> lock(logMutex);
    return logLines.join('\n');
}

void Log::clear() {
    const std::lock_guard<std::mutex> lock(logMutex);
    logLines.clear();
}

}  // namespace operations
