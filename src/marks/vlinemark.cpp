// SPDX-License-Identifier: Apache-2.0
#include "marks/vlinemark.h"

#include <QPainter>

#include "marks/markgeometry.h"
#include "marks/markline.h"
#include "marks/marksurface.h"

VLineMark::VLineMark(MarkSurface* scene)
    : FigureMark(scene, kVLineMark, Qt::green, 1, QStringLiteral("Vertical Line Mark"), 1) {}

std::unique_ptr<Mark> VLineMark::fromText(const QString& keyword, const QString& rest, MarkSurface* scene) {
    return read<VLineMark>(keyword, MarkFields(rest), 4, scene);
}

QString VLineMark::toText() {
    return lineStart(QLatin1String(kKeyword)) + QStringLiteral(" |") + pointsText();
}

void VLineMark::drawFigure(QPainter* painter) const {
    const QRectF line = figureRect();
    painter->drawLine(line.topLeft(), line.bottomRight());
}

QRectF VLineMark::figureRect() const {
    return {points[0].x(), 0.0, 0.0, wholeScene().height()};
}

QVector<FigureMark::Caption> VLineMark::captions() const {
    // At the upper end, right of the line; left of it where there is no room on the right.
    const double x = points[0].x() * zoom();
    const bool atRightEdge = x > wholeScene().width() * zoom() - 100.0;
    return {{around(atRightEdge ? x - 55.0 : x + 55.0, 20.0), textWithUnit(measured().first())}};
}

QVector<Measure> VLineMark::measured() const {
    const PlaneFigure plane = inPlane(points);
    return {placeMeasure("X", plane.points[0].x(), plane)};
}

bool VLineMark::isDegenerateAt(QPointF next) const {
    Q_UNUSED(next)
    return false;
}

double VLineMark::distanceToOutline(QPointF point) const {
    const QRectF line = figureRect();
    return distanceToStretch(point, line.topLeft(), line.bottomRight());
}
