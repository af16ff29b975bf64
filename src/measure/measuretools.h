// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QTransform>
#include <optional>

#include "marks/figure.h"
#include "marks/interactivescene.h"
#include "measure/aim.h"
#include "measure/captionplates.h"
#include "measure/crosshairsnapping.h"
#include "measure/draft.h"
#include "measure/figuredrag.h"
#include "measure/measuretool.h"

class CaptionOverlay;
class FigureList;
class FigureMark;

class Loupe;
class Mark;
class MeasureOverlay;
class QContextMenuEvent;
class QGraphicsView;
class QKeyEvent;
class QMouseEvent;
class QRegion;

/// Draws, selects and changes figures with mouse and keys, and lets points snap while Ctrl is held, those of
/// cross-hairs too. It is beside the scene's own modes: while it is on it sees the view's events before
/// anybody else and takes some of them; what it leaves, the middle button and the wheel above all, is as
/// ever. While the scene is placing something the mouse is the scene's. Figures are scene px, mouse places
/// view px. GUI thread.
class MeasureTools : public QObject {
    Q_OBJECT

public:
    /// Child of `shownView`. `figureList` outlives its events; the scene may go before it or after it.
    MeasureTools(QGraphicsView* shownView, InteractiveScene* shownScene, FigureList* figureList,
                 TilePictures tilesOfScene);
    ~MeasureTools() override;

    /// Off, as at first, it sees no event, nothing is selected and what was being drawn is given up. A press
    /// of the mouse that was taken is seen to its end.
    void setOn(bool on);
    bool isOn() const { return on; }
    /// What was being drawn is given up. The tool stays until another is chosen.
    void choose(MeasureTool tool);
    MeasureTool tool() const { return chosen; }

    /// Sets the loupe's texts anew in the language of the moment, also those of one that is shown later.
    void retranslate();

    /// Nothing when none is; one that was just drawn is.
    FigureMark* selected() const { return selection; }
    /// Nothing: none.
    void select(FigureMark* mark);
    /// With undo.
    void deleteSelected();
    /// What is being dragged goes back, and nothing else then; else the last command is undone.
    void undo();

public slots:
    /// New pictures are on the screen, of one tile or of several. What a point snaps to is looked for where
    /// any of them is in reach: at once, and for those that follow once the event loop is back, so that
    /// however many are shown together cost two searches.
    void picturesChanged();

signals:
    void toolChanged(MeasureTool tool);
    void selectionChanged();
    /// A point was to snap and there was nothing to snap to: it was set where the click was.
    void snapMissed();
    /// A click, or a nudge, was not taken: with its point the figure would measure nothing.
    void clickRefused();
    /// A click was not taken: it came right after the last one that a polygon has room for, which closed it.
    void polygonFull();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool takesViewportEvent(QEvent* event);
    bool takesRest(QEvent* event);
    void removeFilters();
    void endWhatIsLost();
    bool takesPress(const QMouseEvent& event);
    bool takesRightPress();
    bool takesLeftPress(const QMouseEvent& event);
    bool takesMove(const QMouseEvent& event);
    bool takesRelease(const QMouseEvent& event);
    bool takesMenu(const QContextMenuEvent& event);
    bool takesKey(const QKeyEvent& event);
    void leave();

    void draw(bool isDouble);
    void clickDraft();
    void take(const std::optional<Figure>& drawn);
    bool grabs();
    void dragTo();
    void endDrag();
    void giveUpDrag();
    bool placesSnapped(const QMouseEvent& event);
    bool movesCrossHair();
    void releaseCrossHair();

    bool isDrawing() const;
    bool isDraggingCrossHair() const;
    bool wantsLoupe() const;
    void takeAim();
    void follow();
    void lookAgain();
    void noticePlacing();
    void noticeView();
    void showLoupe();
    void showHandles();
    void showCaptions(const QRegion& painted);
    void showCursor();
    int handleAtCursor() const;
    FigureMark* figureAtCursor() const;
    void forget(Mark* mark);
    void forgetScene();

    QGraphicsView* view;               // parent
    QPointer<InteractiveScene> scene;  // not owned
    QPointer<FigureList> list;         // not owned
    TilePictures tiles;
    QPointer<CaptionOverlay> captions;  // child of the view
    PlateSizes plateSizes;
    QPointer<MeasureOverlay> overlay;  // child of the view
    QPointer<Loupe> loupe;             // child of the view
    bool on = false;
    MeasureTool chosen = MeasureTool::Select;
    Draft draft;
    FigureMark* selection = nullptr;  // owned by the scene
    int handle = -1;  // of the selection, that was held last: arrow keys move it; -1: all of it
    std::optional<FigureDrag> drag;
    std::optional<QPointF> cursor;  // view px, while it is over the view
    CrossHairSnapping crossHair;
    Qt::MouseButtons held;
    Qt::MouseButtons taken;  // that are down, and nobody else knows
    Qt::KeyboardModifiers modifiers;
    QPointF pressPlace;        // view px
    bool isFull = false;       // the selection is a polygon that its last possible click has closed
    bool isMenuOurs = false;   // a press of the right button was taken, its menu is still to come
    bool hasMenuCome = false;  // it came before its press
    Aim aim;                   // at the cursor
    QVector<AimedTile> aimed;  // what it was taken from, if it was to snap
    bool looksAgain = false;   // lookAgain() is to come, for more pictures
    QTransform seenTransform;  // of the view
    bool hadTracking = false;
};
