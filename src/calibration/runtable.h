// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <QRect>
#include <QSize>
#include <opencv2/core.hpp>
#include <cstdint>
#include <functional>
#include <vector>

/// A tile's maps and crop rectangle in the form that a frame can be corrected with at the speed of copying:
/// where in the frame each row of the cut picture comes from, as runs of neighbouring pixels. Made once when
/// the maps, the crop or the frame's shape change; used for every frame.
///
/// What it makes is, pixel for pixel, cv::remap with these maps (nearest neighbour, border pixels
/// replicated), cut, in the frame's own format. A value; any thread.
class RunTable {
public:
    /// The shape of the frames that a table is for.
    struct Shape {
        QSize size;                                      ///< px
        int bytesPerLine = 0;                            ///< distance of two rows
        QImage::Format format = QImage::Format_Invalid;  ///< Grayscale8 or RGB888

        static Shape of(const QImage& frame) { return {frame.size(), frame.bytesPerLine(), frame.format()}; }
        bool operator==(const Shape& other) const {
            return size == other.size && bytesPerLine == other.bytesPerLine && format == other.format;
        }
        bool operator!=(const Shape& other) const { return !(*this == other); }
    };

    /// A table that serves no frame.
    RunTable() = default;

    /// `mapX` and `mapY` (`CV_32FC1`, of one size) give the source px of every corrected pixel; `crop` is the
    /// part wanted, in corrected px, inside the maps. Throws what OpenCV throws on maps that are none, and
    /// std::bad_alloc. A shape of another format, or one that remap cannot address, gives a table that serves
    /// no frame.
    RunTable(const cv::Mat& mapX, const cv::Mat& mapY, const QRect& crop, const Shape& shape);

    /// Whether `apply` can be called with such frames.
    bool serves(const Shape& shape) const { return !picture.isEmpty() && shape == source; }
    /// Size of the pictures it makes, px.
    QSize pictureSize() const { return picture; }

    /// Corrects a frame, for whose shape the table must serve, into `target`: a picture of `pictureSize()` in
    /// the frame's format, with pixels of its own or those of a part of a larger picture. Nothing beside its
    /// pixels is written.
    ///
    /// Whoever looks at the picture too can do so while its rows are still in the processor's cache:
    /// `rowsMade` is called now and then, on this thread, when that many rows from the top are made, at last
    /// with all of them.
    void apply(const QImage& frame, QImage& target, const std::function<void(int)>& rowsMade = {}) const;

    /// Mean length of the runs in px, 0 where there are none: the picture is put together pixel by pixel.
    double meanRun() const;

private:
    /// Neighbouring pixels of a row of the frame, or one pixel many times.
    struct Run {
        int32_t offset;  ///< byte in the frame, of the first pixel
        int32_t length;  ///< px; negative: that many times the same one
    };

    void buildRuns(const cv::Mat& places);
    int32_t frameBytes() const { return source.bytesPerLine * source.size.height(); }
    void copyRuns(const uchar* frame, int row, uchar* line) const;
    void gather(const uchar* frame, QImage& target) const;

    Shape source;
    QSize picture;
    int pixelBytes = 0;
    std::vector<Run> runs;
    std::vector<size_t> firstRun;  ///< per row of the picture, and one more
    std::vector<int32_t> offsets;  ///< per pixel of the picture instead, where runs would be too short
};
