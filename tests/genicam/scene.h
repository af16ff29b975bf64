// SPDX-License-Identifier: Apache-2.0
/// What the fake cameras see, and what a camera makes of it: pure functions that the fakes and their tests
/// share. Positions are sensor px, levels 0 ... 255.
#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>

namespace fake {

struct Rgb {
    uint8_t red = 0;
    uint8_t green = 0;
    uint8_t blue = 0;
};
inline bool operator==(const Rgb& a, const Rgb& b) {
    return a.red == b.red && a.green == b.green && a.blue == b.blue;
}

/// Side of the scene's squares of one colour, sensor px: wide enough for a Bayer pattern to be undone in
/// them.
constexpr int kSquare = 16;

/// The light at a pixel: squares of colours that do not repeat. Levels leave room for some gain. Scenes with
/// different seeds have nothing in common, so that cameras can be told apart.
inline Rgb sceneAt(int x, int y, uint32_t seed = 0) {
    uint32_t hash = seed * 0x9E3779B9U + static_cast<uint32_t>(x / kSquare) * 0x85EBCA6BU +
                    static_cast<uint32_t>(y / kSquare) * 0xC2B2AE35U + 0x27D4EB2FU;
    hash = (hash ^ (hash >> 15)) * 0x2C1B3C6DU;
    hash = (hash ^ (hash >> 12)) * 0x297A2D39U;
    hash ^= hash >> 15;
    const auto level = [](uint32_t bits) { return static_cast<uint8_t>(24 + 48 * (bits & 3U)); };
    return {level(hash), level(hash >> 8), level(hash >> 16)};
}

inline uint8_t toLevel(double value) {
    return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

inline uint8_t greyOf(const Rgb& colour) {
    return toLevel(0.299 * colour.red + 0.587 * colour.green + 0.114 * colour.blue);
}

/// How light becomes a level.
struct Development {
    double factor = 1;      ///< exposure and gain; 1 at 10 ms and 0 dB
    double blackLevel = 0;  ///< grey levels added
    double gamma = 1;       ///< the GenICam way: above 1 lowers the middle tones
    double saturation = 1;  ///< 0 = grey
};

inline double factorOf(double exposureUs, double gainDb, int digitalShift = 0) {
    return exposureUs / 10000.0 * std::pow(10.0, gainDb / 20.0) * std::ldexp(1.0, digitalShift);
}

inline uint8_t developed(uint8_t light, const Development& development) {
    const double level = std::clamp(light * development.factor + development.blackLevel, 0.0, 255.0);
    return toLevel(255.0 * std::pow(level / 255.0, development.gamma));
}

inline Rgb saturated(const Rgb& light, double saturation) {
    const double grey = greyOf(light);
    return {toLevel(grey + saturation * (light.red - grey)),
            toLevel(grey + saturation * (light.green - grey)),
            toLevel(grey + saturation * (light.blue - grey))};
}

inline Rgb developed(const Rgb& light, const Development& development) {
    const Rgb colour = saturated(light, development.saturation);
    return {developed(colour.red, development), developed(colour.green, development),
            developed(colour.blue, development)};
}

/// Each frame carries its number twice, as 32 black and white blocks, the highest bit first: from the top
/// left corner to the right, and in the last rows. Two that differ: the frame is torn (unless the camera is
/// asked to stamp the time there). Sides of a block, frame px.
constexpr int kStampBits = 32;
constexpr int kStampHeight = 8;
inline int stampBlock(int width) {
    return std::min(8, width / kStampBits);
}
/// Whether frames of this size are stamped.
inline bool isStamped(int width, int height) {
    return stampBlock(width) >= 2 && height >= 4 * kStampHeight;
}

/// ms, as a stamp holds them: the same for all processes of this machine.
inline uint32_t steadyTime() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

/// Reads a stamp from rows of packed pixels of one or three bytes. `row` is the first of its rows: 0, or
/// height - kStampHeight.
inline uint32_t readStamp(const uint8_t* pixels, int width, int channels, int row) {
    const int block = stampBlock(width);
    uint32_t number = 0;
    for (int bit = 0; bit < kStampBits; ++bit) {
        const int x = bit * block + block / 2;
        const int y = row + kStampHeight / 2;
        const uint8_t level = pixels[(static_cast<int64_t>(y) * width + x) * channels];
        number = number << 1 | (level >= 128 ? 1U : 0U);
    }
    return number;
}

}  // namespace fake
