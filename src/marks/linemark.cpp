// SPDX-License-Identifier: Apache-2.0
#include "marks/linemark.h"

#include <QPainter>
#include <algorithm>
#include <cmath>

#include "marks/markgeometry.h"
#include "marks/markline.h"

namespace {

// Screen px.
constexpr double kCaptionOffset = 4.0;  // from the line
constexpr double kHalfWidth = 45.0;     // of a usual caption
constexpr double kHalfHeight = 8.0;
constexpr double kLeftMargin = 20.0;
constexpr double kTopMargin = 40.0;

}  // namespace

LineMark::LineMark(MarkSurface* scene)
    : FigureMark(scene, kLineMark, Qt::red, 3, QStringLiteral("Line Mark"), 2) {}

std::unique_ptr<Mark> LineMark::fromText(const QString& keyword, const QString& rest, MarkSurface* scene) {
    const MarkFields fields(rest);
    auto mark = read<LineMark>(keyword, fields, 4, scene);
    if (mark)
        mark->setZValue(kPlacedZ);
    return mark;
}

QString LineMark::toText() {
    return lineStart(QLatin1String(kKeyword)) + QStringLiteral(" |") + pointsText();
}

void LineMark::drawFigure(QPainter* painter) const {
    painter->drawLine(points[0], points[1]);
}

QRectF LineMark::figureRect() const {
    return {points[0], points[1]};
}

QVector<FigureMark::Caption> LineMark::captions() const {
    // Beside the middle of the line, above it where that can be said, but inside the scene's left and top
    // edges.
    const QPointF along = points[1] - points[0];
    const double extent = std::hypot(along.x(), along.y());
    QPointF normal = extent > 0.0 ? QPointF(along.y(), -along.x()) / extent : QPointF(0.0, -1.0);
    if (normal.y() > 0.0)
        normal = -normal;
    const QPointF nearest(std::min(points[0].x(), points[1].x()), std::min(points[0].y(), points[1].y()));
    // Along a line in a corner of the scene, the caption goes to the side that is inside for both edges.
    const bool isNearLeft = nearest.x() * zoom() < kLeftMargin;
    const bool isNearTop = nearest.y() * zoom() < kTopMargin;
    if ((isNearTop && normal.y() < 0.0) || (isNearLeft && !isNearTop && normal.x() < 0.0))
        normal = -normal;
    const double distance =
        kHalfWidth * std::abs(normal.x()) + kHalfHeight * std::abs(normal.y()) + kCaptionOffset;
    QPointF centre = (points[0] + points[1]) / 2.0 * zoom() + normal * distance;
    if (isNearLeft)
        centre.setX(std::max(centre.x(), kHalfWidth));
    return {{around(centre.x(), centre.y()), textWithUnit(measured().first())}};
}

QVector<Measure> LineMark::measured() const {
    const PlaneFigure plane = inPlane(points);
    return {lengthMeasure("L", static_cast<double>(lengthOf(plane.points[1] - plane.points[0])), plane)};
}

bool LineMark::isDegenerateAt(QPointF next) const {
    return clickStep == 1 && coincide(points[0], next);
}

double LineMark::distanceToOutline(QPointF point) const {
    return distanceToStretch(point, points[0], points[1]);
}
