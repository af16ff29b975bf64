#include "platform/pixels.h"

bool platform::hasUnpackRgb() {
    return false;
}

void platform::unpackRgb(const unsigned char* from, int count, uint32_t* to) {
    (void)from;
    (void)count;
    (void)to;
}
