// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>

/// How long a capture thread waits after a try that brought no frame.
///
/// As a rule not at all: the library's own wait paces the loop. A camera whose every try fails at once would
/// keep a processor busy for as long as it is ill, so after many of those the tries come more slowly, and at
/// full speed again with the first frame. Pure; any one thread.
class RetryPacing {
public:
    /// A try that took less than this was refused rather than waited for, us.
    static constexpr int64_t kAtOnce = 1000;
    /// So many tries are refused at once before the first wait ...
    static constexpr int kPatience = 200;
    /// ... of 1 ms, and after so many more it is twice as long each time ...
    static constexpr int kStep = 100;
    /// ... up to this, ms: within that a camera that is back is seen, and a stop.
    static constexpr int kLongestWait = 50;

    /// A frame came, or nobody tries any more.
    void startAnew() { refused = 0; }

    /// A try without a frame took `microseconds`. Returns how long to wait before the next, ms.
    int waitAfter(int64_t microseconds) {
        if (microseconds >= kAtOnce) {
            // The library has waited itself. Only half is forgotten: on a busy PC a try that is refused can
            // take its time, too, and must not set the others free.
            refused /= 2;
            return 0;
        }
        refused = std::min(refused + 1, kPatience + 6 * kStep);
        if (refused < kPatience)
            return 0;
        return std::min(1 << ((refused - kPatience) / kStep), kLongestWait);
    }

private:
    int refused = 0;  // at once, one after the other
};
