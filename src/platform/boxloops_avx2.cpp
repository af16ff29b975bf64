// SPDX-License-Identifier: Apache-2.0
#include <immintrin.h>

#include <cstring>
#include <opencv2/core/utility.hpp>

#include "platform/boxloops.h"

namespace {

constexpr size_t kBytes = 32;
constexpr int kPixels = 8;

__m256i load(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

__m256i loadTwo(const void* low, const void* high) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(static_cast<const __m128i*>(low))),
                                   _mm_loadu_si128(static_cast<const __m128i*>(high)), 1);
}

/// Writes as many of eight pixels as there are.
void store(uint32_t* to, __m256i pixels, int count) {
    if (count >= kPixels)
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), pixels);
    else if (count > 0)
        std::memcpy(to, &pixels, static_cast<size_t>(count) * sizeof *to);
}

/// The weights of two rows, alternating as their bytes do.
__m256i weightsOf(const platform::BoxRow* two) {
    return _mm256_set1_epi16(static_cast<short>(two[0].weight | two[1].weight << 8));
}

void addRows(const platform::BoxRow* two, __m256i weights, size_t at, __m256i& low, __m256i& high) {
    const __m256i first = load(two[0].bytes + at);
    const __m256i second = load(two[1].bytes + at);
    low = _mm256_add_epi16(low, _mm256_maddubs_epi16(_mm256_unpacklo_epi8(first, second), weights));
    high = _mm256_add_epi16(high, _mm256_maddubs_epi16(_mm256_unpackhi_epi8(first, second), weights));
}

/// Packing puts back in order what unpacking took apart.
void storeLessHalf(signed char* to, __m256i low, __m256i high) {
    const __m256i rounded = _mm256_set1_epi16(platform::kBoxWhole / 2 - 128 * platform::kBoxWhole);
    const __m256i bytes = _mm256_packs_epi16(_mm256_srai_epi16(_mm256_add_epi16(low, rounded), 7),
                                             _mm256_srai_epi16(_mm256_add_epi16(high, rounded), 7));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), bytes);
}

/// With the number of pairs of rows known, so that their weights stay in registers.
template <int Pairs>
void fewRows(const platform::BoxRow* from, size_t bytes, signed char* to) {
    __m256i weights[Pairs];
    for (int pair = 0; pair < Pairs; ++pair)
        weights[pair] = weightsOf(from + ptrdiff_t{2} * pair);
    for (size_t i = 0; i < bytes; i += kBytes) {
        // The last ones once more where less than all are left.
        const size_t at = bytes - i < kBytes ? bytes - kBytes : i;
        __m256i low = _mm256_setzero_si256();
        __m256i high = _mm256_setzero_si256();
        for (int pair = 0; pair < Pairs; ++pair)
            addRows(from + ptrdiff_t{2} * pair, weights[pair], at, low, high);
        storeLessHalf(to + at, low, high);
    }
}

void manyRows(const platform::BoxRow* from, int count, size_t bytes, signed char* to) {
    __m256i weights[platform::kBoxTaps / 2 + 1];
    for (int row = 0; row < count; row += 2)
        weights[row / 2] = weightsOf(from + row);
    for (size_t i = 0; i < bytes; i += kBytes) {
        const size_t at = bytes - i < kBytes ? bytes - kBytes : i;
        __m256i low = _mm256_setzero_si256();
        __m256i high = _mm256_setzero_si256();
        for (int row = 0; row < count; row += 2)
            addRows(from + row, weights[row / 2], at, low, high);
        storeLessHalf(to + at, low, high);
    }
}

void rows(const platform::BoxRow* from, int count, size_t bytes, signed char* to) {
    if (bytes < kBytes)
        platform::boxLoopsSsse3()->rows(from, count, bytes, to);
    else if (count == 2)
        fewRows<1>(from, bytes, to);
    else if (count == 4)
        fewRows<2>(from, bytes, to);
    else if (count == 6)
        fewRows<3>(from, bytes, to);
    else
        manyRows(from, count, bytes, to);
}

/// Sums of products with bytes less 128, as the bytes themselves, each in 16 bits.
__m256i rounded(__m256i sums) {
    const __m256i half = _mm256_set1_epi16(128 * platform::kBoxWhole + platform::kBoxWhole / 2);
    return _mm256_srli_epi16(_mm256_add_epi16(sums, half), 7);
}

/// Two sums of two products each, of eight outputs.
__m256i eightOfFour(const signed char* from, const platform::BoxColumns& columns, int i) {
    const __m256i sources =
        _mm256_shuffle_epi8(loadTwo(from + columns.starts[i], from + columns.starts[i + 4]),
                            load(columns.shuffles + ptrdiff_t{4} * i));
    return _mm256_maddubs_epi16(load(columns.weights + ptrdiff_t{4} * i), sources);
}

void grey(const signed char* from, const platform::BoxColumns& columns, uint32_t* to) {
    if (columns.taps != 4) {
        platform::boxLoopsSsse3()->grey(from, columns, to);
        return;
    }
    const __m256i opaque = _mm256_set1_epi32(static_cast<int>(0xff000000U));
    const __m256i lowFour =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 0, 0, -1, 2, 2, 2, -1, 4, 4, 4, -1, 6, 6, 6, -1));
    const __m256i highFour = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(8, 8, 8, -1, 10, 10, 10, -1, 12, 12, 12, -1, 14, 14, 14, -1));
    for (int i = 0; i < columns.count; i += 2 * kPixels) {
        // Each half has four outputs of the first eight and four of the others.
        const __m256i means = rounded(
            _mm256_hadd_epi16(eightOfFour(from, columns, i), eightOfFour(from, columns, i + kPixels)));
        const int left = columns.count - i;
        store(to + i, _mm256_or_si256(opaque, _mm256_shuffle_epi8(means, lowFour)), left);
        store(to + i + kPixels, _mm256_or_si256(opaque, _mm256_shuffle_epi8(means, highFour)),
              left - kPixels);
    }
}

/// Of each channel two sums of two products each, over four taps of two outputs, whose weights `which` picks.
template <int Channels>
__m256i twoOfFour(const signed char* from, const int32_t* first, const int32_t* second, __m256i order,
                  __m256i weights, __m256i which) {
    const __m256i sources = loadTwo(from + static_cast<ptrdiff_t>(*first) * Channels,
                                    from + static_cast<ptrdiff_t>(*second) * Channels);
    return _mm256_maddubs_epi16(_mm256_shuffle_epi8(weights, which), _mm256_shuffle_epi8(sources, order));
}

/// Four outputs, in order.
template <int Channels>
__m256i four(const signed char* from, const platform::BoxColumns& columns, int i, __m256i order) {
    const __m256i zeroAndTwo = _mm256_setr_epi32(0x03020100, 0x03020100, 0x03020100, 0x03020100, 0x0b0a0908,
                                                 0x0b0a0908, 0x0b0a0908, 0x0b0a0908);
    const __m256i oneAndThree = _mm256_setr_epi32(0x07060504, 0x07060504, 0x07060504, 0x07060504, 0x0f0e0d0c,
                                                  0x0f0e0d0c, 0x0f0e0d0c, 0x0f0e0d0c);
    const __m256i weights = _mm256_broadcastsi128_si256(
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(columns.weights + ptrdiff_t{4} * i)));
    const int32_t* starts = columns.starts + i;
    return rounded(
        _mm256_hadd_epi16(twoOfFour<Channels>(from, starts, starts + 2, order, weights, zeroAndTwo),
                          twoOfFour<Channels>(from, starts + 1, starts + 3, order, weights, oneAndThree)));
}

template <int Channels>
void colourOf(const signed char* from, const platform::BoxColumns& columns, uint32_t* to) {
    // Four pixels to four blues, four greens, four reds.
    const __m256i order = _mm256_broadcastsi128_si256(
        Channels == 3 ? _mm_setr_epi8(2, 5, 8, 11, 1, 4, 7, 10, 0, 3, 6, 9, -1, -1, -1, -1)
                      : _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, -1, -1, -1, -1));
    const __m256i opaque = _mm256_set1_epi32(static_cast<int>(0xff000000U));
    for (int i = 0; i < columns.count; i += kPixels) {
        const __m256i packed = _mm256_packus_epi16(four<Channels>(from, columns, i, order),
                                                   four<Channels>(from, columns, i + 4, order));
        store(to + i, _mm256_or_si256(opaque, _mm256_permute4x64_epi64(packed, _MM_SHUFFLE(3, 1, 2, 0))),
              columns.count - i);
    }
}

void colour(const signed char* from, int channels, const platform::BoxColumns& columns, uint32_t* to) {
    if (columns.taps != 4)
        platform::boxLoopsSsse3()->colour(from, channels, columns, to);
    else if (channels == 3)
        colourOf<3>(from, columns, to);
    else
        colourOf<4>(from, columns, to);
}

/// Writing memory is what it costs: wider steps win nothing.
void spread(const unsigned char* from, int channels, int count, uint32_t* to) {
    platform::boxLoopsSsse3()->spread(from, channels, count, to);
}

}  // namespace

const platform::BoxLoops* platform::boxLoopsAvx2() {
    static constexpr BoxLoops kLoops{"AVX2", rows, grey, colour, spread};
    static const bool has = cv::checkHardwareSupport(CV_CPU_AVX2) && boxLoopsSsse3();
    return has ? &kLoops : nullptr;
}
