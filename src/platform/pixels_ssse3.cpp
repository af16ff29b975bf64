#include <tmmintrin.h>

#include <algorithm>
#include <cstddef>
#include <opencv2/core/utility.hpp>

#include "platform/pixels.h"

namespace {

constexpr ptrdiff_t kRead = 16;     // bytes at a time, of which
constexpr ptrdiff_t kUsed = 12;     // are pixels that are written
constexpr ptrdiff_t kTogether = 4;  // px

}  // namespace

bool platform::hasUnpackRgb() {
    static const bool has = cv::checkHardwareSupport(CV_CPU_SSSE3);
    return has;
}

void platform::unpackRgb(const unsigned char* from, const unsigned char* fromEnd, int count, uint32_t* to,
                         const uint32_t* toEnd) {
    // Four pixels of red, green, blue become blue, green, red, opaque in memory.
    const __m128i order = _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1);
    const __m128i opaque = _mm_set1_epi32(static_cast<int>(0xff000000U));
    ptrdiff_t steps = (count + kTogether - 1) / kTogether;
    const ptrdiff_t readable = fromEnd - from;
    const ptrdiff_t writable = toEnd - to;
    // Near the ends fewer steps than it takes, and the rest pixel by pixel.
    if (steps * kUsed + (kRead - kUsed) > readable || steps * kTogether > writable)
        steps =
            std::min({steps, readable < kRead ? 0 : (readable - kRead) / kUsed + 1, writable / kTogether});
    for (ptrdiff_t i = 0; i < steps; ++i, from += kUsed, to += kTogether) {
        const __m128i packed = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        const __m128i pixels = _mm_or_si128(opaque, _mm_shuffle_epi8(packed, order));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), pixels);
    }
    for (ptrdiff_t left = count - steps * kTogether; left > 0; --left, from += 3, ++to)
        *to = 0xff000000U | static_cast<uint32_t>(from[0]) << 16 | static_cast<uint32_t>(from[1]) << 8 |
              from[2];
}
