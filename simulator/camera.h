// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QSize>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>

#include "configuration.h"
#include "faults.h"
#include "framerenderer.h"
#include "frameclock.h"
#include "parameters.h"
#include "parameterstore.h"
#include "status.h"

namespace kvsim {

/// One simulated camera. Thread-safe: every function may be called at any time from any thread.
///
/// Two locks. `mutex_` guards the state and is never held for long, so that a parameter call never waits for
/// a frame; a query waits for its frame on `changed_`, which gives that lock free. `queryMutex_` is held by a
/// query from beginning to end and guards the renderer; it is taken first.
class Camera {
public:
    /// The arguments outlive the camera. `start` is the moment that the clock in the scene counts from.
    Camera(const Configuration& configuration, const Scene& scene, ParameterStore& store, TimePoint start,
           int index);

    Status init();
    Status free();
    QByteArray serial() const { return serial_; }
    Status checkOpen() const;

    /// Size of the frames that are sent now.
    Status frameSize(QSize& size) const;
    /// Waits for the next frame and writes it packed, with 1 or 3 channels. `length`: room on entry, bytes on
    /// return.
    Status query(uint8_t* buffer, int32_t& length, int channels);
    Status trigger();

    /// Calls `read(parameters)` with the camera open and connected.
    template <typename Read>
    Status get(Read read) const {
        const std::lock_guard<std::mutex> lock(mutex_);
        const Status status = reachable();
        if (status == Status::Ok)
            read(parameters_);
        return status;
    }
    /// Calls `change(parameters)`, brings the result into its ranges and puts it into effect for the next
    /// frame.
    template <typename Change>
    Status set(Change change) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const Status status = reachable();
        if (status == Status::Ok) {
            Parameters next = parameters_;
            change(next);
            apply(clamped(next));
        }
        return status;
    }

    const QVector<QSize>& modes() const { return configuration_.modes; }
    Status load(int slot);
    Status save(int slot);

private:
    using Lock = std::unique_lock<std::mutex>;

    Parameters factoryParameters() const;
    Status reachable() const;
    void apply(const Parameters& parameters);
    Duration frameInterval() const;
    QSize currentSize() const { return configuration_.modes[parameters_.mode]; }
    Status waitForFrame(Lock& lock);
    bool frameIsDue(TimePoint now) const;
    TimePoint nextEvent(TimePoint now, TimePoint deadline) const;
    FrameTime takeFrame(TimePoint now);
    void waitForSlowFrame(Lock& lock);

    const Configuration& shared_;
    const CameraConfiguration& configuration_;
    ParameterStore& store_;
    const QByteArray serial_;
    const TimePoint start_;

    std::mutex queryMutex_;
    FrameRenderer renderer_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool isOpen_ = false;
    uint64_t session_ = 0;  // counts CameraInit and CameraFree, so that a query notices both
    Parameters parameters_;
    FrameClock clock_;
    FaultRun faults_;
    std::deque<TimePoint> shots_;  // triggered and not yet delivered
    int64_t frameNumber_ = 0;
};

}  // namespace kvsim
