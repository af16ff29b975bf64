#pragma once

#include <array>
#include <opencv2/core.hpp>
#include <optional>
#include <vector>

#include "calibration/cornerlists.h"

/// One camera's calibration: what its file holds.
struct Calibration {
    cv::Mat transform;  ///< 3 x 3 `CV_64F`: frame px to corrected px; finite and with an inverse
    cv::Mat cornerSrc;  ///< 4 x 2 `CV_32F`: marked corners, frame px, order TL, TR, BL, BR
    cv::Mat cornerDst;  ///< 4 x 2 `CV_32F`: destination corners, corrected px, same order
};

/// Grid cells between the marked corners, per camera.
using GridCounts = std::array<int, 4>;

/// The calibrations of the first `count` cameras (1 ... 4) from their ordered corners (frame px) and grid
/// counts. All look at one grid: the size of a cell is taken from camera 0, and each camera's corners go to a
/// rectangle of its counts times that size, at its own top left corner. Pure; any thread. Nothing is thrown.
///
/// Nothing at all, since the pictures only join together, when a camera has fewer than four corners or a
/// rectangle has no area, corners lie on one line, or a transform is not finite or has no inverse.
std::optional<std::vector<Calibration>> computeCalibrations(const CornerLists& corners,
                                                            const GridCounts& xCounts,
                                                            const GridCounts& yCounts, int count);
