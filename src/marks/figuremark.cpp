// SPDX-License-Identifier: Apache-2.0
#include "marks/figuremark.h"

#include <QFontMetricsF>
#include <QGraphicsSceneMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <limits>

#include "marks/markgeometry.h"
#include "marks/markline.h"

namespace {

const QSizeF kCaptionSize(240.0, 24.0);  // screen px
constexpr double kPlaneLimit = 1e15;     // display units: squares of it are numbers in single precision, too
constexpr double kSamePlace = 0.01;      // px: texts of two decimals show less as nothing

}  // namespace

FigureMark::FigureMark(MarkSurface* owner, int kind, const QColor& color, int width, const QString& toolTip,
                       int pointCount)
    : Mark(owner, kind, color, width, toolTip), points(pointCount) {}

QRectF FigureMark::wholeScene() const {
    return surface->wholeRect();
}

bool FigureMark::Circumstances::operator==(const Circumstances& other) const {
    return zoom == other.zoom && unitScale == other.unitScale && unit == other.unit && plane == other.plane &&
           showMeasure == other.showMeasure && wholeScene == other.wholeScene;
}

const FigureMark::Layout& FigureMark::layout() const {
    const Circumstances now{zoom(),      surface->unitScale, surface->unit, surface->planeVersion(),
                            showMeasure, wholeScene()};
    if (kept.madeFor == now)
        return kept;
    kept = Layout{now, {}, {}};
    if (!isDrawable(points))
        return kept;
    // Half a pen to each side, and a whole one where lines meet at a sharp corner.
    const double pen = penWidthAt(now.zoom);
    QRectF rect = figureRect().normalized().adjusted(-pen, -pen, pen, pen);
    if (showMeasure) {
        kept.captions = captions();
        for (const Caption& caption : qAsConst(kept.captions)) {
            const QRectF area = paintedArea(caption);
            rect |= QRectF(area.topLeft() / now.zoom, area.size() / now.zoom);
        }
    }
    kept.painted = rotation().mapRect(rect);
    return kept;
}

void FigureMark::aboutToChange() {
    // In this order: it asks for the rectangle once more.
    prepareGeometryChange();
    kept = Layout();
}

/// The area, or the text where that is larger, screen px.
QRectF FigureMark::paintedArea(const Caption& caption) {
    QRectF area = caption.area.normalized();
    const QFontMetricsF metrics(markFont());
    const QSizeF text(metrics.horizontalAdvance(caption.text) + metrics.height(), 1.5 * metrics.height());
    const QSizeF size = area.size().expandedTo(text);
    const QPointF centre = area.center();
    return {centre - QPointF(size.width(), size.height()) / 2.0, size};
}

QRectF FigureMark::boundingRect() const {
    return wholeScene() | paintedRect();
}

QPainterPath FigureMark::shape() const {
    QPainterPath path;
    path.addRect(paintedRect());
    return path;
}

void FigureMark::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) {
    Q_UNUSED(option)
    if (isDraft && surface->hidesDrafts)
        return;
    painter->save();
    applyPen(painter);
    if (surface->figureZoom > 1.0) {
        // As thick as a px of the picture it would hide what is measured.
        QPen thin = painter->pen();
        thin.setWidthF(1.0 / zoom());
        painter->setPen(thin);
    }
    if (isDrawable(points)) {
        painter->setTransform(rotation(), true);
        drawFigure(painter);
        if (showMeasure && !(widget && surface->leavesCaptions)) {
            painter->scale(1.0 / zoom(), 1.0 / zoom());
            painter->setFont(markFont());
            // Centred, and whole where the area is too small: a measure without its first digit would be a
            // wrong one.
            for (const Caption& caption : layout().captions)
                painter->drawText(caption.area.normalized(), Qt::AlignCenter | Qt::TextDontClip,
                                  caption.text);
        }
    }
    painter->restore();
}

bool FigureMark::pressPoint(QGraphicsSceneMouseEvent* event) {
    if (points.size() == 1)
        clickStep = 0;
    if (clickStep < points.size()) {
        aboutToChange();
        for (int i = clickStep; i < points.size(); ++i)
            points[i] = event->scenePos();
        ++clickStep;
        update();
    }
    return clickStep == points.size();
}

void FigureMark::dragPoint(QGraphicsSceneMouseEvent* event) {
    const int first = points.size() == 1 ? 0 : clickStep;
    if (points.size() > 1 && clickStep == 0)
        return;
    aboutToChange();
    for (int i = first; i < points.size(); ++i)
        points[i] = event->scenePos();
    update();
}

void FigureMark::shiftBy(double dx, double dy) {
    aboutToChange();
    for (QPointF& point : points)
        point += QPointF(dx, dy);
    update();
}

QRectF FigureMark::around(double x, double y) {
    return {QPointF(x - kCaptionSize.width() / 2, y - kCaptionSize.height() / 2), kCaptionSize};
}

double FigureMark::zoom() const {
    return usableZoom(usableZoom(surface->viewZoom) * usableZoom(surface->figureZoom));
}

// ---- as a value --------------------------------------------------------------------------------

Figure FigureMark::figure() const {
    return {kind(), points, turn(), penColor, penWidth, showMeasure};
}

void FigureMark::setFigure(const Figure& figure) {
    if (figure.kind != kind() || !canHave(figure.points.size()))
        return;
    aboutToChange();
    points = figure.points;
    setTurn(figure.angle);
    penColor = figure.color;
    penWidth = figure.penWidth;
    showMeasure = figure.showMeasure;
    complete();
    update();
}

bool FigureMark::coincide(QPointF a, QPointF b) {
    return std::hypot(b.x() - a.x(), b.y() - a.y()) < kSamePlace;
}

bool FigureMark::isDegenerateWith(QPointF next) const {
    if (!isDrawable(next))
        return true;
    if (kind() == FigureKind::HLine || kind() == FigureKind::VLine)
        return false;
    return isComplete() || !isDrawable(points) || isDegenerateAt(next);
}

QVector<QPointF> FigureMark::handles() const {
    if (!isDrawable(points))
        return {};
    QVector<QPointF> seen;
    const QTransform turned = rotation();
    for (int i = 0; i < std::min(pointsTaken(), points.size()); ++i)
        seen.append(turned.map(points[i]));
    return seen;
}

void FigureMark::moveHandle(int index, QPointF to) {
    QVector<QPointF> seen = handles();
    if (index < 0 || index >= seen.size() || !isDrawable(to))
        return;
    aboutToChange();
    if (rotation().isIdentity()) {
        points[index] = to;
    } else {
        // A box is turned about its centre, which goes along: its corners are made of those that are seen.
        seen[index] = to;
        const QPointF centre = (seen.first() + seen.last()) / 2.0;
        const QTransform back = QTransform::fromTranslate(centre.x(), centre.y())
                                    .rotate(-turn())
                                    .translate(-centre.x(), -centre.y());
        for (int i = 0; i < seen.size(); ++i)
            points[i] = back.map(seen[i]);
    }
    update();
}

double FigureMark::distanceTo(QPointF scenePoint) const {
    if (!isDrawable(points) || !isDrawable(scenePoint) || pointsTaken() == 0)
        return std::numeric_limits<double>::infinity();
    return distanceToOutline(rotation().inverted().map(scenePoint));
}

QVector<SeenCaption> FigureMark::seenCaptions() const {
    const Layout& laidOut = layout();
    const QTransform turned = rotation();
    QVector<SeenCaption> seen;
    for (const Caption& caption : laidOut.captions)
        seen.append({turned.map(caption.area.center() / laidOut.madeFor.zoom), caption.text});
    return seen;
}

QVector<Measure> FigureMark::measures() const {
    return isDrawable(points) ? measured() : QVector<Measure>();
}

PlaneFigure FigureMark::inPlane(const QVector<QPointF>& scenePoints) const {
    PlaneFigure plane = surface->planeFigure(scenePoints);
    const bool isPlane = plane.points.size() == scenePoints.size() && std::isfinite(plane.scale) &&
                         std::all_of(plane.points.cbegin(), plane.points.cend(),
                                     [](QPointF point) { return isDrawable(point, kPlaneLimit); });
    return isPlane ? plane : PlaneFigure{scenePoints, 0, 0.0, 1.0};
}

// ---- mark file ---------------------------------------------------------------------------------

QString FigureMark::pointsText() const {
    QString text;
    for (const QPointF point : points)
        text += QLatin1Char(' ') + markNumber(point.x()) + QLatin1Char(' ') + markNumber(point.y());
    return text;
}

bool FigureMark::readLine(bool isOwnKeyword, const MarkFields& fields, int first) {
    if (!isOwnKeyword || fields.count() < first + 2 * points.size())
        return false;
    aboutToChange();
    setZValue(kLoadedZ);
    readLineStart(fields, 0);
    for (int i = 0; i < points.size(); ++i)
        points[i] = fields.point(first + 2 * i);
    clickStep = points.size();
    return true;
}
