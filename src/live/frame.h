// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <memory>
#include <utility>

/// One frame of a camera, which owns its pixels: whoever has it has the block, and the block goes with it.
struct Frame {
    Frame() = default;
    /// `buffer`, which the pixels of `picture` lie in, was allocated with `new unsigned char[]` and belongs
    /// to the frame from now on. It may be null, and the picture empty.
    Frame(QImage picture, unsigned char* buffer, quint64 stamp)
        : image(std::move(picture)), timestamp(stamp), block(buffer) {}

    QImage image;           ///< frame px; not to be kept or shared beyond the frame's life
    quint64 timestamp = 0;  ///< ms since the epoch

private:
    std::unique_ptr<unsigned char[]> block;
};
