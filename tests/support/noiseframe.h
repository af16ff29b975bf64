// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <memory>
#include <opencv2/core.hpp>

/// A camera's frame of pixels by chance, the same for the same seed, in a block of exactly its size, so that
/// a sanitizer sees a byte too far. `padding` bytes follow each row, the last one only if `isLastPadded`.
struct NoiseFrame {
    NoiseFrame(QSize size, QImage::Format format, int padding, uint64_t seed, bool isLastPadded = true) {
        const int channels = format == QImage::Format_Grayscale8 ? 1 : 3;
        const int stride = size.width() * channels + padding;
        const size_t bytes = size_t(stride) * size_t(size.height()) - size_t(isLastPadded ? 0 : padding);
        block = std::make_unique<uchar[]>(bytes);
        cv::Mat all(1, int(bytes), CV_8U, block.get());
        cv::RNG(seed).fill(all, cv::RNG::UNIFORM, 0, 256);
        image = QImage(block.get(), size.width(), size.height(), stride, format);
        pixels = cv::Mat(size.height(), size.width(), channels == 1 ? CV_8UC1 : CV_8UC3, block.get(),
                         size_t(stride));
    }
    std::unique_ptr<uchar[]> block;
    QImage image;    ///< the block's pixels
    cv::Mat pixels;  ///< the same ones
};
