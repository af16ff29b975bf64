// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QList>
#include <QPointF>
#include <QSize>
#include <QString>
#include <array>
#include <optional>

class Mark;

/// A marked corner of the reference rectangle of one tile.
struct CornerPoint {
    double x = 0.0;  ///< tile px
    double y = 0.0;
    Mark* mark =
        nullptr;  ///< its cross-hair, owned by the scene; none for corners restored from a calibration file
};

/// The marked corners per tile, oldest first; at most four each.
using CornerLists = std::array<QList<CornerPoint>, 4>;

/// The tile that a point belongs to, and the point in tile px.
struct TilePoint {
    int tile;
    QPointF point;
};

/// Assigns a scene point (px) to a tile while all tiles are `tile` px large and joined: in the 2 x 2 grid
/// (`layoutMode` 0) every point right of or below the middle counts for the right or lower tiles, however far
/// out; in one row a point right of the fourth tile belongs to none. Neither does a point that is no number.
/// Pure; any thread.
std::optional<TilePoint> assignCorner(QPointF scenePoint, QSize tile, int layoutMode);

/// The point (scene px) in px of a given tile, in the same layout: a corner that was dragged out of its tile
/// stays its corner, with coordinates outside the picture. Pure; any thread.
QPointF tilePoint(int tile, QPointF scenePoint, QSize tileSize, int layoutMode);

/// Puts four corners into the order of `Corner`: by y, then each pair by x. False, and nothing changed, when
/// there are fewer than four or a coordinate is no number.
bool orderCorners(QList<CornerPoint>& corners);

/// What to tell of a camera that has fewer than four corners.
QString missingCornersText(int tile, int count);
