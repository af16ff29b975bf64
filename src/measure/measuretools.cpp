// SPDX-License-Identifier: Apache-2.0
// What MeasureTools does: drawing, selecting and changing, and what is shown of it. The view's events are in
// measureevents.cpp.

#include "measure/measuretools.h"

#include <QGraphicsView>
#include <QMouseEvent>
#include <utility>

#include "marks/coordinatesmark.h"
#include "marks/figuremark.h"
#include "marks/polygonmark.h"
#include "measure/captionoverlay.h"
#include "measure/figurelist.h"
#include "measure/loupe.h"
#include "measure/measureoverlay.h"

MeasureTools::MeasureTools(QGraphicsView* shownView, InteractiveScene* shownScene, FigureList* figureList,
                           TilePictures tilesOfScene)
    : QObject(shownView),
      view(shownView),
      scene(shownScene),
      list(figureList),
      tiles(std::move(tilesOfScene)),
      draft(shownScene) {
    connect(shownScene, &InteractiveScene::removed, this, &MeasureTools::forget);
    connect(shownScene, &QObject::destroyed, this, &MeasureTools::forgetScene);
    const auto giveDraftUp = [this] {
        draft.giveUp();
        showLoupe();
    };
    connect(figureList, &FigureList::emptied, this, giveDraftUp);
    connect(shownScene, &InteractiveScene::cleared, this, giveDraftUp);
    connect(shownScene, &InteractiveScene::placingChanged, this, &MeasureTools::noticePlacing);
    connect(figureList, &FigureList::aboutToChange, this, &MeasureTools::giveUpDrag);
    connect(figureList->undoStack(), &QUndoStack::indexChanged, this, &MeasureTools::showHandles);
}

MeasureTools::~MeasureTools() = default;

void MeasureTools::setOn(bool isOnNow) {
    if (on == isOnNow)
        return;
    on = isOnNow;
    QWidget* viewport = view->viewport();
    if (on) {
        if (!captions)
            captions = new CaptionOverlay(view);
        if (!overlay)
            overlay = new MeasureOverlay(view);
        if (!loupe)
            loupe = new Loupe(view, tiles);
        viewport->installEventFilter(this);
        view->installEventFilter(this);
        hadTracking = viewport->hasMouseTracking();
        viewport->setMouseTracking(true);
        seenTransform = QTransform();
        if (scene)
            scene->setLeavesCaptions(true);
        noticeView();
        showCursor();
        return;
    }
    viewport->setMouseTracking(hadTracking);
    endDrag();
    releaseCrossHair();
    draft.giveUp();
    select(nullptr);
    cursor.reset();
    if (!taken)
        removeFilters();
    isMenuOurs = false;
    hasMenuCome = false;
    showLoupe();
    viewport->unsetCursor();
    captions->showPlates({}, {});
    if (scene) {
        scene->setFigureZoom(1.0);
        scene->setLeavesCaptions(false);
    }
}

void MeasureTools::removeFilters() {
    view->viewport()->removeEventFilter(this);
    view->removeEventFilter(this);
}

void MeasureTools::choose(MeasureTool tool) {
    endDrag();
    draft.giveUp();
    isFull = false;
    const bool isNew = chosen != tool;
    chosen = tool;
    showHandles();
    if (on) {
        takeAim();
        showLoupe();
        showCursor();
    }
    if (isNew)
        emit toolChanged(tool);
}

void MeasureTools::retranslate() {
    if (!loupe)
        loupe = new Loupe(view, tiles);
    loupe->retranslate();
}

void MeasureTools::select(FigureMark* mark) {
    if (selection == mark)
        return;
    endDrag();
    selection = mark;
    handle = -1;
    isFull = false;
    showHandles();
    emit selectionChanged();
}

void MeasureTools::deleteSelected() {
    if (selection && list)
        list->remove(selection);
}

void MeasureTools::undo() {
    if (drag && drag->isUnderWay())
        giveUpDrag();
    else if (list)
        list->undoStack()->undo();
}

void MeasureTools::picturesChanged() {
    if (!on || !scene)
        return;
    if (!loupe->isVisible())
        return;
    if (!aim.doesSnap) {
        loupe->update();
        return;
    }
    if (std::exchange(looksAgain, true))
        return;
    lookAgain();  // what it snaps to is in the pictures
    const auto lookAtRest = [this] {
        looksAgain = false;
        lookAgain();
    };
    QMetaObject::invokeMethod(this, lookAtRest, Qt::QueuedConnection);
}

/// Also where the tiles under the cursor are as they were: the loupe shows more than is looked at.
void MeasureTools::lookAgain() {
    if (!on || !scene || !cursor || !loupe->isVisible())
        return;
    if (aim.doesSnap && tilesInReach(*cursor, view->viewportTransform(), tiles()) != aimed)
        follow();
    else
        loupe->update();
}

// ---- drawing -------------------------------------------------------------------------------------

/// Nothing is drawn where there are no pictures.
bool MeasureTools::isDrawing() const {
    return chosen != MeasureTool::Select && scene && !scene->isPlacing() && !tiles().isEmpty();
}

void MeasureTools::draw(bool isDouble) {
    if (isDouble && draft.pointsTaken() == 0)
        return;  // its first half has completed a figure
    if (std::exchange(isFull, false)) {
        // Nobody counts to fifty: it was to be one corner more, not the first of another polygon.
        emit polygonFull();
        return;
    }
    if (isDouble && chosen == MeasureTool::Polygon) {
        take(draft.finish());
        return;
    }
    if (draft.pointsTaken() == 0) {
        select(nullptr);
        if (!draft.exists())
            draft.begin(kindOf(chosen));
    }
    clickDraft();
}

void MeasureTools::clickDraft() {
    if (aim.doesSnap && aim.kind == SnapKind::None)
        emit snapMissed();
    const int before = draft.pointsTaken();
    take(draft.click(aim.point));
    if (draft.exists() && draft.pointsTaken() == before)
        emit clickRefused();
}

void MeasureTools::take(const std::optional<Figure>& drawn) {
    if (!drawn)
        return;
    select(list->add(*drawn));
    isFull = drawn->kind == FigureKind::Polygon && drawn->points.size() == PolygonMark::kMostVertices;
}

// ---- selecting and changing ----------------------------------------------------------------------

int MeasureTools::handleAtCursor() const {
    if (!selection || !cursor || chosen != MeasureTool::Select)
        return -1;
    return handleAt(*selection, *cursor, view->viewportTransform());
}

FigureMark* MeasureTools::figureAtCursor() const {
    return cursor ? figureAt(*scene, *cursor, view->viewportTransform()) : nullptr;
}

/// Takes hold of a handle or a figure; false where there is none.
bool MeasureTools::grabs() {
    const int found = handleAtCursor();
    if (found < 0)
        select(figureAtCursor());
    if (!selection)
        return false;
    handle = found;
    drag.emplace(selection, found, *cursor, view->viewportTransform());
    takeAim();
    dragTo();  // with Ctrl it snaps at once
    return true;
}

void MeasureTools::dragTo() {
    drag->moveTo(*cursor, aim, scene);
    showHandles();
}

void MeasureTools::endDrag() {
    if (!drag)
        return;
    const FigureDrag ended = *std::exchange(drag, {});
    if (ended.isUnderWay() && selection && list) {
        if (aim.doesSnap && aim.kind == SnapKind::None)
            emit snapMissed();
        list->change(selection, ended.before());
    }
    showHandles();
}

void MeasureTools::giveUpDrag() {
    if (!drag)
        return;
    std::exchange(drag, {})->giveUp();
    showHandles();
    showLoupe();
}

// ---- cross-hairs ---------------------------------------------------------------------------------

bool MeasureTools::placesSnapped(const QMouseEvent& event) {
    if (!scene->isPlacingCrossHair() || !aim.doesSnap || event.type() != QEvent::MouseButtonPress)
        return false;
    if (crossHair.press(scene, view->viewport(), *cursor, aim))
        return true;
    emit snapMissed();
    return false;
}

void MeasureTools::releaseCrossHair() {
    if (scene)
        crossHair.release(scene, view->viewport(), cursor.value_or(QPointF()));
}

bool MeasureTools::movesCrossHair() {
    const bool isThere = scene->isPlacingCrossHair() || isDraggingCrossHair();
    if (!isThere || aim.kind == SnapKind::None)
        return false;
    CrossHairSnapping::move(scene, view->viewport(), *cursor, aim.point, held);
    return true;
}

bool MeasureTools::isDraggingCrossHair() const {
    return chosen == MeasureTool::Select && !drag && scene && !scene->isPlacing() && scene->heldCrossHair() &&
           held == Qt::LeftButton && !taken.testFlag(Qt::LeftButton);
}

// ---- aim and what is shown -----------------------------------------------------------------------

/// Where a click at the cursor sets its point. All of a figure that is dragged does not snap.
void MeasureTools::takeAim() {
    if (!cursor || !scene)
        return;
    const bool isPoint = drag ? drag->handle() >= 0 : wantsLoupe();
    const bool doesSnap = isPoint && modifiers.testFlag(Qt::ControlModifier);
    const bool isCrossHair = !drag && (scene->isPlacing() || isDraggingCrossHair());
    const QTransform toView = view->viewportTransform();
    const QVector<TilePicture> shown = doesSnap ? tiles() : QVector<TilePicture>();
    aim = aimAt(*cursor, toView, doesSnap, shown, isCrossHair ? AimFor::CrossHair : AimFor::Figure);
    aimed = tilesInReach(*cursor, toView, shown);
    if (drag && aim.kind == SnapKind::None) {
        aim.point += drag->offset();
        aim.seen = aim.point;
    }
}

/// Whether a point is being set: then it is worth a closer look.
bool MeasureTools::wantsLoupe() const {
    if (!on || !cursor || !scene)
        return false;
    if (drag)
        return drag->handle() >= 0;
    return isDrawing() || scene->isPlacingCrossHair() || isDraggingCrossHair();
}

/// What goes with the mouse is put where it belongs now: the mouse has moved, or the view under it.
void MeasureTools::follow() {
    if (!on || !scene || !cursor)
        return;
    takeAim();
    if (drag) {
        dragTo();
    } else if (isDrawing()) {
        if (followsMouse(chosen) && !draft.exists() && !held)
            draft.begin(kindOf(chosen));
        draft.moveTo(aim.point);
    } else if (scene->isPlacingCrossHair()) {
        CrossHairSnapping::move(scene, view->viewport(), *cursor, aim.point, held);
    }
    showLoupe();
}

/// The mouse is the scene's now, or the tool's again.
void MeasureTools::noticePlacing() {
    if (!on)
        return;
    if (scene->isPlacing())
        draft.giveUp();
    takeAim();
    showLoupe();
    showCursor();
}

/// A view does not tell that it was zoomed or scrolled; but then it is painted.
void MeasureTools::noticeView() {
    const QTransform now = view->viewportTransform();
    if (!scene || now == seenTransform)
        return;
    seenTransform = now;
    scene->setFigureZoom(scaleOf(now));
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (!on)
                return;
            follow();
            if (overlay->isVisible())
                overlay->update();
        },
        Qt::QueuedConnection);
}

void MeasureTools::showLoupe() {
    if (!loupe)
        return;
    if (!wantsLoupe() || held.testFlag(Qt::MiddleButton)) {
        loupe->hide();
        return;
    }
    const QRect room = view->viewport()->geometry();
    loupe->showAt(cursor->toPoint() + room.topLeft(), room, aim, scaleOf(view->viewportTransform()));
}

void MeasureTools::showHandles() {
    if (overlay)
        overlay->showHandles(selection && scene && on ? selection->handles() : QVector<QPointF>(), handle,
                             chosen == MeasureTool::Select);
}

/// Nobody tells of all that changes captions, but then the view is painted.
void MeasureTools::showCaptions(const QRegion& painted) {
    plateSizes.setLetters(FigureMark::captionFont(), *captions);
    captions->showPlates(wishedPlates(*scene, draft.figure(), selection, view->viewportTransform(),
                                      view->viewport()->rect(), plateSizes),
                         painted);
}

void MeasureTools::showCursor() {
    QWidget* viewport = view->viewport();
    const bool isPlacing = scene && scene->isPlacing();
    if (chosen != MeasureTool::Select && !isPlacing)
        viewport->setCursor(Qt::CrossCursor);
    else if (scene && !isPlacing && (handleAtCursor() >= 0 || figureAtCursor()))
        viewport->setCursor(Qt::SizeAllCursor);
    else
        viewport->unsetCursor();
}

void MeasureTools::forget(Mark* mark) {
    if (mark != selection)
        return;
    drag.reset();
    selection = nullptr;
    handle = -1;
    isFull = false;
    showHandles();
    showLoupe();
    emit selectionChanged();
}

void MeasureTools::forgetScene() {
    drag.reset();
    crossHair.forget();
    const bool had = std::exchange(selection, nullptr);
    handle = -1;
    if (captions)
        captions->showPlates({}, {});
    showHandles();
    showLoupe();
    if (had)
        emit selectionChanged();
}
