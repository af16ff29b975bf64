#pragma once

#include <QImage>
#include <QRect>
#include <QSize>
#include <opencv2/core.hpp>
#include <cstdint>
#include <vector>

#include "platform/pixels.h"

/// A tile's maps and crop rectangle in the form that a frame can be corrected with at the speed of copying:
/// where in the frame each row of the cut picture comes from, as runs of neighbouring pixels. Made once when
/// the maps, the crop or the frame's shape change; used for every frame.
///
/// What it makes is, pixel for pixel, cv::remap with these maps (nearest neighbour, border pixels
/// replicated), cut, as an RGB32 picture. A value; any thread, one at a time for `apply`.
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

    /// What does the work: the best that this processor can, or what every one can. The pixels are the same.
    enum class Code { Best, Portable };

    /// Corrects a frame, for whose shape the table must serve, into `target`: an RGB32 picture of
    /// `pictureSize()` with pixels of its own.
    void apply(const QImage& frame, QImage& target, Code code = Code::Best) const;

    /// Mean length of the runs in px, 0 where there are none: the picture is put together pixel by pixel.
    double meanRun() const;

private:
    using Run = platform::PixelRun;

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
