// SPDX-License-Identifier: Apache-2.0
#include "support/recordingcamera.h"

#include <QCoreApplication>
#include <QMap>
#include <QThread>
#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "camera/kvcap2.h"

namespace recording {
namespace {

struct State {
    /// In a program that nobody instructs, the environment does: see the header.
    State() {
        const int count = qEnvironmentVariableIntValue("RECORDING_CAMERAS");
        for (int i = 0; i < count; ++i) {
            Camera camera;
            camera.serial = "SN" + QByteArray::number(i);
            if (qEnvironmentVariableIsSet("RECORDING_TIMEOUTS")) {
                camera.queryDelay = qEnvironmentVariableIntValue("RECORDING_TIMEOUTS");
                camera.queryStatus = -4;
            }
            cameras.append(camera);
        }
        if (qEnvironmentVariableIsSet("RECORDING_HANGS"))
            cameras[qEnvironmentVariableIntValue("RECORDING_HANGS")].holdQueries = true;
        reportedCount = count;
        const QByteArray fileName = qgetenv("RECORDING_LOG");
        if (!fileName.isEmpty())
            log = std::fopen(fileName.constData(), "a");
    }

    std::mutex mutex;  // one that the thread sanitizer sees into
    std::condition_variable changed;
    QVector<Camera> cameras;
    int32_t reportedCount = 0;
    int32_t countStatus = 0;
    QVector<Call> calls;
    QMap<QPair<QString, int>, double> parameters;
    int underWay = 0;
    int gettersUnderWay = 0;
    std::FILE* log = nullptr;
};

State& state() {
    // Never freed: a thread that hangs in here stays there to the end of the process.
    static State& instance = *new State;
    return instance;
}

bool isFrameOperation(const QString& operation) {
    return operation == QLatin1String("CameraGetImageSize") ||
           operation == QLatin1String("CameraGetImageBufferSize") ||
           operation == QLatin1String("CameraQueryImage");
}

/// Records the call and finds the camera; call with the mutex held.
const Camera* record(const char* operation, int32_t index, const QString& value = QString()) {
    State& s = state();
    const bool gui =
        QCoreApplication::instance() && QThread::currentThread() == QCoreApplication::instance()->thread();
    s.calls.append({QString::fromLatin1(operation), index, value, gui});
    if (s.log && !isFrameOperation(s.calls.last().operation)) {
        std::fprintf(s.log, "%s\n", qPrintable(s.calls.last().text()));
        std::fflush(s.log);
    }
    return index >= 0 && index < s.cameras.size() ? &s.cameras[index] : nullptr;
}

/// Records a call whose only effect is its status.
int32_t plain(const char* operation, int32_t index, const QString& value = QString()) {
    const std::lock_guard<std::mutex> lock(state().mutex);
    const Camera* camera = record(operation, index, value);
    return camera ? camera->status : -1;
}

template <typename T>
int32_t get(const char* parameter, int32_t index, T* out) {
    State& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    const Camera* camera = record((QByteArray("CameraGet") + parameter).constData(), index);
    ++s.gettersUnderWay;
    while (camera && camera->holdGetters) {
        s.changed.wait(lock);
        camera = index < s.cameras.size() ? &s.cameras[index] : nullptr;
    }
    --s.gettersUnderWay;
    if (!camera || camera->status != 0)
        return camera ? camera->status : -1;
    *out = static_cast<T>(s.parameters.value({QString::fromLatin1(parameter), index}, 1.0));
    return 0;
}

template <typename T>
int32_t set(const char* parameter, int32_t index, T value) {
    State& s = state();
    const std::lock_guard<std::mutex> lock(s.mutex);
    const Camera* camera =
        record((QByteArray("CameraSet") + parameter).constData(), index, QString::number(value));
    if (!camera || camera->status != 0)
        return camera ? camera->status : -1;
    s.parameters[{QString::fromLatin1(parameter), index}] = static_cast<double>(value);
    return 0;
}

/// What a library may make when it is first used in earnest.
struct LateState {
    ~LateState() {
        const std::lock_guard<std::mutex> lock(state().mutex);
        record("LibraryEnds", -1);
    }
};

int32_t frameLength(const Camera& camera, int32_t format) {
    if (camera.length)
        return *camera.length;
    return camera.width * camera.height * (format == kFormatRgb24 ? 3 : 1) + camera.extraLength;
}

}  // namespace

QString Call::text() const {
    QStringList arguments;
    if (index >= 0)
        arguments.append(QString::number(index));
    if (!value.isEmpty())
        arguments.append(value);
    return operation + QLatin1Char('(') + arguments.join(QStringLiteral(", ")) + QLatin1Char(')');
}

void reset(const QVector<Camera>& cameras) {
    State& s = state();
    const std::lock_guard<std::mutex> lock(s.mutex);
    s.cameras = cameras;
    s.reportedCount = cameras.size();
    s.countStatus = 0;
    s.calls.clear();
    s.parameters.clear();
    s.changed.notify_all();
}

void reset(int count) {
    QVector<Camera> cameras;
    for (int i = 0; i < count; ++i) {
        Camera camera;
        camera.serial = "SN" + QByteArray::number(i);
        cameras.append(camera);
    }
    reset(cameras);
}

void setReportedCount(int32_t count, int32_t status) {
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().reportedCount = count;
    state().countStatus = status;
}

void setCamera(int index, const Camera& camera) {
    State& s = state();
    const std::lock_guard<std::mutex> lock(s.mutex);
    s.cameras[index] = camera;
    s.changed.notify_all();
}

void releaseQueries() {
    State& s = state();
    const std::lock_guard<std::mutex> lock(s.mutex);
    for (Camera& camera : s.cameras) {
        camera.holdQueries = false;
        camera.holdGetters = false;
    }
    s.changed.notify_all();
}

int queriesUnderWay() {
    const std::lock_guard<std::mutex> lock(state().mutex);
    return state().underWay;
}

int gettersUnderWay() {
    const std::lock_guard<std::mutex> lock(state().mutex);
    return state().gettersUnderWay;
}

QVector<Call> calls() {
    const std::lock_guard<std::mutex> lock(state().mutex);
    return state().calls;
}

QStringList callsButFrames() {
    QStringList texts;
    for (const Call& call : calls()) {
        if (!isFrameOperation(call.operation))
            texts.append(call.text());
    }
    return texts;
}

QVector<Call> callsOf(const QString& operation) {
    QVector<Call> found;
    for (const Call& call : calls()) {
        if (call.operation == operation)
            found.append(call);
    }
    return found;
}

void forgetCalls() {
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().calls.clear();
}

}  // namespace recording

using recording::Camera;
using recording::state;

extern "C" {

int32_t CameraGetCount(int32_t* count) {
    const std::lock_guard<std::mutex> lock(state().mutex);
    recording::record("CameraGetCount", -1);
    if (state().countStatus == 0)
        *count = state().reportedCount;
    return state().countStatus;
}

int32_t CameraInit(int32_t index) {
    return recording::plain("CameraInit", index);
}

int32_t CameraFree(int32_t index) {
    return recording::plain("CameraFree", index);
}

int32_t CameraTriggerShot(int32_t index) {
    return recording::plain("CameraTriggerShot", index);
}

int32_t CameraReadSerialNumber(int32_t index, char* buffer, int32_t length) {
    const std::lock_guard<std::mutex> lock(state().mutex);
    const Camera* camera = recording::record("CameraReadSerialNumber", index, QString::number(length));
    if (!camera || camera->status != 0)
        return camera ? camera->status : -1;
    // No terminating zero, and as careless about the length as a library can be that knows its callers'
    // buffers.
    std::memcpy(buffer, camera->serial.constData(), static_cast<size_t>(qMin(16, camera->serial.size())));
    return 0;
}

int32_t CameraGetImageSize(int32_t index, int32_t* width, int32_t* height) {
    const std::lock_guard<std::mutex> lock(state().mutex);
    const Camera* camera = recording::record("CameraGetImageSize", index);
    if (!camera || camera->status != 0)
        return camera ? camera->status : -1;
    *width = camera->width;
    *height = camera->height;
    return 0;
}

int32_t CameraGetImageBufferSize(int32_t index, int32_t* length, int32_t format) {
    const std::lock_guard<std::mutex> lock(state().mutex);
    const Camera* camera = recording::record("CameraGetImageBufferSize", index, QString::number(format));
    if (!camera || camera->status != 0)
        return camera ? camera->status : -1;
    *length = recording::frameLength(*camera, format);
    return 0;
}

int32_t CameraQueryImage(int32_t index, uint8_t* buffer, int32_t* length, int32_t format) {
    if (qEnvironmentVariableIsSet("RECORDING_LATE_STATE"))
        static const recording::LateState late;
    auto& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    recording::record("CameraQueryImage", index, QString::number(format));
    if (index < 0 || index >= s.cameras.size())
        return -1;
    ++s.underWay;
    const int32_t delay = s.cameras[index].queryDelay;
    lock.unlock();
    if (delay > 0)  // even a sleep of nothing takes its time
        QThread::msleep(static_cast<unsigned long>(delay));
    lock.lock();
    while (s.cameras[index].holdQueries)
        s.changed.wait(lock);
    --s.underWay;
    const Camera& camera = s.cameras[index];
    if (camera.queryStatus != 0)
        return camera.queryStatus;
    // Every camera has its own grey, in both formats.
    // What is announced may have changed while it waited.
    const int32_t bytes = qMax(0, qMin(*length, recording::frameLength(camera, format)) - camera.missing);
    // Not all of a length that has nothing to do with the size: that takes its time, and other cameras wait.
    const int64_t area = int64_t{camera.width} * camera.height;
    const int64_t filled = area < bytes ? std::clamp<int64_t>(area * 3, 0, bytes) : bytes;
    std::memset(buffer, 40 * (index + 1), static_cast<size_t>(filled));
    *length = bytes;
    return 0;
}

#define RECORDED_PARAMETER(name, type)                    \
    int32_t CameraGet##name(int32_t index, type* value) { \
        return recording::get(#name, index, value);       \
    }                                                     \
    int32_t CameraSet##name(int32_t index, type value) {  \
        return recording::set(#name, index, value);       \
    }

RECORDED_PARAMETER(Gamma, double)
RECORDED_PARAMETER(Contrast, double)
RECORDED_PARAMETER(Saturation, double)
RECORDED_PARAMETER(BlackLevel, int32_t)
RECORDED_PARAMETER(AdvancedGain, int32_t)
RECORDED_PARAMETER(Gain, int32_t)
RECORDED_PARAMETER(AGC, bool)
RECORDED_PARAMETER(AEC, bool)
RECORDED_PARAMETER(Exposure, int32_t)
RECORDED_PARAMETER(AETarget, int32_t)
RECORDED_PARAMETER(Timeout, int32_t)
RECORDED_PARAMETER(AntiFlicker, int32_t)
RECORDED_PARAMETER(MirrorX, bool)
RECORDED_PARAMETER(MirrorY, bool)
RECORDED_PARAMETER(Highspeed, bool)
RECORDED_PARAMETER(Delay, int32_t)
RECORDED_PARAMETER(SnapMode, int32_t)

int32_t CameraGetResolutionCount(int32_t index, int32_t* count) {
    const std::lock_guard<std::mutex> lock(recording::state().mutex);
    const Camera* camera = recording::record("CameraGetResolutionCount", index);
    if (!camera || camera->status != 0)
        return camera ? camera->status : -1;
    *count = camera->modes;
    return 0;
}

int32_t CameraGetResolution(int32_t index, int32_t mode, int32_t* width, int32_t* height) {
    const std::lock_guard<std::mutex> lock(recording::state().mutex);
    const Camera* camera = recording::record("CameraGetResolution", index, QString::number(mode));
    if (!camera || camera->status != 0)
        return camera ? camera->status : -1;
    // Each mode is half as large as the one before.
    *width = camera->width / (1 << std::min(mode, 30));
    *height = camera->height / (1 << std::min(mode, 30));
    return 0;
}

int32_t CameraSetResolution(int32_t index, int32_t mode, int32_t width, int32_t height) {
    return recording::plain("CameraSetResolution", index,
                            QStringLiteral("%1, %2, %3").arg(mode).arg(width).arg(height));
}

int32_t CameraLoadParameter(int32_t index, int32_t slot) {
    return recording::plain("CameraLoadParameter", index, QString::number(slot));
}

int32_t CameraSaveParameter(int32_t index, int32_t slot) {
    return recording::plain("CameraSaveParameter", index, QString::number(slot));
}

}  // extern "C"
