// SPDX-License-Identifier: Apache-2.0
#include "platform/boxloops.h"

#include <cstring>

namespace {

constexpr uint32_t kOpaque = 0xff000000U;

uint32_t rgb32(uint32_t red, uint32_t green, uint32_t blue) {
    return kOpaque | red << 16 | green << 8 | blue;
}

void rows(const platform::BoxRow* from, int count, size_t bytes, signed char* to) {
    for (size_t i = 0; i < bytes; ++i) {
        int sum = platform::kBoxWhole / 2;
        for (int row = 0; row < count; ++row)
            sum += from[row].weight * from[row].bytes[i];
        to[i] = static_cast<signed char>(sum / platform::kBoxWhole - 128);
    }
}

uint32_t mean(const signed char* from, int step, const unsigned char* weights, int taps) {
    int sum = (128 * platform::kBoxWhole) + (platform::kBoxWhole / 2);
    for (int tap = 0; tap < taps; ++tap, from += step)
        sum += weights[tap] * *from;
    return static_cast<uint32_t>(sum / platform::kBoxWhole);
}

void grey(const signed char* from, const platform::BoxColumns& columns, uint32_t* to) {
    const unsigned char* weights = columns.weights;
    for (int i = 0; i < columns.count; ++i, weights += columns.taps)
        to[i] = kOpaque | mean(from + columns.starts[i], 1, weights, columns.taps) * 0x010101U;
}

void colour(const signed char* from, int channels, const platform::BoxColumns& columns, uint32_t* to) {
    const bool isRgb = channels == 3;
    const unsigned char* weights = columns.weights;
    for (int i = 0; i < columns.count; ++i, weights += columns.taps) {
        const signed char* first = from + static_cast<ptrdiff_t>(columns.starts[i]) * channels;
        to[i] = rgb32(mean(first + (isRgb ? 0 : 2), channels, weights, columns.taps),
                      mean(first + 1, channels, weights, columns.taps),
                      mean(first + (isRgb ? 2 : 0), channels, weights, columns.taps));
    }
}

void spread(const unsigned char* from, int channels, int count, uint32_t* to) {
    for (int i = 0; i < count; ++i, from += channels) {
        if (channels == 4) {
            std::memcpy(to + i, from, sizeof *to);
            to[i] |= kOpaque;
        } else {
            to[i] = channels == 1 ? kOpaque | *from * 0x010101U : rgb32(from[0], from[1], from[2]);
        }
    }
}

constexpr platform::BoxLoops kPlain{"plain", rows, grey, colour, spread};

}  // namespace

std::vector<const platform::BoxLoops*> platform::everyBoxLoops() {
    std::vector<const BoxLoops*> every;
    for (const BoxLoops* loops : {boxLoopsAvx2(), boxLoopsSsse3(), &kPlain}) {
        if (loops)
            every.push_back(loops);
    }
    return every;
}

const platform::BoxLoops& platform::boxLoops() {
    static const BoxLoops& fastest = *everyBoxLoops().front();
    return fastest;
}
