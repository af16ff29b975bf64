// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// Mixing of four neighbouring pixels, as bilinear interpolation does it.
namespace platform {

/// A run of neighbouring pixels of a packed picture.
struct PixelRun {
    int32_t offset;  ///< byte in the picture, of the first pixel
    int32_t length;  ///< px
};

constexpr int kMixParts = 32;  ///< a weight is so many parts of a pixel
constexpr int kMixAhead = 16;  ///< so many weights may be read behind those that are asked for

/// A packed picture of 1 or 3 bytes a pixel, at least 2 x 2 px large.
struct MixedPicture {
    const unsigned char* pixels;
    const unsigned char* end;  ///< nothing at or behind it is read
    ptrdiff_t bytesPerLine;
    int pixelBytes;
};

/// What the neighbours count, per pixel that is made: 0 ... kMixParts.
struct MixWeights {
    const uint8_t* right;
    const uint8_t* below;
};

/// One byte of a mixed pixel: that at `from`, the same of the pixels to the right, below, and both.
inline unsigned char mixed(const unsigned char* from, ptrdiff_t bytesPerLine, int pixelBytes, unsigned right,
                           unsigned below) {
    const unsigned upper = (kMixParts - right) * from[0] + right * from[pixelBytes];
    from += bytesPerLine;
    const unsigned lower = (kMixParts - right) * from[0] + right * from[pixelBytes];
    constexpr unsigned kWhole = kMixParts * kMixParts;
    return static_cast<unsigned char>(((kMixParts - below) * upper + below * lower + kWhole / 2) / kWhole);
}

/// Whether this build and this processor have mixRuns(); asked for at run time.
bool hasMixRuns();

/// Makes the pixels of runs (of positive lengths), one behind the other, at `to`, many at a time; bit for bit
/// those of mixed(). Nothing at or behind `toEnd` is written; what lies between the last pixel asked for and
/// it may be overwritten. Runs are of pixels that have neighbours to the right and below. Only if
/// hasMixRuns().
void mixRuns(const MixedPicture& picture, const PixelRun* first, const PixelRun* last, MixWeights weights,
             unsigned char* to, const unsigned char* toEnd);

}  // namespace platform
