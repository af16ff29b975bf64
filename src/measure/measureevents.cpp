// SPDX-License-Identifier: Apache-2.0
// The view's events as MeasureTools takes them: which are whose, and what a press, a move or a key begins.

#include "measure/measuretools.h"

#include <QContextMenuEvent>
#include <QGraphicsView>
#include <QKeyEvent>
#include <QLineF>
#include <QMouseEvent>
#include <QPaintEvent>
#include <utility>

#include "measure/captionoverlay.h"
#include "measure/figurelist.h"
#include "measure/measureoverlay.h"

namespace {

// View px.
constexpr double kDragDistance = 4.0;  // from which on a press, drag and release set two points

}  // namespace

bool MeasureTools::eventFilter(QObject* watched, QEvent* event) {
    // A view that is going tells of it, when it is none any more.
    if (!scene || !list || !qobject_cast<QGraphicsView*>(parent()))
        return false;
    if (!on)
        return watched == view->viewport() && takesRest(event);
    if (watched == view->viewport())
        return takesViewportEvent(event);
    if (watched == parent() && (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease))
        return takesKey(*static_cast<QKeyEvent*>(event));
    return false;
}

bool MeasureTools::takesViewportEvent(QEvent* event) {
    switch (event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick:
            return takesPress(*static_cast<QMouseEvent*>(event));
        case QEvent::MouseMove:
            return takesMove(*static_cast<QMouseEvent*>(event));
        case QEvent::MouseButtonRelease:
            return takesRelease(*static_cast<QMouseEvent*>(event));
        case QEvent::ContextMenu:
            if (!takesMenu(*static_cast<QContextMenuEvent*>(event)))
                return false;
            event->accept();
            return true;
        case QEvent::ToolTip:
            return isDrawing() || wantsLoupe();  // it would cover what is being set
        case QEvent::Leave:
            leave();
            return false;
        case QEvent::Paint:
            noticeView();
            showCaptions(static_cast<QPaintEvent*>(event)->region());
            return false;
        case QEvent::Move:
        case QEvent::Resize:
            captions->cover();
            overlay->cover();
            return false;
        default:
            return false;
    }
}

/// Off in the middle of a press: until its release nothing of it is for the scene, which would drag what it
/// holds by a press that it has not seen.
bool MeasureTools::takesRest(QEvent* event) {
    const QEvent::Type type = event->type();
    const bool isPress = type == QEvent::MouseButtonPress || type == QEvent::MouseButtonDblClick;
    const bool isRelease = type == QEvent::MouseButtonRelease;
    if (!isPress && !isRelease && type != QEvent::MouseMove)
        return false;
    const auto& mouse = *static_cast<QMouseEvent*>(event);
    const bool wasTaken = taken.testFlag(mouse.button());
    taken &= isPress ? mouse.buttons() & ~mouse.button() : mouse.buttons();
    if (!taken)
        removeFilters();
    if (isPress)
        return false;
    return isRelease ? wasTaken : taken.testFlag(Qt::LeftButton);
}

/// The release of the left button went elsewhere.
void MeasureTools::endWhatIsLost() {
    if (taken.testFlag(Qt::LeftButton))
        return;
    endDrag();
    releaseCrossHair();
}

bool MeasureTools::takesPress(const QMouseEvent& event) {
    cursor = event.localPos();
    modifiers = event.modifiers();
    held = event.buttons();
    taken &= held & ~event.button();
    endWhatIsLost();
    if (held.testFlag(Qt::MiddleButton))
        return false;  // the view is being moved, or begins to be
    bool isTaken = false;
    if (event.button() == Qt::RightButton)
        isTaken = takesRightPress();
    else if (event.button() == Qt::LeftButton)
        isTaken = takesLeftPress(event);
    taken.setFlag(event.button(), isTaken);
    showLoupe();
    return isTaken;
}

/// Ends what can be ended, gives up what cannot, and takes its menu along: that comes after the press on some
/// systems, after the release on others, and in a double click perhaps before the press.
bool MeasureTools::takesRightPress() {
    isMenuOurs = false;
    const bool hasMenu = std::exchange(hasMenuCome, false);
    if (drag) {
        giveUpDrag();
    } else if (draft.pointsTaken() > 0) {
        take(draft.finish());
        draft.giveUp();
    } else {
        return false;
    }
    isMenuOurs = !hasMenu;
    return true;
}

bool MeasureTools::takesMenu(const QContextMenuEvent& event) {
    if (event.reason() != QContextMenuEvent::Mouse)
        return false;
    if (std::exchange(isMenuOurs, false))
        return true;
    hasMenuCome = drag || draft.pointsTaken() > 0;
    return hasMenuCome;
}

bool MeasureTools::takesLeftPress(const QMouseEvent& event) {
    takeAim();
    if (scene->isPlacing())
        return placesSnapped(event);
    pressPlace = *cursor;
    if (chosen == MeasureTool::Select)
        return grabs();
    if (!isDrawing())
        return false;
    draw(event.type() == QEvent::MouseButtonDblClick);
    return true;
}

bool MeasureTools::takesMove(const QMouseEvent& event) {
    cursor = event.localPos();
    modifiers = event.modifiers();
    held = event.buttons();
    taken &= held;
    endWhatIsLost();
    const bool isOurs = taken.testFlag(Qt::LeftButton);
    if (held.testFlag(Qt::MiddleButton) && !isOurs) {
        showLoupe();
        return false;
    }
    takeAim();
    bool isTaken = isOurs;
    if (drag)
        dragTo();
    else if (scene->isPlacing() || isDraggingCrossHair())
        isTaken = movesCrossHair() || isOurs;
    else if (isDrawing())
        follow();
    showLoupe();
    if (!isTaken)
        showCursor();
    return isTaken;
}

bool MeasureTools::takesRelease(const QMouseEvent& event) {
    cursor = event.localPos();
    modifiers = event.modifiers();
    held = event.buttons();
    const bool wasTaken = taken.testFlag(event.button());
    taken &= held;
    if (wasTaken && event.button() == Qt::LeftButton) {
        takeAim();
        if (crossHair.isHolding()) {
            releaseCrossHair();
        } else if (drag) {
            dragTo();
            endDrag();
        } else if (isDrawnByDrag(chosen) && draft.pointsTaken() == 1 &&
                   QLineF(pressPlace, *cursor).length() > kDragDistance) {
            clickDraft();
        }
    }
    showLoupe();
    return wasTaken;
}

bool MeasureTools::takesKey(const QKeyEvent& event) {
    if (event.key() == Qt::Key_Control && !event.isAutoRepeat()) {
        modifiers.setFlag(Qt::ControlModifier, event.type() == QEvent::KeyPress);
        follow();
        return false;
    }
    if (event.type() != QEvent::KeyPress || !selection)
        return false;
    if (event.key() == Qt::Key_Delete && !(event.modifiers() & ~Qt::KeypadModifier)) {
        deleteSelected();
        return true;
    }
    QPointF step;
    switch (event.key()) {
        case Qt::Key_Left:
            step = {-1.0, 0.0};
            break;
        case Qt::Key_Right:
            step = {1.0, 0.0};
            break;
        case Qt::Key_Up:
            step = {0.0, -1.0};
            break;
        case Qt::Key_Down:
            step = {0.0, 1.0};
            break;
        default:
            return false;
    }
    const auto others = event.modifiers() & ~(Qt::ShiftModifier | Qt::KeypadModifier);
    if (others || scene->hasBarcodeOverlay() || scene->isPlacing())
        return false;
    if (drag)
        return true;
    if (event.modifiers().testFlag(Qt::ShiftModifier))
        step *= 0.1;
    if (handle < 0)
        list->nudge(selection, step);
    else if (!list->nudgeHandle(selection, handle, step))
        emit clickRefused();
    return true;
}

void MeasureTools::leave() {
    if (taken)
        return;
    cursor.reset();
    if (draft.pointsTaken() == 0)
        draft.giveUp();
    showLoupe();
}
