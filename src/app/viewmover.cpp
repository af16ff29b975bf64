// SPDX-License-Identifier: Apache-2.0
#include "app/viewmover.h"

#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QCursor>
#include <QGraphicsView>
#include <QMouseEvent>
#include <QScrollBar>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "live/tilelayout.h"
#include "marks/interactivescene.h"

namespace {

/// Whether it was two fingers that scrolled, as far as the system tells.
bool isByFingers(const QWheelEvent& event) {
    if (event.phase() != Qt::NoScrollPhase || event.source() != Qt::MouseEventNotSynthesized)
        return true;
    // An X server has px for ordinary wheels, too.
    return !event.pixelDelta().isNull() && QGuiApplication::platformName() != QLatin1String("xcb");
}

/// How far a wheel scrolls, view px, as over the scroll bars.
QPointF scrollDistance(const QGraphicsView* view, QPointF notches) {
    const int lines = QApplication::wheelScrollLines();
    return {notches.x() * lines * view->horizontalScrollBar()->singleStep(),
            notches.y() * lines * view->verticalScrollBar()->singleStep()};
}

void scrollOn(QScrollBar* bar, double distance) {
    const double value = bar->value() + distance;
    bar->setValue(qRound(qBound<double>(bar->minimum(), value, bar->maximum())));
}

}  // namespace

ViewMover::ViewMover(QGraphicsView* movedView, const InteractiveScene* shownScene, QAction* fitAction)
    : QObject(movedView), view(movedView), scene(shownScene), fit(fitAction) {
    view->viewport()->installEventFilter(this);
    // The cross-hair that is being placed follows the mouse without a button.
    view->viewport()->setMouseTracking(true);
}

bool ViewMover::eventFilter(QObject* watched, QEvent* event) {
    if (event == passedOn) {
        passedOn = nullptr;
        return false;
    }
    switch (event->type()) {
        case QEvent::Wheel:
            takeWheel(*static_cast<QWheelEvent*>(event));
            event->accept();
            return true;
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick:
            return takesPress(*static_cast<QMouseEvent*>(event)) ||
                   passesOn(*static_cast<QMouseEvent*>(event));
        case QEvent::MouseMove:
            return takesMove(*static_cast<QMouseEvent*>(event)) ||
                   passesOn(*static_cast<QMouseEvent*>(event));
        case QEvent::MouseButtonRelease:
            return takesRelease(*static_cast<QMouseEvent*>(event)) ||
                   passesOn(*static_cast<QMouseEvent*>(event));
        case QEvent::WindowDeactivate:
        case QEvent::Hide:
        case QEvent::UngrabMouse:
            // The release may go elsewhere.
            endMove();
            break;
        case QEvent::ContextMenu:
            if (takesMenu(*static_cast<QContextMenuEvent*>(event))) {
                event->accept();
                return true;
            }
            endMove();  // the release goes to the menu
            break;
        default:
            break;
    }
    return QObject::eventFilter(watched, event);
}

// ---- the middle button ---------------------------------------------------------------------------

bool ViewMover::takesPress(const QMouseEvent& event) {
    taken &= event.buttons() & ~event.button();
    const bool isTaken = isPressOurs(event);
    taken.setFlag(event.button(), isTaken);
    if (event.button() == Qt::RightButton)
        isMenuOurs = isTaken;
    return isTaken;
}

bool ViewMover::isPressOurs(const QMouseEvent& event) {
    const bool isAlone = event.buttons() == event.button();
    if (isAlone) {  // if not all are up as far as we know, a release went elsewhere
        endMove();
        buttons = Buttons::Scene;
    }
    if (buttons != Buttons::Scene)
        return true;
    if (event.button() != Qt::MiddleButton)
        return false;
    const bool isDouble = event.type() == QEvent::MouseButtonDblClick;
    const bool hadPlaced = hasPlaced;
    hasPlaced = scene->isPlacing();
    if (hasPlaced)
        return false;
    if (!isAlone)  // a tile or a mark is being dragged, say
        return true;
    if (!isDouble) {
        beginMove(event.localPos());
        return true;
    }
    buttons = Buttons::Spent;
    if (!hadPlaced)  // or its first half was for the mark
        fit->trigger();
    return true;
}

bool ViewMover::takesMove(const QMouseEvent& event) {
    taken &= event.buttons();
    if (buttons == Buttons::Scene)
        return false;
    if (!event.buttons().testFlag(Qt::MiddleButton))
        endMove();
    if (event.buttons() == Qt::NoButton) {
        buttons = Buttons::Scene;
        return false;
    }
    if (buttons == Buttons::Move)
        bring(held, event.localPos());
    return true;
}

bool ViewMover::takesRelease(const QMouseEvent& event) {
    const bool wasTaken = taken.testFlag(event.button());
    taken &= event.buttons();
    if (buttons == Buttons::Scene)
        return wasTaken;
    if (event.button() == Qt::MiddleButton)
        endMove();
    if (event.buttons() == Qt::NoButton)
        buttons = Buttons::Scene;
    return true;
}

/// The scene counts a button that is down as held, though it never got its press: what is being dragged would
/// be held until that one is up. So the event goes on without it.
bool ViewMover::passesOn(const QMouseEvent& event) {
    if (!taken)
        return false;
    QMouseEvent rest(event.type(), event.localPos(), event.windowPos(), event.screenPos(), event.button(),
                     event.buttons() & ~taken, event.modifiers(), event.source());
    rest.setTimestamp(event.timestamp());
    passedOn = &rest;
    QCoreApplication::sendEvent(view->viewport(), &rest);
    passedOn = nullptr;  // also where somebody else's filter has kept it from us
    return true;
}

/// Some systems ask for the menu after the right button's press, some after its release, and in a double
/// click it may come before the press: so each press of ours takes one menu along.
bool ViewMover::takesMenu(const QContextMenuEvent& event) {
    if (event.reason() != QContextMenuEvent::Mouse || (buttons == Buttons::Scene && !isMenuOurs))
        return false;
    isMenuOurs = false;
    return true;
}

void ViewMover::beginMove(QPointF place) {
    QWidget* viewport = view->viewport();
    buttons = Buttons::Move;
    held = toScene(place);
    cursorBefore = viewport->testAttribute(Qt::WA_SetCursor) ? QVariant(viewport->cursor()) : QVariant();
    viewport->setCursor(Qt::ClosedHandCursor);
}

void ViewMover::endMove() {
    if (buttons != Buttons::Move)
        return;
    buttons = Buttons::Spent;
    if (cursorBefore.isValid())
        view->viewport()->setCursor(cursorBefore.value<QCursor>());
    else
        view->viewport()->unsetCursor();
}

// ---- the wheel -----------------------------------------------------------------------------------

void ViewMover::takeWheel(const QWheelEvent& event) {
    const QPointF notches = QPointF(event.angleDelta()) / QWheelEvent::DefaultDeltasPerStep;
    const bool isByCtrl = event.modifiers().testFlag(Qt::ControlModifier);
    if (isByFingers(event) && !isByCtrl) {
        const QPointF px = event.pixelDelta();
        scrollBy(px.isNull() ? scrollDistance(view, notches) : px);
    } else if (qAbs(notches.x()) > qAbs(notches.y())) {
        // A wheel that tilts; some systems make this of Alt or Shift, too.
        scrollBy(scrollDistance(view, {notches.x(), 0.0}));
    } else if (event.modifiers() & (Qt::ShiftModifier | Qt::AltModifier)) {
        scrollBy(scrollDistance(view, {notches.y(), 0.0}));
    } else {
        zoom(event);
    }
}

void ViewMover::zoom(const QWheelEvent& event) {
    const QPointF place = event.position();
    const double notches = event.angleDelta().y() / double(QWheelEvent::DefaultDeltasPerStep);
    const double factor = wheelZoomFactor(view->transform().m11(), notches, fitScale());
    if (factor == 1.0)
        return;
    // A view scrolls by whole px: asked for anew at each notch, the point would wander off. Where the scene
    // ends it cannot come to the cursor yet, but some notches later; on the way out it is given up there.
    const bool isInwards = notches > 0;
    const QPointF missed = view->viewportTransform().map(zoomPoint) - place;
    const bool isMissed = std::max(qAbs(missed.x()), qAbs(missed.y())) > 1.0;
    if (place != zoomPlace || view->viewportTransform() != zoomed || (isMissed && isInwards && !wasInwards))
        zoomPoint = toScene(place);
    view->scale(factor, factor);
    bring(zoomPoint, place);
    zoomPlace = place;
    zoomed = view->viewportTransform();
    wasInwards = isInwards;
    if (scene->isPlacing()) {
        // The cross-hair stays at the cursor.
        QMouseEvent move(QEvent::MouseMove, place, event.globalPosition(), Qt::NoButton, event.buttons(),
                         event.modifiers());
        QCoreApplication::sendEvent(view->viewport(), &move);
    }
}

// ---- the view ------------------------------------------------------------------------------------

/// Shows what lies beyond the left and upper edge for a positive distance, view px.
void ViewMover::scrollBy(QPointF distance) {
    leftToScroll += distance;
    const QPointF whole(std::trunc(leftToScroll.x()), std::trunc(leftToScroll.y()));
    leftToScroll -= whole;
    scrollOn(view->horizontalScrollBar(), -whole.x());
    scrollOn(view->verticalScrollBar(), -whole.y());
}

/// Scrolls a point of the scene to a place of the viewport, view px, as near as the scroll bars go.
void ViewMover::bring(QPointF scenePoint, QPointF place) {
    const QPointF distance = view->viewportTransform().map(scenePoint) - place;
    scrollOn(view->horizontalScrollBar(), distance.x());
    scrollOn(view->verticalScrollBar(), distance.y());
}

QPointF ViewMover::toScene(QPointF place) const {
    return view->viewportTransform().inverted().map(place);
}

/// At which all of the scene is in view.
double ViewMover::fitScale() const {
    const QSizeF whole = view->sceneRect().size();
    const QSizeF room = view->maximumViewportSize();
    return whole.isEmpty() ? 1.0 : std::min(room.width() / whole.width(), room.height() / whole.height());
}
