// SPDX-License-Identifier: Apache-2.0
#include "measure/tileplane.h"

#include <QRectF>
#include <algorithm>

namespace {

// Beside the tile: a click on its edge, or a point that snapped to it.
constexpr double kEdge = 0.5;  // px
// Tiles lie at whole px but for one that was dragged in a zoomed view.
constexpr double kJoined = 1e-3;  // px

bool holds(const PlaneTile& tile, QPointF point, double margin) {
    const QPointF inTile = point - tile.place;
    // Half open: at a seam there is a px of one tile.
    const double beyond = margin > 0.0 ? margin : -1e-9;
    return inTile.x() >= -margin && inTile.x() <= tile.size.width() + beyond && inTile.y() >= -margin &&
           inTile.y() <= tile.size.height() + beyond;
}

/// The upper one of those whose pixel it is, else one that it is just beside.
const PlaneTile* tileAt(const QVector<PlaneTile>& tiles, QPointF point) {
    for (const double margin : {0.0, kEdge}) {
        const auto found = std::find_if(tiles.crbegin(), tiles.crend(),
                                        [&](const PlaneTile& tile) { return holds(tile, point, margin); });
        if (found != tiles.crend())
            return &*found;
    }
    return nullptr;
}

/// How far the tile is from its place among the joined ones.
QPointF away(const PlaneTile& tile) {
    return tile.place - tile.joined;
}

}  // namespace

bool PlaneTile::operator==(const PlaneTile& other) const {
    return place == other.place && size == other.size && joined == other.joined && offset == other.offset &&
           isCorrected == other.isCorrected;
}

std::optional<PlaneFigure> planeFigure(const QVector<QPointF>& scenePoints, const QVector<PlaneTile>& tiles,
                                       const CellScale& scale) {
    if (!scale.isValid() || scale.unit == 0)
        return std::nullopt;
    const QPointF perPixel = scale.unitsPerPixel();
    PlaneFigure figure;
    figure.unit = scale.unit;
    figure.pixel = std::max(perPixel.x(), perPixel.y());
    const PlaneTile* first = nullptr;
    for (const QPointF point : scenePoints) {
        const PlaneTile* tile = tileAt(tiles, point);
        if (!tile || !tile->isCorrected)
            return std::nullopt;
        if (!first)
            first = tile;
        if ((away(*tile) - away(*first)).manhattanLength() > kJoined)
            return std::nullopt;
        const QPointF even = point - away(*tile) + tile->offset;
        figure.points.append({even.x() * perPixel.x(), even.y() * perPixel.y()});
    }
    return figure;
}
