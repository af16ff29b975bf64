// SPDX-License-Identifier: Apache-2.0
#include "measure/draft.h"

#include <cmath>

#include "marks/figuremark.h"
#include "marks/markgeometry.h"

std::unique_ptr<QGraphicsSceneMouseEvent> sceneEventAt(QEvent::Type type, QPointF scenePoint) {
    auto event = std::make_unique<QGraphicsSceneMouseEvent>(type);
    const bool isMove = type == QEvent::GraphicsSceneMouseMove;
    event->setButton(isMove ? Qt::NoButton : Qt::LeftButton);
    event->setButtons(type == QEvent::GraphicsSceneMouseRelease ? Qt::NoButton : Qt::LeftButton);
    event->setScenePos(scenePoint);
    event->setLastScenePos(scenePoint);
    event->setButtonDownScenePos(Qt::LeftButton, scenePoint);
    return event;
}

namespace {

/// Whether a click would have been refused that put the corner there. One or two corners, which a file can
/// have, are no area wherever they are.
bool isFlatPolygon(const QVector<QPointF>& corners, int moved) {
    const int count = corners.size();
    if (count < 3 || moved < 0 || moved >= count)
        return false;
    const QPointF corner = corners[moved];
    return FigureMark::coincide(corner, corners[(moved + 1) % count]) ||
           FigureMark::coincide(corner, corners[(moved + count - 1) % count]) ||
           !(enclosedArea(corners) > 0.0);
}

}  // namespace

bool isDegenerate(const Figure& figure, int moved, InteractiveScene* scene) {
    for (const QPointF point : figure.points) {
        if (!std::isfinite(point.x()) || !std::isfinite(point.y()))
            return true;
    }
    // Clicks would close it, where a corner is near the first one.
    if (figure.kind == FigureKind::Polygon)
        return isFlatPolygon(figure.points, moved);
    const auto probe = beginFigure(figure.kind, scene);
    for (const QPointF point : figure.points) {
        if (probe->isDegenerateWith(point))
            return true;
        probe->pressPoint(sceneEventAt(QEvent::GraphicsSceneMousePress, point).get());
    }
    return false;
}

QPointF seenShift(FigureKind kind, QPointF by) {
    if (kind == FigureKind::HLine)
        return {0.0, by.y()};
    if (kind == FigureKind::VLine)
        return {by.x(), 0.0};
    return by;
}

Draft::Draft(InteractiveScene* shownScene) : scene(shownScene) {}

Draft::~Draft() {
    giveUp();
}

void Draft::begin(FigureKind kind) {
    giveUp();
    if (!scene)
        return;
    auto begun = beginFigure(kind, scene);
    mark = begun.get();
    mark->isDraft = true;
    scene->addItem(begun.release());
}

void Draft::giveUp() {
    if (scene)
        delete mark;  // takes it out of the scene
    mark = nullptr;
}

int Draft::pointsTaken() const {
    return mark && scene ? mark->pointsTaken() : 0;
}

void Draft::moveTo(QPointF point) {
    if (mark && scene)
        mark->dragPoint(sceneEventAt(QEvent::GraphicsSceneMouseMove, point).get());
}

std::optional<Figure> Draft::click(QPointF point) {
    if (!mark || !scene || mark->isDegenerateWith(point))
        return {};
    mark->pressPoint(sceneEventAt(QEvent::GraphicsSceneMousePress, point).get());
    return completed();
}

std::optional<Figure> Draft::finish() {
    if (!mark || !scene || !mark->finish())
        return {};
    return completed();
}

std::optional<Figure> Draft::completed() {
    if (!mark->isComplete())
        return {};
    const Figure figure = mark->figure();
    giveUp();
    return figure;
}
