// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace kvsim {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;
using Duration = std::chrono::nanoseconds;

/// The misbehaviour that is ordered for one camera.
struct FaultPlan {
    bool initFails = false;        ///< CameraInit fails always
    bool noFrames = false;         ///< every query runs into its time-out
    int64_t failEvery = 0;         ///< every n-th query fails at once; 0 = none
    int64_t cableOutAtFrame = -1;  ///< the cable is pulled after so many frames; negative = not so
    int64_t cableOutAtTime = -1;   ///< the cable is pulled so many ms after CameraInit; negative = not so
    int64_t cableOutFor = 1000;    ///< ms until the cable is back; negative = never
    int64_t sizeChangeAfter = 0;   ///< the camera changes its mode by itself after so many frames; 0 = never
    int sizeChangeMode = 1;        ///< to this mode
    int64_t slowQuery = 0;         ///< ms that every frame comes late
    bool garbageSerial = false;    ///< the serial number is 12 bytes of rubbish
};

/// Carries one camera's fault plan out, from one CameraInit to the CameraFree. Guarded by the camera's lock.
class FaultRun {
public:
    explicit FaultRun(const FaultPlan& plan);
    /// Back to the beginning, at CameraInit.
    void start(TimePoint now);

    /// Counts a query; true if this one is to fail.
    bool queryFails();
    /// Counts a delivered frame; the mode that the camera changes to after it, if it does.
    std::optional<int> frameDelivered(TimePoint now);
    /// True while the cable is out.
    bool isCableOut(TimePoint now) const;
    /// When a cable that is or will be out is pulled and put back; used to wait no longer than needed.
    std::optional<TimePoint> nextCableEvent(TimePoint now) const;

private:
    std::optional<TimePoint> cableBack() const;

    FaultPlan plan_;
    int64_t queries_ = 0;
    int64_t frames_ = 0;
    std::optional<TimePoint> cableOut_;
};

}  // namespace kvsim
