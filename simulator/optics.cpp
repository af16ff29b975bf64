// SPDX-License-Identifier: Apache-2.0
#include "optics.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace kvsim {

namespace {

constexpr double kSensorWidth = 2560;   // px
constexpr double kSensorHeight = 1920;  // px

/// How one camera is off its ideal place.
struct Pose {
    double turn;          // degrees
    double scale;         // sensor px per scene unit
    double tiltX, tiltY;  // perspective, 1 / px
    double offX, offY;    // px
};

// Small enough that each camera's calibration rectangle stays inside its frame, and no two alike.
constexpr std::array<Pose, 8> kPoses{{
    {0.9, 0.995, 2.2e-5, -2.6e-5, 8, -10},
    {-1.3, 1.012, -1.6e-5, 3.0e-5, -14, 6},
    {1.6, 0.985, -2.4e-5, -1.8e-5, 10, 12},
    {-0.7, 1.004, 2.8e-5, 2.2e-5, -6, -8},
    {1.1, 1.008, 1.4e-5, 2.8e-5, 12, 4},
    {-1.5, 0.990, -2.6e-5, -1.2e-5, -8, 10},
    {0.6, 1.015, 3.0e-5, 1.6e-5, 4, -12},
    {-1.0, 0.998, -1.2e-5, -2.8e-5, -10, -4},
}};

cv::Matx33d shift(double x, double y) {
    return {1, 0, x, 0, 1, y, 0, 0, 1};
}

cv::Matx33d scaling(double factor) {
    return {factor, 0, 0, 0, factor, 0, 0, 0, 1};
}

}  // namespace

cv::Matx33d sceneToFrame(int camera, cv::Point2d centre, double perspective, QSize frame) {
    const Pose& pose = kPoses[static_cast<size_t>(camera) % kPoses.size()];
    const double turn = pose.turn * perspective * CV_PI / 180;
    const double zoom = 1 + (pose.scale - 1) * perspective;
    const cv::Matx33d rotation(std::cos(turn), -std::sin(turn), 0, std::sin(turn), std::cos(turn), 0, 0, 0,
                               1);
    const cv::Matx33d tilt(1, 0, 0, 0, 1, 0, pose.tiltX * perspective, pose.tiltY * perspective, 1);
    // Sensor px around the middle of the sensor.
    const cv::Matx33d toSensor = shift(pose.offX * perspective, pose.offY * perspective) * tilt * rotation *
                                 scaling(zoom) * shift(-centre.x, -centre.y);

    const double factor = std::max(frame.width() / kSensorWidth, frame.height() / kSensorHeight);
    const cv::Matx33d homography =
        shift((frame.width() - 1) / 2.0, (frame.height() - 1) / 2.0) * scaling(factor) * toSensor;
    return homography * (1 / homography(2, 2));
}

cv::Matx33d mirrored(const cv::Matx33d& homography, QSize frame, bool mirrorX, bool mirrorY) {
    const cv::Matx33d mirror(mirrorX ? -1 : 1, 0, mirrorX ? frame.width() - 1 : 0,  //
                             0, mirrorY ? -1 : 1, mirrorY ? frame.height() - 1 : 0, 0, 0, 1);
    return mirror * homography;
}

cv::Point2d mapped(const cv::Matx33d& homography, cv::Point2d point) {
    const cv::Vec3d result = homography * cv::Vec3d(point.x, point.y, 1);
    return {result[0] / result[2], result[1] / result[2]};
}

cv::Rect2d boundsOf(const cv::Matx33d& homography, const cv::Rect2d& area) {
    const cv::Point2d corners[] = {
        mapped(homography, area.tl()), mapped(homography, {area.x + area.width, area.y}),
        mapped(homography, {area.x, area.y + area.height}), mapped(homography, area.br())};
    cv::Point2d low = corners[0];
    cv::Point2d high = corners[0];
    for (const cv::Point2d& corner : corners) {
        low = {std::min(low.x, corner.x), std::min(low.y, corner.y)};
        high = {std::max(high.x, corner.x), std::max(high.y, corner.y)};
    }
    return {low, high};
}

}  // namespace kvsim
