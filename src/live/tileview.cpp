// SPDX-License-Identifier: Apache-2.0
#include "live/tileview.h"

#include <QPainter>
#include <utility>

TileView::TileView(QWidget* parent) : QGraphicsView(parent) {
    // The background below fills all that no tile does, so nobody else need.
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
}

void TileView::setTiles(std::shared_ptr<const TileGroup> tilesOfScene) {
    tiles = std::move(tilesOfScene);
}

void TileView::drawBackground(QPainter* painter, const QRectF& rect) {
    const QTransform world = painter->worldTransform();
    const QTransform device = painter->deviceTransform();
    const QTransform viewToDevice = world.inverted() * device;
    // A brush that fills all is this view's own; into a picture the view is rendered with another transform.
    if (backgroundBrush().style() != Qt::SolidPattern || !backgroundBrush().isOpaque() ||
        world != viewportTransform() || viewToDevice.type() > QTransform::TxScale) {
        painter->fillRect(rect, palette().brush(viewport()->backgroundRole()));
        QGraphicsView::drawBackground(painter, rect);
        return;
    }
    // In the device's own pixels: where those are no whole ones of the view, Qt's clip reaches pixels of
    // tiles that it does not paint again.
    const QRect visible = viewToDevice.mapRect(QRectF(viewport()->rect())).toAlignedRect();
    const QRect exposed = device.mapRect(rect).toAlignedRect().adjusted(-1, -1, 1, 1);
    painter->setWorldTransform(viewToDevice.inverted());
    for (const QRect& part : QRegion(exposed & visible) - underTiles(device, visible))
        painter->fillRect(part, backgroundBrush());
    painter->setWorldTransform(world);
}

/// The pixels of `visible` that tiles paint whole, device px.
QRegion TileView::underTiles(const QTransform& sceneToDevice, const QRect& visible) const {
    QRegion covered;
    if (!tiles)
        return covered;
    for (const TileItem* tile : *tiles) {
        if (tile->scene() == scene() && tile->isVisible() && tile->effectiveOpacity() >= 1.0)
            covered += tile->ownPixels(tile->sceneTransform() * sceneToDevice, visible);
    }
    return covered;
}
