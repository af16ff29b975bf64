#include "marks/figuremark.h"

#include <QFontMetricsF>
#include <QGraphicsSceneMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include "marks/interactivescene.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

namespace {

const QSizeF kCaptionSize(240.0, 24.0);  // screen px

}  // namespace

FigureMark::FigureMark(InteractiveScene* owner, int kind, const QColor& color, int width,
                       const QString& toolTip, int pointCount)
    : Mark(owner, kind, color, width, toolTip), points(pointCount) {}

QRectF FigureMark::wholeScene() const {
    return interactiveScene->wholeRect();
}

QRectF FigureMark::paintedRect() const {
    if (!isDrawable(points))
        return {};
    // Half a pen to each side, and a whole one where lines meet at a sharp corner.
    const double pen = penWidthAt(zoom());
    QRectF rect = figureRect().normalized().adjusted(-pen, -pen, pen, pen);
    if (showMeasure) {
        const auto texts = captions();
        for (const Caption& caption : texts) {
            const QRectF area = paintedArea(caption);
            rect |= QRectF(area.topLeft() / zoom(), area.size() / zoom());
        }
    }
    return rotation().mapRect(rect);
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
            const auto texts = captions();
            painter->setFont(QFont());
            // Centred, and whole where the area is too small: a measure without its first digit would be a
            // wrong one.
            for (const Caption& caption : texts)
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
        prepareGeometryChange();
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
    prepareGeometryChange();
    for (int i = first; i < points.size(); ++i)
        points[i] = event->scenePos();
    update();
}

void FigureMark::shiftBy(double dx, double dy) {
    prepareGeometryChange();
    for (QPointF& point : points)
        point += QPointF(dx, dy);
    update();
}

QRectF FigureMark::around(double x, double y) {
    return {QPointF(x - kCaptionSize.width() / 2, y - kCaptionSize.height() / 2), kCaptionSize};
}

QString FigureMark::valueText(double length) const {
    return QString::number(length * interactiveScene->unitScale, 'f', 2);
}

QString FigureMark::unitText() const {
    return interactiveScene->unitText();
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
    setZValue(kLoadedZ);
    readLineStart(fields, 0);
    for (int i = 0; i < points.size(); ++i)
        points[i] = fields.point(first + 2 * i);
    clickStep = points.size();
    return true;
}
