// SPDX-License-Identifier: Apache-2.0
/// Arithmetic of the tiles' places and of the view on them. Pure functions; any thread.
#pragma once

#include <QList>
#include <QPointF>
#include <QRect>
#include <QSize>
#include <QVector>
#include <array>
#include <optional>

/// The place of one tile while tiles are arranged.
struct ImagePos {
    double x = 0.0;  ///< scene px
    double y = 0.0;
    int index = 0;  ///< tile
};

/// The tiles in reading order. `layoutMode` 0 takes them for a 2 x 2 grid (top left, top right, bottom left,
/// bottom right: by y, then each pair by x); any other value for a row (by x).
QList<ImagePos> readingOrder(QList<ImagePos> tiles, int layoutMode);

/// Tiles per row when uncorrected tiles are arranged: all of them in layout mode 1, otherwise what is
/// configured, at least one.
int arrangedColumns(int configured, int layoutMode, int tileCount);

/// Where slot `slot` of the arrangement lies, scene px.
QPointF slotPosition(int slot, int columns, QSize tileSize);

/// Where each tile's picture goes when the operator rearranges uncorrected tiles of `tileSize` px: the slots
/// in reading order, each with its place (scene px) and the tile that it holds.
QList<ImagePos> rearranged(const QList<ImagePos>& tiles, QSize tileSize, int columns, int layoutMode);

/// Where corrected tiles lie, scene px, so that their pictures join: in a row each begins where the widths of
/// those before it end; in the 2 x 2 grid all meet at the lower right corner of tile 0. `sizes` are those of
/// the tiles' pictures, `rowWidths` the widths of the crop.
QVector<QPointF> correctedPositions(const QVector<QSize>& sizes, const std::array<int, 4>& rowWidths,
                                    int layoutMode);

/// How the view has to be set to show all tiles.
struct ZoomFit {
    QRect sceneRect;     ///< scene px: from the first tile's corner to the last one's, one tile size larger
    double scale = 1.0;  ///< view px per scene px
};

/// The view that shows tiles at `positions` (scene px, truncated to whole px), all taken to be as large as
/// the first one (`tileSize`, px), in a view of `viewSize` px; one view pixel stays free on each side. Tiles
/// that are spread can be fitted although the first one's picture is empty. Nothing when there is no scale
/// that does it: no tile, nothing to see, no room.
std::optional<ZoomFit> zoomFit(const QVector<QPointF>& positions, QSize tileSize, QSize viewSize);

/// What a step of zooming scales the view by, and one back.
constexpr double kZoomStep = 1.1;
constexpr double kZoomStepBack = 0.9090909090909091;

/// What the mouse wheel scales a view by that shows `scale` view px per scene px, for so many notches, whole
/// or not, away from the user: a step of zooming each. It goes no further than what is of use: in to 64 view
/// px a scene px, out to a quarter of a view px; where all of the scene is in view (`fitScale`) closer or
/// further away than 1, to 64 times or a quarter of that. A view that is beyond already only comes back. 1 =
/// nothing to do.
double wheelZoomFactor(double scale, double notches, double fitScale);

/// A scene position from the configuration file: whole px, far-out values brought back to where a scene can
/// still place an item.
int tilePosition(double stored);
