#include "platform/pixels.h"

bool platform::hasUnpackRgbRuns() {
    return false;
}

void platform::unpackRgbRuns(const unsigned char*, const unsigned char*, const PixelRun*, const PixelRun*,
                             uint32_t*, const uint32_t*) {}
