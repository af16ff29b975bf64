// SPDX-License-Identifier: Apache-2.0
#include "calibration/correction.h"

#include <QDebug>
#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "calibration/correctionmaps.h"

namespace {

/// The frame as a matrix over the same pixels. The format decides about the channels: asking the pixels would
/// take a colour frame of a grey scene for a grey one and read it wrongly.
cv::Mat wrapped(const QImage& frame) {
    const int type = frame.format() == QImage::Format_Grayscale8 ? CV_8UC1 : CV_8UC3;
    return {frame.height(), frame.width(), type, const_cast<uchar*>(frame.constBits()),
            static_cast<size_t>(frame.bytesPerLine())};
}

/// A picture over the matrix' pixels, which live as long as the picture does.
QImage pictureOf(const cv::Mat& pixels, QImage::Format format) {
    auto* keeper = new cv::Mat(pixels);
    return {keeper->data, keeper->cols,
            keeper->rows, static_cast<int>(keeper->step),
            format,       [](void* matrix) { delete static_cast<cv::Mat*>(matrix); },
            keeper};
}

}  // namespace

bool Correction::take(int tile, const Calibration& calibration, QSize size) {
    cv::Mat x;
    cv::Mat y;
    if (!buildCorrectionMaps(calibration.transform, size, x, y))
        return false;
    transforms[tile] = calibration.transform;
    mapX[tile] = x;
    mapY[tile] = y;
    dstCorners[tile] = pointsOf(calibration.cornerDst);
    return true;
}

QRect cropOf(const Correction& correction, int tile, int tileCount, int layoutMode, QSize frame,
             QSize picture) {
    constexpr qint64 kMaxPictures = 4;  // the crop of corners in or near the picture is smaller by far
    const QRect whole(QPoint(), picture);
    const auto geometry = computeCropGeometry(correction.dstCorners, tileCount, layoutMode, frame);
    if (!geometry)
        return whole;
    const QRect crop = cropRectangle(*geometry, correction.dstCorners, layoutMode, tile);
    // A negative size has to go first: QRect's intersection would turn it round.
    if (!crop.isValid() || !crop.intersects(whole) || crop.width() > kMaxMapSide ||
        crop.height() > kMaxMapSide)
        return whole;
    const qint64 pixels = qint64{crop.width()} * crop.height();
    const qint64 most = std::min(kMaxMapPixels, kMaxPictures * picture.width() * picture.height());
    return pixels <= most ? crop : whole;
}

std::optional<QTransform> nearestFromFrame(const Correction& correction, int tile, int tileCount,
                                           int layoutMode, QSize frame, QSize shown) {
    const cv::Mat& mapX = correction.mapX[tile];
    const cv::Mat& transform = correction.transforms[tile];
    if (correction.isSmooth || mapX.empty() || transform.size() != cv::Size(3, 3) ||
        transform.type() != CV_64F)
        return {};
    const QRect crop = cropOf(correction, tile, tileCount, layoutMode, frame, QSize(mapX.cols, mapX.rows));
    if (crop.size() != shown)
        return {};
    const auto at = [&transform](int row, int column) { return transform.at<double>(row, column); };
    return QTransform(at(0, 0), at(1, 0), at(2, 0), at(0, 1), at(1, 1), at(2, 1), at(0, 2), at(1, 2),
                      at(2, 2)) *
           QTransform::fromTranslate(-crop.x(), -crop.y());
}

QImage correctedPicture(const QImage& frame, const Correction& correction, int tile, int tileCount,
                        int layoutMode) {
    const cv::Mat& mapX = correction.mapX[tile];
    const cv::Mat& mapY = correction.mapY[tile];
    if (frame.isNull() || mapX.empty() || mapY.empty())
        return frame;
    try {
        // No camera sends another format; its pixels are not taken for three bytes each.
        const bool isKnown = frame.format() == QImage::Format_Grayscale8 || frame.depth() == 24;
        const QImage pixels = isKnown ? frame : frame.convertToFormat(QImage::Format_RGB888);
        const QRect crop =
            cropOf(correction, tile, tileCount, layoutMode, frame.size(), QSize(mapX.cols, mapX.rows));
        const PartMaps maps = partMaps(correction.transforms[tile], mapX, mapY, crop);
        cv::Mat remapped;
        cv::remap(wrapped(pixels), remapped, maps.x, maps.y,
                  correction.isSmooth ? cv::INTER_LINEAR : cv::INTER_NEAREST, cv::BORDER_REPLICATE,
                  cv::Scalar(0));
        return pictureOf(remapped, pixels.format());
    } catch (const std::exception& error) {
        qWarning("Frame of tile %d shown uncorrected: %s", tile, error.what());
        return frame;
    }
}
