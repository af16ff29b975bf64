// SPDX-License-Identifier: Apache-2.0
/// What a px of the corrected pictures is worth. Pure; any thread.
#pragma once

#include <QLineF>
#include <QPointF>
#include <QSizeF>
#include <optional>

/// The size of a grid cell, mm, and of the same cell in the corrected picture, px.
struct CellScale {
    QSizeF mm;
    QSizeF px;
    int unit = 1;  ///< that measures are shown in: 0 pix, 1 mm, others um

    /// Sizes are numbers above 0, and a px is of a size that something can have: 1e-9 ... 1e6 mm.
    bool isValid() const;
    /// Display units per px, to the right and downwards; 1 and 1 in pix. Of a valid scale.
    QPointF unitsPerPixel() const;
};

/// The scale for which a line between two points of the corrected picture, px, is `mm` long. With a valid
/// scale `before` its cell keeps the proportion of its sides, else px are taken to be square; its unit stays
/// in any case. Nothing for a line or a length that is none.
std::optional<CellScale> scaleByLine(QLineF line, double mm, QSizeF cellPx, const CellScale& before);
