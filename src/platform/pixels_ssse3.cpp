#include <tmmintrin.h>

#include <algorithm>
#include <cstddef>
#include <opencv2/core/utility.hpp>

#include "platform/pixels.h"

namespace {

constexpr ptrdiff_t kRead = 16;     // bytes at a time, of which
constexpr ptrdiff_t kUsed = 12;     // are pixels that are written
constexpr ptrdiff_t kTogether = 4;  // px

uint32_t pixelAt(const unsigned char* from) {
    return 0xff000000U | static_cast<uint32_t>(from[0]) << 16 | static_cast<uint32_t>(from[1]) << 8 | from[2];
}

}  // namespace

bool platform::hasUnpackRgbRuns() {
    static const bool has = cv::checkHardwareSupport(CV_CPU_SSSE3);
    return has;
}

void platform::unpackRgbRuns(const unsigned char* picture, const unsigned char* pictureEnd,
                             const PixelRun* first, const PixelRun* last, uint32_t* to,
                             const uint32_t* toEnd) {
    // Four pixels of red, green, blue become blue, green, red, opaque in memory.
    const __m128i order = _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1);
    const __m128i opaque = _mm_set1_epi32(static_cast<int>(0xff000000U));
    for (; first != last; ++first) {
        const unsigned char* from = picture + first->offset;
        if (first->length < 0) {
            to = std::fill_n(to, -first->length, pixelAt(from));
            continue;
        }
        uint32_t* const end = to + first->length;
        // As far as what is too much stays before both ends, and the rest pixel by pixel.
        while (to < end && pictureEnd - from >= kRead && toEnd - to >= kTogether) {
            const __m128i packed = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
            const __m128i pixels = _mm_or_si128(opaque, _mm_shuffle_epi8(packed, order));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to), pixels);
            from += kUsed;
            to += kTogether;
        }
        for (; to < end; from += 3)
            *to++ = pixelAt(from);
        to = end;
    }
}
