// SPDX-License-Identifier: Apache-2.0
#include "measure/figuredrag.h"

#include <QLineF>

#include "marks/figuremark.h"
#include "marks/interactivescene.h"
#include "measure/draft.h"

namespace {

// View px.
constexpr double kPicks = 6.0;         // from a figure's outline
constexpr double kPicksHandle = 8.0;   // from the middle of a handle
constexpr double kMoveDistance = 4.0;  // a press that moves less only selects

}  // namespace

int handleAt(const FigureMark& mark, QPointF place, const QTransform& sceneToView) {
    const QVector<QPointF> handles = mark.handles();
    int nearest = -1;
    double distance = kPicksHandle;
    for (int i = 0; i < handles.size(); ++i) {
        const double away = QLineF(sceneToView.map(handles[i]), place).length();
        if (away <= distance) {
            nearest = i;
            distance = away;
        }
    }
    return nearest;
}

FigureMark* figureAt(const InteractiveScene& scene, QPointF place, const QTransform& sceneToView) {
    const QPointF point = sceneToView.inverted().map(place);
    const double scale = scaleOf(sceneToView);
    FigureMark* nearest = nullptr;
    double distance = kPicks;
    for (Mark* mark : scene.markList()) {
        auto* figure = dynamic_cast<FigureMark*>(mark);
        if (!figure)
            continue;
        const double away = figure->distanceTo(point) * scale;
        if (away <= distance) {
            nearest = figure;
            distance = away;
        }
    }
    return nearest;
}

FigureDrag::FigureDrag(FigureMark* held, int handleIndex, QPointF place, const QTransform& sceneToView)
    : mark(held),
      index(handleIndex),
      figure(held->figure()),
      start(place),
      from(sceneToView.inverted().map(place)) {
    if (index >= 0)
        fromMouse = held->handles().at(index) - from;
}

void FigureDrag::moveTo(QPointF place, const Aim& aim, InteractiveScene* scene) {
    const double needed = index < 0 ? kMoveDistance : 0.0;
    moves = moves || aim.kind != SnapKind::None || QLineF(start, place).length() > needed;
    if (!moves)
        return;
    if (index < 0) {
        Figure moved = figure;
        for (QPointF& point : moved.points)
            point += seenShift(figure.kind, aim.point - from);
        mark->setFigure(moved);
        return;
    }
    const Figure last = mark->figure();
    mark->setFigure(figure);
    mark->moveHandle(index, aim.point);
    if (isDegenerate(mark->figure(), index, scene))
        mark->setFigure(last);
}

void FigureDrag::giveUp() {
    mark->setFigure(figure);
}
