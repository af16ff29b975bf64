// SPDX-License-Identifier: Apache-2.0
#include "marks/boxmark.h"

#include <cmath>

#include "marks/markgeometry.h"
#include "marks/markline.h"

BoxMark::BoxMark(MarkSurface* owner, int kind, const QColor& color, const QString& toolTip)
    : FigureMark(owner, kind, color, 1, toolTip, 2) {}

void BoxMark::setAngle(double degrees) {
    aboutToChange();
    angle = degrees;
}

QRectF BoxMark::figureRect() const {
    return QRectF(points[0], points[1]).normalized();
}

QTransform BoxMark::rotation() const {
    if (!std::isfinite(angle))
        return {};
    const QPointF centre = figureRect().center();
    return QTransform::fromTranslate(centre.x(), centre.y())
        .rotate(angle)
        .translate(-centre.x(), -centre.y());
}

FigureMark::Caption BoxMark::sizeCaption() const {
    const double x = points[0].x() * zoom();
    const double y = points[0].y() * zoom();
    const QVector<Measure> size = BoxMark::measured();
    return {QRectF(QPointF(x + 150.0, y - 40.0), QPointF(x - 20.0, y - 20.0)),
            QStringLiteral("W:%1 H:%2").arg(valueText(size[0]), textWithUnit(size[1]))};
}

PlaneFigure BoxMark::cornersInPlane() const {
    const QTransform turned = rotation();
    return inPlane({turned.map(points[0]), turned.map(QPointF(points[1].x(), points[0].y())),
                    turned.map(points[1]), turned.map(QPointF(points[0].x(), points[1].y()))});
}

QVector<Measure> BoxMark::measured() const {
    const PlaneFigure plane = cornersInPlane();
    if (plane.pixel > 0.0) {
        const auto size = [&plane](const char* name, int corner) {
            const QPointF side = plane.points[corner] - plane.points[0];
            return lengthMeasure(name, std::hypot(side.x(), side.y()), plane);
        };
        return {size("W", 1), size("H", 3)};
    }
    // In single precision, as lengths are elsewhere.
    const float width = std::abs(static_cast<float>(points[1].x()) - static_cast<float>(points[0].x()));
    const float height = std::abs(static_cast<float>(points[1].y()) - static_cast<float>(points[0].y()));
    return {lengthMeasure("W", static_cast<double>(width), plane),
            lengthMeasure("H", static_cast<double>(height), plane)};
}

bool BoxMark::isDegenerateAt(QPointF next) const {
    return clickStep == 1 && (coincide(points[0], QPointF(next.x(), points[0].y())) ||
                              coincide(points[0], QPointF(points[0].x(), next.y())));
}

QString BoxMark::boxText(const char* keyword) const {
    return lineStart(QLatin1String(keyword)) + QLatin1Char(' ') + markNumber(angle) + QStringLiteral(" |") +
           pointsText();
}
