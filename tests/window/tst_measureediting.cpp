#include <cmath>
#include <optional>

#include "marks/coordinatesmark.h"
#include "support/measureview.h"

namespace {

// Pixels of a tile that are darker; the corner between the pixels is half a px before the first of them.
const QRect kDark(480, 470, 120, 90);
const QPointF kCorner(479.5, 469.5);  // as the calibration has it
const QPointF kSeen(480.0, 470.0);    // as it is seen
constexpr double kFound = 0.15;       // px, from a corner to where it is found

const double kZooms[] = {0.37, 1.0, 3.0};

void addZooms() {
    QTest::addColumn<double>("zoom");
    for (const double zoom : kZooms)
        QTest::addRow("%g", zoom) << zoom;
}

double distance(QPointF a, QPointF b) {
    return QLineF(a, b).length();
}

}  // namespace

/// Figures that are there already: selected, moved, deleted, and points that snap, in a view as the program
/// has it.
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
    void arrowsNudge_data();
    void arrowsNudge();
    void arrowsNudgeTheHandleUsedLast_data() { addZooms(); }
    void arrowsNudgeTheHandleUsedLast();
    void handleUsedLastIsFilled();
    void arrowsPutNoHandleOntoTheOther();
    void arrowsWithoutASelection();
    void arrowsAreTheBarcodeReaders();
    void deleteKey_data();
    void deleteKey();
    void escapeIsNotTaken();
    void removedSelection();

    void lineSnaps_data() { addZooms(); }
    void lineSnaps();
    void handleSnaps_data() { addZooms(); }
    void handleSnaps();
    void crossHairSnaps_data() { addZooms(); }
    void crossHairSnaps();
    void heldCrossHairSnaps_data() { addZooms(); }
    void heldCrossHairSnaps();
    void nothingToSnapTo();
    void snapsInTheOtherTile();
    void snapsToTheLivePicture();
    void ctrlWithoutMoving();
    void reachIsWhatIsSeen_data();
    void reachIsWhatIsSeen();

private:
    FigureMark* aLine() { return v->drawLine({-90, -60}, {80, 50}); }
    void select() { v->tools->choose(MeasureTool::Select); }

    std::optional<MeasureView> v;
};

// ---- selecting and changing ----------------------------------------------------------------------

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

// ---- keys ----------------------------------------------------------------------------------------

void TestMeasureEditing::arrowsNudge_data() {
    QTest::addColumn<Qt::Key>("key");
    QTest::addColumn<QPointF>("step");
    QTest::newRow("left") << Qt::Key_Left << QPointF(-1, 0);
    QTest::newRow("right") << Qt::Key_Right << QPointF(1, 0);
    QTest::newRow("up") << Qt::Key_Up << QPointF(0, -1);
    QTest::newRow("down") << Qt::Key_Down << QPointF(0, 1);
}

void TestMeasureEditing::arrowsNudge() {
    QFETCH(Qt::Key, key);
    QFETCH(QPointF, step);
    v->zoomTo(3.0);
    FigureMark* line = aLine();  // selected, since it was just drawn
    const Figure before = v->figures().first();
    for (int i = 0; i < 3; ++i)
        v->key(key);
    v->key(key, Qt::KeypadModifier);
    v->key(key, Qt::ShiftModifier);
    const Figure after = v->figures().first();
    for (int i = 0; i < 2; ++i)
        QVERIFY(distance(after.points[i], before.points[i] + step * 4.1) < 1e-9);
    QCOMPARE(v->list->undoStack()->count(), 2);  // nudges in a row are one
    v->list->undoStack()->undo();
    QVERIFY(v->figures().first() == before);
    v->list->undoStack()->redo();
    QVERIFY(v->figures().first() == after);
    // With anything else held the keys are others'.
    v->key(key, Qt::ControlModifier);
    v->key(key, Qt::AltModifier);
    QVERIFY(v->figures().first() == after);
    // Another one's are a step of their own.
    v->drawLine({-90, 90}, {50, 90});
    v->key(key);
    v->tools->select(line);
    v->key(key);
    v->key(key);
    QCOMPARE(v->list->undoStack()->count(), 5);
}

void TestMeasureEditing::arrowsNudgeTheHandleUsedLast() {
    QFETCH(double, zoom);
    v->zoomTo(zoom);
    FigureMark* line = aLine();
    select();
    const auto nudged = [&](QPointF first, QPointF second) {
        const QVector<QPointF> before = line->figure().points;
        v->key(Qt::Key_Right);
        v->key(Qt::Key_Right);
        v->key(Qt::Key_Down, Qt::ShiftModifier);
        const QVector<QPointF> after = line->figure().points;
        return distance(after[0], before[0] + first) < 1e-9 && distance(after[1], before[1] + second) < 1e-9;
    };
    const QPointF by(2.0, 0.1);
    QVERIFY(nudged(by, by));  // none was used
    v->click(v->placeOf(line->figure().points[1]));
    QCOMPARE(v->list->undoStack()->count(), 2);
    QVERIFY(nudged({}, by));
    v->drag(v->placeOf(line->figure().points[0]), {-100, -20});
    QVERIFY(nudged(by, {}));
    QCOMPARE(v->list->undoStack()->count(), 5);
    // A drawing tool leaves it, another figure and a click on the line don't.
    v->tools->choose(MeasureTool::Circle);
    QVERIFY(nudged(by, {}));
    select();
    v->click(v->placeOf((line->figure().points[0] + line->figure().points[1]) / 2.0));
    QCOMPARE(v->tools->selected(), line);
    QVERIFY(nudged(by, by));
    v->click(v->placeOf(line->figure().points[1]));
    v->drawLine({-90, 90}, {50, 90});
    v->tools->select(line);
    QVERIFY(nudged(by, by));
    // Undone and redone it is still that handle's.
    select();
    v->click(v->placeOf(line->figure().points[1]));
    QVERIFY(nudged({}, by));
    v->list->undoStack()->undo();
    QVERIFY(nudged({}, by));
}

void TestMeasureEditing::handleUsedLastIsFilled() {
    v->zoomTo(1.0);
    FigureMark* line = aLine();
    select();
    const auto isFilled = [&](int handle) {
        v->paint();
        const QImage picture = v->view->grab(v->viewport()->geometry()).toImage();
        const QColor color =
            picture.pixelColor(v->view->viewportTransform().map(line->handles()[handle]).toPoint());
        return color.red() - color.blue() > 50;  // else it is white
    };
    QVERIFY(!isFilled(0) && !isFilled(1));
    v->click(v->placeOf(line->figure().points[1]));
    QVERIFY(!isFilled(0) && isFilled(1));
    v->key(Qt::Key_Right);
    QVERIFY(!isFilled(0) && isFilled(1));
    v->click(v->placeOf(line->figure().points[0]));
    QVERIFY(isFilled(0) && !isFilled(1));
    v->click(v->placeOf((line->figure().points[0] + line->figure().points[1]) / 2.0));
    QVERIFY(!isFilled(0) && !isFilled(1));
}

void TestMeasureEditing::arrowsPutNoHandleOntoTheOther() {
    v->zoomTo(3.0);
    FigureMark* line = v->drawLine({0, 0}, {60, 0});
    select();
    v->click({60, 0});
    const QSignalSpy refused(v->tools, &MeasureTools::clickRefused);
    for (int i = 0; i < 25; ++i)
        v->key(Qt::Key_Left);
    QCOMPARE(refused.count(), 6);
    QVERIFY(distance(line->figure().points[1], line->figure().points[0]) > 0.9);
}

void TestMeasureEditing::arrowsWithoutASelection() {
    v->zoomTo(1.0);
    aLine();
    select();
    v->tools->select(nullptr);
    v->scene->setMode(kCoordinatesMark);
    v->click({0, 100});
    v->click({0, 100});
    QVERIFY(v->scene->heldCrossHair());
    const Figure before = v->figures().first();
    v->key(Qt::Key_Right);
    QVERIFY(v->figures().first() == before);
    QCOMPARE(v->scene->heldCrossHair()->point(), v->scenePoint({0, 100}) + QPointF(1, 0));
    QCOMPARE(v->list->undoStack()->count(), 1);
}

void TestMeasureEditing::arrowsAreTheBarcodeReaders() {
    v->zoomTo(1.0);
    aLine();
    const Figure before = v->figures().first();
    v->scene->setMode(kBarcodeTextMark);
    v->click({0, 100});
    QVERIFY(v->scene->hasBarcodeOverlay());
    QVERIFY(v->tools->selected());
    v->key(Qt::Key_Left);
    QVERIFY(v->figures().first() == before);
    const QSignalSpy scanned(v->scene.get(), &InteractiveScene::scanned);
    QTest::keyClicks(v->view.get(), QStringLiteral("A17"));
    v->key(Qt::Key_Return);
    QCOMPARE(scanned.count(), 1);
    QCOMPARE(scanned.first()[0].toString(), QStringLiteral("A17"));
    v->scene->clearMarks();
    aLine();
    v->key(Qt::Key_Left);
    QCOMPARE(v->list->undoStack()->count(), 2);
}

void TestMeasureEditing::deleteKey_data() {
    QTest::addColumn<bool>("hasBarcode");
    QTest::newRow("alone") << false;
    QTest::newRow("with the barcode overlay") << true;
}

void TestMeasureEditing::deleteKey() {
    QFETCH(bool, hasBarcode);
    v->zoomTo(1.0);
    aLine();
    v->drawLine({-90, 60}, {80, 90});
    const QVector<Figure> both = v->figures();
    if (hasBarcode) {
        v->scene->setMode(kBarcodeTextMark);
        v->click({0, 200});
    }
    select();
    v->tools->select(v->figure(0));
    v->key(Qt::Key_Delete);
    QCOMPARE(v->figures(), both.mid(1));
    QVERIFY(!v->tools->selected());
    v->key(Qt::Key_Delete);  // none is selected
    QCOMPARE(v->figures(), both.mid(1));
    v->list->undoStack()->undo();
    QCOMPARE(v->figures(), both);  // at its place
    v->list->undoStack()->redo();
    QCOMPARE(v->figures(), both.mid(1));
    v->tools->select(v->figure(0));
    v->key(Qt::Key_Delete, Qt::ControlModifier);
    QCOMPARE(v->figures(), both.mid(1));
    v->key(Qt::Key_Delete, Qt::KeypadModifier);
    QVERIFY(v->figures().isEmpty());
}

void TestMeasureEditing::escapeIsNotTaken() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Line);
    v->click({0, 0});
    QObject* tools = v->tools;
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QVERIFY(!tools->eventFilter(v->view.get(), &escape));
    v->key(Qt::Key_Escape);
    QVERIFY(v->draft());
    v->click({50, 50});
    QVERIFY(v->tools->selected());
    QVERIFY(!tools->eventFilter(v->view.get(), &escape));
    QVERIFY(v->tools->selected());
}

void TestMeasureEditing::removedSelection() {
    v->zoomTo(1.0);
    aLine();
    QVERIFY(v->overlay()->isVisible());
    v->scene->clearMarks();
    QVERIFY(!v->tools->selected());
    QVERIFY(!v->overlay()->isVisible());
    v->tools->deleteSelected();
    v->key(Qt::Key_Delete);
    v->key(Qt::Key_Left);
    QCOMPARE(v->list->undoStack()->count(), 0);
}

// ---- snapping ------------------------------------------------------------------------------------

void TestMeasureEditing::lineSnaps() {
    QFETCH(double, zoom);
    v->darken(0, kDark);
    v->zoomTo(zoom, kCorner);
    v->tools->choose(MeasureTool::Line);
    const QPointF beside = v->placeOf(kCorner) + QPointF(5, -4);
    v->click(beside, Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(distance(v->draft()->figure().points[0], kSeen) < kFound);
    v->move({120, 70});
    QCOMPARE(v->draft()->figure().points[1], v->scenePoint({120, 70}));
    v->click({120, 70});
    QCOMPARE(v->figure()->figure().points[1], v->scenePoint({120, 70}));
    // Without Ctrl a click is where it is; the end of a drag snaps as well.
    v->drag({120, 70}, beside, Qt::NoModifier);
    QCOMPARE(v->figure(1)->figure().points[1], v->scenePoint(beside));
    v->press({120, 70});
    v->move(beside, Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(distance(v->draft()->figure().points[1], kSeen) < kFound);
    v->release(beside, Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(distance(v->figure(2)->figure().points[1], kSeen) < kFound);
}

void TestMeasureEditing::handleSnaps() {
    QFETCH(double, zoom);
    v->darken(0, kDark);
    v->zoomTo(zoom, kCorner);
    FigureMark* line = v->drawLine({-150, 0}, {-150, 90});
    select();
    v->drag({-147, 91}, v->placeOf(kCorner) + QPointF(-6, 3), Qt::ControlModifier);
    QVERIFY(distance(line->figure().points[1], kSeen) < kFound);
    QCOMPARE(v->list->undoStack()->count(), 2);
    v->list->undoStack()->undo();
    QCOMPARE(line->figure().points[1], v->scenePoint({-150, 90}));
    // All of a figure goes with the mouse, snapping or not.
    const QPointF middle(-150, 45);
    v->drag(middle, middle + QPointF(40, 0), Qt::ControlModifier);
    QVERIFY(distance(line->figure().points[1], v->scenePoint({-110, 90})) < 1e-9);
}

void TestMeasureEditing::crossHairSnaps() {
    QFETCH(double, zoom);
    v->darken(0, kDark);
    v->zoomTo(zoom, kCorner);
    const QSignalSpy finished(v->scene.get(), &InteractiveScene::finished);
    for (const MeasureTool tool : {MeasureTool::Select, MeasureTool::Line}) {
        v->tools->choose(tool);
        v->scene->setMode(kCoordinatesMark);
        const QPointF beside = v->placeOf(kCorner) + QPointF(-5, -6);
        v->move(beside, {}, Qt::ControlModifier);
        v->press(beside, Qt::LeftButton, Qt::ControlModifier);
        QVERIFY(!v->scene->isPlacing());
        auto* crossHair = dynamic_cast<CoordinatesMark*>(v->scene->markList().last());
        QVERIFY(crossHair);
        QVERIFY(distance(crossHair->point(), kCorner) < kFound);
        const QPointF point = crossHair->point();
        // A hand that shakes.
        v->move(beside + QPointF(2, 1), Qt::LeftButton, Qt::ControlModifier);
        v->release(beside + QPointF(2, 1), Qt::LeftButton, Qt::ControlModifier);
        QCOMPARE(crossHair->point(), point);
        QVERIFY(crossHair->isSelected());  // as one placed without Ctrl
        QVERIFY(!v->scene->mouseGrabberItem());
        QCOMPARE(finished.last()[0].toDouble(), point.x());
        QCOMPARE(finished.last()[1].toDouble(), point.y());
    }
    QCOMPARE(finished.count(), 2);
    // Without Ctrl as ever.
    v->scene->setMode(kCoordinatesMark);
    const QPointF beside = v->placeOf(kCorner) + QPointF(-5, -6);
    v->click(beside);
    QCOMPARE(finished.last()[0].toDouble(), v->scenePoint(beside).x());
}

void TestMeasureEditing::heldCrossHairSnaps() {
    QFETCH(double, zoom);
    v->darken(0, kDark);
    v->zoomTo(zoom, kCorner);
    select();
    v->scene->setMode(kCoordinatesMark);
    v->click({-40, -30});
    auto* crossHair = dynamic_cast<CoordinatesMark*>(v->scene->markList().last());
    const QPointF beside = v->placeOf(kCorner) + QPointF(4, -6);
    v->press({-40, -30});
    QCOMPARE(v->scene->heldCrossHair(), crossHair);
    v->move({-20, -20}, Qt::LeftButton);
    QCOMPARE(crossHair->point(), v->scenePoint({-20, -20}));
    v->move(beside, Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(distance(crossHair->point(), kCorner) < kFound);
    QVERIFY(v->loupe()->isVisible());
    v->release(beside, Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(distance(crossHair->point(), kCorner) < kFound);
    QVERIFY(!v->loupe()->isVisible());
    QVERIFY(!v->scene->mouseGrabberItem());
}

void TestMeasureEditing::nothingToSnapTo() {
    v->zoomTo(1.0);
    const QSignalSpy missed(v->tools, &MeasureTools::snapMissed);
    v->tools->choose(MeasureTool::Line);
    v->click({-50, -40});
    QCOMPARE(missed.count(), 0);
    v->click({50, 40}, Qt::LeftButton, Qt::ControlModifier);
    QCOMPARE(missed.count(), 1);
    QCOMPARE(v->figure()->figure().points[1], v->scenePoint({50, 40}));
    v->scene->setMode(kCoordinatesMark);
    const QSignalSpy finished(v->scene.get(), &InteractiveScene::finished);
    v->click({0, 70}, Qt::LeftButton, Qt::ControlModifier);
    QCOMPARE(missed.count(), 2);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.first()[1].toDouble(), v->scenePoint({0, 70}).y());
    select();
    v->drag({50, 40}, {80, 80}, Qt::ControlModifier);
    QCOMPARE(missed.count(), 3);
    QCOMPARE(v->figure()->figure().points[1], v->scenePoint({80, 80}));
}

// The pixels of the second tile begin at its place.
void TestMeasureEditing::snapsInTheOtherTile() {
    v->darken(1, {20, 470, 120, 90});
    const QPointF corner(MeasureView::kTile + 19.5, 469.5);
    v->zoomTo(1.0, corner);
    v->tools->choose(MeasureTool::Line);
    v->click(v->placeOf(corner) + QPointF(4, -5), Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(distance(v->draft()->figure().points[0], QPointF(MeasureView::kTile + 20, 470)) < kFound);
}

void TestMeasureEditing::snapsToTheLivePicture() {
    v->zoomTo(1.0, kCorner);
    v->tools->choose(MeasureTool::Line);
    v->click({-100, 0});
    const QPointF beside = v->placeOf(kCorner) + QPointF(5, -4);
    v->move(beside, {}, Qt::ControlModifier);
    QCOMPARE(v->draft()->figure().points[1], v->scenePoint(beside));
    v->darken(0, kDark);  // the mouse rests
    QVERIFY(distance(v->draft()->figure().points[1], kSeen) < kFound);
}

void TestMeasureEditing::ctrlWithoutMoving() {
    v->darken(0, kDark);
    v->zoomTo(1.0, kCorner);
    v->tools->choose(MeasureTool::Line);
    v->click({-100, 0});
    const QPointF beside = v->placeOf(kCorner) + QPointF(5, -4);
    v->move(beside);
    QTest::keyPress(v->view.get(), Qt::Key_Control);
    QVERIFY(distance(v->draft()->figure().points[1], kSeen) < kFound);
    QTest::keyRelease(v->view.get(), Qt::Key_Control);
    QCOMPARE(v->draft()->figure().points[1], v->scenePoint(beside));
    // The cross-hair that is being placed goes along, too.
    v->scene->setMode(kCoordinatesMark);
    v->move(beside);
    CoordinatesMark* crossHair = nullptr;
    const auto items = v->scene->items();
    for (QGraphicsItem* item : items) {
        if (auto* found = dynamic_cast<CoordinatesMark*>(item))
            crossHair = found;
    }
    QVERIFY(crossHair);
    QCOMPARE(crossHair->point(), v->scenePoint(beside));
    QTest::keyPress(v->view.get(), Qt::Key_Control);
    QVERIFY(distance(crossHair->point(), kCorner) < kFound);
    QTest::keyRelease(v->view.get(), Qt::Key_Control);
    QCOMPARE(crossHair->point(), v->scenePoint(beside));
}

void TestMeasureEditing::reachIsWhatIsSeen_data() {
    QTest::addColumn<QPointF>("away");
    QTest::addColumn<bool>("isFound");
    for (const QPointF side : {QPointF(1, 0), QPointF(-1, 0), QPointF(0, 1), QPointF(0, -1)}) {
        QTest::addRow("in reach %g %g", side.x(), side.y()) << side * 11.5 << true;
        QTest::addRow("beyond %g %g", side.x(), side.y()) << side * 12.5 << false;
    }
}

// On screen the corner between pixels is where the first of them begins.
void TestMeasureEditing::reachIsWhatIsSeen() {
    QFETCH(QPointF, away);
    QFETCH(bool, isFound);
    v->darken(0, kDark);
    const QTransform toView = QTransform::fromTranslate(-100, -70).scale(3.0, 3.0);
    const QPointF seen = QPointF(kDark.topLeft());
    for (const AimFor what : {AimFor::Figure, AimFor::CrossHair}) {
        const Aim aim = aimAt(toView.map(seen) + away, toView, true, v->tiles(), what);
        QCOMPARE(aim.kind == SnapKind::Corner, isFound);
        if (isFound) {
            QVERIFY(distance(aim.point, what == AimFor::Figure ? seen : kCorner) < kFound);
            QVERIFY(distance(aim.seen, seen) < kFound);
        }
        const Aim plain = aimAt(toView.map(seen) + away, toView, false, v->tiles(), what);
        QCOMPARE(plain.kind, SnapKind::None);
        QCOMPARE(plain.point, toView.inverted().map(toView.map(seen) + away));
        QCOMPARE(plain.seen, plain.point);
    }
}

QTEST_MAIN(TestMeasureEditing)
#include "tst_measureediting.moc"
