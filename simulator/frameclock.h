// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "faults.h"

namespace kvsim {

/// The beat at which one camera's sensor makes frames. Free-running: frame n + 1 is due one period after
/// frame n was due, not after it was fetched, so a late caller does not slow the camera down and rounding
/// does not add up. Who comes more than a period late gets the newest frame; the others are lost, as with a
/// camera that has one buffer. Guarded by the camera's lock.
///
/// With jitter every frame comes late by a share of its own of the longest delay, as over a network; the beat
/// itself stays, and the order of the frames.
class FrameClock {
public:
    /// Starts the beat: the first frame is due one period from now.
    void start(TimePoint now) { last_ = now; }
    /// Takes effect for the next frame. 0: a frame is always due.
    void setPeriod(Duration period) { period_ = period; }
    Duration period() const { return period_; }
    /// Frames come up to `longest` late, each by what `seed` says for its number; not those on demand.
    void setJitter(Duration longest, uint32_t seed);

    /// When the next frame is due.
    TimePoint due() const { return last_ + period_ + lateness(1); }
    /// Takes the newest frame that is due. Returns how many frames further that is, at least 1.
    int64_t take(TimePoint now);
    /// When the frame that was taken last was due by the beat.
    TimePoint lastTaken() const { return last_; }

private:
    Duration lateness(int64_t framesAhead) const;

    TimePoint last_{};
    Duration period_{0};
    Duration jitter_{0};
    uint32_t jitterSeed_ = 0;
    int64_t number_ = 0;  // of the frame that was taken last
};

}  // namespace kvsim
