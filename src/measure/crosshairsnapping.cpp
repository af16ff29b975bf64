// SPDX-License-Identifier: Apache-2.0
#include "measure/crosshairsnapping.h"

#include <QCoreApplication>
#include <QWidget>
#include <utility>

#include "measure/draft.h"

namespace {

void send(InteractiveScene* scene, QWidget* viewport, QPointF cursor, QEvent::Type type, QPointF point,
          Qt::MouseButtons held) {
    const auto event = sceneEventAt(type, point);
    event->setButtons(held);
    event->setWidget(viewport);
    event->setScreenPos(viewport->mapToGlobal(cursor.toPoint()));
    QCoreApplication::sendEvent(scene, event.get());
}

}  // namespace

bool CrossHairSnapping::press(InteractiveScene* scene, QWidget* viewport, QPointF cursor, const Aim& aim) {
    if (!scene->isPlacingCrossHair() || aim.kind == SnapKind::None)
        return false;
    placed = aim.point;
    send(scene, viewport, cursor, QEvent::GraphicsSceneMousePress, aim.point, Qt::LeftButton);
    return true;
}

void CrossHairSnapping::release(InteractiveScene* scene, QWidget* viewport, QPointF cursor) {
    if (const auto point = std::exchange(placed, {}))
        send(scene, viewport, cursor, QEvent::GraphicsSceneMouseRelease, *point, Qt::NoButton);
}

void CrossHairSnapping::move(InteractiveScene* scene, QWidget* viewport, QPointF cursor, QPointF point,
                             Qt::MouseButtons held) {
    send(scene, viewport, cursor, QEvent::GraphicsSceneMouseMove, point, held);
}
