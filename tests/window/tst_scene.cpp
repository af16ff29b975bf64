#include <QGraphicsRectItem>
#include <QGraphicsView>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QtTest>

#include "marks/coordinatesmark.h"
#include "marks/interactivescene.h"
#include "marks/textmark.h"
#include "support/boxanswerer.h"
#include "support/marktest.h"
#include "support/workingfolder.h"

/// Placing, grabbing, moving and deleting marks, and typing barcodes, through a view: mouse and keys take the
/// way that they take in the window.
class TestScene : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
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
    void overlaysArePlaced();
    void overlayPlacedAgain();
    void barcodeIsTyped();
    void barcodeEnter();
    void backspaceAndOtherKeys();
    void noBarcodeOverlayNoTyping();
    void keysWhileAnOverlayIsPlacedAreNotCollected();
    void returnWithNothingTyped();
    void overlayClearedByTheListener();
    void stuckKeyIsBounded();
    void nudgedAndTyped();
    void overlayShowsWhatIsTyped();
    void longCodesAreWhole();
    void middlePressDoesNotGrabWhereItIs();
    void everyChangeIsRepainted();

private:
    Mark* place(QPointF point);
    void press(QPointF point, Qt::MouseButton button = Qt::LeftButton);
    void release(QPointF point, Qt::MouseButton button = Qt::LeftButton);
    void click(QPointF point, Qt::MouseButton button = Qt::LeftButton);
    void move(QPointF point, Qt::MouseButtons buttons = Qt::NoButton);
    void key(int key) { QTest::keyClick(view.get(), static_cast<Qt::Key>(key)); }
    /// A line end is the Return key.
    void type(const QByteArray& text) {
        QTest::keyClicks(view.get(), QString::fromLatin1(text.endsWith('\n') ? text.chopped(1) : text));
        if (text.endsWith('\n'))
            key(Qt::Key_Return);
    }
    QList<CoordinatesMark*> crossHairs() const;
    QStringList texts() const;
    void build(int options);

    std::unique_ptr<WorkingFolder> folder;
    std::unique_ptr<InteractiveScene> scene;
    std::unique_ptr<QGraphicsView> view;
    QGraphicsRectItem* tile = nullptr;
    std::unique_ptr<QSignalSpy> finished;
    std::unique_ptr<QSignalSpy> scanned;
};

void TestScene::init() {
    qRegisterMetaType<Mark*>("Mark*");
    folder = std::make_unique<WorkingFolder>();
    build(1);
}

void TestScene::build(int options) {
    cleanup();
    folder = std::make_unique<WorkingFolder>();
    scene = std::make_unique<InteractiveScene>(nullptr, options);
    scene->setSceneRect(0, 0, 640, 480);
    tile = scene->addRect(0, 0, 640, 480, Qt::NoPen, Qt::lightGray);
    view = std::make_unique<QGraphicsView>(scene.get());
    view->setFrameShape(QFrame::NoFrame);
    view->viewport()->setMouseTracking(true);
    view->setGeometry(0, 0, 640, 480);
    view->show();
    QVERIFY(QTest::qWaitForWindowExposed(view.get()));
    finished = std::make_unique<QSignalSpy>(scene.get(), &InteractiveScene::finished);
    scanned = std::make_unique<QSignalSpy>(scene.get(), &InteractiveScene::scanned);
}

void TestScene::cleanup() {
    finished.reset();
    scanned.reset();
    view.reset();
    scene.reset();
    folder.reset();
}

void TestScene::press(QPointF point, Qt::MouseButton button) {
    QTest::mousePress(view->viewport(), button, {}, view->mapFromScene(point));
}

void TestScene::release(QPointF point, Qt::MouseButton button) {
    QTest::mouseRelease(view->viewport(), button, {}, view->mapFromScene(point));
}

void TestScene::click(QPointF point, Qt::MouseButton button) {
    press(point, button);
    release(point, button);
}

/// QTest's own moves carry no buttons.
void TestScene::move(QPointF point, Qt::MouseButtons buttons) {
    const QPointF local = view->mapFromScene(point);
    QMouseEvent event(QEvent::MouseMove, local, view->viewport()->mapToGlobal(local.toPoint()), Qt::NoButton,
                      buttons, Qt::NoModifier);
    QCoreApplication::sendEvent(view->viewport(), &event);
}

Mark* TestScene::place(QPointF point) {
    scene->setMode(7);
    move(point);
    click(point);
    return crossHairs().last();
}

/// In the order of placing.
QList<CoordinatesMark*> TestScene::crossHairs() const {
    QList<CoordinatesMark*> found;
    const auto items = scene->items(Qt::AscendingOrder);
    for (QGraphicsItem* item : items) {
        if (auto* mark = dynamic_cast<CoordinatesMark*>(item))
            found.append(mark);
    }
    return found;
}

/// The overlays' lines.
QStringList TestScene::texts() const {
    QStringList lines;
    const auto items = scene->items(Qt::AscendingOrder);
    for (QGraphicsItem* item : items) {
        if (auto* mark = dynamic_cast<TextMark*>(item))
            lines.append(mark->toText());
    }
    return lines;
}

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

void TestScene::overlaysArePlaced() {
    scene->setDateTimeFormat(QStringLiteral("HH"));
    scene->setMode(10);
    QCOMPARE(texts().size(), 1);
    click({50, 300});
    QCOMPARE(finished->count(), 1);
    QCOMPARE(finished->at(0).mid(0, 3), (QVariantList{50.0, 300.0, 10}));
    scene->setMode(11);
    click({60, 400});
    QCOMPARE(finished->count(), 2);
    QCOMPARE(finished->at(1).mid(0, 3), (QVariantList{60.0, 400.0, 11}));
    for (const int index : {0, 1}) {
        const auto* mark = finished->at(index)[3].value<Mark*>();
        QCOMPARE(mark->zValue(), 1000.0);
        QCOMPARE(static_cast<int>(mark->flags()), 0x803);
        QCOMPARE(mark->markType, 10 + index);
    }
    QVERIFY(texts()[0].startsWith(QStringLiteral("Text #ff0000 1 1 | 50 300 ")));
    QVERIFY(texts()[1].contains(QStringLiteral("| 1 HH 0 ")));
    // Placed: the next click places nothing.
    click({10, 10});
    QCOMPARE(finished->count(), 2);
    QVERIFY(scene->markCount() == 0);
}

void TestScene::overlayPlacedAgain() {
    scene->restoreDateTimeMark(QStringLiteral("Text #ff0000 1 1 | 1 1 0 0 | 1 x 0 y 0 0 0 0"));
    scene->setDateTimeFormat(QStringLiteral("mm"));
    scene->setMode(11);
    QCOMPARE(texts().size(), 1);
    click({60, 300});
    QCOMPARE(texts().size(), 1);
    QVERIFY(texts()[0].startsWith(QStringLiteral("Text #ff0000 1 1 | 60 300 ")));
    QVERIFY(texts()[0].contains(QStringLiteral("| 1 mm 0 ")));
    QCOMPARE(finished->first()[3].value<Mark*>()->markType, 11);
    // Typed so far is gone when the barcode is placed anew.
    scene->setMode(10);
    scene->setMode(0);
    type("old");
    scene->setMode(10);
    scene->setMode(0);
    type("new\n");
    QCOMPARE(scanned->last().first().toString(), QStringLiteral("new"));
}

void TestScene::barcodeIsTyped() {
    scene->setMode(10);
    click({50, 300});
    type("4006381333931");
    QCOMPARE(scanned->count(), 0);
    key(Qt::Key_Return);
    QCOMPARE(scanned->count(), 1);
    QCOMPARE(scanned->first().first().toString(), QStringLiteral("4006381333931"));
    type("Ab-1 %2");
    key(Qt::Key_Return);
    QCOMPARE(scanned->last().first().toString(), QStringLiteral("Ab-1 %2"));
}

void TestScene::barcodeEnter() {
    scene->setMode(10);
    click({50, 300});
    type("77");
    key(Qt::Key_Enter);
    QCOMPARE(scanned->count(), 1);
    QCOMPARE(scanned->first().first().toString(), QStringLiteral("77"));
}

void TestScene::backspaceAndOtherKeys() {
    scene->setMode(10);
    click({50, 300});
    key(Qt::Key_Backspace);
    type("12");
    key(Qt::Key_Backspace);
    key(Qt::Key_Shift);
    key(Qt::Key_Left);
    type("3\n");
    QCOMPARE(scanned->first().first().toString(), QStringLiteral("13"));
}

void TestScene::noBarcodeOverlayNoTyping() {
    type("123\n");
    QCOMPARE(scanned->count(), 0);
    scene->setMode(11);  // a date-time overlay collects nothing
    click({50, 300});
    type("123\n");
    QCOMPARE(scanned->count(), 0);
}

void TestScene::keysWhileAnOverlayIsPlacedAreNotCollected() {
    scene->setMode(10);
    type("123\n");
    QCOMPARE(scanned->count(), 0);
    click({50, 300});
    type("4\n");
    QCOMPARE(scanned->first().first().toString(), QStringLiteral("4"));
}

void TestScene::returnWithNothingTyped() {
    scene->setMode(10);
    click({50, 300});
    key(Qt::Key_Return);
    QCOMPARE(scanned->count(), 1);
    QCOMPARE(scanned->first().first().toString(), QString());
}

/// A listener that shows a box lets people clear the marks before it returns.
void TestScene::overlayClearedByTheListener() {
    scene->setMode(10);
    click({50, 300});
    connect(scene.get(), &InteractiveScene::scanned, scene.get(), &InteractiveScene::clearMarks);
    type("12\n");
    QVERIFY(texts().isEmpty());
}

void TestScene::stuckKeyIsBounded() {
    scene->setMode(10);
    click({50, 300});
    QKeyEvent stuck(QEvent::KeyPress, Qt::Key_1, Qt::NoModifier, QStringLiteral("1"), true);
    for (int i = 0; i < 6000; ++i)
        QCoreApplication::sendEvent(scene.get(), &stuck);
    key(Qt::Key_Return);
    QVERIFY(scanned->first().first().toString().size() < 5000);
}

/// With a barcode overlay, letters that move the grabbed cross-hair are typed as well.
void TestScene::nudgedAndTyped() {
    scene->setMode(10);
    click({50, 300});
    auto* mark = static_cast<CoordinatesMark*>(place({400, 100}));
    click({400, 100});
    type("AD\n");
    QCOMPARE(mark->point(), QPointF(400, 100));
    type("W\n");
    QCOMPARE(mark->point(), QPointF(400, 99));
    QCOMPARE(scanned->at(0).first().toString(), QStringLiteral("AD"));
    QCOMPARE(scanned->at(1).first().toString(), QStringLiteral("W"));
}

void TestScene::overlayShowsWhatIsTyped() {
    scene->setMode(10);
    click({50, 300});
    TextMark* overlay = nullptr;
    for (QGraphicsItem* item : scene->items()) {
        if (auto* text = dynamic_cast<TextMark*>(item))
            overlay = text;
    }
    QVERIFY(overlay);
    QCOMPARE(overlay->text(), QStringLiteral("########"));
    type("12");
    QCOMPARE(overlay->text(), QStringLiteral("12"));
    key(Qt::Key_Backspace);
    QCOMPARE(overlay->text(), QStringLiteral("1"));
    key(Qt::Key_Return);
    QCOMPARE(overlay->text(), QStringLiteral("1"));  // until the next code begins
    type("9");
    QCOMPARE(overlay->text(), QStringLiteral("9"));
    key(Qt::Key_Backspace);
    QCOMPARE(overlay->text(), QStringLiteral("########"));
    type("77");
    scene->setMode(10);
    QCOMPARE(overlay->text(), QStringLiteral("########"));
    scene->setMode(0);
    key(Qt::Key_Return);
    QCOMPARE(scanned->last().first().toString(), QString());
    QCOMPARE(overlay->text(), QStringLiteral("########"));
}

void TestScene::longCodesAreWhole() {
    scene->setMode(10);
    click({50, 300});
    // As many as the densest code holds.
    const QString code = QStringLiteral("0123456789").repeated(429) + QStringLiteral("012345");
    for (const QChar digit : code) {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_0, Qt::NoModifier, QString(digit));
        QCoreApplication::sendEvent(scene.get(), &press);
    }
    key(Qt::Key_Return);
    QCOMPARE(scanned->first().first().toString(), code);
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
