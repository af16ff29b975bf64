// SPDX-License-Identifier: Apache-2.0
#include "measure/captionoverlay.h"

#include <QGraphicsView>
#include <QPaintEvent>
#include <QPainter>

#include "marks/figuremark.h"

namespace {

constexpr double kCorner = 3.0;  // px, radius
const QColor kGround(22, 26, 34, 205);
const QColor kLetters(248, 248, 248);

}  // namespace

CaptionOverlay::CaptionOverlay(QGraphicsView* shownView) : QWidget(shownView), view(shownView) {
    setObjectName(QStringLiteral("measureCaptions"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::NoFocus);
    hide();
}

void CaptionOverlay::showPlates(const QVector<CaptionPlate>& wished, const QRegion& painted) {
    if (wished == wanted && room == view->viewport()->size())
        return;
    QRegion changed = areas();
    wanted = wished;
    room = view->viewport()->size();
    placed = placedPlates(wished, QRectF(QPointF(0.0, 0.0), room));
    changed += areas();
    if (isHidden() == placed.isEmpty() && (changed - painted).isEmpty())
        return;
    // Nobody is shown or painted anew in the middle of a painting.
    QMetaObject::invokeMethod(
        this,
        [this, changed] {
            if (isHidden() && !placed.isEmpty())
                cover();
            setVisible(!placed.isEmpty());
            update(changed);
        },
        Qt::QueuedConnection);
}

QRegion CaptionOverlay::areas() const {
    QRegion all;
    for (const CaptionPlate& plate : placed)
        all += plate.area.toAlignedRect().adjusted(-1, -1, 1, 1);
    return all;
}

void CaptionOverlay::cover() {
    setGeometry(view->viewport()->geometry());
}

void CaptionOverlay::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(FigureMark::captionFont());
    for (const CaptionPlate& plate : qAsConst(placed)) {
        const QRect area = plate.area.toRect();
        if (!event->region().intersects(area.adjusted(-1, -1, 1, 1)))
            continue;
        painter.setPen(plate.color);
        painter.setBrush(kGround);
        painter.drawRoundedRect(QRectF(area).adjusted(0.5, 0.5, -0.5, -0.5), kCorner, kCorner);
        painter.setPen(kLetters);
        painter.drawText(area, Qt::AlignCenter | Qt::TextDontClip, plate.text);
    }
}
