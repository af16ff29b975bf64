#pragma once

#include <cstdint>

/// Pixel loops for one kind of processor, where that pays; everything has a portable twin elsewhere.
namespace platform {

/// Whether this build and this processor have unpackRgb(); asked for at run time.
bool hasUnpackRgb();

/// Unpacks `count` px of RGB888 at `from` to RGB32 at `to`, four at a time: up to 3 px more than asked for
/// are written, and up to 13 bytes behind the last pixel are read. Only if hasUnpackRgb().
void unpackRgb(const unsigned char* from, int count, uint32_t* to);

}  // namespace platform
