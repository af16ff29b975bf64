// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPointF>
#include <QSize>
#include <QString>
#include <QVector>
#include <functional>
#include <optional>

#include "calibration/cornerlists.h"

/// The corners that are marked in the tiles, from the clicks to the ordered lists that a calibration is
/// computed from. A value without marks of its own: those belong to the scene. GUI thread.
class CornerMarking {
public:
    /// What became of a corner that was added.
    struct Added {
        int tile;
        QPointF point;             ///< tile px
        int total;                 ///< corners of the tile now, at most four
        QVector<Mark*> pushedOut;  ///< of the oldest corners, which had to go, to be removed; also null ones
    };

    /// The corners of all tiles, each tile's four in the order of `Corner`, or why there are none.
    struct Refreshed {
        CornerLists corners;  ///< tile px; as they are in the lists for tiles that are not there
        QString problem;      ///< a sentence; empty when there is none
    };

    /// Where a mark's cross-hair is now, scene px; nothing if it is none.
    using PlaceOf = std::function<std::optional<QPointF>(const Mark*)>;

    /// The tiles that corners are assigned to: px of each, layout as of assignCorner(), how many are there
    /// (up to four). The corners stay.
    void setTiles(QSize tileSize, int layoutMode, int tileCount);

    /// Takes a cross-hair at a scene point as a corner of the tile that the point lies in. Nothing, and
    /// nothing changed, if it lies in none.
    std::optional<Added> add(QPointF scenePoint, Mark* mark);

    /// Adds corners (tile px) that came from a file and have no cross-hairs.
    void restore(int tile, const QVector<QPointF>& points);

    /// A mark is deleted. Its corner keeps its place, but points to the mark no longer: another one may get
    /// the same address.
    void forget(const Mark* mark);

    /// Forgets all corners.
    void clear();

    /// The corners from where their cross-hairs are now; `placeOf` is asked about each mark. A corner without
    /// one, or whose mark has no place, stays where it is. The lists themselves stay in the order of marking.
    /// Says which tile has fewer than four corners, or one that is no number.
    Refreshed refreshed(const PlaceOf& placeOf) const;

    /// Takes the corners of a calibration that is in use now.
    void take(const CornerLists& corners) { cornerLists = corners; }

    /// Oldest first.
    const CornerLists& corners() const { return cornerLists; }

private:
    CornerLists cornerLists;
    QSize tileSize;
    int layoutMode = 1;
    int tileCount = 0;
};
