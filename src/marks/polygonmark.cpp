#include "marks/polygonmark.h"

#include <QGraphicsSceneMouseEvent>
#include <QLineF>
#include <QPainter>
#include <algorithm>

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
    const bool closes =
        points.size() > 2 && QLineF(cursor, points.first()).length() * zoom() < kClosingDistance;
    if (!closes)
        points.append(cursor);
    const bool isComplete = closes || points.size() == kMostVertices;
    clickStep = isComplete ? kComplete : 1;
    isPlacing = isComplete ? 0 : 1;
    update();
    return isComplete;
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
    const bool fitsOnTheRight = right->x() < wholeScene().width() - kRightMargin;
    const QPointF centre =
        fitsOnTheRight ? *right * zoom() + QPointF(70.0, 20.0) : *left * zoom() + QPointF(-50.0, 20.0);
    // An area: the unit's factor counts for both directions.
    const double area = enclosedArea(points) * surface->unitScale * surface->unitScale;
    return {{around(centre.x(), centre.y()),
             QStringLiteral("S:%1[%2^2]").arg(QString::number(area, 'f', 2), unitText())}};
}
