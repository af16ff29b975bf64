// SPDX-License-Identifier: Apache-2.0
#include "marks/markgeometry.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double kDegreesPerHalfTurn = 180.0;
constexpr double kHalfTurn = 3.1415926535898;
constexpr double kFullTurnDegrees = 360.0;
constexpr double kReferenceArm = 40.0;  // px, length of the horizontal arm that directions are measured from
constexpr double kWidestPen = 1000.0;   // px

}  // namespace

bool isDrawable(QPointF point, double limit) {
    // Written so that what is not a number fails.
    return std::abs(point.x()) <= limit && std::abs(point.y()) <= limit;
}

bool isDrawable(const QVector<QPointF>& points) {
    return std::all_of(points.begin(), points.end(), [](QPointF point) { return isDrawable(point); });
}

int penWidthAt(double zoom) {
    if (!(zoom > 0.0) || zoom >= 1.0)
        return 1;
    return static_cast<int>(std::min(1.0 / zoom + 0.5, kWidestPen));
}

std::optional<Circle> circleThrough(QPointF a, QPointF b, QPointF c, double limit) {
    // Both bisectors written as (chord . centre) = (square of the chord) / 2 relative to a: no slope that
    // could be infinite for a level or an upright chord.
    const QPointF ab = b - a;
    const QPointF ac = c - a;
    const double det = 2.0 * (ab.x() * ac.y() - ab.y() * ac.x());
    const double ab2 = QPointF::dotProduct(ab, ab);
    const double ac2 = QPointF::dotProduct(ac, ac);
    const QPointF toCentre((ac.y() * ab2 - ab.y() * ac2) / det, (ab.x() * ac2 - ac.x() * ab2) / det);
    const Circle circle{a + toCentre, std::hypot(toCentre.x(), toCentre.y())};
    if (det == 0.0 || !isDrawable(circle.centre, limit) || !(circle.radius <= limit))
        return {};
    return circle;
}

float lengthOf(QPointF vector) {
    const auto x = static_cast<float>(vector.x());
    const auto y = static_cast<float>(vector.y());
    return std::sqrt(x * x + y * y);
}

float angleAt(QPointF vertex, QPointF p, QPointF q) {
    const float a = lengthOf(p - vertex);
    const float b = lengthOf(q - vertex);
    const float c = lengthOf(q - p);
    const float cosine = (a * a + b * b - c * c) / (2.0F * a * b);
    // Arms on one line can come out a rounding beyond 1.
    return std::acos(std::isnan(cosine) ? cosine : std::clamp(cosine, -1.0F, 1.0F));
}

double exactAngleAt(QPointF vertex, QPointF p, QPointF q) {
    const QPointF a = p - vertex;
    const QPointF b = q - vertex;
    if (a.isNull() || b.isNull())
        return std::numeric_limits<double>::quiet_NaN();
    return std::abs(std::atan2(a.x() * b.y() - a.y() * b.x(), QPointF::dotProduct(a, b)));
}

double armDirection(QPointF vertex, QPointF p) {
    const float angle = angleAt(vertex, p, vertex + QPointF(kReferenceArm, 0.0));
    const double degrees = static_cast<double>(angle) * kDegreesPerHalfTurn / kHalfTurn;
    return p.y() > vertex.y() ? kFullTurnDegrees - degrees : degrees;
}

double distanceToStretch(QPointF point, QPointF a, QPointF b) {
    const QPointF along = b - a;
    const double square = QPointF::dotProduct(along, along);
    const double share =
        square > 0.0 ? std::clamp(QPointF::dotProduct(point - a, along) / square, 0.0, 1.0) : 0.0;
    const QPointF off = point - (a + share * along);
    return std::hypot(off.x(), off.y());
}

double perimeterOf(const QVector<QPointF>& vertices) {
    double length = 0.0;
    for (int i = 0; i < vertices.size(); ++i) {
        const QPointF edge = vertices[(i + 1) % vertices.size()] - vertices[i];
        length += std::hypot(edge.x(), edge.y());
    }
    return length;
}

double enclosedArea(const QVector<QPointF>& vertices) {
    double twice = 0.0;
    for (int i = 0; i < vertices.size(); ++i) {
        const QPointF a = vertices[i];
        const QPointF b = vertices[(i + 1) % vertices.size()];
        twice += a.x() * b.y() - b.x() * a.y();
    }
    return std::abs(twice) / 2.0;
}
