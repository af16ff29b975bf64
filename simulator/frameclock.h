#pragma once

#include <cstdint>

#include "faults.h"

namespace kvsim {

/// The beat at which one camera's sensor makes frames. Free-running: frame n + 1 is due one period after
/// frame n was due, not after it was fetched, so a late caller does not slow the camera down and rounding
/// does not add up. Who comes more than a period late gets the newest frame; the others are lost, as with a
/// camera that has one buffer. Guarded by the camera's lock.
class FrameClock {
public:
    /// Starts the beat: the first frame is due one period from now.
    void start(TimePoint now) { last_ = now; }
    /// Takes effect for the next frame. 0: a frame is always due.
    void setPeriod(Duration period) { period_ = period; }
    Duration period() const { return period_; }

    /// When the next frame is due.
    TimePoint due() const { return last_ + period_; }
    /// Takes the newest frame that is due. Returns how many frames further that is, at least 1.
    int64_t take(TimePoint now);
    /// When the frame that was taken last was due.
    TimePoint lastTaken() const { return last_; }

private:
    TimePoint last_{};
    Duration period_{0};
};

}  // namespace kvsim
