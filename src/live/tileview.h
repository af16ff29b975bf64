// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QGraphicsView>
#include <memory>

#include "live/tileitem.h"

/// A view that paints no background where its tiles are painted anyway: filling a view twice under four live
/// pictures takes longer than drawing them. What it shows is what a QGraphicsView shows, as long as the
/// background is not cached and the tiles have no effect, no cache and no clip: it does not look for these.
/// GUI thread.
class TileView : public QGraphicsView {
    Q_OBJECT

public:
    explicit TileView(QWidget* parent = nullptr);

    /// Those that lie in its scene, none at first.
    void setTiles(std::shared_ptr<const TileGroup> tilesOfScene);

protected:
    void drawBackground(QPainter* painter, const QRectF& rect) override;

private:
    QRegion underTiles(const QTransform& sceneToDevice, const QRect& visible) const;

    std::shared_ptr<const TileGroup> tiles;
};
