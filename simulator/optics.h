// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QSize>

#include <opencv2/core.hpp>

namespace kvsim {

/// Where the cameras stand: the way from the flat scene into their frames. Pure functions, any thread.
///
/// Coordinates: **scene** units (0.1 mm, origin at the top-left corner of the scene, y down) and **frame**
/// px, where a whole number is the centre of a pixel.
///
/// The sensor has 2560 x 1920 px. A resolution mode of another shape cuts the middle out of it, one of
/// another size scales it (both axes alike), so every mode looks at the same middle and one as wide as the
/// sensor sees its full width.

/// Scene -> frame of the given size, without mirrors. `centre` is the point of the scene that the camera
/// looks at; `perspective` scales how far it is off the perpendicular. Every camera index has its own small
/// tilt and turn.
cv::Matx33d sceneToFrame(int camera, cv::Point2d centre, double perspective, QSize frame);

/// The same frame with left and right, or top and bottom, exchanged.
cv::Matx33d mirrored(const cv::Matx33d& homography, QSize frame, bool mirrorX, bool mirrorY);

cv::Point2d mapped(const cv::Matx33d& homography, cv::Point2d point);

/// The smallest upright rectangle around the picture of `area`.
cv::Rect2d boundsOf(const cv::Matx33d& homography, const cv::Rect2d& area);

}  // namespace kvsim
