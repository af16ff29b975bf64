// SPDX-License-Identifier: Apache-2.0
/// What four simulated cameras show of their sheet, corrected and joined as the program does, with the true
/// places of its crossings. Needs the parts of the simulator that draw.
#pragma once

#include <QPointF>
#include <QSize>
#include <QVector>

#include "measure/tilepicture.h"

/// A crossing of the reference grid whose mark is drawn.
struct SheetCrossing {
    int column = 0;  ///< cells from the first ringed mark
    int row = 0;
    bool isRinged = false;
    bool isAtSeam = false;    ///< a seam cuts its mark
    QVector<QPointF> places;  ///< scene px, where each tile sees it that does

    /// How far a point is from it, px, in the tile that the point lies in.
    double distanceTo(QPointF seen) const;
    /// Where a person sees it.
    QPointF place() const { return places.first(); }
};

struct SimulatedSheet {
    QVector<TilePicture> tiles;
    QVector<SheetCrossing> crossings;
};

/// From exact corners of frames that are `frame` px large, with sensor noise.
SimulatedSheet simulatedSheet(QSize frame, bool isSmooth);
