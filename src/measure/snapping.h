// SPDX-License-Identifier: Apache-2.0
/// Where a point that was clicked beside a corner or an edge belongs. Pure functions; any thread.
#pragma once

#include <QImage>
#include <QPointF>

/// What a point was drawn to. Corners and crossings are one: both are found as points.
enum class SnapKind { None, Corner, Edge };

/// A point after snapping.
struct Snap {
    SnapKind kind = SnapKind::None;
    QPointF point;  ///< px of the picture; where nothing was found, the point as it was
    /// None since the nearest corner is cut by the picture's border.
    bool isCut = false;
};

/// The furthest that a point is drawn, px, whatever radius is asked for: what is looked at grows with its
/// square.
constexpr double kFarthestSnap = 150.0;

/// The corner or crossing nearest to `where`, to a fraction of a px; only without one, the place on the
/// nearest edge where the grey changes most steeply across it; without that too, none. A crossing
/// (crossing.h) goes before corners that are none, unless one of these is nearer by half the radius. Nothing
/// that is further than `radius` px from `where`, and nothing that could as well be noise. `where` is in px
/// of the picture, (0, 0) being the centre of its first pixel, and may lie outside.
///
/// A corner has to show two directions in the 7 x 7 px around it and is found only where these are in the
/// picture; where the picture's border cuts it, and none other is nearer, it is none, and not the edge beside
/// it that is left. The crossing of two lines is one corner, in their middle, where they are up to 5 px
/// broad; broader ones are bars with four. Of corners that are very faint beside others, or lie behind many
/// places of a texture that look like some, nothing is said. The picture is only read, and only the part
/// around `where`.
Snap snapIn(const QImage& picture, QPointF where, double radius);
