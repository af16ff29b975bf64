#include "calibration/correctionmaps.h"

#include <QDebug>
#include <opencv2/imgproc.hpp>

namespace {

/// Sides that cv::remap can address, and a total that keeps four pairs of maps within a PC's memory.
constexpr int kMaxSide = 32766;
constexpr qint64 kMaxPixels = 64LL * 1024 * 1024;

}  // namespace

bool buildCorrectionMaps(const cv::Mat& transform, QSize size, cv::Mat& mapX, cv::Mat& mapY) {
    mapX.release();
    mapY.release();
    if (size.isEmpty() || size.width() > kMaxSide || size.height() > kMaxSide ||
        qint64{size.width()} * size.height() > kMaxPixels) {
        qWarning("No correction maps of %d x %d", size.width(), size.height());
        return false;
    }
    try {
        cv::Mat inverse;
        if (cv::invert(transform, inverse, cv::DECOMP_LU) == 0.0)
            return false;
        inverse.convertTo(inverse, CV_32F);
        if (!cv::checkRange(inverse))
            return false;

        cv::Mat grid(size.height(), size.width(), CV_32FC2);
        for (int r = 0; r < grid.rows; ++r) {
            auto* row = grid.ptr<cv::Vec2f>(r);
            for (int c = 0; c < grid.cols; ++c)
                row[c] = cv::Vec2f(static_cast<float>(c), static_cast<float>(r));
        }
        cv::Mat source;
        cv::perspectiveTransform(grid, source, inverse);
        cv::Mat channels[2];
        cv::split(source, channels);
        cv::convertMaps(channels[0], channels[1], mapX, mapY, CV_32FC1, false);
        return true;
    } catch (const std::exception& error) {
        qWarning("Correction maps: %s", error.what());
        mapX.release();
        mapY.release();
        return false;
    }
}
