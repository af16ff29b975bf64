// SPDX-License-Identifier: Apache-2.0
#include <tmmintrin.h>

#include <cstring>
#include <opencv2/core/utility.hpp>

#include "platform/boxloops.h"

namespace {

constexpr size_t kBytes = 16;
constexpr int kPixels = 4;

__m128i load(const void* from) {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

void store(void* to, __m128i value) {
    _mm_storeu_si128(static_cast<__m128i*>(to), value);
}

/// The weights of two rows, alternating as their bytes do.
__m128i weightsOf(const platform::BoxRow* two) {
    return _mm_set1_epi16(static_cast<short>(two[0].weight | two[1].weight << 8));
}

__m128i lessHalf(__m128i low, __m128i high) {
    const __m128i rounded = _mm_set1_epi16(platform::kBoxWhole / 2 - 128 * platform::kBoxWhole);
    return _mm_packs_epi16(_mm_srai_epi16(_mm_add_epi16(low, rounded), 7),
                           _mm_srai_epi16(_mm_add_epi16(high, rounded), 7));
}

void addRows(const platform::BoxRow* two, __m128i weights, size_t at, __m128i& low, __m128i& high) {
    const __m128i first = load(two[0].bytes + at);
    const __m128i second = load(two[1].bytes + at);
    low = _mm_add_epi16(low, _mm_maddubs_epi16(_mm_unpacklo_epi8(first, second), weights));
    high = _mm_add_epi16(high, _mm_maddubs_epi16(_mm_unpackhi_epi8(first, second), weights));
}

/// With the number of pairs of rows known, so that their weights stay in registers.
template <int Pairs>
void fewRows(const platform::BoxRow* from, size_t bytes, signed char* to) {
    __m128i weights[Pairs];
    for (int pair = 0; pair < Pairs; ++pair)
        weights[pair] = weightsOf(from + ptrdiff_t{2} * pair);
    for (size_t i = 0; i < bytes; i += kBytes) {
        // The last ones once more where less than all are left.
        const size_t at = bytes - i < kBytes ? bytes - kBytes : i;
        __m128i low = _mm_setzero_si128();
        __m128i high = _mm_setzero_si128();
        for (int pair = 0; pair < Pairs; ++pair)
            addRows(from + ptrdiff_t{2} * pair, weights[pair], at, low, high);
        store(to + at, lessHalf(low, high));
    }
}

void manyRows(const platform::BoxRow* from, int count, size_t bytes, signed char* to) {
    __m128i weights[platform::kBoxTaps / 2 + 1];
    for (int row = 0; row < count; row += 2)
        weights[row / 2] = weightsOf(from + row);
    for (size_t i = 0; i < bytes; i += kBytes) {
        const size_t at = bytes - i < kBytes ? bytes - kBytes : i;
        __m128i low = _mm_setzero_si128();
        __m128i high = _mm_setzero_si128();
        for (int row = 0; row < count; row += 2)
            addRows(from + row, weights[row / 2], at, low, high);
        store(to + at, lessHalf(low, high));
    }
}

void rows(const platform::BoxRow* from, int count, size_t bytes, signed char* to) {
    if (bytes < kBytes) {
        for (size_t i = 0; i < bytes; ++i) {
            int sum = platform::kBoxWhole / 2;
            for (int row = 0; row < count; ++row)
                sum += from[row].weight * from[row].bytes[i];
            to[i] = static_cast<signed char>(sum / platform::kBoxWhole - 128);
        }
        return;
    }
    if (count == 2)
        fewRows<1>(from, bytes, to);
    else if (count == 4)
        fewRows<2>(from, bytes, to);
    else
        manyRows(from, count, bytes, to);
}

/// Sums of products with bytes less 128, as the bytes themselves, each in 16 bits.
__m128i rounded(__m128i sums) {
    const __m128i half = _mm_set1_epi16(128 * platform::kBoxWhole + platform::kBoxWhole / 2);
    return _mm_srli_epi16(_mm_add_epi16(sums, half), 7);
}

/// Writes as many of 16 grey pixels as there are.
void storeGrey(__m128i pixels, int count, uint32_t* to) {
    const __m128i opaque = _mm_set1_epi32(static_cast<int>(0xff000000U));
    __m128i order = _mm_setr_epi8(0, 0, 0, -1, 1, 1, 1, -1, 2, 2, 2, -1, 3, 3, 3, -1);
    const __m128i further = _mm_setr_epi8(4, 4, 4, 0, 4, 4, 4, 0, 4, 4, 4, 0, 4, 4, 4, 0);
    __m128i spread[4];
    for (__m128i& four : spread) {
        four = _mm_or_si128(opaque, _mm_shuffle_epi8(pixels, order));
        order = _mm_add_epi8(order, further);
    }
    if (count >= 4 * kPixels) {
        for (int i = 0; i < 4; ++i)
            store(to + ptrdiff_t{kPixels} * i, spread[i]);
    } else {
        std::memcpy(to, spread, static_cast<size_t>(count) * sizeof *to);
    }
}

__m128i fourOfFour(const signed char* from, const platform::BoxColumns& columns, int i) {
    const __m128i sources =
        _mm_shuffle_epi8(load(from + columns.starts[i]), load(columns.shuffles + ptrdiff_t{4} * i));
    return _mm_maddubs_epi16(load(columns.weights + ptrdiff_t{4} * i), sources);
}

/// Eight sums of two products each, of an output with up to 16 taps.
__m128i oneOfMany(const signed char* from, const platform::BoxColumns& columns, int i) {
    const unsigned char* weights = columns.weights + static_cast<ptrdiff_t>(i) * columns.taps;
    const signed char* sources = from + columns.starts[i];
    if (columns.taps == platform::kBoxTaps)
        return _mm_maddubs_epi16(load(weights), load(sources));
    // With 8 or 12 the next one's weights lie behind them.
    const __m128i last = columns.taps == 8 ? _mm_setr_epi32(-1, -1, 0, 0) : _mm_setr_epi32(-1, -1, -1, 0);
    return _mm_maddubs_epi16(_mm_and_si128(load(weights), last), load(sources));
}

void grey(const signed char* from, const platform::BoxColumns& columns, uint32_t* to) {
    for (int i = 0; i < columns.count; i += platform::kBoxTogether) {
        __m128i eights[2];
        for (int half = 0; half < 2; ++half) {
            const int at = i + 8 * half;
            if (columns.taps == 4) {
                eights[half] =
                    _mm_hadd_epi16(fourOfFour(from, columns, at), fourOfFour(from, columns, at + 4));
                continue;
            }
            __m128i fours[2];
            for (int k = 0; k < 2; ++k) {
                const int first = at + 4 * k;
                fours[k] = _mm_hadd_epi16(
                    _mm_hadd_epi16(oneOfMany(from, columns, first), oneOfMany(from, columns, first + 1)),
                    _mm_hadd_epi16(oneOfMany(from, columns, first + 2), oneOfMany(from, columns, first + 3)));
            }
            eights[half] = _mm_hadd_epi16(fours[0], fours[1]);
        }
        storeGrey(_mm_packus_epi16(rounded(eights[0]), rounded(eights[1])), columns.count - i, to + i);
    }
}

/// Of each channel two sums of two products each, over four taps.
__m128i fourTaps(const signed char* from, const unsigned char* weights, __m128i order) {
    int32_t four = 0;
    std::memcpy(&four, weights, sizeof four);
    return _mm_maddubs_epi16(_mm_set1_epi32(four), _mm_shuffle_epi8(load(from), order));
}

template <int Channels>
void colourOf(const signed char* from, const platform::BoxColumns& columns, uint32_t* to) {
    // Four pixels to four blues, four greens, four reds.
    const __m128i order = Channels == 3
                              ? _mm_setr_epi8(2, 5, 8, 11, 1, 4, 7, 10, 0, 3, 6, 9, -1, -1, -1, -1)
                              : _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, -1, -1, -1, -1);
    const __m128i opaque = _mm_set1_epi32(static_cast<int>(0xff000000U));
    for (int i = 0; i < columns.count; i += kPixels) {
        __m128i one[kPixels];
        for (int k = 0; k < kPixels; ++k) {
            const signed char* source = from + static_cast<ptrdiff_t>(columns.starts[i + k]) * Channels;
            const unsigned char* weights = columns.weights + static_cast<ptrdiff_t>(i + k) * columns.taps;
            one[k] = fourTaps(source, weights, order);
            for (int tap = 4; tap < columns.taps; tap += 4) {
                one[k] = _mm_add_epi16(
                    one[k], fourTaps(source + static_cast<ptrdiff_t>(tap) * Channels, weights + tap, order));
            }
        }
        const __m128i pixels =
            _mm_or_si128(opaque, _mm_packus_epi16(rounded(_mm_hadd_epi16(one[0], one[1])),
                                                  rounded(_mm_hadd_epi16(one[2], one[3]))));
        if (columns.count - i >= kPixels)
            store(to + i, pixels);
        else
            std::memcpy(to + i, &pixels, static_cast<size_t>(columns.count - i) * sizeof *to);
    }
}

void colour(const signed char* from, int channels, const platform::BoxColumns& columns, uint32_t* to) {
    if (channels == 3)
        colourOf<3>(from, columns, to);
    else
        colourOf<4>(from, columns, to);
}

void spread(const unsigned char* from, int channels, int count, uint32_t* to) {
    const __m128i opaque = _mm_set1_epi32(static_cast<int>(0xff000000U));
    int i = 0;
    if (channels == 1) {
        for (; count - i >= 4 * kPixels; i += 4 * kPixels)
            storeGrey(load(from + i), 4 * kPixels, to + i);
    } else if (channels == 3) {
        // 16 bytes are read for the 12 of four pixels.
        const __m128i order = _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1);
        for (; count - i >= kPixels + 2; i += kPixels)
            store(to + i, _mm_or_si128(opaque, _mm_shuffle_epi8(load(from + ptrdiff_t{3} * i), order)));
    } else {
        for (; count - i >= kPixels; i += kPixels)
            store(to + i, _mm_or_si128(opaque, load(from + ptrdiff_t{4} * i)));
    }
    for (; i < count; ++i) {
        const unsigned char* pixel = from + static_cast<ptrdiff_t>(i) * channels;
        const unsigned char red = channels == 4 ? pixel[2] : pixel[0];
        const unsigned char green = channels == 1 ? pixel[0] : pixel[1];
        const unsigned char blue = channels == 3 ? pixel[2] : pixel[0];
        to[i] = 0xff000000U | static_cast<uint32_t>(red) << 16 | static_cast<uint32_t>(green) << 8 | blue;
    }
}

}  // namespace

const platform::BoxLoops* platform::boxLoopsSsse3() {
    static constexpr BoxLoops kLoops{"SSSE3", rows, grey, colour, spread};
    static const bool has = cv::checkHardwareSupport(CV_CPU_SSSE3);
    return has ? &kLoops : nullptr;
}
