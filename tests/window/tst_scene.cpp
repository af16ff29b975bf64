// SPDX-License-Identifier: Apache-2.0
#include <QSignalSpy>
#include <QtTest>

#include "marks/coordinatesmark.h"
#include "marks/interactivescene.h"
#include "support/boxanswerer.h"
#include "support/sceneview.h"

/// Placing, grabbing, moving and deleting marks through a view.
class TestScene : public QObject, private SceneView {
    Q_OBJECT

private slots:
    void init() { setUp(); }
    void cleanup() { tearDown(); }
    void crossHairFollowsTheMouseUntilItIsPlaced();
    void anyButtonButTheRightOnePlaces();
    void tellsWhetherItIsPlacing();
    void placedCrossHairCanBeDeletedAtOnce();
    void settingTheModeTwiceKeepsTheCrossHair();
    void rightPressDiscardsAndKeepsTheMode();
    void unknownModesPlaceNothing();
    void emptySceneIgnoresPresses();
    void grabWithinAHundred_data();
    void grabWithinAHundred();
    void pressThatReachesNoneKeepsTheGrabbed();
    void rightPressDropsTheGrabbed();
    void laterOfTwoIsGrabbed();
    void grabbedIsDraggedOnlyWithTheLeftButton();
    void tileIsDraggedWhereNothingIsGrabbed();
    void pressAndDragWhilePlacingMovesTheCrossHair();
    void keysNudge_data();
    void keysNudge();
    void keysNeedModeNone();
    void deleteKey();
    void deleteKeyInAnyMode();
    void deleteKeyWithoutTheOption();
    void deletedMarkIsGrabbedNoMore();
    void removedMarkIsGrabbedNoMore();
    void clearing();
    void clearingWhilePlacingIsRefused();
    void middlePressDoesNotGrabWhereItIs();
    void everyChangeIsRepainted();
};

void TestScene::crossHairFollowsTheMouseUntilItIsPlaced() {
    scene->setMode(7);
    QCOMPARE(crossHairs().size(), 1);
    CoordinatesMark* mark = crossHairs().first();
    QCOMPARE(mark->zValue(), 1000.0);
    QCOMPARE(static_cast<int>(mark->flags()), 0);
    move({50, 60});
    QCOMPARE(mark->point(), QPointF(50, 60));
    move({70, 80});
    QCOMPARE(mark->point(), QPointF(70, 80));
    QVERIFY(scene->markCount() == 0);
    QCOMPARE(finished->count(), 0);
    click({90, 100});
    QVERIFY(scene->markCount() > 0);
    QCOMPARE(finished->count(), 1);
    QCOMPARE(finished->first().mid(0, 3), (QVariantList{90.0, 100.0, 7}));
    QCOMPARE(finished->first()[3].value<Mark*>(), mark);
    QCOMPARE(static_cast<int>(mark->flags()), 0x803);
    move({300, 300});
    QCOMPARE(mark->point(), QPointF(90, 100));
    // One trigger, one cross-hair.
    click({300, 300});
    QCOMPARE(crossHairs().size(), 1);
    QCOMPARE(finished->count(), 1);
}

void TestScene::anyButtonButTheRightOnePlaces() {
    scene->setMode(7);
    click({20, 30}, Qt::MiddleButton);
    QCOMPARE(finished->count(), 1);
    QCOMPARE(crossHairs().first()->point(), QPointF(20, 30));
}

void TestScene::tellsWhetherItIsPlacing() {
    QVERIFY(!scene->isPlacing());
    for (const int kind : {7, 10, 11}) {
        scene->setMode(kind);
        QVERIFY(scene->isPlacing());
        click({20, 30});
        QVERIFY(!scene->isPlacing());
    }
    // A mode that has lost what it would place.
    scene->setMode(7);
    click({20, 30}, Qt::RightButton);
    QVERIFY(!scene->isPlacing());
    for (const int kind : {10, 11}) {
        scene->setMode(kind);
        scene->clearMarks();
        QVERIFY(!scene->isPlacing());
    }
    scene->setMode(3);
    QVERIFY(!scene->isPlacing());
}

void TestScene::placedCrossHairCanBeDeletedAtOnce() {
    place({100, 100});
    key(Qt::Key_Delete);
    QVERIFY(crossHairs().isEmpty());
}

void TestScene::settingTheModeTwiceKeepsTheCrossHair() {
    scene->setMode(7);
    scene->setMode(7);
    QCOMPARE(crossHairs().size(), 1);
}

void TestScene::rightPressDiscardsAndKeepsTheMode() {
    scene->setMode(7);
    click({50, 50}, Qt::RightButton);
    QVERIFY(crossHairs().isEmpty());
    // Still mode 7, without a cross-hair: presses place nothing and grab nothing until the mode is set again.
    click({60, 60});
    QVERIFY(crossHairs().isEmpty());
    QCOMPARE(finished->count(), 0);
    scene->setMode(7);
    click({60, 60});
    QCOMPARE(crossHairs().size(), 1);
}

void TestScene::unknownModesPlaceNothing() {
    Mark* mark = place({100, 100});
    for (const int mode : {1, 6, 12, -1}) {
        scene->setMode(mode);
        click({100, 100});
        QCOMPARE(finished->count(), 1);
        // And nothing is grabbed: the key moves nothing.
        key(Qt::Key_Left);
        QCOMPARE(static_cast<CoordinatesMark*>(mark)->point(), QPointF(100, 100));
    }
}

void TestScene::emptySceneIgnoresPresses() {
    delete tile;
    tile = nullptr;
    click({50, 50});
    click({50, 50}, Qt::RightButton);
    QVERIFY(scene->items().isEmpty());
}

void TestScene::grabWithinAHundred_data() {
    QTest::addColumn<QPointF>("press");
    QTest::addColumn<bool>("isGrabbed");
    QTest::newRow("on it") << QPointF(200, 200) << true;
    QTest::newRow("99 aside") << QPointF(299, 200) << true;
    QTest::newRow("100 aside") << QPointF(300, 200) << false;
    QTest::newRow("60 and 79") << QPointF(260, 279) << true;
    QTest::newRow("60 and 80") << QPointF(260, 280) << false;
}

void TestScene::grabWithinAHundred() {
    QFETCH(QPointF, press);
    QFETCH(bool, isGrabbed);
    auto* mark = static_cast<CoordinatesMark*>(place({200, 200}));
    click(press);
    // It stays selected, also where the press is not on its lines, so that the Delete key finds it.
    QCOMPARE(mark->isSelected(), isGrabbed);
    QCOMPARE(static_cast<int>(mark->flags()), isGrabbed ? 0x803 : 0);
    key(Qt::Key_Right);
    QCOMPARE(mark->point(), isGrabbed ? QPointF(201, 200) : QPointF(200, 200));
    key(Qt::Key_Delete);
    QCOMPARE(crossHairs().size(), isGrabbed ? 0 : 1);
}

void TestScene::pressThatReachesNoneKeepsTheGrabbed() {
    auto* mark = static_cast<CoordinatesMark*>(place({200, 200}));
    click({210, 210});
    click({500, 400});
    QVERIFY(!mark->isSelected());
    key(Qt::Key_Left);
    QCOMPARE(mark->point(), QPointF(199, 200));
}

void TestScene::rightPressDropsTheGrabbed() {
    auto* mark = static_cast<CoordinatesMark*>(place({200, 200}));
    click({210, 210});
    click({210, 210}, Qt::RightButton);
    key(Qt::Key_Left);
    QCOMPARE(mark->point(), QPointF(200, 200));
}

void TestScene::laterOfTwoIsGrabbed() {
    auto* first = static_cast<CoordinatesMark*>(place({200, 200}));
    auto* second = static_cast<CoordinatesMark*>(place({250, 200}));
    click({210, 200});  // nearer to the first
    key(Qt::Key_Down);
    QCOMPARE(first->point(), QPointF(200, 200));
    QCOMPARE(second->point(), QPointF(250, 201));
    // A click leaves the grabbed one selected alone; while the button is held both are, and the Delete key
    // takes the first of the list.
    QVERIFY(!first->isSelected() && second->isSelected());
    press({210, 200});
    QVERIFY(first->isSelected() && second->isSelected());
    key(Qt::Key_Delete);
    QCOMPARE(crossHairs(), QList<CoordinatesMark*>{second});
}

void TestScene::grabbedIsDraggedOnlyWithTheLeftButton() {
    auto* mark = static_cast<CoordinatesMark*>(place({200, 200}));
    press({210, 210});
    move({300, 320}, Qt::LeftButton);
    QCOMPARE(mark->point(), QPointF(300, 320));
    release({300, 320});
    move({10, 10});
    QCOMPARE(mark->point(), QPointF(300, 320));
    // Far from it: the grabbed one comes along all the same.
    press({20, 20});
    move({40, 50}, Qt::LeftButton);
    QCOMPARE(mark->point(), QPointF(40, 50));
    release({40, 50});
    QCOMPARE(finished->count(), 1);  // dragging announces nothing
}

void TestScene::tileIsDraggedWhereNothingIsGrabbed() {
    tile->setFlags(QGraphicsItem::ItemIsMovable);
    place({600, 440});
    click({600, 440}, Qt::RightButton);
    press({100, 100});
    move({120, 130}, Qt::LeftButton);
    release({120, 130});
    QCOMPARE(tile->pos(), QPointF(20, 30));
}

/// The press that places it also begins to drag it, as with any movable item: it must then be where it is
/// seen.
void TestScene::pressAndDragWhilePlacingMovesTheCrossHair() {
    scene->setMode(7);
    press({100, 100});
    move({110, 105}, Qt::LeftButton);
    move({130, 120}, Qt::LeftButton);
    release({130, 120});
    auto* mark = crossHairs().first();
    QCOMPARE(mark->point(), mark->mapToScene(mark->shape().boundingRect().center()));
    QCOMPARE(mark->point(), QPointF(130, 120));
    QVERIFY(mark->toText().endsWith(QStringLiteral("| 130 120")));
    click({131, 120});
    key(Qt::Key_Right);
    QCOMPARE(mark->point(), QPointF(131, 120));
}

void TestScene::keysNudge_data() {
    QTest::addColumn<int>("key");
    QTest::addColumn<QPointF>("step");
    QTest::newRow("left") << int(Qt::Key_Left) << QPointF(-1, 0);
    QTest::newRow("right") << int(Qt::Key_Right) << QPointF(1, 0);
    QTest::newRow("up") << int(Qt::Key_Up) << QPointF(0, -1);
    QTest::newRow("down") << int(Qt::Key_Down) << QPointF(0, 1);
    QTest::newRow("a") << int(Qt::Key_A) << QPointF(-1, 0);
    QTest::newRow("d") << int(Qt::Key_D) << QPointF(1, 0);
    QTest::newRow("w") << int(Qt::Key_W) << QPointF(0, -1);
    QTest::newRow("s") << int(Qt::Key_S) << QPointF(0, 1);
    QTest::newRow("x") << int(Qt::Key_X) << QPointF(0, 0);
}

void TestScene::keysNudge() {
    QFETCH(int, key);
    QFETCH(QPointF, step);
    auto* mark = static_cast<CoordinatesMark*>(place({200, 200}));
    click({200, 200});
    this->key(key);
    QCOMPARE(mark->point(), QPointF(200, 200) + step);
    QTest::keyClick(view.get(), static_cast<Qt::Key>(key), Qt::ShiftModifier);
    QCOMPARE(mark->point(), QPointF(200, 200) + 2 * step);
}

void TestScene::keysNeedModeNone() {
    auto* mark = static_cast<CoordinatesMark*>(place({200, 200}));
    click({200, 200});
    scene->setMode(5);
    key(Qt::Key_Left);
    QCOMPARE(mark->point(), QPointF(200, 200));
    scene->setMode(0);
    key(Qt::Key_Left);
    QCOMPARE(mark->point(), QPointF(199, 200));
}

void TestScene::deleteKey() {
    place({100, 100});
    place({500, 400});
    key(Qt::Key_Delete);  // the one placed last is selected
    QCOMPARE(crossHairs().size(), 1);
    key(Qt::Key_Delete);
    QCOMPARE(crossHairs().size(), 1);
    click({100, 100});
    key(Qt::Key_Delete);
    QVERIFY(crossHairs().isEmpty());
    key(Qt::Key_Delete);
    QVERIFY(scene->markCount() == 0);
}

void TestScene::deleteKeyInAnyMode() {
    place({100, 100});
    click({100, 100});
    scene->setMode(7);
    key(Qt::Key_Delete);
    QVERIFY(scene->markCount() == 0);
    QCOMPARE(crossHairs().size(), 1);  // the one being placed
}

void TestScene::deleteKeyWithoutTheOption() {
    build(0);
    place({100, 100});
    click({100, 100});
    key(Qt::Key_Delete);
    QCOMPARE(crossHairs().size(), 1);
}

void TestScene::deletedMarkIsGrabbedNoMore() {
    place({100, 100});
    click({100, 100});
    QSignalSpy removed(scene.get(), &InteractiveScene::removed);
    press({100, 100});
    key(Qt::Key_Delete);
    QCOMPARE(removed.count(), 1);
    move({150, 150}, Qt::LeftButton);
    release({150, 150});
    key(Qt::Key_Left);
    click({100, 100});
    key(Qt::Key_Delete);
    QVERIFY(scene->markCount() == 0);
}

void TestScene::removedMarkIsGrabbedNoMore() {
    Mark* first = place({100, 100});
    auto* second = static_cast<CoordinatesMark*>(place({400, 400}));
    click({100, 100});
    scene->removeMark(first);
    key(Qt::Key_Left);
    move({50, 50}, Qt::LeftButton);
    QCOMPARE(crossHairs(), QList<CoordinatesMark*>{second});
    QCOMPARE(second->point(), QPointF(400, 400));
    scene->removeMark(nullptr);
    CoordinatesMark stranger(scene.get());
    scene->removeMark(&stranger);
    QCOMPARE(crossHairs().size(), 1);
}

void TestScene::clearing() {
    place({100, 100});
    place({400, 400});
    click({100, 100});
    scene->setMode(10);
    scene->setMode(11);
    scene->setMode(0);
    scene->clearMarks();
    QCOMPARE(scene->items(), QList<QGraphicsItem*>{tile});
    QVERIFY(scene->markCount() == 0);
    key(Qt::Key_Left);
    type("abc\n");
    QCOMPARE(scanned->count(), 0);
    scene->clearMarks();  // nothing left to clear
    place({100, 100});
    QCOMPARE(crossHairs().size(), 1);
}

void TestScene::clearingWhilePlacingIsRefused() {
    place({100, 100});
    scene->setMode(10);
    scene->setMode(11);
    scene->setMode(7);
    const int count = scene->items().size();
    BoxAnswerer answerer;
    scene->clearMarks();
    QCOMPARE(answerer.boxes.size(), 1);
    QCOMPARE(answerer.boxes[0].icon, QMessageBox::Warning);
    QCOMPARE(answerer.boxes[0].title, QStringLiteral("Warning"));
    QCOMPARE(answerer.boxes[0].text, QStringLiteral("Please finish the current action first."));
    QCOMPARE(answerer.boxes[0].buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(scene->items().size(), count);
    QCOMPARE(texts().size(), 2);
    click({300, 300}, Qt::RightButton);
    scene->clearMarks();
    QCOMPARE(answerer.boxes.size(), 1);
    QCOMPARE(scene->items().size(), 1);
}

/// What counts is where the left button went down last.
void TestScene::middlePressDoesNotGrabWhereItIs() {
    auto* mark = static_cast<CoordinatesMark*>(place({200, 200}));
    click({600, 400});
    click({200, 200}, Qt::MiddleButton);
    QVERIFY(!mark->isSelected());
    key(Qt::Key_Left);
    QCOMPARE(mark->point(), QPointF(200, 200));
}

void TestScene::everyChangeIsRepainted() {
    scene->setMode(10);
    click({50, 300});
    auto* mark = static_cast<CoordinatesMark*>(place({400, 100}));
    click({400, 100});
    QSignalSpy changed(scene.get(), &QGraphicsScene::changed);
    const auto isRepainted = [&](const std::function<void()>& change) {
        QCoreApplication::processEvents();
        changed.clear();
        change();
        QCoreApplication::processEvents();
        QRectF area;
        for (const auto& call : changed) {
            const auto rects = call.first().value<QList<QRectF>>();
            for (const QRectF& rect : rects)
                area |= rect;
        }
        return area.contains(QRectF(10, 10, 620, 460));  // all of the scene
    };
    QVERIFY(isRepainted([&] { key(Qt::Key_Left); }));
    QVERIFY(isRepainted([&] { key(Qt::Key_X); }));
    QVERIFY(isRepainted([&] { type("4"); }));
    QVERIFY(isRepainted([&] { key(Qt::Key_Return); }));
    QVERIFY(isRepainted([&] { mark->shiftBy(1, 1); }));
    QVERIFY(isRepainted([&] { scene->clearMarks(); }));
    scene->setMode(11);
    QVERIFY(isRepainted([&] { click({70, 200}); }));
}

QTEST_MAIN(TestScene)
#include "tst_scene.moc"
