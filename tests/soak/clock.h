// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

/// Milliseconds on a clock that nobody sets. Any thread.
inline double nowMs() {
    using namespace std::chrono;
    return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}
