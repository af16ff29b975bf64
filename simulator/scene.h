// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opencv2/core.hpp>

#include <string>

#include "canvas.h"
#include "configuration.h"

namespace kvsim {

/// The flat scene that all cameras look at: a printed test chart (or a picture file) on a dark table.
///
/// Scene units are tenths of a millimetre, origin at the sheet's top-left corner, y down. A reference grid of
/// square cells covers the sheet but for its margin. Each camera has a field of whole cells, its calibration
/// rectangle; the fields of neighbours share an edge, in the grid arrangement all four share a corner, and in
/// a row all top edges lie on one line. The grid goes on for one cell around the fields.
///
/// Immutable after construction, so any number of threads may draw from it.
class Scene {
public:
    explicit Scene(const Configuration& configuration);

    static constexpr double kCell = 200;      ///< side of a cell
    static constexpr int kFieldColumns = 10;  ///< cells of a camera's field
    static constexpr int kFieldRows = 5;

    int cameras() const { return cameras_; }
    Arrangement arrangement() const { return arrangement_; }
    cv::Size2d size() const;
    /// Cells of the whole grid, and the place of its top-left corner.
    cv::Size gridCells() const;
    cv::Point2d gridOrigin() const;
    /// A camera's field: its calibration rectangle.
    cv::Rect2d field(int camera) const;
    /// The point that a camera looks at.
    cv::Point2d centreOf(int camera) const;

    /// The picture of a part of the scene at rest, which may reach beyond the sheet.
    Canvas draw(const cv::Rect2d& area, double scale) const;

    /// Where the moving parts go: the display in a camera's field, the digits on it, and the rail.
    cv::Rect2d display(int camera) const;
    static constexpr int kClockCells = 12;  ///< "hh:mm:ss.zzz"
    static constexpr int kNumberCells = 7;  ///< frame number
    cv::Rect2d clockCell(int camera, int position) const;
    cv::Rect2d numberCell(int camera, int position) const;
    /// Centre of the runner of a row of cameras at a time in seconds. It goes to and fro along the rail.
    cv::Point2d runner(int fieldRow, double seconds) const;
    int fieldRows() const;
    static constexpr double kRunnerRadius = 40;

    static Ink displayInk() { return {18, 24, 30}; }
    static Ink digitInk() { return {140, 255, 190}; }

private:
    int fieldColumns() const;
    cv::Point2d fieldOrigin(int camera) const;
    void drawSheet(Canvas& canvas) const;
    void drawGrid(Canvas& canvas) const;
    void drawRulers(Canvas& canvas) const;
    void drawCrossings(Canvas& canvas) const;
    void drawField(Canvas& canvas, int camera) const;
    void drawRails(Canvas& canvas) const;
    void drawDisplay(Canvas& canvas, int camera) const;
    void drawImage(Canvas& canvas) const;

    Arrangement arrangement_;
    int cameras_;
    bool moving_;
    cv::Mat image_;  // empty: the chart
};

}  // namespace kvsim
