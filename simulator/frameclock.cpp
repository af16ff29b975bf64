// SPDX-License-Identifier: Apache-2.0
#include "frameclock.h"

#include <algorithm>

namespace kvsim {

void FrameClock::setJitter(Duration longest, uint32_t seed) {
    jitter_ = longest;
    jitterSeed_ = seed;
}

/// Of the frame that many further than the one taken last. Every number has its own, whoever asks and how
/// often: a frame that is looked at twice is not due at two times.
Duration FrameClock::lateness(int64_t framesAhead) const {
    if (jitter_ <= Duration::zero() || period_ <= Duration::zero())
        return Duration::zero();
    auto mixed = (static_cast<uint64_t>(jitterSeed_) << 32U) ^ static_cast<uint64_t>(number_ + framesAhead);
    mixed = (mixed + 0x9e3779b97f4a7c15U) * 0xbf58476d1ce4e5b9U;
    mixed = (mixed ^ (mixed >> 31U)) * 0x94d049bb133111ebU;
    const double share =
        static_cast<double>((mixed ^ (mixed >> 30U)) >> 11U) / static_cast<double>(1ULL << 53U);
    return std::chrono::duration_cast<Duration>(jitter_ * share);
}

int64_t FrameClock::take(TimePoint now) {
    if (period_ <= Duration::zero()) {
        last_ = now;
        return 1;
    }
    int64_t frames = std::max<int64_t>(1, (now - last_) / period_);
    while (frames > 1 && now < last_ + frames * period_ + lateness(frames))
        --frames;
    number_ += frames;
    last_ += frames * period_;
    return frames;
}

}  // namespace kvsim
