// SPDX-License-Identifier: Apache-2.0
#include "marks/mark.h"

#include <QPainter>
#include <algorithm>

#include "marks/marksurface.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

namespace {

constexpr double kLeastZoom = 0.001;  // below, a scene of any size is a dot

}  // namespace

Mark::Mark(MarkSurface* owner, int kind, const QColor& color, int width, const QString& toolTip)
    : markType(kind), penColor(color), penWidth(width), surface(owner) {
    setToolTip(toolTip);
    setAcceptedMouseButtons(Qt::LeftButton);
}

Mark::~Mark() = default;

void Mark::dragPoint(QGraphicsSceneMouseEvent* event) {
    Q_UNUSED(event)
}

double Mark::zoom() const {
    return usableZoom(surface->viewZoom);
}

double Mark::usableZoom(double zoom) {
    return zoom > 0.0 ? std::clamp(zoom, kLeastZoom, kDrawableLimit) : 1.0;
}

void Mark::applyPen(QPainter* painter) {
    penWidth = penWidthAt(usableZoom(surface->viewZoom));
    QPen pen(penColor);
    pen.setWidth(penWidthAt(zoom()));
    painter->setPen(pen);
    painter->setBrush(Qt::NoBrush);
}

QFont Mark::markFont() {
    QFont font;
    font.setFamily(font.family());
    if (font.pointSizeF() > 0.0)
        font.setPointSizeF(font.pointSizeF());
    else
        font.setPixelSize(font.pixelSize());
    font.setWeight(font.weight());
    font.setStyle(font.style());
    font.setUnderline(font.underline());
    font.setStrikeOut(font.strikeOut());
    return font;
}

QString Mark::lineStart(const QString& keyword) const {
    return QStringLiteral("%1 %2 %3 %4").arg(keyword, penColor.name()).arg(penWidth).arg(showMeasure ? 1 : 0);
}

void Mark::readLineStart(const MarkFields& fields, int first) {
    penColor.setNamedColor(fields.text(first).trimmed());
    penWidth = fields.integer(first + 1);
    showMeasure = fields.integer(first + 2) > 0 ? 1 : 0;
}
