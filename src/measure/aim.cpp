// SPDX-License-Identifier: Apache-2.0
#include "measure/aim.h"

#include <QLineF>
#include <QRect>
#include <QRectF>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "measure/correctedsnapping.h"
#include "measure/seamsnapping.h"

namespace {

// From where a pixel begins on screen to its middle, where its own place is to those who look at pixels.
const QPointF kHalfPixel(0.5, 0.5);

// What is looked at around what is in reach, and how far tiles may be off where they join.
constexpr double kAround = 20.0;  // scene px

// Tiles lie at whole px but for one that was dragged in a zoomed view.
constexpr double kWholePixel = 1e-3;  // px

/// The largest rectangles of a tile's picture that no tile above it covers, px of the picture. They overlap:
/// what is not cut by any cover is whole in one of them.
QVector<QRect> seenParts(const QVector<TilePicture>& tiles, int tile) {
    const TilePicture& lower = tiles[tile];
    QVector<QRect> parts{lower.picture.rect()};
    for (int i = tile + 1; i < tiles.size(); ++i) {
        const QRect cover = QRectF(tiles[i].place - lower.place, QSizeF(tiles[i].picture.size()))
                                .adjusted(kWholePixel, kWholePixel, -kWholePixel, -kWholePixel)
                                .toAlignedRect() &
                            lower.picture.rect();
        if (cover.isEmpty())
            continue;
        QVector<QRect> left;
        for (const QRect& part : qAsConst(parts)) {
            if (!part.intersects(cover)) {
                left.append(part);
                continue;
            }
            QRect beside[] = {part, part, part, part};
            beside[0].setRight(cover.left() - 1);
            beside[1].setLeft(cover.right() + 1);
            beside[2].setBottom(cover.top() - 1);
            beside[3].setTop(cover.bottom() + 1);
            for (const QRect& rest : beside) {
                if (!rest.isEmpty())
                    left.append(rest);
            }
        }
        parts = left;
    }
    return parts;
}

/// Shares the pixels, as long as the picture is there.
QImage partOf(const QImage& picture, const QRect& part) {
    if (part == picture.rect())
        return picture;
    if (picture.depth() % 8 != 0)
        return picture.copy(part);
    return {picture.constScanLine(part.y()) + std::ptrdiff_t(part.x()) * (picture.depth() / 8), part.width(),
            part.height(), picture.bytesPerLine(), picture.format()};
}

/// In a part of a tile's picture, px of the picture.
Snap snapInPart(const TilePicture& tile, const QRect& part, QPointF where, double radius) {
    const QImage picture = partOf(tile.picture, part);
    const QPointF corner = part.topLeft();
    Snap snap =
        tile.fromFrame
            ? snapInCorrected(picture, *tile.fromFrame * QTransform::fromTranslate(-part.x(), -part.y()),
                              where - corner, radius)
            : snapIn(picture, where - corner, radius);
    snap.point += corner;
    return snap;
}

}  // namespace

double scaleOf(const QTransform& sceneToView) {
    return std::hypot(sceneToView.m11(), sceneToView.m12());
}

Aim aimAt(QPointF place, const QTransform& sceneToView, bool doesSnap, const QVector<TilePicture>& tiles,
          AimFor what) {
    const QPointF point = sceneToView.inverted().map(place);
    Aim aim{point, point, doesSnap, SnapKind::None};
    const double scale = scaleOf(sceneToView);
    if (!doesSnap || !(scale > 0.0))
        return aim;
    const double radius = kSnapReach / scale;
    if (what == AimFor::Figure) {
        if (const auto snap = snapAcrossSeams(tiles, point, radius)) {
            aim.kind = snap->kind;
            aim.seen = snap->point;
            aim.point = snap->point;
            return aim;
        }
    }
    double distance = std::numeric_limits<double>::infinity();
    bool isCut = false;
    for (int i = 0; i < tiles.size(); ++i) {
        const TilePicture& tile = tiles[i];
        const QVector<QRect> parts = seenParts(tiles, i);
        for (const QRect& part : parts) {
            const QRectF area = QRectF(part).translated(tile.place);
            if (!area.adjusted(-radius, -radius, radius, radius).contains(point))
                continue;
            const QPointF inPicture = point - kHalfPixel - tile.place;
            const Snap snap = snapInPart(tile, part, inPicture, radius);
            isCut = isCut || snap.isCut;
            if (snap.kind == SnapKind::None)
                continue;
            const double away = QLineF(inPicture, snap.point).length();
            const bool isBetter = aim.kind == snap.kind ? away < distance : snap.kind == SnapKind::Corner;
            if (aim.kind != SnapKind::None && !isBetter)
                continue;
            aim.kind = snap.kind;
            aim.seen = snap.point + tile.place + kHalfPixel;
            aim.point = what == AimFor::Figure ? aim.seen : aim.seen - kHalfPixel;
            distance = away;
        }
    }
    // What goes on in the next tile is not what is cut off.
    if (isCut && aim.kind == SnapKind::Edge)
        return {point, point, doesSnap, SnapKind::None};
    return aim;
}

bool AimedTile::operator==(const AimedTile& other) const {
    return picture == other.picture && place == other.place && planeOffset == other.planeOffset;
}

QVector<AimedTile> tilesInReach(QPointF place, const QTransform& sceneToView,
                                const QVector<TilePicture>& tiles) {
    const QPointF point = sceneToView.inverted().map(place);
    const double reach = std::min(kSnapReach / scaleOf(sceneToView), kFarthestSnap) + kAround;
    QVector<AimedTile> found;
    for (const TilePicture& tile : tiles) {
        const QRectF area(tile.place, QSizeF(tile.picture.size()));
        if (area.adjusted(-reach, -reach, reach, reach).contains(point))
            found.append({tile.picture.cacheKey(), tile.place, tile.planeOffset});
    }
    return found;
}
