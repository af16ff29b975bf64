// SPDX-License-Identifier: Apache-2.0
#include "calibration/calibration.h"

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

bool isFinite(const Quad& quad) {
    return std::all_of(quad.begin(), quad.end(), [](const cv::Point2f& corner) {
        return std::isfinite(corner.x) && std::isfinite(corner.y);
    });
}

/// Whether the way round the corners turns to one side only. A figure that turns to both, or crosses itself,
/// has a transform all the same, but that turns part of the picture inside out.
bool isConvex(const Quad& quad) {
    constexpr std::array<int, CornerCount> kRound{TopLeft, TopRight, BottomRight, BottomLeft};
    int toTheRight = 0;
    for (size_t i = 0; i < kRound.size(); ++i) {
        const cv::Point2d a = quad[kRound[i]];
        const cv::Point2d b = quad[kRound[(i + 1) % kRound.size()]];
        const cv::Point2d c = quad[kRound[(i + 2) % kRound.size()]];
        toTheRight += (b - a).cross(c - b) > 0 ? 1 : 0;
    }
    return toTheRight == 0 || toTheRight == CornerCount;
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

QString wrongCounts(const GridCounts& xCounts, const GridCounts& yCounts, int count) {
    for (int i = 0; i < count; ++i) {
        if (xCounts[i] != 0 && yCounts[i] != 0)
            continue;
        if (xCounts[i] == 0 && yCounts[i] == 0)
            return QStringLiteral("Counts of camera %1 are 0").arg(i);
        return QStringLiteral("%1 count of camera %2 is 0")
            .arg(QLatin1Char(xCounts[i] == 0 ? 'X' : 'Y'))
            .arg(i);
    }
    return {};
}

QString wrongCorners(const CornerLists& corners, int count) {
    for (int i = 0; i < count; ++i) {
        if (corners[i].size() < CornerCount)
            return missingCornersText(i, corners[i].size());
        const Quad src = markedCorners(corners[i]);
        if (!isFinite(src))
            return QStringLiteral("Corners of camera %1 are not finite").arg(i);
        if (isDegenerate(src))
            return QStringLiteral("Corners of camera %1 lie on one line").arg(i);
        if (!isConvex(src))
            return QStringLiteral("Corners of camera %1 make no convex figure").arg(i);
    }
    return {};
}

}  // namespace

QVector<QPointF> pointsOf(const cv::Mat& corners) {
    QVector<QPointF> points;
    for (int row = 0; row < corners.rows; ++row)
        points.append({double(corners.at<float>(row, 0)), double(corners.at<float>(row, 1))});
    return points;
}

Calibrations computeCalibrations(const CornerLists& corners, const GridCounts& xCounts,
                                 const GridCounts& yCounts, int count) {
    if (count < 1 || count > static_cast<int>(corners.size()))
        return {{}, QStringLiteral("There are %1 cameras").arg(count)};
    QString problem = wrongCorners(corners, count);
    if (problem.isEmpty())
        problem = wrongCounts(xCounts, yCounts, count);
    if (!problem.isEmpty())
        return {{}, problem};
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
        if (isDegenerate(dst))
            return {{}, QStringLiteral("Corners and counts of camera %1 make no rectangle").arg(i)};
        try {
            const cv::Mat transform = cv::getPerspectiveTransform(src.data(), dst.data(), cv::DECOMP_LU);
            if (!cv::checkRange(transform) || cv::determinant(transform) == 0.0)
                return {{}, QStringLiteral("Corners of camera %1 give no transform").arg(i)};
            calibrations.push_back({transform, asRows(src), asRows(dst)});
        } catch (const std::exception& error) {
            return {
                {},
                QStringLiteral("Corners of camera %1: %2").arg(i).arg(QString::fromLocal8Bit(error.what()))};
        }
    }
    return {calibrations, {}};
}
