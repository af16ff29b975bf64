#include <tmmintrin.h>

#include <opencv2/core/utility.hpp>

#include "platform/pixels.h"

bool platform::hasUnpackRgb() {
    static const bool has = cv::checkHardwareSupport(CV_CPU_SSSE3);
    return has;
}

void platform::unpackRgb(const unsigned char* from, int count, uint32_t* to) {
    // Four pixels of red, green, blue become blue, green, red, opaque in memory.
    const __m128i order = _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1);
    const __m128i opaque = _mm_set1_epi32(static_cast<int>(0xff000000U));
    for (int i = 0; i < count; i += 4, from += 12) {
        const __m128i packed = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        const __m128i pixels = _mm_or_si128(opaque, _mm_shuffle_epi8(packed, order));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i), pixels);
    }
}
