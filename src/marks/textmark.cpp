// SPDX-License-Identifier: Apache-2.0
#include "marks/textmark.h"

#include <QDateTime>
#include <QFont>
#include <QFontMetrics>
#include <QGraphicsSceneMouseEvent>
#include <QPainter>

#include "marks/marksurface.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

namespace {

constexpr int kFields = 18;
constexpr int kPointsPerPenWidth = 50;  // font size
// Also in a barcode's line: its space gives the line the number of fields that reading wants.
constexpr auto kDefaultFormat = "yyyy-MM-dd HH:mm:ss";

}  // namespace

TextMark::TextMark(MarkSurface* scene)
    : Mark(scene, kBarcodeTextMark, Qt::red, 1, QStringLiteral("Text Mark")),
      dateTimeFormat(QLatin1String(kDefaultFormat)) {
    setAcceptHoverEvents(true);
    updateGeometry();
}

std::unique_ptr<TextMark> TextMark::fromText(const QString& line, MarkSurface* scene) {
    const MarkFields fields(line);
    if (fields.count() < kFields || fields.text(0) != QLatin1String(kKeyword))
        return nullptr;
    auto mark = std::make_unique<TextMark>(scene);
    mark->setZValue(kLoadedZ);
    mark->readLineStart(fields, 1);
    mark->origin = fields.point(5);
    mark->farCorner = fields.point(7);
    mark->isDateTimeOn = fields.integer(10) != 0;
    mark->dateTimeFormat = fields.text(11);
    mark->isFreeTextOn = fields.integer(12) != 0;
    mark->freeText = fields.text(13);
    mark->isBarcodeOn = fields.integer(14) != 0;
    mark->firstFlag = fields.integer(15);
    mark->secondFlag = fields.integer(16);
    mark->extra = fields.number(17);
    mark->barcode = placeholder();
    mark->updateGeometry();
    return mark;
}

QString TextMark::toText() {
    // Joined, not filled into a pattern: the texts may hold percent signs.
    return QStringList{lineStart(QLatin1String(kKeyword)),
                       QStringLiteral("|"),
                       markNumber(anchor().x()),
                       markNumber(anchor().y()),
                       markNumber(farCorner.x()),
                       markNumber(farCorner.y()),
                       QStringLiteral("|"),
                       QString::number(isDateTimeOn ? 1 : 0),
                       dateTimeFormat,
                       QString::number(isFreeTextOn ? 1 : 0),
                       freeText,
                       QString::number(isBarcodeOn ? 1 : 0),
                       QString::number(firstFlag),
                       QString::number(secondFlag),
                       markNumber(extra)}
        .join(QLatin1Char(' '));
}

void TextMark::showDateTime(const QString& format) {
    isDateTimeOn = true;
    setDateTimeFormat(format);
}

void TextMark::setDateTimeFormat(const QString& format) {
    dateTimeFormat = format;
    updateGeometry();
}

void TextMark::showBarcode() {
    isBarcodeOn = true;
    updateGeometry();
}

void TextMark::setBarcode(const QString& text) {
    barcode = text;
    updateGeometry();
}

void TextMark::compose() {
    displayText.clear();
    if (isDateTimeOn)
        displayText += QDateTime::currentDateTime().toString(dateTimeFormat) + QLatin1Char(' ');
    if (isFreeTextOn)
        displayText += freeText + QLatin1Char(' ');
    if (isBarcodeOn) {
        if (barcode.isEmpty())
            barcode = placeholder();
        displayText += barcode;
    }
}

QFont TextMark::font() const {
    QFont font = markFont();
    // The width that the pen has at this zoom: texts keep their size on screen as lines keep their width.
    font.setPointSize(penWidthAt(zoom()) * kPointsPerPenWidth);
    return font;
}

QString TextMark::placeholder() {
    return QStringLiteral("########");
}

/// Around what is painted, item px relative to the origin. Glyphs may reach over their advance and their
/// line.
QRectF TextMark::textRect() const {
    const QFontMetrics metrics(font());
    const QString shown = text();
    const QRect rect = metrics.boundingRect(shown) |
                       QRect(0, -metrics.ascent(), metrics.horizontalAdvance(shown), metrics.height());
    const int margin = metrics.height() / 8 + 1;
    return rect.adjusted(-margin, -margin, margin, margin);
}

void TextMark::updateGeometry() {
    compose();
    const QRectF needed = textRect();
    if (needed == extent)
        return;
    prepareGeometryChange();
    extent = needed;
}

QRectF TextMark::boundingRect() const {
    return isDrawable(origin) ? extent.translated(origin) : QRectF();
}

void TextMark::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) {
    Q_UNUSED(option)
    Q_UNUSED(widget)
    applyPen(painter);
    compose();
    painter->setFont(font());
    if (isDrawable(origin))
        painter->drawText(origin, text());
    const QFontMetrics metrics = painter->fontMetrics();
    farCorner = anchor() + QPointF(metrics.horizontalAdvance(displayText), -metrics.height());
    if (!extent.contains(textRect()))
        surface->updateOverlayGeometry();
}

bool TextMark::pressPoint(QGraphicsSceneMouseEvent* event) {
    setZValue(kPlacedZ);
    moveTo(event->scenePos());
    return true;
}

void TextMark::dragPoint(QGraphicsSceneMouseEvent* event) {
    moveTo(event->scenePos());
}

void TextMark::shiftBy(double dx, double dy) {
    moveTo(anchor() + QPointF(dx, dy));
}

void TextMark::moveTo(QPointF scenePoint) {
    prepareGeometryChange();
    origin = scenePoint - pos();
    surface->repaintWhole();
}
