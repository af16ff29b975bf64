// SPDX-License-Identifier: Apache-2.0
#include "marks/interactivescene.h"
#include "support/viewmouse.h"
#include "support/viewmoving.h"

/// The middle button in the view, and its double click: two tiles of 640 x 480 px side by side.
class TestViewDragging : public QObject, private ViewMoving {
    Q_OBJECT

private slots:
    void init() { setUp(); }
    void cleanup() { tearDown(); }

    void middleButtonDragsTheView();
    void dragEndsAtTheEdgeOfTheScene();
    void nothingToDragWhereAllIsInView();
    void wheelDuringADrag();
    void dragEndsWithoutARelease_data();
    void dragEndsWithoutARelease();
    void rightButtonDuringADragBringsNoMenu_data();
    void rightButtonDuringADragBringsNoMenu();
    void cursorOfTheViewComesBack();
    void otherButtonsDuringADragAreNobodys();
    void middleButtonDuringATileDrag_data();
    void middleButtonDuringATileDrag();
    void marksAndTilesStayAsTheyAre();
    void middleButtonPlacesWhilePlacing_data();
    void middleButtonPlacesWhilePlacing();
    void dragAfterADiscardedCrossHair();
    void pendingCrossHairStaysAtTheCursor();
    void leftAndRightButtonAreAsEver();

    void doubleClickFits();
    void doubleClickWhilePlacing_data();
    void doubleClickWhilePlacing();
};

void TestViewDragging::middleButtonDragsTheView() {
    zoomIn();
    const QPoint before = scrolled();
    press({200, 200});
    QCOMPARE(viewport()->cursor().shape(), Qt::ClosedHandCursor);
    QCOMPARE(scrolled(), before);
    moveTo({190, 205});
    QCOMPARE(scrolled(), before + QPoint(10, -5));
    moveTo({260, 170});
    QCOMPARE(scrolled(), before + QPoint(-60, 30));
    release({260, 170});
    QCOMPARE(viewport()->cursor().shape(), Qt::ArrowCursor);
    QVERIFY(!viewport()->testAttribute(Qt::WA_SetCursor));
    moveTo({300, 300}, Qt::NoButton);
    QCOMPARE(scrolled(), before + QPoint(-60, 30));
    QCOMPARE(scale(), 3.0);
}

/// What was under the cursor comes back under it.
void TestViewDragging::dragEndsAtTheEdgeOfTheScene() {
    zoomIn();
    setScrolled({20, 10});
    press({100, 100});
    moveTo({300, 400});
    QCOMPARE(scrolled(), QPoint(0, 0));
    moveTo({121, 111});
    QCOMPARE(scrolled(), QPoint(0, 0));
    moveTo({115, 105});
    QCOMPARE(scrolled(), QPoint(5, 5));
    moveTo({-4000, -3000});  // far outside the window
    QCOMPARE(scrolled(),
             QPoint(view()->horizontalScrollBar()->maximum(), view()->verticalScrollBar()->maximum()));
    release({-4000, -3000});
    QCOMPARE(viewport()->cursor().shape(), Qt::ArrowCursor);
}

void TestViewDragging::nothingToDragWhereAllIsInView() {
    const QTransform before = view()->viewportTransform();
    press({200, 200});
    moveTo({300, 250});
    release({300, 250});
    QCOMPARE(view()->viewportTransform(), before);
}

void TestViewDragging::wheelDuringADrag() {
    zoomIn();
    const QPointF point = scenePoint({200, 200});
    press({200, 200});
    moveTo({220, 190});
    notches({220, 190}, 3);
    QVERIFY(QLineF(placeOf(point), {220, 190}).length() <= 1.0);
    moveTo({150, 100});
    QVERIFY(QLineF(placeOf(point), {150, 100}).length() <= 1.0);
    release({150, 100});
}

void TestViewDragging::dragEndsWithoutARelease_data() {
    QTest::addColumn<int>("event");
    QTest::newRow("the window is left") << int(QEvent::WindowDeactivate);
    QTest::newRow("the view is hidden") << int(QEvent::Hide);
    QTest::newRow("the keyboard brings a menu") << int(QEvent::ContextMenu);
    QTest::newRow("the button is up") << 0;
}

void TestViewDragging::dragEndsWithoutARelease() {
    QFETCH(int, event);
    zoomIn();
    QApplication::setActiveWindow(window->get());
    press({200, 200});
    moveTo({210, 210});
    if (event == QEvent::WindowDeactivate) {
        QApplication::setActiveWindow(nullptr);
    } else if (event == QEvent::Hide) {
        view()->hide();
        view()->show();
    } else if (event == QEvent::ContextMenu) {
        QCOMPARE(menusAskedFor(view(),
                               [this] {
                                   askForMenu(view(), {210, 210}, QContextMenuEvent::Keyboard);
                               }),
                 1);
    } else {
        const QPoint dragged = scrolled();
        moveTo({250, 250}, Qt::NoButton);
        QCOMPARE(scrolled(), dragged);
    }
    QCOMPARE(viewport()->cursor().shape(), Qt::ArrowCursor);
    const QPoint before = scrolled();
    // The button may still be down, or be let go of elsewhere.
    moveTo({300, 300}, event ? Qt::MiddleButton : Qt::NoButton);
    QCOMPARE(scrolled(), before);
    press({200, 200});
    moveTo({190, 190});
    QCOMPARE(scrolled(), before + QPoint(10, 10));
    release({190, 190});
}

void TestViewDragging::rightButtonDuringADragBringsNoMenu_data() {
    QTest::addColumn<bool>("isAtPress");  // or at the release, as the system has it
    QTest::newRow("at the press") << true;
    QTest::newRow("at the release") << false;
}

void TestViewDragging::rightButtonDuringADragBringsNoMenu() {
    QFETCH(bool, isAtPress);
    zoomIn();
    const QPoint before = scrolled();
    const auto right = [&](bool isDown, Qt::MouseButtons held) {
        mouse(isDown ? Type::MouseButtonPress : Type::MouseButtonRelease, {210, 210}, Qt::RightButton, held);
        if (isDown == isAtPress)
            askForMenu(view(), {210, 210});
    };
    const auto during = [&] {
        press({200, 200});
        right(true, Qt::RightButton | Qt::MiddleButton);
        right(false, Qt::MiddleButton);
    };
    QCOMPARE(menusAskedFor(view(), during), 0);
    QCOMPARE(viewport()->cursor().shape(), Qt::ClosedHandCursor);
    moveTo({230, 215});
    QCOMPARE(scrolled(), before - QPoint(30, 15));
    const auto longer = [&] {
        right(true, Qt::RightButton | Qt::MiddleButton);
        mouse(Type::MouseButtonRelease, {230, 215}, Qt::MiddleButton, Qt::RightButton);
        right(false, {});
    };
    QCOMPARE(menusAskedFor(view(), longer), 0);
    QCOMPARE(viewport()->cursor().shape(), Qt::ArrowCursor);
    const auto afterwards = [&] {
        if (isAtPress)  // as the second half of a double click
            askForMenu(view(), {210, 210});
        right(true, Qt::RightButton);
        right(false, {});
    };
    QCOMPARE(menusAskedFor(view(), afterwards), isAtPress ? 2 : 1);
    QCOMPARE(scrolled(), before - QPoint(30, 15));
}

void TestViewDragging::cursorOfTheViewComesBack() {
    zoomIn();
    viewport()->setCursor(Qt::CrossCursor);
    press({200, 200});
    QCOMPARE(viewport()->cursor().shape(), Qt::ClosedHandCursor);
    release({200, 200});
    QCOMPARE(viewport()->cursor().shape(), Qt::CrossCursor);
}

void TestViewDragging::otherButtonsDuringADragAreNobodys() {
    zoomIn();
    placeCrossHair({640, 240});
    auto* mark = crossHairs().first();
    const QPointF point = mark->point();
    const QPointF there = placeOf({650, 250});
    QTest::mouseClick(viewport(), Qt::LeftButton, {}, there.toPoint());
    QVERIFY(mark->isSelected());  // grabbed: from now on it follows the left button
    const QPoint before = scrolled();
    press({200, 200});
    mouse(Type::MouseButtonPress, {200, 200}, Qt::LeftButton, Qt::LeftButton | Qt::MiddleButton);
    moveTo({210, 210}, Qt::LeftButton | Qt::MiddleButton);
    QCOMPARE(scrolled(), before - QPoint(10, 10));
    mouse(Type::MouseButtonRelease, {210, 210}, Qt::MiddleButton, Qt::LeftButton);
    QCOMPARE(viewport()->cursor().shape(), Qt::ArrowCursor);
    moveTo({260, 260}, Qt::LeftButton);
    mouse(Type::MouseButtonRelease, {260, 260}, Qt::LeftButton, {});
    QCOMPARE(mark->point(), point);
    QCOMPARE(scrolled(), before - QPoint(10, 10));
    // And then all is as before.
    mouse(Type::MouseButtonPress, placeOf({650, 250}), Qt::LeftButton, Qt::LeftButton);
    moveTo(placeOf({600, 200}), Qt::LeftButton);
    mouse(Type::MouseButtonRelease, placeOf({600, 200}), Qt::LeftButton, {});
    QVERIFY(QLineF(mark->point(), {600, 200}).length() <= 1.0);
}

void TestViewDragging::middleButtonDuringATileDrag_data() {
    QTest::addColumn<bool>("isMiddleUpFirst");
    QTest::newRow("left up first") << false;
    QTest::newRow("middle up first") << true;
}

void TestViewDragging::middleButtonDuringATileDrag() {
    QFETCH(bool, isMiddleUpFirst);
    zoomIn();
    auto* tile = window->tiles()[0];
    const QPointF from = placeOf({600, 200});
    const QPoint before = scrolled();
    const MiddleButtonWatch watch(scene());
    mouse(Type::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
    moveTo(from + QPointF(30, 0), Qt::LeftButton);
    QCOMPARE(tile->pos(), QPointF(10, 0));
    mouse(Type::MouseButtonPress, from + QPointF(30, 0), Qt::MiddleButton, Qt::LeftButton | Qt::MiddleButton);
    QCOMPARE(viewport()->cursor().shape(), Qt::ArrowCursor);
    moveTo(from + QPointF(60, 30), Qt::LeftButton | Qt::MiddleButton);
    QCOMPARE(tile->pos(), QPointF(20, 10));
    if (isMiddleUpFirst) {
        mouse(Type::MouseButtonRelease, from + QPointF(60, 30), Qt::MiddleButton, Qt::LeftButton);
        QCOMPARE(scene()->mouseGrabberItem(), tile);
        moveTo(from + QPointF(90, 60), Qt::LeftButton);
        QCOMPARE(tile->pos(), QPointF(30, 20));
        moveTo(from + QPointF(60, 30), Qt::LeftButton);
        mouse(Type::MouseButtonRelease, from + QPointF(60, 30), Qt::LeftButton, {});
    } else {
        mouse(Type::MouseButtonRelease, from + QPointF(60, 30), Qt::LeftButton, Qt::MiddleButton);
        QVERIFY(!scene()->mouseGrabberItem());
        moveTo(from + QPointF(90, 60), Qt::MiddleButton);
        release(from + QPointF(90, 60));
    }
    QCOMPARE(tile->pos(), QPointF(20, 10));
    QCOMPARE(scrolled(), before);
    QVERIFY(!scene()->mouseGrabberItem());
    // The tile is free for the next one.
    mouse(Type::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
    moveTo(from - QPointF(30, 0), Qt::LeftButton);
    mouse(Type::MouseButtonRelease, from - QPointF(30, 0), Qt::LeftButton, {});
    QCOMPARE(tile->pos(), QPointF(10, 10));
    QCOMPARE(watch.count, 0);
}

void TestViewDragging::marksAndTilesStayAsTheyAre() {
    placeCrossHair({300, 200});
    placeCrossHair({900, 200});
    zoomIn();
    for (auto* tile : window->tiles())
        tile->setFlags(QGraphicsItem::ItemIsMovable);
    auto* mark = crossHairs()[0];
    QTest::mouseClick(viewport(), Qt::LeftButton, {}, placeOf(QPointF(300, 240)).toPoint());
    mark->setFlags(kPlacedFlags);
    mark->setSelected(true);
    for (const QPointF on : {QPointF(640, 240), QPointF(700, 200)}) {
        const QPointF place = placeOf(on);
        press(place);
        moveTo(place + QPointF(40, 25));
        notches(place + QPointF(40, 25), 2);
        release(place + QPointF(40, 25));
    }
    QVERIFY(mark->isSelected());
    QCOMPARE(int(mark->flags()), int(kPlacedFlags));
    QVERIFY(QLineF(mark->point(), {300, 200}).length() <= 1.0);
    QVERIFY(QLineF(crossHairs()[1]->point(), {900, 200}).length() <= 1.0);
    QCOMPARE(scene()->markCount(), 2);
    QCOMPARE(window->tiles()[0]->pos(), QPointF(0, 0));
    QCOMPARE(window->tiles()[1]->pos(), QPointF(640, 0));
    QVERIFY(!scene()->mouseGrabberItem());
}

void TestViewDragging::middleButtonPlacesWhilePlacing_data() {
    QTest::addColumn<QByteArray>("action");
    QTest::addColumn<int>("kind");
    QTest::newRow("cross-hair") << QByteArray("actionTilt") << 7;
    QTest::newRow("barcode") << QByteArray("actionBarcode") << 10;
    QTest::newRow("date and time") << QByteArray("actionDate_Time") << 11;
}

void TestViewDragging::middleButtonPlacesWhilePlacing() {
    QFETCH(QByteArray, action);
    QFETCH(int, kind);
    zoomIn();
    const QPoint before = scrolled();
    QSignalSpy finished(scene(), &InteractiveScene::finished);
    QVERIFY(!scene()->isPlacing());
    window->action(action.constData())->trigger();
    QVERIFY(scene()->isPlacing());
    const QPointF point = scenePoint({200, 200});
    press({200, 200});
    QCOMPARE(finished.size(), 1);
    QCOMPARE(finished.first()[2].toInt(), kind);
    QVERIFY(QLineF(QPointF(finished.first()[0].toDouble(), finished.first()[1].toDouble()), point).length() <=
            1.0);
    QCOMPARE(viewport()->cursor().shape(), Qt::ArrowCursor);
    QVERIFY(!scene()->isPlacing());
    moveTo({260, 260});
    release({260, 260});
    QCOMPARE(scrolled(), before);
    // Afterwards the button is the view's again.
    press({200, 200});
    moveTo({210, 210});
    QCOMPARE(scrolled(), before - QPoint(10, 10));
    release({210, 210});
    QCOMPARE(finished.size(), 1);
}

void TestViewDragging::dragAfterADiscardedCrossHair() {
    zoomIn();
    window->action("actionTilt")->trigger();
    QTest::mouseClick(viewport(), Qt::RightButton, {}, {200, 200});
    QVERIFY(crossHairs().isEmpty());
    QVERIFY(!scene()->isPlacing());
    const QPoint before = scrolled();
    press({200, 200});
    moveTo({210, 210});
    QCOMPARE(scrolled(), before - QPoint(10, 10));
    release({210, 210});
}

void TestViewDragging::pendingCrossHairStaysAtTheCursor() {
    zoomIn();
    moveTo({10, 10}, Qt::NoButton);  // the last that the view knows of
    window->action("actionTilt")->trigger();
    // The mouse need not have moved.
    for (const double count : {1.0, 3.0, -2.0, 0.3}) {
        notches({250, 130}, count);
        QCOMPARE(crossHairs().first()->point(), scenePoint({250, 130}));
    }
    QCOMPARE(viewport()->cursor().shape(), Qt::ArrowCursor);
    QTest::mouseClick(viewport(), Qt::LeftButton, {}, {250, 130});
    QCOMPARE(crossHairs().first()->point(), scenePoint({250, 130}));
    QCOMPARE(scene()->markCount(), 1);
    const QPointF placed = crossHairs().first()->point();
    notches({300, 300}, 2);
    QCOMPARE(crossHairs().first()->point(), placed);
}

void TestViewDragging::leftAndRightButtonAreAsEver() {
    zoomIn();
    auto* tile = window->tiles()[1];
    const QPointF from = placeOf({700, 200});
    const QPoint before = scrolled();
    mouse(Type::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
    moveTo(from + QPointF(-30, 60), Qt::LeftButton);
    mouse(Type::MouseButtonRelease, from + QPointF(-30, 60), Qt::LeftButton, {});
    QCOMPARE(tile->pos(), QPointF(630, 20));
    QCOMPARE(scrolled(), before);
    QCOMPARE(menusAskedFor(view(), [this] { askForMenu(view(), {100, 100}); }), 1);
}

void TestViewDragging::doubleClickFits() {
    zoomIn();
    QSignalSpy triggered(window->action("actionZoom_Fit"), &QAction::triggered);
    WorkingFolder::setKey(QStringLiteral("File/Zoom"), 17);
    press({200, 200});
    release({200, 200});
    QCOMPARE(scale(), 3.0);
    mouse(Type::MouseButtonDblClick, {200, 200}, Qt::MiddleButton, Qt::MiddleButton);
    QVERIFY(window->isFitted());
    QCOMPARE(triggered.size(), 1);
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/Zoom")).startsWith(QLatin1String("0.")));
    QCOMPARE(viewport()->cursor().shape(), Qt::ArrowCursor);
    const QTransform fitted = view()->viewportTransform();
    moveTo({250, 250});
    release({250, 250});
    QCOMPARE(view()->viewportTransform(), fitted);
    // That of the left button is none of ours.
    zoomIn();
    QTest::mouseDClick(viewport(), Qt::LeftButton, {}, {200, 200});
    QCOMPARE(scale(), 3.0);
}

void TestViewDragging::doubleClickWhilePlacing_data() {
    middleButtonPlacesWhilePlacing_data();
}

/// Its first half places the mark, and that is all.
void TestViewDragging::doubleClickWhilePlacing() {
    QFETCH(QByteArray, action);
    zoomIn();
    QSignalSpy finished(scene(), &InteractiveScene::finished);
    window->action(action.constData())->trigger();
    doubleClick({200, 200});
    QCOMPARE(finished.size(), 1);
    QCOMPARE(scale(), 3.0);
    // One that begins while something is being placed.
    window->action(action.constData())->trigger();
    mouse(Type::MouseButtonDblClick, {200, 200}, Qt::MiddleButton, Qt::MiddleButton);
    release({200, 200});
    QCOMPARE(scale(), 3.0);
    QVERIFY(scene()->isPlacing());
    QTest::mouseClick(viewport(), Qt::LeftButton, {}, {200, 200});
    doubleClick({200, 200});
    QVERIFY(window->isFitted());
}

QTEST_MAIN(TestViewDragging)
#include "tst_viewdragging.moc"
