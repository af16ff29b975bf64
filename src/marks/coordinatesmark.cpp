// SPDX-License-Identifier: Apache-2.0
#include "marks/coordinatesmark.h"

#include <QGraphicsSceneMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include "marks/marksurface.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

namespace {

constexpr double kArm = 20.0;  // px to each side
constexpr int kFields = 6;
constexpr int kPointField = 4;

}  // namespace

CoordinatesMark::CoordinatesMark(MarkSurface* scene)
    : Mark(scene, kCoordinatesMark, Qt::blue, 1, QStringLiteral("Coordinates")) {}

std::unique_ptr<CoordinatesMark> CoordinatesMark::fromText(const QString& keyword, const QString& rest,
                                                           MarkSurface* scene) {
    const MarkFields fields(rest);
    if (keyword != QLatin1String(kKeyword) || fields.count() < kFields)
        return nullptr;
    auto mark = std::make_unique<CoordinatesMark>(scene);
    mark->setZValue(kLoadedZ);
    mark->readLineStart(fields, 0);
    mark->centre = fields.point(kPointField);
    return mark;
}

QString CoordinatesMark::toText() {
    return QStringLiteral("%1 | %2 %3")
        .arg(lineStart(QLatin1String(kKeyword)), markNumber(point().x()), markNumber(point().y()));
}

QRectF CoordinatesMark::boundingRect() const {
    if (!isDrawable(centre))
        return {};
    const double reach = std::max(kGrabDistance, kArm + penWidthAt(zoom()));
    return {centre - QPointF(reach, reach), centre + QPointF(reach, reach)};
}

QPainterPath CoordinatesMark::shape() const {
    QPainterPath path;
    if (isDrawable(centre))
        path.addEllipse(centre, kGrabDistance, kGrabDistance);
    return path;
}

void CoordinatesMark::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) {
    Q_UNUSED(option)
    Q_UNUSED(widget)
    applyPen(painter);
    if (!isDrawable(centre))
        return;
    painter->drawLine(centre - QPointF(kArm, 0.0), centre + QPointF(kArm, 0.0));
    painter->drawLine(centre - QPointF(0.0, kArm), centre + QPointF(0.0, kArm));
}

bool CoordinatesMark::pressPoint(QGraphicsSceneMouseEvent* event) {
    moveTo(event->scenePos());
    return true;
}

void CoordinatesMark::dragPoint(QGraphicsSceneMouseEvent* event) {
    moveTo(event->scenePos());
}

void CoordinatesMark::shiftBy(double dx, double dy) {
    moveTo(point() + QPointF(dx, dy));
}

void CoordinatesMark::moveTo(QPointF scenePoint) {
    prepareGeometryChange();
    centre = scenePoint - pos();
    surface->repaintWhole();
}
