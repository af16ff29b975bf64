// SPDX-License-Identifier: Apache-2.0
#include "calibration/plane.h"

#include <cmath>

namespace {

/// Where the joined pictures put a corrected tile's px (0, 0), scene px.
std::array<QPointF, 4> originsOfTiles(const CropGeometry& geometry, const CornerTable& corners,
                                      int layoutMode, int tileCount) {
    std::array<QPointF, 4> origins;
    double left = 0.0;
    for (int i = 0; i < tileCount; ++i) {
        const QRect cut = cropRectangle(geometry, corners, layoutMode, i);
        const QPointF place = layoutMode != 0
                                  ? QPointF(left, 0.0)
                                  : QPointF(i % 2 == 0 ? 0 : geometry.cropLeft, i < 2 ? 0 : geometry.cropTop);
        origins[i] = place - cut.topLeft();
        left += geometry.rowWidths[i];
    }
    return origins;
}

/// Where a corrected tile's px (0, 0) belongs in the plane, up to a constant.
std::array<QPointF, 4> originsInPlane(const CornerTable& corners, int layoutMode, int tileCount) {
    std::array<QPointF, 4> origins;
    if (layoutMode == 0) {
        constexpr std::array<Corner, 4> kInner{BottomRight, BottomLeft, TopRight, TopLeft};
        for (int i = 0; i < tileCount; ++i)
            origins[i] = -corners[i][kInner[i]];
        return origins;
    }
    double left = 0.0;
    for (int i = 0; i < tileCount; ++i) {
        origins[i] = {left - corners[i][TopLeft].x(), -corners[i][TopRight].y()};
        left += corners[i][TopRight].x() - corners[i][TopLeft].x();
    }
    return origins;
}

bool isFinite(QPointF point) {
    return std::isfinite(point.x()) && std::isfinite(point.y());
}

bool isWholeNumber(double count) {
    constexpr double kTolerance = 0.01;
    return count > 1.0 - kTolerance && std::abs(count - std::round(count)) <= kTolerance;
}

}  // namespace

std::array<QPointF, 4> planeOffsets(const CornerTable& dstCorners, int layoutMode, int tileCount,
                                    QSize frame) {
    const auto geometry = computeCropGeometry(dstCorners, tileCount, layoutMode, frame);
    if (!geometry)
        return {};
    const auto shown = originsOfTiles(*geometry, dstCorners, layoutMode, tileCount);
    const auto even = originsInPlane(dstCorners, layoutMode, tileCount);
    std::array<QPointF, 4> offsets;
    for (int i = 1; i < tileCount; ++i) {
        offsets[i] = (even[i] - even[0]) - (shown[i] - shown[0]);
        if (!isFinite(offsets[i]))
            return {};
    }
    return offsets;
}

std::optional<QSizeF> cellPx(const CornerTable& dstCorners, int xCount, int yCount) {
    const auto& corners = dstCorners[0];
    if (corners.size() != CornerCount || xCount < 1 || yCount < 1)
        return {};
    const QPointF across = corners[BottomRight] - corners[TopLeft];
    const QSizeF cell(across.x() / xCount, across.y() / yCount);
    const bool isCell = std::isfinite(cell.width()) && std::isfinite(cell.height()) && cell.width() > 0.0 &&
                        cell.height() > 0.0;
    return isCell ? std::optional(cell) : std::nullopt;
}

bool isWholeCells(const CornerTable& dstCorners, QSizeF cell) {
    const auto all = cellPx(dstCorners, 1, 1);
    return all && isWholeNumber(all->width() / cell.width()) && isWholeNumber(all->height() / cell.height());
}
