// SPDX-License-Identifier: Apache-2.0
#include "calibration/cornerlists.h"

#include <algorithm>
#include <cmath>

#include "calibration/cropgeometry.h"

std::optional<TilePoint> assignCorner(QPointF scenePoint, QSize tile, int layoutMode) {
    const double x = scenePoint.x();
    const double y = scenePoint.y();
    const double w = tile.width();
    const double h = tile.height();
    if (std::isnan(x) || std::isnan(y))
        return {};
    if (layoutMode == 0) {
        const bool right = x >= w;
        const bool lower = y >= h;
        return TilePoint{(right ? 1 : 0) + (lower ? 2 : 0), {right ? x - w : x, lower ? y - h : y}};
    }
    for (int i = 0; i < 4; ++i) {
        if (x < w * (i + 1))
            return TilePoint{i, {x - w * i, y}};
    }
    return {};
}

QPointF tilePoint(int tile, QPointF scenePoint, QSize tileSize, int layoutMode) {
    const double w = tileSize.width();
    const double h = tileSize.height();
    if (layoutMode == 0) {
        const int column = tile % 2;
        const int row = tile / 2;
        return scenePoint - QPointF(column * w, row * h);
    }
    return scenePoint - QPointF(tile * w, 0.0);
}

bool orderCorners(QList<CornerPoint>& corners) {
    if (corners.size() < CornerCount ||
        std::any_of(corners.begin(), corners.end(),
                    [](const CornerPoint& corner) { return std::isnan(corner.x) || std::isnan(corner.y); }))
        return false;
    std::sort(corners.begin(), corners.end(),
              [](const CornerPoint& a, const CornerPoint& b) { return a.y < b.y; });
    for (const int left : {TopLeft, BottomLeft}) {
        if (corners[left].x > corners[left + 1].x)
            std::swap(corners[left], corners[left + 1]);
    }
    return true;
}

QString missingCornersText(int tile, int count) {
    if (count == 0)
        return QStringLiteral("Camera %1 has no corners").arg(tile);
    return (count == 1 ? QStringLiteral("Camera %1 has only %2 corner")
                       : QStringLiteral("Camera %1 has only %2 corners"))
        .arg(tile)
        .arg(count);
}
