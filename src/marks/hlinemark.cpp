// SPDX-License-Identifier: Apache-2.0
#include "marks/hlinemark.h"

#include <QPainter>

#include "marks/markgeometry.h"
#include "marks/markline.h"
#include "marks/marksurface.h"

HLineMark::HLineMark(MarkSurface* scene)
    : FigureMark(scene, kHLineMark, Qt::green, 1, QStringLiteral("Horizontal Line Mark"), 1) {}

std::unique_ptr<Mark> HLineMark::fromText(const QString& keyword, const QString& rest, MarkSurface* scene) {
    return read<HLineMark>(keyword, MarkFields(rest), 4, scene);
}

QString HLineMark::toText() {
    return lineStart(QLatin1String(kKeyword)) + QStringLiteral(" |") + pointsText();
}

void HLineMark::drawFigure(QPainter* painter) const {
    const QRectF line = figureRect();
    painter->drawLine(line.topLeft(), line.bottomRight());
}

QRectF HLineMark::figureRect() const {
    return {0.0, points[0].y(), wholeScene().width(), 0.0};
}

QVector<FigureMark::Caption> HLineMark::captions() const {
    // At the left end, above the line; below it where there is no room above.
    const double y = points[0].y() * zoom();
    return {{around(70.0, y < 24.0 ? y + 14.0 : y - 12.0), textWithUnit(measured().first())}};
}

QVector<Measure> HLineMark::measured() const {
    const PlaneFigure plane = inPlane(points);
    return {placeMeasure("Y", plane.points[0].y(), plane)};
}

bool HLineMark::isDegenerateAt(QPointF next) const {
    Q_UNUSED(next)
    return false;
}

double HLineMark::distanceToOutline(QPointF point) const {
    const QRectF line = figureRect();
    return distanceToStretch(point, line.topLeft(), line.bottomRight());
}
