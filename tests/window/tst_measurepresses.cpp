// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <optional>

#include "marks/coordinatesmark.h"
#include "support/measureview.h"

namespace {

// Pixels of a tile that are darker; the corner between the pixels is half a px before the first of them.
const QRect kDark(480, 470, 120, 90);
const QPointF kCorner(479.5, 469.5);
constexpr double kFound = 1.0;  // px, from a corner to where it is found

double distance(QPointF a, QPointF b) {
    return QLineF(a, b).length();
}

}  // namespace

/// Presses of the mouse that do not end as they began: the tools go off or come on meanwhile, or the release
/// goes elsewhere.
class TestMeasurePresses : public QObject {
    Q_OBJECT

private slots:
    void init() { v.emplace(); }
    void cleanup() { v.reset(); }

    void offUnderADrag();
    void offUnderADraftsPress();
    void offAndOnUnderADrag();
    void offUnderASnappedCrossHair();
    void offUnderAHeldCrossHair();
    void crossHairsReleaseGoesElsewhere();
    void onUnderADrag();
    void dragsReleaseGoesElsewhere();
    void sceneGoesWithASelection();

private:
    FigureMark* aLine() { return v->drawLine({-90, -60}, {80, 50}); }
    void select() { v->tools->choose(MeasureTool::Select); }
    CoordinatesMark* aHeldCrossHair(QPointF at);

    std::optional<MeasureView> v;
};

/// One that the scene goes on moving with a button held, wherever that was pressed.
CoordinatesMark* TestMeasurePresses::aHeldCrossHair(QPointF at) {
    select();
    v->scene->setMode(kCoordinatesMark);
    v->click(at);
    v->click(at);
    return v->scene->heldCrossHair();
}

/// The rest of a press that the scene has not seen is not for it either.
void TestMeasurePresses::offUnderADrag() {
    v->zoomTo(1.0);
    CoordinatesMark* crossHair = aHeldCrossHair({-150, 100});
    QVERIFY(crossHair);
    const QPointF there = crossHair->point();
    FigureMark* line = aLine();
    select();
    v->press({-90, -60});
    v->move({10, 70}, Qt::LeftButton);
    v->tools->setOn(false);
    QCOMPARE(v->list->undoStack()->count(), 2);  // it stays where it was seen
    QCOMPARE(line->figure().points[0], v->scenePoint({10, 70}));
    v->move({40, 90}, Qt::LeftButton);
    QCOMPARE(crossHair->point(), there);
    v->release({40, 90});
    QCOMPARE(crossHair->point(), there);
    QCOMPARE(line->figure().points[0], v->scenePoint({10, 70}));
    QVERIFY(!v->scene->mouseGrabberItem());
    // What comes then is as ever.
    v->drag({-150, 100}, {0, 120});
    QCOMPARE(crossHair->point(), v->scenePoint({0, 120}));
    QCOMPARE(line->figure().points[0], v->scenePoint({10, 70}));
}

void TestMeasurePresses::offUnderADraftsPress() {
    v->zoomTo(1.0);
    CoordinatesMark* crossHair = aHeldCrossHair({-150, 100});
    const QPointF there = crossHair->point();
    v->tools->choose(MeasureTool::Line);
    v->press({-90, -60});
    v->move({10, 70}, Qt::LeftButton);
    v->tools->setOn(false);
    v->move({40, 90}, Qt::LeftButton);
    QCOMPARE(crossHair->point(), there);
    // Its release goes elsewhere.
    v->move({50, 90});
    v->drag({-150, 100}, {0, 120});
    QCOMPARE(crossHair->point(), v->scenePoint({0, 120}));
    QCOMPARE(v->scene->markCount(), 1);
}

void TestMeasurePresses::offAndOnUnderADrag() {
    v->zoomTo(1.0);
    CoordinatesMark* crossHair = aHeldCrossHair({-150, 100});
    const QPointF there = crossHair->point();
    FigureMark* line = aLine();
    select();
    v->press({-90, -60});
    v->move({10, 70}, Qt::LeftButton);
    v->tools->setOn(false);
    v->tools->setOn(true);
    v->move({40, 90}, Qt::LeftButton);
    v->release({40, 90});
    QCOMPARE(crossHair->point(), there);
    QCOMPARE(line->figure().points[0], v->scenePoint({10, 70}));
    v->drag({10, 70}, {0, 20});
    QCOMPARE(line->figure().points[0], v->scenePoint({0, 20}));
}

void TestMeasurePresses::offUnderASnappedCrossHair() {
    v->darken(0, kDark);
    v->zoomTo(1.0, kCorner);
    CoordinatesMark* other = aHeldCrossHair({-150, 100});
    const QPointF there = other->point();
    v->scene->setMode(kCoordinatesMark);
    const QPointF beside = v->placeOf(kCorner) + QPointF(-5, -6);
    v->move(beside, {}, Qt::ControlModifier);
    v->press(beside, Qt::LeftButton, Qt::ControlModifier);
    auto* crossHair = dynamic_cast<CoordinatesMark*>(v->scene->markList().last());
    QVERIFY(crossHair && crossHair != other);
    const QPointF point = crossHair->point();
    v->tools->setOn(false);
    QVERIFY(!v->scene->mouseGrabberItem());
    v->move({90, 60}, Qt::LeftButton);
    v->release({90, 60});
    QCOMPARE(crossHair->point(), point);
    QCOMPARE(crossHair->pos(), QPointF());
    QCOMPARE(other->point(), there);
    QVERIFY(!v->scene->mouseGrabberItem());
    v->drag(v->placeOf(point), {0, 120});
    QCOMPARE(crossHair->point(), v->scenePoint({0, 120}));
}

void TestMeasurePresses::offUnderAHeldCrossHair() {
    v->darken(0, kDark);
    v->zoomTo(1.0, kCorner);
    CoordinatesMark* crossHair = aHeldCrossHair({-40, -30});
    v->press({-40, -30});
    v->move(v->placeOf(kCorner) + QPointF(4, -6), Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(distance(crossHair->point(), kCorner) < kFound);
    v->tools->setOn(false);
    // The press was the scene's, and so is what follows.
    v->move({70, 60}, Qt::LeftButton);
    QCOMPARE(crossHair->point(), v->scenePoint({70, 60}));
    v->release({70, 60});
    QVERIFY(!v->scene->mouseGrabberItem());
    QCOMPARE(crossHair->pos(), QPointF());
}

void TestMeasurePresses::crossHairsReleaseGoesElsewhere() {
    v->darken(0, kDark);
    v->zoomTo(1.0, kCorner);
    select();
    v->scene->setMode(kCoordinatesMark);
    const QPointF beside = v->placeOf(kCorner) + QPointF(-5, -6);
    v->move(beside, {}, Qt::ControlModifier);
    v->press(beside, Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(v->scene->mouseGrabberItem());
    v->move({90, 60});
    QVERIFY(!v->scene->mouseGrabberItem());
    v->scene->setMode(kCoordinatesMark);
    v->press(beside, Qt::LeftButton, Qt::ControlModifier);
    v->items[1]->setFlags(QGraphicsItem::ItemIsSelectable);
    v->view->centerOn(1500, 500);
    v->press({0, 0});
    v->release({0, 0});
    QVERIFY(v->items[1]->isSelected());
    QVERIFY(!v->scene->mouseGrabberItem());
    // The next release of a press that is taken is not the cross-hair's.
    v->view->centerOn(kCorner);
    aLine();
    select();
    v->scene->setMode(kCoordinatesMark);
    v->press(beside, Qt::LeftButton, Qt::ControlModifier);
    v->move({90, 60});
    v->press({-90, -60});
    v->move({-70, -90}, Qt::LeftButton);
    v->release({-70, -90});
    QCOMPARE(v->list->undoStack()->count(), 2);
}

void TestMeasurePresses::onUnderADrag() {
    v->zoomTo(1.0);
    aLine();
    v->tools->setOn(false);
    select();
    v->items[0]->setFlags(QGraphicsItem::ItemIsMovable);
    v->move({0, 50});
    v->press({0, 50});
    v->move({10, 60}, Qt::LeftButton);
    v->tools->setOn(true);
    v->move({30, 70}, Qt::LeftButton);
    v->release({30, 70});
    QCOMPARE(v->items[0]->pos(), QPointF(30, 20));
    QVERIFY(!v->scene->mouseGrabberItem());
    QVERIFY(!v->tools->selected());
}

/// The next press comes where the last one was held: what was dragged by that is a change of its own.
void TestMeasurePresses::dragsReleaseGoesElsewhere() {
    v->zoomTo(1.0);
    aLine();
    const QVector<Figure> drawn = v->figures();
    select();
    v->press({-90, -60});
    v->move({10, 70}, Qt::LeftButton);
    const QVector<Figure> dragged = v->figures();
    v->press({10, 70});
    QCOMPARE(v->list->undoStack()->count(), 2);
    v->move({30, 20}, Qt::LeftButton);
    v->release({30, 20});
    QCOMPARE(v->list->undoStack()->count(), 3);
    v->list->undoStack()->undo();
    QVERIFY(v->figures() == dragged);
    v->list->undoStack()->undo();
    QVERIFY(v->figures() == drawn);
}

void TestMeasurePresses::sceneGoesWithASelection() {
    v->zoomTo(1.0);
    QCOMPARE(v->tools->selected(), aLine());
    select();
    v->press({-90, -60});
    v->move({10, 70}, Qt::LeftButton);
    v->scene.reset();
    QVERIFY(!v->tools->selected());
    v->move({30, 20}, Qt::LeftButton);
    v->release({30, 20});
    v->tools->setOn(false);
}

QTEST_MAIN(TestMeasurePresses)
#include "tst_measurepresses.moc"
