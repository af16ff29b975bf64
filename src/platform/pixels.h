#pragma once

#include <cstdint>

/// Pixel loops for one kind of processor, where that pays; everything has a portable twin elsewhere.
namespace platform {

/// A run of neighbouring pixels of a packed picture, or one pixel many times.
struct PixelRun {
    int32_t offset;  ///< byte in the picture, of the first pixel
    int32_t length;  ///< px; negative: that many times the same one
};

/// Whether this build and this processor have unpackRgbRuns(); asked for at run time.
bool hasUnpackRgbRuns();

/// Unpacks runs of an RGB888 picture, one behind the other, to opaque RGB32 at `to`, several pixels at a
/// time. Nothing at or behind `pictureEnd` is read, nothing at or behind `toEnd` is written; what lies
/// between the last pixel asked for and these ends may be read and overwritten. The pixels asked for must lie
/// before both ends. Only if hasUnpackRgbRuns().
void unpackRgbRuns(const unsigned char* picture, const unsigned char* pictureEnd, const PixelRun* first,
                   const PixelRun* last, uint32_t* to, const uint32_t* toEnd);

}  // namespace platform
