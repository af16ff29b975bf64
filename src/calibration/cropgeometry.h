// SPDX-License-Identifier: Apache-2.0
/// Where each corrected picture is cut so that the pictures join. Pure functions; any thread.
#pragma once

#include <QPointF>
#include <QRect>
#include <QSize>
#include <QVector>
#include <array>
#include <optional>

/// Index of a corner in every list of four: the order that calibration files and all arithmetic use.
enum Corner { TopLeft, TopRight, BottomLeft, BottomRight, CornerCount };

/// Destination corners per tile, corrected tile px. A list that is not four long means an uncalibrated tile.
using CornerTable = std::array<QVector<QPointF>, 4>;

/// The cut values, px. Only those of the layout in use are meaningful.
struct CropGeometry {
    // 2 x 2 grid: width of the left and right column, height of the upper and lower row.
    int cropLeft = 0;
    int cropRight = 0;
    int cropTop = 0;
    int cropBottom = 0;
    // One row: width and first line of each tile, common height.
    std::array<int, 4> rowWidths{};
    std::array<int, 4> rowOffsets{};
    int rowHeight = 0;
};

/// The cut values for frames of `frame` px. `layoutMode` 0 is the 2 x 2 grid and needs the corners of all
/// four tiles; any other value is one row of `tileCount` tiles. Conversions to int truncate toward zero.
/// Nothing when corners are missing.
std::optional<CropGeometry> computeCropGeometry(const CornerTable& corners, int tileCount, int layoutMode,
                                                QSize frame);

/// The rectangle (corrected tile px) of `tile`, from values that `computeCropGeometry` gave for the same
/// corners. It may reach outside the picture when corners do.
QRect cropRectangle(const CropGeometry& geometry, const CornerTable& corners, int layoutMode, int tile);
