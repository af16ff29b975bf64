// SPDX-License-Identifier: Apache-2.0
#include "marks/polygonmark.h"

#include <QGraphicsSceneMouseEvent>
#include <QLineF>
#include <QPainter>
#include <algorithm>
#include <limits>

#include "marks/marksurface.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

namespace {

constexpr double kClosingDistance = 10.0;  // screen px between a click and the first vertex
constexpr int kFirstVertex = 5;            // field
constexpr double kRightMargin = 150.0;     // px, room for a caption at the scene's right edge

}  // namespace

PolygonMark::PolygonMark(MarkSurface* scene)
    : FigureMark(scene, kPolygonMark, Qt::green, 3, QStringLiteral("Polygon Mark"), 0) {}

std::unique_ptr<Mark> PolygonMark::fromText(const QString& keyword, const QString& rest, MarkSurface* scene) {
    const MarkFields fields(rest);
    const int count = fields.integer(3);
    if (keyword != QLatin1String(kKeyword) || count < 1 || count > kMostVertices ||
        fields.count() < kFirstVertex + 2 * count)
        return nullptr;
    auto mark = std::make_unique<PolygonMark>(scene);
    mark->aboutToChange();
    mark->setZValue(kLoadedZ);
    mark->readLineStart(fields, 0);
    for (int i = 0; i < count; ++i)
        mark->points.append(fields.point(kFirstVertex + 2 * i));
    mark->clickStep = kComplete;
    return mark;
}

QString PolygonMark::toText() {
    // The line ends with a space.
    return lineStart(QLatin1String(kKeyword)) + QStringLiteral(" %1 |").arg(points.size()) + pointsText() +
           QLatin1Char(' ');
}

bool PolygonMark::pressPoint(QGraphicsSceneMouseEvent* event) {
    if (clickStep == kComplete)
        return true;
    aboutToChange();
    cursor = event->scenePos();
    const bool closes = closesAt(cursor);
    if (!closes)
        points.append(cursor);
    clickStep = 1;
    isPlacing = 1;
    if (closes || points.size() == kMostVertices)
        complete();
    update();
    return isComplete();
}

bool PolygonMark::closesAt(QPointF click) const {
    return points.size() > 2 && QLineF(click, points.first()).length() * zoom() < kClosingDistance;
}

void PolygonMark::complete() {
    clickStep = kComplete;
    isPlacing = 0;
}

bool PolygonMark::finish() {
    if (isComplete())
        return true;
    if (points.size() < 3 || !isDrawable(points) || !(enclosedArea(points) > 0.0))
        return false;
    aboutToChange();
    complete();
    update();
    return true;
}

void PolygonMark::dragPoint(QGraphicsSceneMouseEvent* event) {
    if (isPlacing != 1)
        return;
    aboutToChange();
    cursor = event->scenePos();
    update();
}

void PolygonMark::drawFigure(QPainter* painter) const {
    const auto edge = [painter](QPointF a, QPointF b) {
        const QLineF line(a, b);
        painter->drawLines(&line, 1);
    };
    for (int i = 1; i < points.size(); ++i)
        edge(points[i - 1], points[i]);
    if (isPlacing == 1 && !points.isEmpty() && isDrawable(cursor))
        edge(points.last(), cursor);
    if (clickStep == kComplete && !points.isEmpty())
        edge(points.last(), points.first());
}

QRectF PolygonMark::figureRect() const {
    QRectF rect;
    for (int i = 0; i < points.size(); ++i)
        rect |= QRectF(points[0], points[i]).normalized();
    if (isPlacing == 1 && !points.isEmpty() && isDrawable(cursor))
        rect |= QRectF(points.last(), cursor).normalized();
    return rect;
}

QVector<FigureMark::Caption> PolygonMark::captions() const {
    if (points.isEmpty())
        return {};
    const auto [left, right] =
        std::minmax_element(points.begin(), points.end(), [](QPointF a, QPointF b) { return a.x() < b.x(); });
    // What the caption takes of the scene grows as the figures' zoom shrinks.
    const bool fitsOnTheRight =
        right->x() < wholeScene().width() - kRightMargin / usableZoom(surface->figureZoom);
    const QPointF centre =
        fitsOnTheRight ? *right * zoom() + QPointF(70.0, 20.0) : *left * zoom() + QPointF(-50.0, 20.0);
    return {{around(centre.x(), centre.y()), QStringLiteral("S:%1").arg(textWithUnit(measured().first()))}};
}

QVector<Measure> PolygonMark::measured() const {
    if (points.isEmpty())
        return {};
    QVector<QPointF> vertices = points;
    // What it will be when the next click is here.
    if (isPlacing == 1 && isDrawable(cursor) && !closesAt(cursor))
        vertices.append(cursor);
    const PlaneFigure plane = inPlane(vertices);
    return {areaMeasure("S", enclosedArea(plane.points), perimeterOf(plane.points), plane)};
}

bool PolygonMark::isDegenerateAt(QPointF next) const {
    QVector<QPointF> vertices = points;
    const bool closes = closesAt(next);
    if (!closes) {
        if (!points.isEmpty() && (coincide(points.last(), next) || coincide(points.first(), next)))
            return true;
        vertices.append(next);
    }
    return (closes || vertices.size() == kMostVertices) && !(enclosedArea(vertices) > 0.0);
}

double PolygonMark::distanceToOutline(QPointF point) const {
    double nearest = std::numeric_limits<double>::infinity();
    const int edges = isComplete() ? points.size() : points.size() - 1;
    for (int i = 0; i < edges; ++i)
        nearest = std::min(nearest, distanceToStretch(point, points[i], points[(i + 1) % points.size()]));
    return nearest;
}
