// SPDX-License-Identifier: Apache-2.0
#include <optional>

#include "marks/coordinatesmark.h"
#include "support/measureview.h"

namespace {

double distance(QPointF a, QPointF b) {
    return QLineF(a, b).length();
}

}  // namespace

/// Figures that are there already: selected, moved, and given up, in a view as the program has it.
class TestMeasureEditing : public QObject {
    Q_OBJECT

private slots:
    void init() { v.emplace(); }
    void cleanup() { v.reset(); }

    void selectTakesWhatIsNear_data() { addZooms(); }
    void selectTakesWhatIsNear();
    void selectLeavesTheRestToTheScene();
    void nearestOfSeveral();
    void dragMovesAFigure_data() { addZooms(); }
    void dragMovesAFigure();
    void aClickMovesNothing();
    void dragMovesAHandle_data() { addZooms(); }
    void dragMovesAHandle();
    void everyHandleOfEveryKind_data();
    void everyHandleOfEveryKind();
    void handleOfATurnedBox();
    void handleDoesNotGoOntoTheOther();
    void handleLeavesAPolygonsArea();
    void dragAlongALine();
    void dragBackIsNoChange();
    void rightClickGivesADragUp();
    void figureGoesUnderADrag();
    void undoUnderADrag();
    void undoOfADrag();
    void undoOfAnotherUnderADrag_data();
    void undoOfAnotherUnderADrag();
    void redoUnderADrag();
    void deleteUnderADrag_data();
    void deleteUnderADrag();
    void toolIsChosenUnderADrag();
    void releaseThatGoesElsewhere();

private:
    FigureMark* aLine() { return v->drawLine({-90, -60}, {80, 50}); }
    void select() { v->tools->choose(MeasureTool::Select); }

    std::optional<MeasureView> v;
};

void TestMeasureEditing::selectTakesWhatIsNear() {
    QFETCH(double, zoom);
    v->zoomTo(zoom);
    FigureMark* line = v->drawLine({-90, 0}, {80, 0});
    select();
    v->click({0, 40});
    QVERIFY(!v->tools->selected());
    v->click({0, 7});
    QVERIFY(!v->tools->selected());
    v->click({0, 6});
    QCOMPARE(v->tools->selected(), line);
    QVERIFY(v->overlay()->isVisible());
    v->click({-150, 40});
    QVERIFY(!v->tools->selected());
    QVERIFY(!v->overlay()->isVisible());
    QCOMPARE(v->list->undoStack()->count(), 1);
}

void TestMeasureEditing::selectLeavesTheRestToTheScene() {
    v->zoomTo(1.0);
    v->drawLine({-90, 0}, {80, 0});
    select();
    // A tile goes with the mouse, as ever.
    v->items[0]->setFlags(QGraphicsItem::ItemIsMovable);
    v->drag({0, 50}, {30, 70});
    QCOMPARE(v->items[0]->pos(), QPointF(30, 20));
    v->items[0]->setPos(0, 0);
    v->items[0]->setFlags({});
    // So does a cross-hair.
    v->scene->setMode(kCoordinatesMark);
    v->click({0, 100});
    v->drag({0, 100}, {20, 120});
    QVERIFY(v->scene->heldCrossHair());
    QCOMPARE(v->scene->heldCrossHair()->point(), v->scenePoint({20, 120}));
    // What is on a figure is the figure's.
    v->drag({0, 0}, {30, 30});
    QVERIFY(v->tools->selected());
    QCOMPARE(v->scene->heldCrossHair()->point(), v->scenePoint({20, 120}));
    QCOMPARE(v->items[0]->pos(), QPointF(0, 0));
}

void TestMeasureEditing::nearestOfSeveral() {
    v->zoomTo(1.0);
    v->drawLine({-90, 0}, {80, 0});
    v->drawLine({-90, 8}, {80, 8});
    v->drawLine({-90, 8}, {80, 8});
    select();
    v->click({0, 3});
    QCOMPARE(v->tools->selected(), v->figure(0));
    v->click({0, 5});
    QCOMPARE(v->tools->selected(), v->figure(2));
}

void TestMeasureEditing::dragMovesAFigure() {
    QFETCH(double, zoom);
    v->zoomTo(zoom);
    FigureMark* line = aLine();
    select();
    const Figure before = MeasureView::withoutPen(line->figure());
    v->drag({-5, -5}, {32, 61});
    QCOMPARE(v->tools->selected(), line);
    const QPointF by = v->scenePoint({32, 61}) - v->scenePoint({-5, -5});
    const Figure after = MeasureView::withoutPen(line->figure());
    for (int i = 0; i < 2; ++i)
        QVERIFY(distance(after.points[i], before.points[i] + by) < 1e-9);
    QCOMPARE(v->list->undoStack()->count(), 2);
    v->list->undoStack()->undo();
    QVERIFY(v->figures().first() == before);
    v->list->undoStack()->redo();
    QVERIFY(v->figures().first() == after);
}

void TestMeasureEditing::aClickMovesNothing() {
    v->zoomTo(1.0);
    FigureMark* line = aLine();
    select();
    const Figure before = line->figure();
    v->drag({-5, -5}, {-3, -2});
    QVERIFY(line->figure().points == before.points);
    v->click({-90, -60});  // a handle
    QVERIFY(line->figure().points == before.points);
    QCOMPARE(v->list->undoStack()->count(), 1);
}

void TestMeasureEditing::dragMovesAHandle() {
    QFETCH(double, zoom);
    v->zoomTo(zoom);
    FigureMark* line = aLine();
    select();
    const Figure before = MeasureView::withoutPen(line->figure());
    // Beside its middle: it keeps that distance.
    v->drag({84, 53}, {44, 103});
    QCOMPARE(line->figure().points[0], before.points[0]);
    QVERIFY(distance(line->figure().points[1], v->scenePoint({40, 100})) < 1e-9);
    QCOMPARE(v->list->undoStack()->count(), 2);
    const Figure after = v->figures().first();
    v->list->undoStack()->undo();
    QVERIFY(v->figures().first() == before);
    v->list->undoStack()->redo();
    QVERIFY(v->figures().first() == after);
    // Out of its reach the line itself is meant.
    v->drag({40, 109}, {40, 130});
    QVERIFY(v->figures().first() == after);
}

void TestMeasureEditing::everyHandleOfEveryKind_data() {
    QTest::addColumn<FigureKind>("kind");
    QTest::addColumn<QVector<QPointF>>("points");
    const QVector<QPointF> points{{420, 430}, {560, 470}, {500, 580}};
    QTest::newRow("line") << FigureKind::Line << points.mid(0, 2);
    QTest::newRow("circle") << FigureKind::Circle << points;
    QTest::newRow("arc") << FigureKind::Arc << points;
    QTest::newRow("rectangle") << FigureKind::Rectangle << points.mid(0, 2);
    QTest::newRow("ellipse") << FigureKind::Ellipse << points.mid(0, 2);
    QTest::newRow("polygon") << FigureKind::Polygon << points;
    QTest::newRow("horizontal") << FigureKind::HLine << points.mid(0, 1);
    QTest::newRow("vertical") << FigureKind::VLine << points.mid(0, 1);
}

void TestMeasureEditing::everyHandleOfEveryKind() {
    QFETCH(FigureKind, kind);
    QFETCH(QVector<QPointF>, points);
    v->zoomTo(1.0);
    FigureMark* mark = v->list->add({kind, points, 0.0, Qt::red, 1, 1});
    v->tools->select(mark);
    QCOMPARE(mark->handles(), points);
    for (int i = 0; i < points.size(); ++i) {
        const Figure before = v->figures().first();
        const QPointF from = v->placeOf(points[i]);
        v->drag(from, from + QPointF(9, -13));
        QVector<QPointF> expected = points;
        expected[i] += QPointF(9, -13);
        QCOMPARE(v->figures().first().points, expected);
        v->list->undoStack()->undo();
        QVERIFY(v->figures().first() == before);
    }
}

void TestMeasureEditing::handleOfATurnedBox() {
    v->zoomTo(1.0);
    FigureMark* mark = v->list->add({FigureKind::Rectangle, {{420, 430}, {560, 510}}, 30.0, Qt::red, 1, 1});
    v->tools->select(mark);
    const QVector<QPointF> before = mark->handles();
    const QPointF from = v->placeOf(before[1]);
    v->drag(from, from + QPointF(20, 25));
    QVERIFY(distance(mark->handles()[0], before[0]) < 1e-6);
    QVERIFY(distance(mark->handles()[1], before[1] + QPointF(20, 25)) < 1e-6);
    QCOMPARE(mark->figure().angle, 30.0);
}

void TestMeasureEditing::handleLeavesAPolygonsArea() {
    v->zoomTo(1.0);
    FigureMark* mark =
        v->list->add({FigureKind::Polygon, {{420, 430}, {560, 430}, {500, 580}}, 0.0, Qt::red, 1, 1});
    v->tools->select(mark);
    v->press(v->placeOf({500, 580}));
    v->move(v->placeOf({520, 560}), Qt::LeftButton);
    for (const QPointF there : {QPointF(480, 430), QPointF(560, 430), QPointF(420, 430)}) {
        v->move(v->placeOf(there), Qt::LeftButton);
        QCOMPARE(mark->figure().points[2], QPointF(520, 560));
    }
    v->release(v->placeOf({420, 430}));
    QCOMPARE(mark->figure().points[2], QPointF(520, 560));
}

/// Nothing of it is seen.
void TestMeasureEditing::dragAlongALine() {
    v->zoomTo(1.0);
    FigureMark* mark = v->list->add({FigureKind::HLine, {{420, 430}}, 0.0, Qt::red, 1, 1});
    v->tools->select(mark);
    v->drag(v->placeOf({520, 430}), v->placeOf({620, 430}));
    QCOMPARE(mark->figure().points[0], QPointF(420, 430));
    QCOMPARE(v->list->undoStack()->count(), 1);
    v->drag(v->placeOf({520, 430}), v->placeOf({620, 450}));
    QCOMPARE(mark->figure().points[0], QPointF(420, 450));
    QCOMPARE(v->list->undoStack()->count(), 2);
}

void TestMeasureEditing::handleDoesNotGoOntoTheOther() {
    v->zoomTo(1.0);
    FigureMark* line = aLine();
    select();
    v->drag({-90, -60}, {80, 50});
    QVERIFY(!line->measures().isEmpty());
    QVERIFY(distance(line->figure().points[0], line->figure().points[1]) > 1.0);
}

void TestMeasureEditing::dragBackIsNoChange() {
    v->zoomTo(1.0);
    FigureMark* line = aLine();
    select();
    const Figure before = line->figure();
    v->press({-90, -60});
    v->move({10, 70}, Qt::LeftButton);
    v->move({-90, -60}, Qt::LeftButton);
    v->release({-90, -60});
    QVERIFY(line->figure().points == before.points);
    QCOMPARE(v->list->undoStack()->count(), 1);
}

void TestMeasureEditing::rightClickGivesADragUp() {
    v->zoomTo(1.0);
    FigureMark* line = aLine();
    select();
    const Figure before = line->figure();
    v->press({-90, -60});
    v->move({10, 70}, Qt::LeftButton);
    const int menus = menusAskedFor(v->view.get(), [this] {
        v->mouse(QEvent::MouseButtonPress, {10, 70}, Qt::RightButton, Qt::LeftButton | Qt::RightButton);
        askForMenu(v->view.get(), v->place({10, 70}).toPoint());
        v->mouse(QEvent::MouseButtonRelease, {10, 70}, Qt::RightButton, Qt::LeftButton);
    });
    QCOMPARE(menus, 0);
    v->move({30, 70}, Qt::LeftButton);
    v->release({30, 70});
    QVERIFY(line->figure().points == before.points);
    QCOMPARE(v->list->undoStack()->count(), 1);
}

void TestMeasureEditing::figureGoesUnderADrag() {
    v->zoomTo(1.0);
    for (const QPointF at : {QPointF(-90, -60), QPointF(-5, -5)}) {  // a handle, the line
        aLine();
        select();
        v->click({-5, -5});
        v->press(at);
        v->move({10, 70}, Qt::LeftButton);
        const QSignalSpy selection(v->tools, &MeasureTools::selectionChanged);
        v->scene->removeMark(v->figure());
        QCOMPARE(selection.count(), 1);
        QVERIFY(!v->tools->selected());
        QVERIFY(!v->overlay()->isVisible());
        v->move({20, 70}, Qt::LeftButton);
        v->release({30, 70});
        QCOMPARE(v->scene->markCount(), 0);
        QCOMPARE(v->list->undoStack()->count(), 0);
    }
}

void TestMeasureEditing::undoUnderADrag() {
    v->zoomTo(1.0);
    FigureMark* line = aLine();
    select();
    const Figure first = v->figures().first();
    v->drag({-90, -60}, {-60, -90});
    v->press({-60, -90});
    v->move({10, 70}, Qt::LeftButton);
    v->list->undoStack()->undo();
    v->move({20, 70}, Qt::LeftButton);
    v->release({30, 70});
    QVERIFY(v->figures().first() == first);
    QVERIFY(line);
    v->press({-90, -60});
    v->move({10, 70}, Qt::LeftButton);
    v->list->undoStack()->undo();  // and it is gone
    v->move({20, 70}, Qt::LeftButton);
    v->release({30, 70});
    QCOMPARE(v->scene->markCount(), 0);
    QVERIFY(!v->tools->selected());
}

/// By the key: whoever presses it means what he has in his hand.
void TestMeasureEditing::undoOfADrag() {
    v->zoomTo(1.0);
    FigureMark* line = aLine();
    select();
    const Figure first = v->figures().first();
    v->press({-90, -60});
    v->move({10, 70}, Qt::LeftButton);
    QVERIFY(!(v->figures().first() == first));
    v->tools->undo();
    QVERIFY(v->figures().first() == first);
    v->move({20, 70}, Qt::LeftButton);
    v->release({30, 70});
    QVERIFY(v->figures().first() == first);
    QCOMPARE(v->tools->selected(), line);
    v->press({-90, -60});  // held, not moved yet
    v->tools->undo();
    v->release({-90, -60});
    QCOMPARE(v->scene->markCount(), 0);
}

void TestMeasureEditing::undoOfAnotherUnderADrag_data() {
    QTest::addColumn<QPointF>("at");
    QTest::newRow("handle") << QPointF(-90, -60);
    QTest::newRow("figure") << QPointF(-5, -5);
}

/// What was dragged is where it was: nothing moves without a command.
void TestMeasureEditing::undoOfAnotherUnderADrag() {
    QFETCH(QPointF, at);
    v->zoomTo(1.0);
    FigureMark* first = aLine();
    v->drawLine({-90, 120}, {80, 120});
    const QVector<Figure> before = v->figures();
    select();
    v->click({-5, -5});
    v->press(at);
    v->move({10, 70}, Qt::LeftButton);
    QVERIFY(first->figure().points != before[0].points);
    v->list->undoStack()->undo();
    QCOMPARE(v->scene->markCount(), 1);
    QVERIFY(v->figures().first() == before[0]);
    v->move({20, 70}, Qt::LeftButton);
    v->release({30, 70});
    QVERIFY(v->figures().first() == before[0]);
    QCOMPARE(v->list->undoStack()->count(), 2);
    v->list->undoStack()->redo();
    QVERIFY(v->figures() == before);
    v->list->undoStack()->undo();
    v->list->undoStack()->undo();
    QCOMPARE(v->scene->markCount(), 0);
}

void TestMeasureEditing::redoUnderADrag() {
    v->zoomTo(1.0);
    FigureMark* line = aLine();
    const Figure drawn = v->figures().first();
    select();
    v->drag({-90, -60}, {-60, -90});
    const Figure moved = v->figures().first();
    v->list->undoStack()->undo();
    v->press({-5, -5});
    v->move({10, 70}, Qt::LeftButton);
    v->list->undoStack()->redo();
    QVERIFY(v->figures().first() == moved);
    v->move({20, 70}, Qt::LeftButton);
    v->release({30, 70});
    QVERIFY(v->figures().first() == moved);
    v->list->undoStack()->undo();
    QVERIFY(v->figures().first() == drawn);
    QCOMPARE(v->tools->selected(), line);
}

void TestMeasureEditing::deleteUnderADrag_data() {
    undoOfAnotherUnderADrag_data();
}

void TestMeasureEditing::deleteUnderADrag() {
    QFETCH(QPointF, at);
    v->zoomTo(1.0);
    aLine();
    const QVector<Figure> before = v->figures();
    select();
    v->click({-5, -5});
    v->press(at);
    v->move({10, 70}, Qt::LeftButton);
    v->key(Qt::Key_Delete);
    QCOMPARE(v->scene->markCount(), 0);
    v->move({20, 70}, Qt::LeftButton);
    v->release({30, 70});
    QCOMPARE(v->list->undoStack()->count(), 2);
    v->list->undoStack()->undo();
    QVERIFY(v->figures() == before);
    v->list->undoStack()->undo();
    QCOMPARE(v->scene->markCount(), 0);
}

void TestMeasureEditing::toolIsChosenUnderADrag() {
    v->zoomTo(1.0);
    FigureMark* line = aLine();
    select();
    v->press({-90, -60});
    v->move({10, 70}, Qt::LeftButton);
    v->tools->choose(MeasureTool::Circle);
    QCOMPARE(line->figure().points[0], v->scenePoint({10, 70}));
    QCOMPARE(v->list->undoStack()->count(), 2);
    v->move({20, 90}, Qt::LeftButton);
    v->release({20, 90});
    QCOMPARE(line->figure().points[0], v->scenePoint({10, 70}));
    QCOMPARE(v->scene->markCount(), 1);
}

void TestMeasureEditing::releaseThatGoesElsewhere() {
    v->zoomTo(1.0);
    FigureMark* line = aLine();
    select();
    v->press({-90, -60});
    v->move({10, 70}, Qt::LeftButton);
    v->move({50, 90});
    QCOMPARE(line->figure().points[0], v->scenePoint({10, 70}));
    QCOMPARE(v->list->undoStack()->count(), 2);
}

QTEST_MAIN(TestMeasureEditing)
#include "tst_measureediting.moc"
