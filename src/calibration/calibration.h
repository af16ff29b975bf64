// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPointF>
#include <QString>
#include <QVector>
#include <array>
#include <opencv2/core.hpp>
#include <vector>

#include "calibration/cornerlists.h"

/// One camera's calibration: what its file holds.
struct Calibration {
    cv::Mat transform;  ///< 3 x 3 `CV_64F`: frame px to corrected px; finite and with an inverse
    cv::Mat cornerSrc;  ///< 4 x 2 `CV_32F`: marked corners, frame px, order TL, TR, BL, BR
    cv::Mat cornerDst;  ///< 4 x 2 `CV_32F`: destination corners, corrected px, same order
};

/// The rows of a `cornerSrc` or `cornerDst` as points, in their order.
QVector<QPointF> pointsOf(const cv::Mat& corners);

/// Grid cells between the marked corners, per camera.
using GridCounts = std::array<int, 4>;

/// The calibrations of all tiles, or why there are none.
struct Calibrations {
    std::vector<Calibration> tiles;  ///< empty when there is a problem
    QString problem;  ///< a sentence for the operator, who knows the cameras by their numbers from 0
};

/// The calibrations of the first `count` cameras (1 ... 4) from their ordered corners (frame px) and grid
/// counts. All look at one grid: the size of a cell is taken from camera 0, and each camera's corners go to a
/// rectangle of its counts times that size, at its own top left corner. Pure; any thread. Nothing is thrown.
///
/// Nothing at all, since the pictures only join together, when a count is 0, when a camera has fewer than
/// four corners, when they are not finite, lie on one line or make no convex figure, or when a rectangle has
/// no area or a transform is not finite or has no inverse.
Calibrations computeCalibrations(const CornerLists& corners, const GridCounts& xCounts,
                                 const GridCounts& yCounts, int count);
