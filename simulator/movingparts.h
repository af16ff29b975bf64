// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opencv2/core.hpp>

#include <array>
#include <cstdint>
#include <vector>

#include "scene.h"
#include "sensormodel.h"

namespace kvsim {

/// The moment that a frame shows.
struct FrameTime {
    double seconds = 0;  ///< since the library was loaded; the same for all cameras
    int64_t number = 0;  ///< frame number of this camera
};

/// What is drawn over the prepared picture of each frame: the digits of the display in the camera's own
/// field, and the runners. All small: digits are prepared for each place of the display and only copied, the
/// runners are worked out from the few pixels they cover. Belongs to one camera's renderer and is guarded
/// with it.
class MovingParts {
public:
    /// For frames of the given size (px) and 1 or 3 channels that show the scene through `sceneToFrame`.
    MovingParts(const Scene& scene, int camera, const cv::Matx33d& sceneToFrame, cv::Size frame,
                int channels);

    /// Makes the digits anew for the sensor's look.
    void develop(const SensorModel& sensor);
    /// Draws into `picture`, a developed frame. `light` is the same frame at rest before development.
    void draw(cv::Mat& picture, const cv::Mat& light, const SensorModel& sensor, const FrameTime& time);

private:
    struct Digit {
        cv::Mat light;
        cv::Mat developed;
    };
    /// One place of the display and what can stand there.
    struct Place {
        cv::Rect box;  // frame px, inside the frame
        std::vector<Digit> digits;
    };

    Place makePlace(const cv::Rect2d& cell, const char* glyphs) const;
    Digit makeDigit(const cv::Rect2d& cell, const cv::Rect& box, char glyph) const;
    void drawDigits(cv::Mat& picture, const FrameTime& time) const;
    void drawRunner(cv::Mat& picture, const cv::Mat& light, const SensorModel& sensor, cv::Point2d centre);

    const Scene& scene_;
    cv::Matx33d sceneToFrame_;
    cv::Size frame_;
    int channels_;
    std::vector<Place> clock_;
    std::vector<Place> number_;
    cv::Mat runner_;  // reused
};

}  // namespace kvsim
