// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QGraphicsScene>
#include <QGraphicsSceneMouseEvent>
#include <QGraphicsView>
#include <QSignalSpy>

/// Counts what a scene hears of the mouse, as its event filter: where the middle button is in it, and the
/// rest.
class MiddleButtonWatch : public QObject {
public:
    explicit MiddleButtonWatch(QGraphicsScene* scene) { scene->installEventFilter(this); }
    int count = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (const auto* mouse = dynamic_cast<QGraphicsSceneMouseEvent*>(event)) {
            const Qt::MouseButtons all = mouse->buttons() | mouse->button();
            count += all.testFlag(Qt::MiddleButton) ? 1 : 0;
        }
        return false;
    }
};

/// Asks a view for its menu, as the system does. `place`: px of the viewport.
inline void askForMenu(const QGraphicsView* view, QPoint place,
                       QContextMenuEvent::Reason reason = QContextMenuEvent::Mouse) {
    QContextMenuEvent event(reason, place, view->viewport()->mapToGlobal(place));
    QCoreApplication::sendEvent(view->viewport(), &event);
}

/// How many menus of its own a view wanted to bring up `during` something. From now on it brings up none:
/// that would wait for somebody to choose.
template <typename Action>
int menusAskedFor(QGraphicsView* view, const Action& during) {
    view->disconnect(SIGNAL(customContextMenuRequested(QPoint)));
    const QSignalSpy asked(view, &QWidget::customContextMenuRequested);
    during();
    return asked.size();
}
