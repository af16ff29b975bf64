// SPDX-License-Identifier: Apache-2.0
#include "calibration/cornermarking.h"

#include <QDebug>
#include <algorithm>

#include "calibration/cropgeometry.h"

void CornerMarking::setTiles(QSize size, int layout, int count) {
    tileSize = size;
    layoutMode = layout;
    tileCount = std::clamp(count, 0, static_cast<int>(cornerLists.size()));
}

std::optional<CornerMarking::Added> CornerMarking::add(QPointF scenePoint, Mark* mark) {
    const auto assigned = assignCorner(scenePoint, tileSize, layoutMode);
    if (!assigned)
        return {};
    auto& list = cornerLists[assigned->tile];
    list.append({assigned->point.x(), assigned->point.y(), mark});
    Added added{assigned->tile, assigned->point, 0, {}};
    while (list.size() > CornerCount)
        added.pushedOut.append(list.takeFirst().mark);
    added.total = list.size();
    return added;
}

void CornerMarking::restore(int tile, const QVector<QPointF>& points) {
    for (const QPointF point : points)
        cornerLists[tile].append({point.x(), point.y(), nullptr});
}

void CornerMarking::forget(const Mark* mark) {
    for (auto& list : cornerLists) {
        for (CornerPoint& corner : list) {
            if (corner.mark == mark)
                corner.mark = nullptr;
        }
    }
}

void CornerMarking::clear() {
    cornerLists = {};
}

CornerMarking::Refreshed CornerMarking::refreshed(const PlaceOf& placeOf) const {
    Refreshed result{cornerLists, {}};
    for (int tile = 0; tile < tileCount; ++tile) {
        for (CornerPoint& corner : result.corners[tile]) {
            const auto place = corner.mark ? placeOf(corner.mark) : std::nullopt;
            if (!place)
                continue;  // from a calibration file, or its cross-hair has been deleted
            const void* mark = corner.mark;
            qDebug() << "before" << mark << *place << corner.x << corner.y;
            const QPointF point = tilePoint(tile, *place, tileSize, layoutMode);
            corner.x = point.x();
            corner.y = point.y();
            qDebug() << "after" << corner.x << corner.y;
        }
    }
    for (int tile = 0; tile < tileCount; ++tile) {
        auto& list = result.corners[tile];
        if (orderCorners(list))
            continue;
        result.problem = list.size() < CornerCount
                             ? missingCornersText(tile, list.size())
                             : QStringLiteral("Corners of camera %1 are not finite").arg(tile);
        break;
    }
    return result;
}
