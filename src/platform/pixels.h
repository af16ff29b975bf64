#pragma once

#include <cstdint>

/// Pixel loops for one kind of processor, where that pays; everything has a portable twin elsewhere.
namespace platform {

/// Whether this build and this processor have unpackRgb(); asked for at run time.
bool hasUnpackRgb();

/// Unpacks `count` px of RGB888 at `from` to opaque RGB32 at `to`, several at a time. Nothing at or behind
/// `fromEnd` is read, nothing at or behind `toEnd` is written; what lies between the last pixel asked for and
/// these ends may be read and overwritten. The pixels asked for must lie before both ends. Only if
/// hasUnpackRgb().
void unpackRgb(const unsigned char* from, const unsigned char* fromEnd, int count, uint32_t* to,
               const uint32_t* toEnd);

}  // namespace platform
