#include "app/tilelayout.h"

#include <algorithm>
#include <cmath>

namespace {

/// Beyond this, coordinates of items lose their whole pixels in the painter's arithmetic.
constexpr double kFarthest = 1e7;

}  // namespace

int tilePosition(double stored) {
    return std::isnan(stored) ? 0 : static_cast<int>(std::clamp(stored, -kFarthest, kFarthest));
}

std::optional<ZoomFit> zoomFit(const QVector<QPointF>& positions, QSize tileSize, QSize viewSize) {
    if (positions.isEmpty() || tileSize.isEmpty())
        return {};
    int minX = tilePosition(positions[0].x());
    int maxX = minX;
    int minY = tilePosition(positions[0].y());
    int maxY = minY;
    for (int i = 1; i < positions.size(); ++i) {
        const QPointF& p = positions[i];
        if (minX > p.x())
            minX = tilePosition(p.x());
        else if (p.x() > maxX)
            maxX = tilePosition(p.x());
        if (minY > p.y())
            minY = tilePosition(p.y());
        else if (p.y() > maxY)
            maxY = tilePosition(p.y());
    }
    ZoomFit fit;
    fit.sceneRect = QRect(minX, minY, maxX - minX + tileSize.width(), maxY - minY + tileSize.height());
    const int vw = viewSize.width() - 2;
    const int vh = viewSize.height() - 2;
    fit.scale = std::min(double(vh) / fit.sceneRect.height(), double(vw) / fit.sceneRect.width());
    if (fit.scale <= 0.0)
        return {};
    return fit;
}
