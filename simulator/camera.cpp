// SPDX-License-Identifier: Apache-2.0
#include "camera.h"

#include <algorithm>

#include "automaticexposure.h"
#include "camera/kvcap2.h"

namespace kvsim {

namespace {

constexpr size_t kMaxShots = 16;  // triggers that a camera remembers
constexpr double kUnpacedRate =
    15;  // frames a second that the scene's clock assumes when frames come on demand
constexpr Duration kExposureUnit = std::chrono::microseconds(10);

Duration fromMilliseconds(double time) {
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double, std::milli>(time));
}

}  // namespace

Camera::Camera(const Configuration& configuration, const Scene& scene, ParameterStore& store, TimePoint start,
               int index)
    : shared_(configuration),
      configuration_(configuration.cameras[index]),
      store_(store),
      serial_(configuration_.faults.garbageSerial
                  ? QByteArray("\xff\xfe\x80\x01\xc3\x28\xa0\x1b\x7f\xed\xa0\x80")
                  : configuration_.serial),
      start_(start),
      renderer_(scene, index, configuration.seed * kMaxCameras + static_cast<uint32_t>(index),
                configuration.perspective),
      parameters_(factoryParameters()),
      faults_(configuration_.faults) {
    clock_.setJitter(fromMilliseconds(configuration_.jitter),
                     configuration.seed * kMaxCameras + static_cast<uint32_t>(index));
}

Parameters Camera::factoryParameters() const {
    Parameters parameters;
    parameters.aec = configuration_.autoExposure;
    parameters.agc = configuration_.autoGain;
    parameters.mode = configuration_.mode;
    return parameters;
}

Status Camera::init() {
    if (configuration_.faults.initFails)
        return Status::DeviceFailure;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isOpen_)
        return Status::Ok;
    isOpen_ = true;
    ++session_;
    const TimePoint now = Clock::now();
    frameNumber_ = 0;
    clock_.start(now + fromMilliseconds(configuration_.phase));
    faults_.start(now);
    apply(factoryParameters());
    return Status::Ok;
}

Status Camera::free() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!isOpen_)
            return Status::NotOpen;
        isOpen_ = false;
        ++session_;
        shots_.clear();
        changed_.notify_all();
    }
    // A query that was waiting is on its way out; its pictures go when it has left.
    const std::lock_guard<std::mutex> lock(queryMutex_);
    renderer_.clear();
    return Status::Ok;
}

Status Camera::checkOpen() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return isOpen_ ? Status::Ok : Status::NotOpen;
}

Status Camera::reachable() const {
    if (!isOpen_)
        return Status::NotOpen;
    return faults_.isCableOut(Clock::now()) ? Status::Disconnected : Status::Ok;
}

Status Camera::frameSize(QSize& size) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!isOpen_)
        return Status::NotOpen;
    size = currentSize();
    return Status::Ok;
}

/// Under `mutex_`.
void Camera::apply(const Parameters& parameters) {
    if (parameters.snapMode != parameters_.snapMode)
        shots_.clear();
    parameters_ = parameters;
    Duration period = configuration_.rate > 0
                          ? std::max(frameInterval(), parameters_.exposure * kExposureUnit)
                          : Duration::zero();
    period += std::chrono::milliseconds(parameters_.delay);
    clock_.setPeriod(period);
    changed_.notify_all();
}

/// Time between frames of the nominal rate.
Duration Camera::frameInterval() const {
    const double rate =
        (configuration_.rate > 0 ? configuration_.rate : kUnpacedRate) * (parameters_.highspeed ? 2 : 1);
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(1 / rate));
}

Status Camera::query(uint8_t* buffer, int32_t& length, int channels) {
    const std::lock_guard<std::mutex> queryLock(queryMutex_);
    Lock lock(mutex_);
    if (!isOpen_)
        return Status::NotOpen;
    if (faults_.queryFails())
        return Status::DeviceFailure;
    const uint64_t session = session_;
    const Status status = waitForFrame(lock);
    if (status != Status::Ok)
        return status;

    const QSize size = currentSize();
    const int32_t needed = size.width() * size.height() * channels;
    if (length < needed)
        return Status::BufferTooSmall;
    const FrameTime time = takeFrame(Clock::now());
    const Parameters parameters = parameters_;
    const auto longestExposure = static_cast<int32_t>(frameInterval() / kExposureUnit);

    lock.unlock();
    const double flicker = flickerFactor(parameters, shared_.mainsFrequency, shared_.flicker, time.seconds);
    renderer_.render({size, channels, parameters.mirrorX, parameters.mirrorY},
                     lookOf(parameters, flicker, shared_.noise), time, shared_.moving, buffer);
    length = needed;
    const bool isAutomatic = parameters.aec || parameters.agc;
    const double mean = isAutomatic ? renderer_.meanUnder(lookOf(parameters, 1, 0)) : 0;
    lock.lock();

    if (session_ != session)
        return Status::NotOpen;
    if (isAutomatic)
        apply(automaticStep(parameters_, mean, longestExposure));
    if (const auto mode = faults_.frameDelivered(Clock::now())) {
        Parameters next = parameters_;
        next.mode = *mode;
        apply(next);
    }
    waitForSlowFrame(lock);
    return Status::Ok;
}

/// Under `mutex_`, which is given free while waiting.
Status Camera::waitForFrame(Lock& lock) {
    const uint64_t session = session_;
    const TimePoint begin = Clock::now();
    for (;;) {
        if (session_ != session)
            return Status::NotOpen;
        const TimePoint now = Clock::now();
        if (frameIsDue(now))
            return Status::Ok;
        // Looked at anew each time round: the time-out may change while we wait.
        const TimePoint deadline = begin + std::chrono::milliseconds(parameters_.timeout);
        if (now >= deadline)
            return Status::TimeOut;
        changed_.wait_until(lock, nextEvent(now, deadline));
    }
}

bool Camera::frameIsDue(TimePoint now) const {
    if (configuration_.faults.noFrames || faults_.isCableOut(now) || now < clock_.due())
        return false;
    if (parameters_.snapMode != kSnapTriggered)
        return true;
    return !shots_.empty() && now >= shots_.front() + parameters_.exposure * kExposureUnit;
}

/// The next moment at which there may be a frame without anybody changing anything.
TimePoint Camera::nextEvent(TimePoint now, TimePoint deadline) const {
    TimePoint next = deadline;
    if (const auto cable = faults_.nextCableEvent(now))
        next = std::min(next, *cable);
    if (configuration_.faults.noFrames || faults_.isCableOut(now))
        return next;
    if (parameters_.snapMode != kSnapTriggered)
        return std::min(next, clock_.due());
    if (!shots_.empty())
        next = std::min(next, std::max(clock_.due(), shots_.front() + parameters_.exposure * kExposureUnit));
    return next;
}

/// Under `mutex_`.
FrameTime Camera::takeFrame(TimePoint now) {
    if (parameters_.snapMode == kSnapTriggered) {
        // No beat: the sensor starts anew with every shot.
        shots_.pop_front();
        clock_.start(now);
        ++frameNumber_;
    } else {
        frameNumber_ += clock_.take(now);
    }
    FrameTime time;
    time.number = frameNumber_;
    time.seconds = configuration_.rate > 0
                       ? std::chrono::duration<double>(clock_.lastTaken() - start_).count()
                       : static_cast<double>(frameNumber_) / kUnpacedRate;
    return time;
}

void Camera::waitForSlowFrame(Lock& lock) {
    const uint64_t session = session_;
    const TimePoint end = Clock::now() + std::chrono::milliseconds(configuration_.faults.slowQuery);
    while (session_ == session && Clock::now() < end)
        changed_.wait_until(lock, end);
}

Status Camera::trigger() {
    const std::lock_guard<std::mutex> lock(mutex_);
    const Status status = reachable();
    if (status != Status::Ok)
        return status;
    if (parameters_.snapMode != kSnapTriggered)
        return Status::WrongMode;
    if (shots_.size() >= kMaxShots)
        return Status::DeviceFailure;
    shots_.push_back(Clock::now());
    changed_.notify_all();
    return Status::Ok;
}

Status Camera::load(int slot) {
    Status status = get([](const Parameters&) {});
    if (status != Status::Ok)
        return status;
    const auto content = store_.load(serial_, slot);
    if (!content)
        return Status::StorageFailure;
    const Parameters stored = fromJson(*content, factoryParameters(), configuration_.modes.size());
    return set([&stored](Parameters& parameters) { parameters = stored; });
}

Status Camera::save(int slot) {
    Parameters current;
    const Status status = get([&current](const Parameters& parameters) { current = parameters; });
    if (status != Status::Ok)
        return status;
    return store_.save(serial_, slot, toJson(current)) == ParameterStore::Result::Ok ? Status::Ok
                                                                                     : Status::StorageFailure;
}

}  // namespace kvsim
