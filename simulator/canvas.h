// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace kvsim {

/// A colour as printed, in the order of the frames: red, green, blue.
using Ink = cv::Vec3b;

/// A picture of a part of the scene that is drawn in scene units, with edges that are exact to a fraction of
/// a pixel: the position of a line in a frame is what calibrations are measured against. Not thread-safe; one
/// is drawn by one thread.
class Canvas {
public:
    /// `area` in scene units; `scale` in px per scene unit.
    Canvas(const cv::Rect2d& area, double scale, const Ink& background);

    /// Three channels, red green blue.
    cv::Mat& picture() { return picture_; }
    double scale() const { return scale_; }
    const cv::Rect2d& area() const { return area_; }
    /// Scene -> pixel of this picture, whole numbers being pixel centres.
    cv::Matx33d sceneToPixel() const;

    void rectangle(const cv::Rect2d& rectangle, const Ink& ink);
    /// A frame of the given line width, inside the rectangle.
    void outline(const cv::Rect2d& rectangle, double width, const Ink& ink);
    void ring(cv::Point2d centre, double innerRadius, double outerRadius, const Ink& ink);
    void disc(cv::Point2d centre, double radius, const Ink& ink) { ring(centre, 0, radius, ink); }
    /// Two opposite quadrants of a disc: their meeting point is as exact as the edges of a rectangle.
    void crossing(cv::Point2d centre, double radius, const Ink& ink);
    /// A disc of sectors that are inked in turn, the first one beginning at the x axis.
    void star(cv::Point2d centre, double radius, int sectors, const Ink& ink);
    /// One line of ASCII. `baseline` is the left end of its base line, `height` that of a capital letter;
    /// `weight` is the stroke's share of the height.
    void text(cv::Point2d baseline, double height, const std::string& text, const Ink& ink,
              double weight = 0.13);
    /// Width of such a line in scene units.
    static double textWidth(double height, const std::string& text);

private:
    template <typename Coverage>
    void blend(const cv::Rect2d& bounds, const Ink& ink, Coverage coverage);

    cv::Rect2d area_;
    double scale_;
    cv::Mat picture_;
};

/// `background` with `share` (0 ... 1) of `ink` over it.
Ink mixed(const Ink& background, const Ink& ink, double share);

}  // namespace kvsim
