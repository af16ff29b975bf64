/// Arithmetic of the tiles' places and of the view on them. Pure functions; any thread.
#pragma once

#include <QPointF>
#include <QRect>
#include <QSize>
#include <QVector>
#include <optional>

/// How the view has to be set to show all tiles.
struct ZoomFit {
    QRect sceneRect;     ///< scene px: from the first tile's corner to the last one's, one tile size larger
    double scale = 1.0;  ///< view px per scene px
};

/// The view that shows tiles at `positions` (scene px, truncated to whole px), all taken to be as large as
/// the first one (`tileSize`, px), in a view of `viewSize` px; one view pixel stays free on each side.
/// Nothing when there is no scale that does it: no tile, an empty picture, no room.
std::optional<ZoomFit> zoomFit(const QVector<QPointF>& positions, QSize tileSize, QSize viewSize);

/// A scene position from the configuration file: whole px, far-out values brought back to where a scene can
/// still place an item.
int tilePosition(double stored);
