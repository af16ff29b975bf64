// SPDX-License-Identifier: Apache-2.0
/// What the joined tiles show: one even plane, and how large its cells are. Pure functions; any thread.
#pragma once

#include <QPointF>
#include <QSize>
#include <QSizeF>
#include <array>
#include <optional>

#include "calibration/cropgeometry.h"

/// Tiles are cut at whole px, while their corners lie between pixels, so a seam steps by fractions of a px
/// that are known. What has to be added to a scene point in each tile, px, so that points of all tiles are
/// points of one even plane; nothing for tile 0. It holds for tiles at their joined places, and as far as
/// neighbours share their marked corners: in a row the right ones of one are the left ones of the next, with
/// the top ones at one height; in the 2 x 2 grid all four share one.
///
/// Zeros where corners are missing or no numbers (see computeCropGeometry()).
std::array<QPointF, 4> planeOffsets(const CornerTable& dstCorners, int layoutMode, int tileCount,
                                    QSize frame);

/// The size of a grid cell in the corrected picture, px: all tiles have tile 0's. Nothing without its corners
/// or counts, or where they make no cell.
std::optional<QSizeF> cellPx(const CornerTable& dstCorners, int xCount, int yCount);

/// Whether tile 0's rectangle is a whole number of cells of that size, px, in both directions, within a
/// hundredth of one: if not, the cell is of another calibration.
bool isWholeCells(const CornerTable& dstCorners, QSizeF cell);
