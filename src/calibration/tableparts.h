// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QSize>
#include <algorithm>
#include <opencv2/core.hpp>
#include <vector>

/// What RunTable and SmoothTable have in common. Both know where the pixels of a picture come from, as runs
/// of neighbouring pixels of the frame or pixel by pixel.

constexpr int kTableBlock = 64;  ///< px; a block's source pixels fit however the picture is turned

/// Mean length of the runs that a picture (px) is put together from, px; 0 if there are none.
inline double meanRunOf(QSize picture, size_t runs) {
    return runs == 0 ? 0.0 : double(picture.width()) * picture.height() / double(runs);
}

/// Whether runs of this mean length make a picture faster than single pixels do.
inline bool areLongEnough(double meanRun) {
    return meanRun >= 4;
}

/// Gives a vector's memory back, which assigning {} keeps.
template <typename Item>
void giveBack(std::vector<Item>& items) {
    items = std::vector<Item>();
}

/// Goes through a picture (px) in blocks, several at a time as the library's remap does it: calls
/// `work(y, left, count)` for `count` pixels of row `y`, from column `left` on. On any threads; returns when
/// all are done.
template <typename Work>
void inBlocks(QSize picture, const Work& work) {
    const cv::Range blockRows(0, (picture.height() + kTableBlock - 1) / kTableBlock);
    cv::parallel_for_(blockRows, [&](const cv::Range& range) {
        for (int row = range.start; row < range.end; ++row) {
            const int top = row * kTableBlock;
            const int bottom = std::min(top + kTableBlock, picture.height());
            for (int left = 0; left < picture.width(); left += kTableBlock) {
                const int count = std::min(kTableBlock, picture.width() - left);
                for (int y = top; y < bottom; ++y)
                    work(y, left, count);
            }
        }
    });
}
