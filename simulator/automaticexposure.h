// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "parameters.h"

namespace kvsim {

/// One step of the automatic exposure and gain, made after each frame: moves the exposure (AEC) and then the
/// gain (AGC) part of the way to where a frame of mean grey level `mean` would come out at the AE target.
/// About ten steps settle any change. Exposure goes no further than `longestExposure`, which keeps the rate;
/// what is missing is the gain's. With both off nothing changes. Pure.
Parameters automaticStep(Parameters parameters, double mean, int32_t longestExposure);

}  // namespace kvsim
