// SPDX-License-Identifier: Apache-2.0
#include "measure/measureoverlay.h"

#include <QGraphicsView>
#include <QPainter>

namespace {

constexpr int kDot = 5;  // px
const QColor kFill(255, 255, 255);
const QColor kHeldFill(255, 176, 64);
const QColor kOutline(20, 60, 140);

}  // namespace

MeasureOverlay::MeasureOverlay(QGraphicsView* shownView) : QWidget(shownView), view(shownView) {
    setObjectName(QStringLiteral("measureOverlay"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::NoFocus);
    hide();
}

void MeasureOverlay::showHandles(const QVector<QPointF>& points, int active, bool canBeHeld) {
    handles = points;
    held = active;
    isLarge = canBeHeld;
    if (isHidden() && !handles.isEmpty())
        cover();
    setVisible(!handles.isEmpty());
    update();
}

void MeasureOverlay::cover() {
    setGeometry(view->viewport()->geometry());
}

void MeasureOverlay::paintEvent(QPaintEvent* event) {
    Q_UNUSED(event)
    QPainter painter(this);
    const QTransform toView = view->viewportTransform();
    const int side = isLarge ? kHandle : kDot;
    painter.setPen(kOutline);
    for (int i = 0; i < handles.size(); ++i) {
        const QPointF middle = toView.map(handles[i]);
        if (!QRectF(rect()).adjusted(-side, -side, side, side).contains(middle))
            continue;  // it may be anywhere
        painter.setBrush(i == held ? kHeldFill : kFill);
        const QPoint corner = middle.toPoint() - QPoint(side / 2, side / 2);
        painter.drawRect(QRect(corner, QSize(side - 1, side - 1)));
    }
}
