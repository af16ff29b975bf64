// SPDX-License-Identifier: Apache-2.0
#include "measure/loupe.h"

#include <QCoreApplication>
#include <QFontInfo>
#include <QFontMetrics>
#include <QPainter>
#include <algorithm>
#include <utility>

namespace {

const QColor kSurround(43, 47, 51);  // beside the tiles, as in the view
const QColor kText(235, 238, 241);
const QColor kCorner(64, 224, 128);
// An edge gives half a place: where along it is still the hand's.
const QColor kEdge(255, 160, 40);
const QColor kMissed(168, 174, 180);
const QColor kAim(255, 235, 59);

constexpr int kFromCursor = 28;  // px, to each side
constexpr int kMargin = 4;       // px, of texts
constexpr double kOpen = 9.0;    // px, from the middle of the cross to its arms

QColor colorOf(const Aim& aim) {
    if (!aim.doesSnap)
        return kAim;
    switch (aim.kind) {
        case SnapKind::Corner:
            return kCorner;
        case SnapKind::Edge:
            return kEdge;
        case SnapKind::None:
            break;
    }
    return kMissed;
}

/// In a smaller font where it is too long.
void drawFitting(QPainter& painter, const QRect& area, const QString& text) {
    painter.save();
    const int width = painter.fontMetrics().horizontalAdvance(text);
    if (width > area.width()) {
        QFont font = painter.font();
        font.setPixelSize(std::max(1, QFontInfo(font).pixelSize() * area.width() / width));
        painter.setFont(font);
    }
    painter.drawText(area, Qt::AlignCenter, text);
    painter.restore();
}

int besideCursor(int cursor, int size, int first, int last) {
    const int after = cursor + kFromCursor;
    const int place = after + size <= last + 1 ? after : cursor - kFromCursor - size;
    return std::max(std::min(place, last + 1 - size), first);
}

}  // namespace

Loupe::Loupe(QWidget* parent, TilePictures tilesOfScene) : QWidget(parent), tiles(std::move(tilesOfScene)) {
    setObjectName(QStringLiteral("loupe"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::NoFocus);
    retranslate();
    hide();
}

void Loupe::retranslate() {
    cornerText = QCoreApplication::translate("MeasureTools", "corner");
    edgeText = QCoreApplication::translate("MeasureTools", "edge");
    nothingText = QCoreApplication::translate("MeasureTools", "nothing to snap to");
    update();
}

QString Loupe::snapText(const Aim& aimed) const {
    if (!aimed.doesSnap)
        return {};
    switch (aimed.kind) {
        case SnapKind::Corner:
            return cornerText;
        case SnapKind::Edge:
            return edgeText;
        case SnapKind::None:
            return nothingText;
    }
    return {};
}

void Loupe::showAt(QPoint cursor, const QRect& room, const Aim& aimed, double viewScale) {
    aim = aimed;
    magnified = kFactor * std::max(1.0, viewScale);
    const QSize size(kSide, kSide + 2 * QFontMetrics(font()).height() + 2 * kMargin);
    setGeometry({{besideCursor(cursor.x(), size.width(), room.left(), room.right()),
                  besideCursor(cursor.y(), size.height(), room.top(), room.bottom())},
                 size});
    show();
    raise();
    update();
}

void Loupe::paintEvent(QPaintEvent* event) {
    Q_UNUSED(event)
    QPainter painter(this);
    painter.fillRect(rect(), kSurround);
    painter.setClipRect(0, 0, kSide, kSide);
    paintPictures(painter);
    paintCross(painter);
    painter.setClipping(false);
    paintTexts(painter);
    painter.setPen(kText);
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void Loupe::paintPictures(QPainter& painter) const {
    const QPointF middle(kSide / 2.0, kSide / 2.0);
    const double reach = kSide / 2.0 / magnified;
    const QVector<TilePicture> shown = tiles();
    for (const TilePicture& tile : shown) {
        // Whole pixels of it, so that each is as large as the others.
        const QRectF wanted(aim.seen - tile.place - QPointF(reach, reach), QSizeF(2 * reach, 2 * reach));
        const QRect part = wanted.toAlignedRect() & tile.picture.rect();
        if (part.isEmpty())
            continue;
        const QPointF corner = middle + (tile.place + part.topLeft() - aim.seen) * magnified;
        painter.drawImage(QRectF(corner, QSizeF(part.size()) * magnified), tile.picture, part);
    }
}

void Loupe::paintCross(QPainter& painter) const {
    const double middle = kSide / 2.0;
    const QLineF arms[] = {{0, middle, middle - kOpen, middle},
                           {middle + kOpen, middle, double(kSide), middle},
                           {middle, 0, middle, middle - kOpen},
                           {middle, middle + kOpen, middle, double(kSide)}};
    painter.setPen(QPen(QColor(0, 0, 0, 150), 4, Qt::SolidLine, Qt::FlatCap));
    painter.drawLines(arms, 4);
    painter.setPen(QPen(colorOf(aim), 2, Qt::SolidLine, Qt::FlatCap));
    painter.drawLines(arms, 4);
}

void Loupe::paintTexts(QPainter& painter) const {
    const int height = painter.fontMetrics().height();
    QRect line(kMargin, kSide + kMargin, kSide - 2 * kMargin, height);
    painter.setPen(kText);
    drawFitting(painter, line,
                QStringLiteral("x %1  y %2 px").arg(aim.point.x(), 0, 'f', 1).arg(aim.point.y(), 0, 'f', 1));
    line.translate(0, height);
    painter.setPen(colorOf(aim));
    drawFitting(painter, line, snapText(aim));
}
