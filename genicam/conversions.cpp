// SPDX-License-Identifier: Apache-2.0
#include "conversions.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kvgen {

namespace {

constexpr double kNeutralGain = 16;
constexpr double kGreatestGamma = 10;
const double kDoubling = 20 * std::log10(2.0);  // dB

/// What a camera answers, or says of its range, may be any number: this is one that can be reckoned with.
double finite(double value) {
    constexpr double kMost = std::numeric_limits<double>::max();
    return std::clamp(value, -kMost, kMost);
}

double pulseOf(int mode) {
    return mode == 1 ? 1e6 / 100 : 1e6 / 120;  // µs: the light of a lamp pulses twice in a period
}

}  // namespace

double toFeature(Conversion conversion, double value, double factor) {
    switch (conversion) {
        case Conversion::Reciprocal:
            return 1 / std::max(value, 1 / kGreatestGamma);
        case Conversion::GainFactor:
            return 20 * std::log10(std::max(value, 1.0) / kNeutralGain);
        case Conversion::GainDoublings:
            return finite(value * kDoubling);
        case Conversion::Same:
        case Conversion::Factor:
        case Conversion::GreyLevels:
        case Conversion::ExposureUnits:
        case Conversion::OfFullScale:
            return finite(value * factor);
        case Conversion::OffOrContinuous:
        case Conversion::OffOrOn:
        case Conversion::Switch:
        case Conversion::PauseOfRate:
        case Conversion::FastestRate:
        case Conversion::MainsPulses:
            break;
    }
    return value;
}

double fromFeature(Conversion conversion, double value, double factor) {
    switch (conversion) {
        case Conversion::Reciprocal:
            return 1 / std::max(value, 1 / kGreatestGamma);
        case Conversion::GainFactor:
            // A camera that answers nonsense must not make infinity of it: 1000 dB is beyond all of them.
            return kNeutralGain * std::pow(10.0, std::clamp(value, -1000.0, 1000.0) / 20);
        case Conversion::GainDoublings:
            return value / kDoubling;
        case Conversion::Same:
        case Conversion::Factor:
        case Conversion::GreyLevels:
        case Conversion::ExposureUnits:
        case Conversion::OfFullScale:
            return factor == 0 ? value : finite(value / factor);
        case Conversion::OffOrContinuous:
        case Conversion::OffOrOn:
        case Conversion::Switch:
        case Conversion::PauseOfRate:
        case Conversion::FastestRate:
        case Conversion::MainsPulses:
            break;
    }
    return value;
}

double fullScaleOf(double maximum, const QByteArray& unit) {
    if (unit.trimmed() == "%")
        return 100;
    if (!(maximum > 0) || maximum > 65535)
        return 255;
    if (maximum <= 1)
        return 1;
    if (maximum <= 100)
        return 100;
    double full = 255;
    while (full < maximum)
        full = full * 2 + 1;
    return full;
}

double ticksPerMicrosecond(const QByteArray& unit) {
    const QByteArray name = unit.trimmed();
    if (name == "s")
        return 1e-6;
    if (name == "ms")
        return 1e-3;
    if (name == "ns")
        return 1e3;
    return 1;
}

double delayedRate(double rate, double delay) {
    return rate > 0 ? std::min(1 / (1 / rate + std::max(delay, 0.0) / 1000), rate) : 0;
}

double delayOf(double delayedRate, double rate) {
    if (!(delayedRate > 0) || !(rate > delayedRate))
        return 0;
    return finite((rate - delayedRate) / rate / delayedRate * 1000);
}

double inPulses(double micros, int mode, double maximum) {
    if (mode != 1 && mode != 2)
        return micros;
    const double pulse = pulseOf(mode);
    const double most = std::max(std::floor(maximum / pulse), 1.0);
    return std::clamp(std::round(micros / pulse), 1.0, most) * pulse;
}

}  // namespace kvgen
