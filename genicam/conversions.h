// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

#include "mapping.h"

namespace kvgen {

/// The arithmetic between our values and those of features. Pure; any thread.

/// The feature's value for ours, and back. `factor` is for the linear ones (Same, Factor, GreyLevels,
/// ExposureUnits, OfFullScale): the feature's value for our 1. Those that need more than a number
/// (enumerations, rates, pulses) are passed through. Finite for every finite value and factor.
double toFeature(Conversion conversion, double value, double factor);
double fromFeature(Conversion conversion, double value, double factor);

/// What a feature has for our 255, by its unit and its maximum: 100 where it counts in % (or ends at most at
/// 100), 1 where it ends at most at 1, 255, or the next 2^n - 1 above a greater maximum. A maximum that says
/// nothing (beyond 16 bits) counts as 255.
double fullScaleOf(double maximum, const QByteArray& unit);
/// One microsecond in a feature's unit of time; 1 where it does not say.
double ticksPerMicrosecond(const QByteArray& unit);

/// The rate at which frames have `delay` ms more between them, frames a second. And the delay, ms, from a
/// rate. Finite for finite numbers; 0 where there is no rate.
double delayedRate(double rate, double delay);
double delayOf(double delayedRate, double rate);

/// The exposure in µs, a multiple of the pulses of 50 Hz (mode 1) or 60 Hz (mode 2) mains nearest to the
/// given one, at least one pulse and at most `maximum` if one pulse fits into that. Mode 0: unchanged.
double inPulses(double micros, int mode, double maximum);

}  // namespace kvgen
