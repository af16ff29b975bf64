// SPDX-License-Identifier: Apache-2.0
#include "marks/arcmark.h"

#include <QPainter>
#include <algorithm>
#include <cmath>

#include "marks/markgeometry.h"
#include "marks/markline.h"

namespace {

constexpr double kArcRadius = 20.0;   // px
constexpr double kSixteenths = 16.0;  // a degree has, in Qt's arcs: 5760 are a full turn

}  // namespace

ArcMark::ArcMark(MarkSurface* scene)
    : FigureMark(scene, kArcMark, Qt::red, 1, QStringLiteral("Arc Mark"), 3) {}

std::unique_ptr<Mark> ArcMark::fromText(const QString& keyword, const QString& rest, MarkSurface* scene) {
    return read<ArcMark>(keyword, MarkFields(rest), 4, scene);
}

QString ArcMark::toText() {
    return lineStart(QLatin1String(kKeyword)) + QStringLiteral(" |") + pointsText();
}

void ArcMark::drawFigure(QPainter* painter) const {
    const QPointF vertex = points[0];
    painter->drawLine(vertex, points[1]);
    if (clickStep < 2)
        return;
    painter->drawLine(vertex, points[2]);
    const double first = armDirection(vertex, points[1]);
    double span = armDirection(vertex, points[2]) - first;
    if (!std::isfinite(span))
        return;
    // The short way round: the caption names the angle between the arms, not the one around them.
    span = std::remainder(span, 360.0);
    const QPointF reach(kArcRadius, kArcRadius);
    painter->drawArc(QRectF(vertex - reach, vertex + reach), qRound(first * kSixteenths),
                     qRound(span * kSixteenths));
}

QRectF ArcMark::figureRect() const {
    const QPointF reach(kArcRadius, kArcRadius);
    return QRectF(points[0] - reach, points[0] + reach) | QRectF(points[0], points[1]).normalized() |
           QRectF(points[0], points[2]).normalized();
}

QVector<FigureMark::Caption> ArcMark::captions() const {
    const QVector<Measure> values = measured();
    if (values.isEmpty())
        return {};
    return {{around(points[0].x() * zoom() + 70.0, points[0].y() * zoom() + 20.0),
             QStringLiteral("%1'").arg(valueText(values.first()))}};
}

QVector<Measure> ArcMark::measured() const {
    const PlaneFigure plane = inPlane(points);
    // Single precision leaves narrow angles a fiftieth of a degree off: as they are in px, not in mm.
    const double angle =
        plane.pixel > 0.0 ? exactAngleAt(plane.points[0], plane.points[1], plane.points[2])
                          : static_cast<double>(angleAt(plane.points[0], plane.points[1], plane.points[2]));
    if (!std::isfinite(angle))
        return {};
    return {angleMeasure("A", angle * 180.0 / 3.1415926535898)};
}

bool ArcMark::isDegenerateAt(QPointF next) const {
    for (int i = 0; i < clickStep; ++i) {
        if (coincide(points[i], next))
            return true;
    }
    return false;
}

double ArcMark::distanceToOutline(QPointF point) const {
    return std::min(distanceToStretch(point, points[0], points[1]),
                    distanceToStretch(point, points[0], points[2]));
}
