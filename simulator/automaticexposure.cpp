// SPDX-License-Identifier: Apache-2.0
#include "automaticexposure.h"

#include <algorithm>
#include <cmath>

namespace kvsim {

namespace {

constexpr double kDeadBand = 1.5;  // grey levels that are near enough
constexpr double kEncoding = 2.2;  // grey levels go with the light to the power of 1 / this
constexpr double kDamping = 0.6;   // share of the way in one step

/// The number that `factor` makes of `value`, at least one step on so that small numbers move too.
int32_t moved(int32_t value, double factor, int32_t low, int32_t high) {
    auto next = static_cast<int32_t>(std::lround(value * factor));
    if (next == value)
        next += factor > 1.02 ? 1 : factor < 0.98 ? -1 : 0;
    return std::clamp(next, low, high);
}

}  // namespace

Parameters automaticStep(Parameters p, double mean, int32_t longestExposure) {
    if ((!p.aec && !p.agc) || std::abs(p.aeTarget - mean) <= kDeadBand)
        return p;
    const double wanted =
        std::clamp(std::pow((p.aeTarget + 1.0) / (mean + 1.0), kEncoding * kDamping), 0.25, 4.0);
    double done = 1;
    if (p.aec) {
        const int32_t before = p.exposure;
        // An exposure that is too long already was set by hand and shrinks only as far as the light asks for.
        const int32_t longest = std::clamp(longestExposure, 1, kMaxExposure);
        p.exposure =
            wanted > 1 && before >= longest ? before : moved(before, wanted, 1, std::max(longest, before));
        done = static_cast<double>(p.exposure) / before;
    }
    const bool exposureIsAtItsEnd = !p.aec || (wanted > 1 ? p.exposure >= longestExposure : p.exposure <= 1);
    if (p.agc && exposureIsAtItsEnd)
        p.gain = moved(std::max(p.gain, 1), wanted / done, 1, kMaxGain);
    return p;
}

}  // namespace kvsim
