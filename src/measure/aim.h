// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPointF>
#include <QTransform>
#include <QVector>
#include <QtGlobal>
#include <optional>

#include "measure/snapping.h"
#include "measure/tilepicture.h"

/// What a point is set for, which says how its coordinates count. The pixel (c, r) of a scene is seen from
/// (c, r) to (c + 1, r + 1). Points of figures are where they are seen, whether somebody clicked there or
/// they snapped: a line between two of both kinds is as long as it looks. Cross-hairs are read by the
/// calibration, to which (c, r) is the middle of that pixel; so one that snaps is half a px up and left of
/// what it marks.
enum class AimFor { Figure, CrossHair };

/// Where a click would set its point.
struct Aim {
    QPointF point;                   ///< what is set, scene px
    QPointF seen;                    ///< where in the pictures that is seen, scene px
    bool doesSnap = false;           ///< asked to
    SnapKind kind = SnapKind::None;  ///< what was found
};

/// Reach of snapping, view px; but never more than kFarthestSnap scene px, which below a scale of 0.08 is
/// less.
constexpr double kSnapReach = 12.0;

/// View px per scene px.
double scaleOf(const QTransform& sceneToView);

/// The aim of a click at a place of the viewport (view px). Without snapping, or with nothing there to snap
/// to, the point is just where the click is. Where tiles meet that show one plane, a figure's point is looked
/// for in what they show together. Cross-hairs are for single frames, which do not go on beyond their edge,
/// like those of tiles that do not join: there each tile is looked at alone, and where several have something
/// a corner comes before an edge, and of two the nearer. What the upper of two tiles covers is not there.
Aim aimAt(QPointF place, const QTransform& sceneToView, bool doesSnap, const QVector<TilePicture>& tiles,
          AimFor what);

/// What a tile has to do with an aim.
struct AimedTile {
    qint64 picture;  ///< its QImage::cacheKey()
    QPointF place;   ///< scene px
    std::optional<QPointF> planeOffset;

    bool operator==(const AimedTile& other) const;
};

/// The tiles that aimAt() looks at, and perhaps some nearby: while they are the same, so is the aim.
QVector<AimedTile> tilesInReach(QPointF place, const QTransform& sceneToView,
                                const QVector<TilePicture>& tiles);
