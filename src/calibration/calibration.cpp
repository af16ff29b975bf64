#include "calibration/calibration.h"

#include <QDebug>
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "calibration/cropgeometry.h"

namespace {

using Quad = std::array<cv::Point2f, 4>;

/// Any three of the corners lie on one line, or are no numbers: no perspective leads from them or to them.
/// Rounding would give such a system a solution all the same.
bool isDegenerate(const Quad& quad) {
    constexpr double kLeastSine = 1e-6;
    for (int left = 0; left < CornerCount; ++left) {
        const cv::Point2d a = quad[(left + 1) % CornerCount];
        const cv::Point2d ab = cv::Point2d(quad[(left + 2) % CornerCount]) - a;
        const cv::Point2d ac = cv::Point2d(quad[(left + 3) % CornerCount]) - a;
        const double sine = std::abs(ab.cross(ac)) / (cv::norm(ab) * cv::norm(ac));
        if (!(sine > kLeastSine))
            return true;
    }
    return false;
}

Quad markedCorners(const QList<CornerPoint>& corners) {
    Quad quad;
    std::transform(corners.begin(), corners.begin() + CornerCount, quad.begin(),
                   [](const CornerPoint& corner) {
                       return cv::Point2f(static_cast<float>(corner.x), static_cast<float>(corner.y));
                   });
    return quad;
}

cv::Mat asRows(const Quad& quad) {
    return cv::Mat(CornerCount, 2, CV_32F, const_cast<cv::Point2f*>(quad.data())).clone();
}

}  // namespace

std::optional<std::vector<Calibration>> computeCalibrations(const CornerLists& corners,
                                                            const GridCounts& xCounts,
                                                            const GridCounts& yCounts, int count) {
    if (count < 1 || count > static_cast<int>(corners.size()) ||
        std::any_of(corners.begin(), corners.begin() + count,
                    [](const QList<CornerPoint>& list) { return list.size() < CornerCount; }))
        return {};
    const auto& first = corners[0];
    // Computed in double and kept as float, like everything that follows: files of all installations agree.
    const auto cellWidth = static_cast<float>((first[TopRight].x - first[TopLeft].x) / xCounts[0]);
    const auto cellHeight = static_cast<float>((first[BottomRight].y - first[TopLeft].y) / yCounts[0]);

    std::vector<Calibration> calibrations;
    for (int i = 0; i < count; ++i) {
        const Quad src = markedCorners(corners[i]);
        const cv::Point2f origin = src[TopLeft];
        const float right = origin.x + static_cast<float>(xCounts[i]) * cellWidth;
        const float bottom = origin.y + static_cast<float>(yCounts[i]) * cellHeight;
        const Quad dst{origin, {right, origin.y}, {origin.x, bottom}, {right, bottom}};
        if (isDegenerate(src) || isDegenerate(dst)) {
            qWarning("Corners of camera %d make no rectangle", i);
            return {};
        }
        try {
            const cv::Mat transform = cv::getPerspectiveTransform(src.data(), dst.data(), cv::DECOMP_LU);
            if (!cv::checkRange(transform) || cv::determinant(transform) == 0.0) {
                qWarning("Corners of camera %d give no transform", i);
                return {};
            }
            calibrations.push_back({transform, asRows(src), asRows(dst)});
        } catch (const std::exception& error) {
            qWarning("Corners of camera %d: %s", i, error.what());
            return {};
        }
    }
    return calibrations;
}
