#include "platform/pixels.h"

bool platform::hasUnpackRgb() {
    return false;
}

void platform::unpackRgb(const unsigned char*, const unsigned char*, int, uint32_t*, const uint32_t*) {}
