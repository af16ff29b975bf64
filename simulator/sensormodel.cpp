// SPDX-License-Identifier: Apache-2.0
#include "sensormodel.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace kvsim {

namespace {

constexpr double kEncoding = 2.2;  // exponent between light and grey levels
constexpr int kNoiseSide = 1024;   // px of the square that the noise is cut from
constexpr int kNoiseBlock = 512;   // px of one cut

double gainFactor(const Parameters& p) {
    return std::max(p.gain, 1) / static_cast<double>(kNeutralGain) * (1 << p.advancedGain);
}

/// What is left of a pulsing with the given period when it is averaged over an exposure, 0 ... 1.
double leftOver(double exposure, double period) {
    const double x = CV_PI * exposure / period;
    const double share = std::abs(x) < 1e-9 ? 1 : std::abs(std::sin(x) / x);
    return share < 0.005 ? 0 : share;
}

/// The same numbers on every machine and run for one pair.
uint32_t scrambled(uint32_t a, uint32_t b) {
    uint32_t x = a * 0x9E3779B9U ^ (b + 0x7F4A7C15U) * 0x85EBCA6BU;
    x ^= x >> 15;
    x *= 0x2C1B3C6DU;
    x ^= x >> 12;
    x *= 0x297A2D39U;
    return x ^ x >> 15;
}

}  // namespace

bool Look::operator==(const Look& o) const {
    return light == o.light && gamma == o.gamma && contrast == o.contrast && saturation == o.saturation &&
           blackLevel == o.blackLevel && noise == o.noise;
}

Look lookOf(const Parameters& p, double flicker, double noise) {
    Look look;
    look.light = p.exposure / static_cast<double>(kNeutralExposure) * gainFactor(p) * flicker;
    look.gamma = p.gamma;
    look.contrast = p.contrast;
    look.saturation = p.saturation;
    look.blackLevel = p.blackLevel;
    // In steps, since every other value means new noise.
    look.noise = std::round(std::min(noise * std::sqrt(gainFactor(p)), 40.0) * 10) / 10;
    return look;
}

double flickerFactor(const Parameters& p, int mainsFrequency, double depth, double seconds) {
    const double pulses = 2.0 * mainsFrequency;  // a second
    double exposure = p.exposure * 1e-5;
    if (p.antiFlicker != 0) {
        const double unit = p.antiFlicker == 1 ? 1 / 100.0 : 1 / 120.0;
        exposure = std::max(1.0, std::round(exposure / unit)) * unit;
    }
    const double left = leftOver(exposure, 1 / pulses);
    const double factor = 1 + depth * left * std::cos(2 * CV_PI * std::fmod(pulses * seconds, 1.0));
    // In steps, so that frames in the same phase look alike and need not be made anew.
    return std::round(factor * 128) / 128;
}

SensorModel::SensorModel(uint32_t seed) : seed_(seed) {
    look_.light = -1;
    setLook(Look());
}

void SensorModel::setLook(const Look& look) {
    if (look == look_)
        return;
    const bool sameNoise = look.noise == look_.noise;
    look_ = look;
    table_.create(1, 256, CV_8UC1);
    for (int level = 0; level < 256; ++level) {
        const double light = std::min(1.0, std::pow(level / 255.0, kEncoding) * look.light);
        const double encoded = std::pow(std::max(0.0, light), 1 / (kEncoding * look.gamma));
        const double value = (encoded - 0.5) * look.contrast + 0.5;
        table_.at<uchar>(level) = cv::saturate_cast<uchar>(value * 255 + look.blackLevel);
    }
    if (!sameNoise)
        makeNoise();
}

void SensorModel::makeNoise() {
    if (look_.noise <= 0) {
        lighter_.release();
        darker_.release();
        return;
    }
    cv::Mat noise(kNoiseSide, kNoiseSide, CV_16SC1);
    cv::RNG(seed_ + 1).fill(noise, cv::RNG::NORMAL, 0.0, look_.noise);
    noise.convertTo(lighter_, CV_8U);
    noise.convertTo(darker_, CV_8U, -1);
}

void SensorModel::develop(const cv::Mat& light, cv::Mat& developed) const {
    cv::LUT(light, table_, developed);
    if (developed.channels() == 3 && look_.saturation != 1) {
        const double s = look_.saturation;
        const double r = 0.299 * (1 - s);
        const double g = 0.587 * (1 - s);
        const double b = 0.114 * (1 - s);
        cv::transform(developed, developed, cv::Matx33d(r + s, g, b, r, g + s, b, r, g, b + s));
    }
}

void SensorModel::addNoise(cv::Mat& picture, uint32_t frame) const {
    if (lighter_.empty())
        return;
    // Channels side by side, so that each has noise of its own.
    cv::Mat plane = picture.reshape(1);
    uint32_t block = 0;
    for (int y = 0; y < plane.rows; y += kNoiseBlock) {
        for (int x = 0; x < plane.cols; x += kNoiseBlock, ++block) {
            const cv::Size size(std::min(kNoiseBlock, plane.cols - x), std::min(kNoiseBlock, plane.rows - y));
            const uint32_t cut = scrambled(seed_ + frame, block);
            const cv::Rect from(cv::Point(static_cast<int>(cut % (kNoiseSide - kNoiseBlock)),
                                          static_cast<int>(cut / 65536 % (kNoiseSide - kNoiseBlock))),
                                size);
            cv::Mat part = plane(cv::Rect(cv::Point(x, y), size));
            cv::add(part, lighter_(from), part);
            cv::subtract(part, darker_(from), part);
        }
    }
}

double SensorModel::meanOf(const std::array<double, 256>& histogram) const {
    double sum = 0;
    double count = 0;
    for (int level = 0; level < 256; ++level) {
        sum += histogram[static_cast<size_t>(level)] * table_.at<uchar>(level);
        count += histogram[static_cast<size_t>(level)];
    }
    return count > 0 ? sum / count : 0;
}

}  // namespace kvsim
