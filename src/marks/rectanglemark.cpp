// SPDX-License-Identifier: Apache-2.0
#include "marks/rectanglemark.h"

#include <QPainter>
#include <algorithm>
#include <cmath>

#include "marks/marksurface.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

RectangleMark::RectangleMark(MarkSurface* scene)
    : BoxMark(scene, kRectangleMark, Qt::blue, QStringLiteral("Rectangle Mark")) {}

std::unique_ptr<Mark> RectangleMark::fromText(const QString& keyword, const QString& rest,
                                              MarkSurface* scene) {
    const MarkFields fields(rest);
    auto mark = read<RectangleMark>(keyword, fields, 5, scene);
    if (mark)
        mark->setAngle(fields.number(3));
    return mark;
}

QString RectangleMark::toText() {
    return boxText(kKeyword);
}

void RectangleMark::drawFigure(QPainter* painter) const {
    const QRectF rect = figureRect();
    painter->drawRects(&rect, 1);
}

QVector<FigureMark::Caption> RectangleMark::captions() const {
    const Caption size = sizeCaption();
    const QVector<Measure> values = measured();
    const QString corner = QStringLiteral("X:%1 Y:%2").arg(valueText(values[2]), valueText(values[3]));
    return {size, {size.area.translated(0.0, 20.0), corner}};
}

QVector<Measure> RectangleMark::measured() const {
    QVector<Measure> values = BoxMark::measured();
    const PlaneFigure plane = cornersInPlane();
    // In px the corner is that of the mark file, as ever; in a plane it is a place that can be seen.
    const QPointF corner = plane.pixel > 0.0 ? plane.points[0] : points[0];
    values << placeMeasure("X", corner.x(), plane) << placeMeasure("Y", corner.y(), plane);
    return values;
}

double RectangleMark::distanceToOutline(QPointF point) const {
    const QRectF rect = figureRect();
    return std::min({distanceToStretch(point, rect.topLeft(), rect.topRight()),
                     distanceToStretch(point, rect.topRight(), rect.bottomRight()),
                     distanceToStretch(point, rect.bottomRight(), rect.bottomLeft()),
                     distanceToStretch(point, rect.bottomLeft(), rect.topLeft())});
}
