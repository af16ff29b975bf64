// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <QSize>
#include <cstdint>
#include <vector>

#include "calibration/correctionmaps.h"
#include "calibration/runtable.h"
#include "platform/mixing.h"

/// What RunTable is for the nearest pixel, for smooth correction: a tile's maps, cut, as runs of neighbouring
/// pixels of the frame, and for every pixel of the picture how much its neighbours count. Made once when the
/// maps, the crop or the frame's shape change; used for every frame. It takes 2 bytes for each pixel, 6 where
/// runs would be too short.
///
/// What it makes is, pixel for pixel, cv::remap with these maps (bilinear, border pixels replicated). A
/// value; any thread.
class SmoothTable {
public:
    using Shape = RunTable::Shape;
    /// What does the work: the best that this processor can, or what every one can. The pixels are the same.
    enum class Code { Best, Portable };

    /// A table that serves no frame.
    SmoothTable() = default;

    /// `maps` (`CV_32FC1`, of one size) give the source place, in frame px, of every pixel of the picture.
    /// Throws what OpenCV throws on maps that are none, and std::bad_alloc. A shape of another format than
    /// Grayscale8 and RGB888, one that remap cannot address, or less than 2 x 2 px gives a table that serves
    /// no frame.
    SmoothTable(const PartMaps& maps, const Shape& shape);

    /// Whether `apply` can be called with such frames.
    bool serves(const Shape& shape) const { return !picture.isEmpty() && shape == source; }
    /// Size of the pictures it makes, px.
    QSize pictureSize() const { return picture; }

    /// Corrects a frame, for whose shape the table must serve, into `target`: a picture of `pictureSize()` in
    /// the frame's format, with pixels of its own.
    void apply(const QImage& frame, QImage& target, Code code = Code::Best) const;

    /// Mean length of the runs in px, 0 where there are none: the picture is put together pixel by pixel.
    double meanRun() const;

private:
    using Run = platform::PixelRun;

    void takePlaces(const cv::Mat& places, const cv::Mat& fractions);
    void buildRuns();
    void mixRow(const platform::MixedPicture& frame, int row, uchar* line) const;
    template <int channels>
    void gather(const platform::MixedPicture& frame, QImage& target) const;
    platform::MixWeights weightsOf(int row) const;

    Shape source;
    QSize picture;
    int pixelBytes = 0;
    std::vector<uint8_t> right;    ///< per pixel, as MixWeights has them
    std::vector<uint8_t> below;    ///< per pixel
    std::vector<int32_t> offsets;  ///< per pixel, of the upper left one of four; empty where there are runs
    std::vector<Run> runs;
    std::vector<size_t> firstRun;  ///< per row of the picture, and one more
};
