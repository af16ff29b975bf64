#include "calibration/cornerlists.h"

std::optional<TilePoint> assignCorner(QPointF scenePoint, QSize tile, int layoutMode) {
    const double x = scenePoint.x();
    const double y = scenePoint.y();
    const double w = tile.width();
    const double h = tile.height();
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
