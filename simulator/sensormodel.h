// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opencv2/core.hpp>

#include <array>
#include <cstdint>

#include "parameters.h"

namespace kvsim {

/// What the parameters do to a picture, in the few numbers that the pixels depend on.
struct Look {
    double light = 1;  ///< exposure, gains and flicker as one factor on the linear light
    double gamma = 1;
    double contrast = 1;
    double saturation = 1;
    int blackLevel = 0;
    double noise = 0;  ///< standard deviation, grey levels

    bool operator==(const Look& other) const;
    bool operator!=(const Look& other) const { return !(*this == other); }
};

/// `flicker` is the factor of the light at the moment of the exposure, `noise` the one at neutral gain.
Look lookOf(const Parameters& parameters, double flicker, double noise);

/// Factor on the light at `seconds` on a lamp that pulses with `mainsFrequency` and the given depth. An
/// exposure of whole pulses averages the pulsing out; the anti-flicker modes round it to pulses of their own
/// mains.
double flickerFactor(const Parameters& parameters, int mainsFrequency, double depth, double seconds);

/// Turns the picture that falls on the sensor into the picture that leaves the camera. Belongs to one
/// camera's renderer and is guarded with it.
class SensorModel {
public:
    explicit SensorModel(uint32_t seed);

    /// Cheap if nothing changes.
    void setLook(const Look& look);
    const Look& look() const { return look_; }

    /// Light -> grey levels, without noise. One or three channels, any size. `developed` may be `light`.
    void develop(const cv::Mat& light, cv::Mat& developed) const;
    /// Adds the noise of one frame to a continuous picture: the same `frame` brings the same noise.
    void addNoise(cv::Mat& picture, uint32_t frame) const;

    /// Mean grey level that a picture with this histogram of the light (counts per level) comes out with.
    double meanOf(const std::array<double, 256>& histogram) const;

private:
    void makeNoise();

    uint32_t seed_;
    Look look_;
    cv::Mat table_;             // 1 x 256
    cv::Mat lighter_, darker_;  // the noise's positive and negative parts; empty without noise
};

}  // namespace kvsim
