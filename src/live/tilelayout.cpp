// SPDX-License-Identifier: Apache-2.0
#include "live/tilelayout.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

/// Beyond this, coordinates of items lose their whole pixels in the painter's arithmetic.
constexpr double kFarthest = 1e7;

// Where the wheel's zoom ends: of the scale at which all is in view, and view px a scene px.
constexpr double kSmallestView = 0.25;
constexpr double kLargestPixel = 64.0;

}  // namespace

QList<ImagePos> readingOrder(QList<ImagePos> tiles, int layoutMode) {
    if (layoutMode != 0) {
        std::stable_sort(tiles.begin(), tiles.end(), [](const auto& a, const auto& b) { return a.x < b.x; });
        return tiles;
    }
    std::stable_sort(tiles.begin(), tiles.end(), [](const auto& a, const auto& b) { return a.y < b.y; });
    for (int left = 0; left + 1 < tiles.size(); left += 2) {
        if (tiles[left].x > tiles[left + 1].x)
            tiles.swapItemsAt(left, left + 1);
    }
    return tiles;
}

int arrangedColumns(int configured, int layoutMode, int tileCount) {
    return std::max(1, layoutMode == 1 ? tileCount : configured);
}

QPointF slotPosition(int slot, int columns, QSize tileSize) {
    const int column = slot % columns;
    const int row = slot / columns;
    return {double(column) * tileSize.width(), double(row) * tileSize.height()};
}

QList<ImagePos> rearranged(const QList<ImagePos>& tiles, QSize tileSize, int columns, int layoutMode) {
    QList<ImagePos> places = readingOrder(tiles, layoutMode);
    for (int slot = 0; slot < places.size(); ++slot) {
        const QPointF place = slotPosition(slot, columns, tileSize);
        places[slot].x = place.x();
        places[slot].y = place.y();
    }
    return places;
}

QVector<QPointF> correctedPositions(const QVector<QSize>& sizes, const std::array<int, 4>& rowWidths,
                                    int layoutMode) {
    QVector<QPointF> positions;
    if (layoutMode != 0) {
        double x = 0.0;
        for (int i = 0; i < sizes.size(); ++i) {
            positions.append({x, 0.0});
            x += rowWidths[i];
        }
        return positions;
    }
    const double w = sizes.isEmpty() ? 0.0 : sizes[0].width();
    const double h = sizes.isEmpty() ? 0.0 : sizes[0].height();
    for (int i = 0; i < sizes.size(); ++i) {
        const double x = i == 0 ? 0.0 : i == 2 ? w - sizes[i].width() : w;
        const double y = i == 0 ? 0.0 : i == 1 ? h - sizes[i].height() : h;
        positions.append({x, y});
    }
    return positions;
}

int tilePosition(double stored) {
    return std::isnan(stored) ? 0 : static_cast<int>(std::clamp(stored, -kFarthest, kFarthest));
}

std::optional<ZoomFit> zoomFit(const QVector<QPointF>& positions, QSize tileSize, QSize viewSize) {
    if (positions.isEmpty())
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
    // A scene that has no width fits at any scale as far as its width goes, and likewise its height.
    constexpr double kAny = std::numeric_limits<double>::infinity();
    const double byHeight = fit.sceneRect.height() > 0 ? double(vh) / fit.sceneRect.height() : kAny;
    const double byWidth = fit.sceneRect.width() > 0 ? double(vw) / fit.sceneRect.width() : kAny;
    fit.scale = std::min(byHeight, byWidth);
    if (fit.scale <= 0.0 || fit.scale == kAny)
        return {};
    return fit;
}

double wheelZoomFactor(double scale, double notches, double fitScale) {
    if (!(scale > 0.0) || !std::isfinite(scale) || !std::isfinite(notches))
        return 1.0;
    const double farthest = std::min(1.0, fitScale) * kSmallestView;
    const double nearest = std::max(1.0, fitScale) * kLargestPixel;
    const double factor = std::pow(kZoomStep, notches);
    if (notches < 0.0)
        return scale * factor >= farthest ? factor : std::min(1.0, farthest / scale);
    return scale * factor <= nearest ? factor : std::max(1.0, nearest / scale);
}
