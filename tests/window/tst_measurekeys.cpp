// SPDX-License-Identifier: Apache-2.0
#include <optional>

#include "marks/coordinatesmark.h"
#include "support/measureview.h"

namespace {

double distance(QPointF a, QPointF b) {
    return QLineF(a, b).length();
}

}  // namespace

/// Selected figures and the keyboard: arrows, Delete, Escape, in a view as the program has it.
class TestMeasureKeys : public QObject {
    Q_OBJECT

private slots:
    void init() { v.emplace(); }
    void cleanup() { v.reset(); }

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

private:
    FigureMark* aLine() { return v->drawLine({-90, -60}, {80, 50}); }
    void select() { v->tools->choose(MeasureTool::Select); }

    std::optional<MeasureView> v;
};

void TestMeasureKeys::arrowsNudge_data() {
    QTest::addColumn<Qt::Key>("key");
    QTest::addColumn<QPointF>("step");
    QTest::newRow("left") << Qt::Key_Left << QPointF(-1, 0);
    QTest::newRow("right") << Qt::Key_Right << QPointF(1, 0);
    QTest::newRow("up") << Qt::Key_Up << QPointF(0, -1);
    QTest::newRow("down") << Qt::Key_Down << QPointF(0, 1);
}

void TestMeasureKeys::arrowsNudge() {
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

void TestMeasureKeys::arrowsNudgeTheHandleUsedLast() {
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

void TestMeasureKeys::handleUsedLastIsFilled() {
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

void TestMeasureKeys::arrowsPutNoHandleOntoTheOther() {
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

void TestMeasureKeys::arrowsWithoutASelection() {
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

void TestMeasureKeys::arrowsAreTheBarcodeReaders() {
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

void TestMeasureKeys::deleteKey_data() {
    QTest::addColumn<bool>("hasBarcode");
    QTest::newRow("alone") << false;
    QTest::newRow("with the barcode overlay") << true;
}

void TestMeasureKeys::deleteKey() {
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

void TestMeasureKeys::escapeIsNotTaken() {
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

void TestMeasureKeys::removedSelection() {
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

QTEST_MAIN(TestMeasureKeys)
#include "tst_measurekeys.moc"
