// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// The inner loops of a picture that is shown smaller: weighed means of bytes, and grey or colour bytes
/// spread to RGB32. Each kind of processor has its own; all of them give the same bytes.
namespace platform {

/// What the weights of one mean add up to.
constexpr int kBoxWhole = 128;

/// Sources of one mean at most.
constexpr int kBoxTaps = 16;

/// Outputs at a time: the tables of BoxColumns are filled up to a multiple of it, with weights of 0.
constexpr int kBoxTogether = 16;

/// What may be read behind the last source of a row of means; whatever is there does not count.
constexpr size_t kBoxBehind = 80;

/// A row of bytes and what it counts: 0 to 127, so two entries for a row that counts all.
struct BoxRow {
    const unsigned char* bytes;
    int weight;
};

/// Of each output pixel the source pixels that lie beside each other and what each counts.
struct BoxColumns {
    const int32_t* starts;  ///< px; one an output, rising
    const unsigned char*
        weights;  ///< `taps` an output, together kBoxWhole; kBoxTaps bytes may be read behind
    const unsigned char* shuffles;  ///< grey, four taps: of four outputs the 16 places from the first's start
    int taps;                       ///< 4, 8, 12 or 16
    int count;                      ///< outputs
};

struct BoxLoops {
    const char* name;

    /// to[i] = mean of rows[0..count)[i], rounded, less 128, for `bytes` bytes. `count` is even and at most
    /// kBoxTaps + 2. Reads and writes no other bytes.
    void (*rows)(const BoxRow* rows, int count, size_t bytes, signed char* to);

    /// Opaque RGB32 means of grey pixels as rows() makes them; kBoxBehind bytes of `from` may be read behind
    /// the last one needed. Writes columns.count pixels.
    void (*grey)(const signed char* from, const BoxColumns& columns, uint32_t* to);

    /// The same of pixels of three bytes (red, green, blue) or four (RGB32 as it lies in memory, little
    /// endian).
    void (*colour)(const signed char* from, int channels, const BoxColumns& columns, uint32_t* to);

    /// Opaque RGB32 of pixels of one, three or four bytes. Reads and writes `count` pixels.
    void (*spread)(const unsigned char* from, int channels, int count, uint32_t* to);
};

/// The fastest ones that this build and this processor have; asked for at run time.
const BoxLoops& boxLoops();

/// All that they have, the fastest first, the ones for every processor last.
std::vector<const BoxLoops*> everyBoxLoops();

/// Those of one kind of processor; null where this build or this processor has none.
const BoxLoops* boxLoopsSsse3();
const BoxLoops* boxLoopsAvx2();

}  // namespace platform
