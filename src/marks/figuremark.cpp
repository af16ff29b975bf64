#include "marks/figuremark.h"

#include <QFontMetricsF>
#include <QGraphicsSceneMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include "marks/marksurface.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

namespace {

const QSizeF kCaptionSize(240.0, 24.0);  // screen px

}  // namespace

FigureMark::FigureMark(MarkSurface* owner, int kind, const QColor& color, int width, const QString& toolTip,
                       int pointCount)
    : Mark(owner, kind, color, width, toolTip), points(pointCount) {}

QRectF FigureMark::wholeScene() const {
    return surface->wholeRect();
}

bool FigureMark::Circumstances::operator==(const Circumstances& other) const {
    return zoom == other.zoom && unitScale == other.unitScale && unit == other.unit &&
           showMeasure == other.showMeasure && wholeScene == other.wholeScene;
}

const FigureMark::Layout& FigureMark::layout() const {
    const Circumstances now{zoom(), surface->unitScale, surface->unit, showMeasure, wholeScene()};
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
    const QFontMetricsF metrics{QFont()};
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
    Q_UNUSED(widget)
    painter->save();
    applyPen(painter);
    if (isDrawable(points)) {
        painter->setTransform(rotation(), true);
        drawFigure(painter);
        if (showMeasure) {
            painter->scale(1.0 / zoom(), 1.0 / zoom());
            painter->setFont(QFont());
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

QString FigureMark::valueText(double length) const {
    return QString::number(length * surface->unitScale, 'f', 2);
}

QString FigureMark::unitText() const {
    return surface->unitText();
}

QString FigureMark::lengthText(double length) const {
    return QStringLiteral("%1[%2]").arg(valueText(length), unitText());
}

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
