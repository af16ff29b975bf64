// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <QPointF>
#include <QTransform>
#include <QVector>
#include <functional>
#include <optional>

/// A tile as it lies in the scene.
struct TilePicture {
    QPointF place;   ///< of its corner, scene px
    QImage picture;  ///< what it shows now (shared)
    /// Frame px to px of the picture, where that is corrected by the nearest pixel: what each of its pixels
    /// is off by is known then.
    std::optional<QTransform> fromFrame = {};
    /// What is to be added to a scene point in the tile for it to be a point of the one even plane that the
    /// corrected tiles show, px, wherever the tile lies. Nothing where it shows no part of that.
    std::optional<QPointF> planeOffset = {};
};

/// Those of a scene, as they are now; of any that lie upon one another the upper one comes later.
using TilePictures = std::function<QVector<TilePicture>()>;
