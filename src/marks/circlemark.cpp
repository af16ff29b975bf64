// SPDX-License-Identifier: Apache-2.0
#include "marks/circlemark.h"

#include <QPainter>
#include <algorithm>
#include <cmath>
#include <limits>

#include "marks/marksurface.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

CircleMark::CircleMark(MarkSurface* scene)
    : FigureMark(scene, kCircleMark, Qt::yellow, 1, QStringLiteral("Circle Mark"), 3) {}

std::unique_ptr<Mark> CircleMark::fromText(const QString& keyword, const QString& rest, MarkSurface* scene) {
    return read<CircleMark>(keyword, MarkFields(rest), 4, scene);
}

QString CircleMark::toText() {
    return lineStart(QLatin1String(kKeyword)) + QStringLiteral(" |") + pointsText();
}

void CircleMark::drawFigure(QPainter* painter) const {
    if (const auto circle = circleThrough(points[0], points[1], points[2])) {
        const auto [centre, radius] = *circle;
        const int diameter = static_cast<int>(2.0 * radius);
        painter->drawEllipse(static_cast<int>(centre.x() - radius), static_cast<int>(centre.y() - radius),
                             diameter, diameter);
        if (showMeasure)
            painter->drawLine(centre, QPointF(centre.x() + radius, centre.y()));
    }
    if (clickStep < points.size()) {
        for (const QPointF point : {points[0], points[1]})
            painter->drawEllipse(QRectF(point, QSizeF(1.0, 1.0)));
    }
}

QRectF CircleMark::figureRect() const {
    QRectF rect(points[0], QSizeF(1.0, 1.0));
    rect |= QRectF(points[1], QSizeF(1.0, 1.0));
    if (const auto circle = circleThrough(points[0], points[1], points[2])) {
        // One px more: the drawn circle lies on whole px.
        const double reach = circle->radius + 1.0;
        rect |= QRectF(circle->centre - QPointF(reach, reach), circle->centre + QPointF(reach, reach));
    }
    return rect;
}

QVector<FigureMark::Caption> CircleMark::captions() const {
    const auto circle = circleThrough(points[0], points[1], points[2]);
    const QVector<Measure> values = measured();
    if (!circle || values.isEmpty())
        return {};
    const double x = circle->centre.x() * zoom();
    const double y = circle->centre.y() * zoom();
    // Both texts begin with a space on purpose.
    const QString centreText =
        QStringLiteral(" O(%1,%2)[%3]").arg(valueText(values[0]), valueText(values[1]), values[0].unit);
    const QString radiusText = QStringLiteral(" R:%1").arg(textWithUnit(values[2]));
    return {{QRectF(QPointF(x, y - 16.0), QPointF(x + 150.0, y - 32.0)), centreText},
            {QRectF(QPointF(x + 120.0, y + 20.0), QPointF(x + 10.0, y)), radiusText}};
}

QVector<Measure> CircleMark::measured() const {
    const PlaneFigure plane = inPlane(points);
    // In a plane that has been calibrated coordinates can be of any size: a um is small.
    const double limit = plane.pixel > 0.0 ? std::numeric_limits<double>::max() : kDrawableLimit;
    const auto circle = circleThrough(plane.points[0], plane.points[1], plane.points[2], limit);
    if (!circle || !circleThrough(points[0], points[1], points[2]))
        return {};
    return {placeMeasure("X", circle->centre.x(), plane), placeMeasure("Y", circle->centre.y(), plane),
            lengthMeasure("R", circle->radius, plane)};
}

bool CircleMark::isDegenerateAt(QPointF next) const {
    for (int i = 0; i < clickStep; ++i) {
        if (coincide(points[i], next))
            return true;
    }
    return clickStep == 2 && !circleThrough(points[0], points[1], next);
}

double CircleMark::distanceToOutline(QPointF point) const {
    const auto circle = circleThrough(points[0], points[1], points[2]);
    if (!circle)
        return std::min({distanceToStretch(point, points[0], points[0]),
                         distanceToStretch(point, points[1], points[1]),
                         distanceToStretch(point, points[2], points[2])});
    const QPointF arm = point - circle->centre;
    return std::abs(std::hypot(arm.x(), arm.y()) - circle->radius);
}
