// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <QPointF>
#include <QTransform>
#include <QVariant>

class InteractiveScene;
class QAction;
class QContextMenuEvent;
class QGraphicsView;
class QMouseEvent;
class QWheelEvent;

/// Moves a view by wheel and middle button, as everywhere else: the wheel zooms at the cursor, the middle
/// button drags the view, its double click fits it. Tiles, marks and settings stay as they are, and so does
/// the keyboard's place. Sits between the viewport and the view, and takes the wheel and the middle button
/// from it; only while a mark is being placed is the middle button the scene's, and the mouse is followed
/// without a button. While the view is dragged the other buttons do nothing, and no menu comes up by them.
/// GUI thread.
class ViewMover : public QObject {
    Q_OBJECT

public:
    /// Child of `movedView`, which shows `shownScene`; `fitAction` is triggered by the double click. Both
    /// outlive the view's events.
    ViewMover(QGraphicsView* movedView, const InteractiveScene* shownScene, QAction* fitAction);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    /// Whose the buttons are: the scene's; the view's, as long as the middle one is down; nobody's, until all
    /// are up again.
    enum class Buttons { Scene, Move, Spent };

    bool takesPress(const QMouseEvent& event);
    bool isPressOurs(const QMouseEvent& event);
    bool takesMove(const QMouseEvent& event);
    bool takesRelease(const QMouseEvent& event);
    bool passesOn(const QMouseEvent& event);
    bool takesMenu(const QContextMenuEvent& event);
    void takeWheel(const QWheelEvent& event);
    void beginMove(QPointF place);
    void endMove();
    void zoom(const QWheelEvent& event);
    void scrollBy(QPointF distance);
    void bring(QPointF scenePoint, QPointF place);
    QPointF toScene(QPointF place) const;
    double fitScale() const;

    QGraphicsView* view;            // parent
    const InteractiveScene* scene;  // not owned
    QAction* fit;                   // not owned
    Buttons buttons = Buttons::Scene;
    Qt::MouseButtons taken;            // that are down, and the scene knows nothing of it
    const QEvent* passedOn = nullptr;  // of our own, on its way; only to be compared with
    bool hasPlaced = false;            // the last press of the middle button was the scene's
    bool isMenuOurs = false;           // a press of the right button was taken, its menu is still to come
    QPointF held;                      // scene px: what the drag keeps under the cursor
    QVariant cursorBefore;  // of the viewport, while the view is dragged; none if it had none of its own
    QPointF zoomPlace;      // view px: where the wheel zoomed last
    QPointF zoomPoint;      // scene px: what it kept there
    QTransform zoomed;      // the view afterwards
    bool wasInwards = false;
    QPointF leftToScroll;  // view px, less than one
};
