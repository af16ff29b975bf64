// SPDX-License-Identifier: Apache-2.0
#include <tmmintrin.h>

#include <opencv2/core/utility.hpp>

#include "platform/mixing.h"

namespace {

constexpr ptrdiff_t kTogether = 16;  // bytes

__m128i load(const unsigned char* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

/// 16 bytes at once, each with the weights at its own place in `right` and `below`.
__m128i mixed16(const unsigned char* from, ptrdiff_t bytesPerLine, int pixelBytes, __m128i right,
                __m128i below) {
    const __m128i whole = _mm_set1_epi8(platform::kMixParts);
    const __m128i left = _mm_sub_epi8(whole, right);
    const __m128i across0 = _mm_unpacklo_epi8(left, right);
    const __m128i across1 = _mm_unpackhi_epi8(left, right);
    const __m128i a = load(from);
    const __m128i b = load(from + pixelBytes);
    const __m128i c = load(from + bytesPerLine);
    const __m128i d = load(from + bytesPerLine + pixelBytes);
    const __m128i upper0 = _mm_maddubs_epi16(_mm_unpacklo_epi8(a, b), across0);
    const __m128i upper1 = _mm_maddubs_epi16(_mm_unpackhi_epi8(a, b), across1);
    const __m128i lower0 = _mm_maddubs_epi16(_mm_unpacklo_epi8(c, d), across0);
    const __m128i lower1 = _mm_maddubs_epi16(_mm_unpackhi_epi8(c, d), across1);

    const __m128i zero = _mm_setzero_si128();
    const __m128i above = _mm_sub_epi8(whole, below);
    const __m128i down0 = _mm_unpacklo_epi8(above, below);
    const __m128i down1 = _mm_unpackhi_epi8(above, below);
    const __m128i half = _mm_set1_epi32(platform::kMixParts * platform::kMixParts / 2);
    const auto four = [&](__m128i pairs, __m128i weights) {
        return _mm_srli_epi32(_mm_add_epi32(_mm_madd_epi16(pairs, weights), half), 10);
    };
    const __m128i s0 = four(_mm_unpacklo_epi16(upper0, lower0), _mm_unpacklo_epi8(down0, zero));
    const __m128i s1 = four(_mm_unpackhi_epi16(upper0, lower0), _mm_unpackhi_epi8(down0, zero));
    const __m128i s2 = four(_mm_unpacklo_epi16(upper1, lower1), _mm_unpacklo_epi8(down1, zero));
    const __m128i s3 = four(_mm_unpackhi_epi16(upper1, lower1), _mm_unpackhi_epi8(down1, zero));
    return _mm_packus_epi16(_mm_packs_epi32(s0, s1), _mm_packs_epi32(s2, s3));
}

/// `pixels` are made at a time.
template <int pixelBytes, int pixels>
void mix(const platform::MixedPicture& picture, const platform::PixelRun* first,
         const platform::PixelRun* last, platform::MixWeights weights, unsigned char* to,
         const unsigned char* toEnd) {
    const __m128i thrice = _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
    const ptrdiff_t needed = picture.bytesPerLine + pixelBytes + kTogether;
    for (; first != last; ++first) {
        const unsigned char* from = picture.pixels + first->offset;
        ptrdiff_t count = first->length;
        // As far as what is too much stays before both ends, and the rest pixel by pixel. The surplus of a
        // run is overwritten by the next.
        while (count > 0 && picture.end - from >= needed && toEnd - to >= kTogether) {
            __m128i right = load(weights.right);
            __m128i below = load(weights.below);
            if constexpr (pixelBytes == 3) {
                right = _mm_shuffle_epi8(right, thrice);
                below = _mm_shuffle_epi8(below, thrice);
            }
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to),
                             mixed16(from, picture.bytesPerLine, pixelBytes, right, below));
            const ptrdiff_t done = count < pixels ? count : pixels;
            from += done * pixelBytes;
            to += done * pixelBytes;
            weights.right += done;
            weights.below += done;
            count -= done;
        }
        for (; count > 0; --count, ++weights.right, ++weights.below) {
            for (int channel = 0; channel < pixelBytes; ++channel)
                *to++ =
                    platform::mixed(from++, picture.bytesPerLine, pixelBytes, *weights.right, *weights.below);
        }
    }
}

}  // namespace

bool platform::hasMixRuns() {
    static const bool has = cv::checkHardwareSupport(CV_CPU_SSSE3);
    return has;
}

void platform::mixRuns(const MixedPicture& picture, const PixelRun* first, const PixelRun* last,
                       MixWeights weights, unsigned char* to, const unsigned char* toEnd) {
    if (picture.pixelBytes == 1)
        mix<1, 16>(picture, first, last, weights, to, toEnd);
    else
        mix<3, 5>(picture, first, last, weights, to, toEnd);
}
