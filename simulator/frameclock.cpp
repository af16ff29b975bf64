#include "frameclock.h"

#include <algorithm>

namespace kvsim {

int64_t FrameClock::take(TimePoint now) {
    if (period_ <= Duration::zero()) {
        last_ = now;
        return 1;
    }
    const int64_t frames = std::max<int64_t>(1, (now - last_) / period_);
    last_ += frames * period_;
    return frames;
}

}  // namespace kvsim
