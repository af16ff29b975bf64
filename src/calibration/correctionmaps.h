#pragma once

#include <QSize>
#include <opencv2/core.hpp>

/// Builds the maps that remap a frame with: element (r, c) of `mapX` and `mapY` (`CV_32FC1`, `size` large) is
/// the source x and y in frame px of the corrected picture's pixel (c, r), i.e. the inverse of `transform`
/// applied to (c, r). `transform` is the 3 x 3 matrix (`CV_64FC1`) from frame px to corrected px. Pure; any
/// thread.
///
/// False, and both maps empty, when the transform has no inverse or the size is none that a picture can have.
bool buildCorrectionMaps(const cv::Mat& transform, QSize size, cv::Mat& mapX, cv::Mat& mapY);
