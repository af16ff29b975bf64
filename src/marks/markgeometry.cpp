#include "marks/markgeometry.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kDegreesPerHalfTurn = 180.0;
constexpr double kHalfTurn = 3.1415926535898;
constexpr double kFullTurnDegrees = 360.0;
constexpr double kReferenceArm = 40.0;  // px, length of the horizontal arm that directions are measured from
constexpr double kWidestPen = 1000.0;   // px

}  // namespace

bool isDrawable(QPointF point) {
    // Written so that what is not a number fails.
    return std::abs(point.x()) <= kDrawableLimit && std::abs(point.y()) <= kDrawableLimit;
}

bool isDrawable(const QVector<QPointF>& points) {
    return std::all_of(points.begin(), points.end(), [](QPointF point) { return isDrawable(point); });
}

int penWidthAt(double zoom) {
    if (!(zoom > 0.0) || zoom >= 1.0)
        return 1;
    return static_cast<int>(std::min(1.0 / zoom + 0.5, kWidestPen));
}

std::optional<Circle> circleThrough(QPointF a, QPointF b, QPointF c) {
    // Both bisectors written as (chord . centre) = (square of the chord) / 2 relative to a: no slope that
    // could be infinite for a level or an upright chord.
    const QPointF ab = b - a;
    const QPointF ac = c - a;
    const double det = 2.0 * (ab.x() * ac.y() - ab.y() * ac.x());
    const double ab2 = QPointF::dotProduct(ab, ab);
    const double ac2 = QPointF::dotProduct(ac, ac);
    const QPointF toCentre((ac.y() * ab2 - ab.y() * ac2) / det, (ab.x() * ac2 - ac.x() * ab2) / det);
    const Circle circle{a + toCentre, std::hypot(toCentre.x(), toCentre.y())};
    if (det == 0.0 || !isDrawable(circle.centre) || !(circle.radius <= kDrawableLimit))
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

double armDirection(QPointF vertex, QPointF p) {
    const float angle = angleAt(vertex, p, vertex + QPointF(kReferenceArm, 0.0));
    const double degrees = static_cast<double>(angle) * kDegreesPerHalfTurn / kHalfTurn;
    return p.y() > vertex.y() ? kFullTurnDegrees - degrees : degrees;
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
