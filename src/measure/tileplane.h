// SPDX-License-Identifier: Apache-2.0
/// The one plane that corrected tiles show. Pure; any thread.
#pragma once

#include <QPointF>
#include <QSize>
#include <QVector>
#include <optional>

#include "marks/marksurface.h"
#include "measure/scale.h"

/// A tile as it lies in the scene.
struct PlaneTile {
    QPointF place;   ///< scene px: where its first pixel begins
    QSize size;      ///< px of its picture
    QPointF joined;  ///< scene px: where it would have to be for the pictures to join
    QPointF offset;  ///< px, what is to be added to a joined tile's points for all tiles to be one even plane
    /// What it shows is even and as large as the tiles join. Of one that does not nothing can be said in mm.
    bool isCorrected = false;

    bool operator==(const PlaneTile& other) const;
};

/// Scene points in the plane of the tiles, as they would be with the tiles at their joined places: what is
/// seen in a tile keeps its coordinates wherever that is dragged. Of tiles that lie upon one another the
/// later one is the upper, whose point it is. The points are in the scale's unit; y grows downwards. A tile's
/// pixel (c, r) is there from (c, r) to (c + 1, r + 1), as it is seen. Nothing where that cannot be had:
/// without a valid scale or with one in px, for a point that lies in no corrected tile (half a px beside one
/// is still in it), and for points of tiles that do not lie to each other as they join.
std::optional<PlaneFigure> planeFigure(const QVector<QPointF>& scenePoints, const QVector<PlaneTile>& tiles,
                                       const CellScale& scale);
