// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QJsonObject>

#include <cstdint>

namespace kvsim {

/// Everything that the parameter operations set. The values are always within the ranges that `clamped`
/// knows.
struct Parameters {
    double gamma = 1;          ///< 0.1 ... 10; above 1 lifts the middle tones
    double contrast = 1;       ///< 0 ... 10, around middle grey
    double saturation = 1;     ///< 0 ... 10; 0 = grey. No effect on mono frames.
    int32_t blackLevel = 0;    ///< 0 ... 255, grey levels added
    int32_t advancedGain = 0;  ///< 0 ... 3, factor 1, 2, 4, 8
    int32_t gain = 16;         ///< 0 ... 255, sixteenths; 0 acts like 1
    bool agc = false;
    bool aec = false;
    int32_t exposure = 1000;  ///< 1 ... 80000, units of 10 microseconds
    int32_t aeTarget = 180;   ///< 0 ... 255, mean grey level
    int32_t timeout = 1500;   ///< 0 ... 600000 ms
    int32_t antiFlicker = 0;  ///< 0 off, 1 = 50 Hz, 2 = 60 Hz
    bool mirrorX = false;     ///< left and right exchanged
    bool mirrorY = false;     ///< top and bottom exchanged
    bool highspeed = false;   ///< twice the rate
    int32_t delay = 0;        ///< 0 ... 60000 ms added between frames
    int32_t snapMode = 1;     ///< kSnapContinuous or kSnapTriggered
    int32_t mode = 0;         ///< resolution mode
};

constexpr int32_t kNeutralExposure = 1000;  ///< exposure that shows the scene as it is printed
constexpr int32_t kNeutralGain = 16;        ///< gain of factor 1
constexpr int32_t kMaxExposure = 80000;
constexpr int32_t kMaxGain = 255;

/// With every number brought into its range. Choices out of a list (anti-flicker, snap mode, resolution mode)
/// are left alone: there is no nearest one.
Parameters clamped(Parameters parameters);

/// For the parameter slots. Reading takes `fallback` for whatever is missing, of another type or not a valid
/// choice; `modes` is the number of resolution modes.
QJsonObject toJson(const Parameters& parameters);
Parameters fromJson(const QJsonObject& object, const Parameters& fallback, int modes);

}  // namespace kvsim
