// SPDX-License-Identifier: Apache-2.0
#include "calibration/cropgeometry.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

/// Truncation toward zero that is defined for every double: far-out values stop at the ends of int, NaN is 0.
/// A third of the range keeps sums and differences of two results inside int.
int truncated(double value) {
    constexpr double kLimit = std::numeric_limits<int>::max() / 3.0;
    return std::isnan(value) ? 0 : static_cast<int>(std::clamp(value, -kLimit, kLimit));
}

CropGeometry rowGeometry(const CornerTable& corners, int tileCount, QSize frame) {
    CropGeometry geometry;
    int topMin = truncated(corners[0][TopRight].y());
    int topMax = topMin;
    for (int i = 1; i < tileCount; ++i) {
        const double top = corners[i][TopRight].y();
        if (topMin > top)
            topMin = truncated(top);
        else if (top > topMax)
            topMax = truncated(top);
    }
    geometry.rowHeight = topMin - topMax + frame.height();

    const int last = tileCount - 1;
    for (int i = 0; i < tileCount; ++i) {
        const auto& tile = corners[i];
        geometry.rowOffsets[i] = truncated(tile[TopRight].y() - topMin);
        geometry.rowWidths[i] =
            truncated(i == 0 ? tile[TopRight].x() : tile[TopRight].x() - tile[TopLeft].x());
    }
    geometry.rowWidths[last] = truncated(frame.width() - corners[last][TopLeft].x());
    return geometry;
}

CropGeometry gridGeometry(const CornerTable& corners, QSize frame) {
    const auto& [d0, d1, d2, d3] = corners;
    const int w = frame.width();
    const int h = frame.height();
    CropGeometry geometry;
    geometry.cropLeft = std::min(truncated(d0[TopRight].x()), truncated(d2[TopRight].x()));
    geometry.cropRight = std::min(truncated(w - d1[TopLeft].x()), truncated(w - d3[TopLeft].x()));
    geometry.cropTop = std::min(truncated(d0[BottomLeft].y()), truncated(d1[BottomLeft].y()));
    geometry.cropBottom = std::min(truncated(h - d2[TopLeft].y()), truncated(h - d3[TopLeft].y()));
    return geometry;
}

}  // namespace

std::optional<CropGeometry> computeCropGeometry(const CornerTable& corners, int tileCount, int layoutMode,
                                                QSize frame) {
    const int needed = layoutMode == 0 ? 4 : tileCount;
    if (needed < 1 || needed > 4 || tileCount < needed)
        return {};
    if (std::any_of(corners.begin(), corners.begin() + needed,
                    [](const QVector<QPointF>& list) { return list.size() != CornerCount; }))
        return {};
    return layoutMode == 0 ? gridGeometry(corners, frame) : rowGeometry(corners, tileCount, frame);
}

QRect cropRectangle(const CropGeometry& geometry, const CornerTable& corners, int layoutMode, int tile) {
    const auto& d = corners[tile];
    if (layoutMode != 0) {
        const int left = tile == 0 ? 0 : truncated(d[TopLeft].x());
        return {left, geometry.rowOffsets[tile], geometry.rowWidths[tile], geometry.rowHeight};
    }
    const int l = geometry.cropLeft;
    const int r = geometry.cropRight;
    const int t = geometry.cropTop;
    const int b = geometry.cropBottom;
    switch (tile) {
        case 0:
            return {truncated(d[BottomRight].x() - l), truncated(d[BottomRight].y() - t), l, t};
        case 1:
            return {truncated(d[TopLeft].x()), truncated(d[BottomLeft].y() - t), r, t};
        case 2:
            return {truncated(d[TopRight].x() - l), truncated(d[TopLeft].y()), l, b};
        default:
            return {truncated(d[TopLeft].x()), truncated(d[TopLeft].y()), r, b};
    }
}
