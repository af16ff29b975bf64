#include <QMouseEvent>
#include <QScreen>
#include <QScrollBar>
#include <QWheelEvent>
#include <cmath>
#include <optional>

#include "live/livetiles.h"
#include "live/tilelayout.h"
#include "marks/coordinatesmark.h"
#include "marks/interactivescene.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"
#include "support/viewmouse.h"

/// Moving around the view by wheel and middle button: two tiles of 640 x 480 px side by side.
class TestViewMover : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup() { window.reset(); }

    void wheelZoomsAtTheCursor();
    void cornerIsReachedFromFit_data();
    void cornerIsReachedFromFit();
    void whatTheCursorWasOnComesBackToIt();
    void manyNotchesAtOnePlace();
    void thereAndBack();
    void fineWheel();
    void ctrlMakesNoDifference();
    void wheelHasBounds();
    void wheelBeyondTheBoundsOnlyComesBack();
    void wheelBeforeAnyPicture();
    void actionsKeepTheirAnchor();
    void twoFingersPan_data();
    void twoFingersPan();
    void finePansAddUp();
    void twoFingersZoomWithCtrl();
    void wheelScrollsSideways_data();
    void wheelScrollsSideways();
    void wheelOverAScrollBarScrolls();

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
    void settingsStayAsTheyAre();
    void frozenAndPaused_data();
    void frozenAndPaused();
    void keyboardStaysTheBarcodeReaders();
    void paintedAsAfterZoomIn();

private:
    using Type = QEvent::Type;

    QGraphicsView* view() const { return window->view(); }
    QWidget* viewport() const { return view()->viewport(); }
    InteractiveScene* scene() const { return qobject_cast<InteractiveScene*>(view()->scene()); }
    QPoint middle() const { return viewport()->rect().center(); }
    double scale() const { return view()->transform().m11(); }
    QPointF scenePoint(QPointF place) const { return view()->viewportTransform().inverted().map(place); }
    QPointF placeOf(QPointF point) const { return view()->viewportTransform().map(point); }
    QPoint scrolled() const {
        return {view()->horizontalScrollBar()->value(), view()->verticalScrollBar()->value()};
    }
    void setScrolled(QPoint value) const {
        view()->horizontalScrollBar()->setValue(value.x());
        view()->verticalScrollBar()->setValue(value.y());
    }
    QList<CoordinatesMark*> crossHairs() const;
    void placeCrossHair(QPointF point) const;

    /// 3 view px a scene px, the middle of the scene in the middle.
    void zoomIn() const;
    void wheel(QPointF place, QPoint angle, Qt::KeyboardModifiers modifiers = {}, QPoint px = {},
               Qt::ScrollPhase phase = Qt::NoScrollPhase,
               Qt::MouseEventSource source = Qt::MouseEventNotSynthesized) const;
    void notches(QPointF place, double count) const { wheel(place, {0, qRound(count * 120.0)}); }
    void mouse(Type type, QPointF place, Qt::MouseButton button, Qt::MouseButtons held) const;
    void press(QPointF place) const {
        mouse(Type::MouseButtonPress, place, Qt::MiddleButton, Qt::MiddleButton);
    }
    void moveTo(QPointF place, Qt::MouseButtons held = Qt::MiddleButton) const {
        mouse(Type::MouseMove, place, Qt::NoButton, held);
    }
    void release(QPointF place) const { mouse(Type::MouseButtonRelease, place, Qt::MiddleButton, {}); }
    void doubleClick(QPointF place) const;

    std::optional<WindowUnderTest> window;
};

void TestViewMover::init() {
    QVector<recording::Camera> cameras(2);
    for (auto& camera : cameras) {
        camera.width = 640;
        camera.height = 480;
        camera.queryStatus = 5;  // the frames of the test are the only ones
    }
    recording::reset(cameras);
    window.emplace();
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[File]\nLang=1\n[Pos]\nX0=0\nY0=0\nX1=640\nY1=0\n"));
    window->start();
    QTRY_VERIFY((*window)->isMaximized());
    if (QByteArray(QTest::currentTestFunction()) == "wheelBeforeAnyPicture")
        return;
    window->sendFrame(0, 50, 0, {640, 480});
    window->sendFrame(1, 150, 0, {640, 480});
    QCOMPARE(scene()->sceneRect(), QRectF(0, 0, 1280, 480));
    // The platform may give the window its size a moment later, and then it would be fitted once more.
    auto* live = (*window)->findChild<LiveTiles*>();
    QVERIFY(live);
    disconnect(live, &LiveTiles::fitNeeded, nullptr, nullptr);
    QTRY_VERIFY((*window)->width() > (*window)->screen()->size().width() - 50);
    QCoreApplication::processEvents();
    window->action("actionZoom_Fit")->trigger();
    QVERIFY(window->isFitted());
}

QList<CoordinatesMark*> TestViewMover::crossHairs() const {
    QList<CoordinatesMark*> found;
    const auto items = scene()->items(Qt::AscendingOrder);
    for (QGraphicsItem* item : items) {
        if (auto* mark = dynamic_cast<CoordinatesMark*>(item))
            found.append(mark);
    }
    return found;
}

void TestViewMover::placeCrossHair(QPointF point) const {
    window->action("actionTilt")->trigger();
    QTest::mouseClick(viewport(), Qt::LeftButton, {}, placeOf(point).toPoint());
}

void TestViewMover::zoomIn() const {
    view()->resetTransform();
    view()->scale(3.0, 3.0);
    QCoreApplication::processEvents();  // scroll bars come a little later
    view()->centerOn(640, 240);
}

void TestViewMover::wheel(QPointF place, QPoint angle, Qt::KeyboardModifiers modifiers, QPoint px,
                          Qt::ScrollPhase phase, Qt::MouseEventSource source) const {
    QWheelEvent event(place, viewport()->mapToGlobal(place.toPoint()), px, angle, Qt::NoButton, modifiers,
                      phase, false, source);
    QCoreApplication::sendEvent(viewport(), &event);
    QVERIFY(event.isAccepted());
}

void TestViewMover::mouse(Type type, QPointF place, Qt::MouseButton button, Qt::MouseButtons held) const {
    QMouseEvent event(type, place, viewport()->mapToGlobal(place.toPoint()), button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(viewport(), &event);
}

/// As a system tells of it.
void TestViewMover::doubleClick(QPointF place) const {
    press(place);
    release(place);
    mouse(Type::MouseButtonDblClick, place, Qt::MiddleButton, Qt::MiddleButton);
    release(place);
}

// ---- the wheel -----------------------------------------------------------------------------------

void TestViewMover::wheelZoomsAtTheCursor() {
    const QSizeF size = viewport()->size();
    for (const double count : {1.0, -1.0, 4.0, -3.0, 0.125, -0.25}) {
        for (const QPointF part : {QPointF(0.5, 0.5), QPointF(0.1, 0.2), QPointF(0.93, 0.87), QPointF()}) {
            zoomIn();
            const QPointF place(part.x() * size.width(), part.y() * size.height());
            const QPointF point = scenePoint(place);
            notches(place, count);
            QVERIFY(qAbs(scale() - 3.0 * std::pow(1.1, count)) < 1e-12);
            QCOMPARE(view()->transform().m22(), scale());
            QVERIFY(QLineF(placeOf(point), place).length() <= 1.0);
        }
    }
}

void TestViewMover::cornerIsReachedFromFit_data() {
    QTest::addColumn<QPoint>("corner");
    QTest::newRow("top left") << QPoint(0, 0);
    QTest::newRow("top right") << QPoint(1280, 0);
    QTest::newRow("bottom left") << QPoint(0, 480);
    QTest::newRow("bottom right") << QPoint(1280, 480);
}

void TestViewMover::cornerIsReachedFromFit() {
    QFETCH(QPoint, corner);
    const QPointF place = placeOf(corner) + QPointF(corner.x() ? -20 : 20, corner.y() ? -20 : 20);
    const QPointF point = scenePoint(place);
    for (int i = 0; i < 20; ++i) {
        notches(place, 1);
        QCoreApplication::processEvents();
        QVERIFY(qAbs(placeOf(point).x() - place.x()) <= 1.0);
        if (view()->verticalScrollBar()->maximum() == 0)  // then the scene lies in the middle
            QVERIFY(qAbs(placeOf({640, 240}).y() - viewport()->height() / 2.0) <= 1.0);
    }
    QVERIFY(scale() > 3.0);
    QVERIFY(QLineF(scenePoint(place), corner).length() < 240.0);
}

// Where there is nothing to scroll yet, the first notches cannot keep it.
void TestViewMover::whatTheCursorWasOnComesBackToIt() {
    const QPointF point(400, 160);
    const QPointF place = placeOf(point);
    double farthest = 0;
    for (int i = 0; i < 20; ++i) {
        notches(place, 1);
        farthest = std::max(farthest, QLineF(placeOf(point), place).length());
    }
    QVERIFY(farthest > 1.0);  // or this test says nothing
    QVERIFY(QLineF(placeOf(point), place).length() <= 1.0);
    // On the way out it is missed again; who then turns round means what is at the cursor now.
    notches(place, -20);
    notches(place, 5);
    notches(place, -1);
    const QPointF now = scenePoint(place);
    QVERIFY(QLineF(now, point).length() > 1.0);
    for (int i = 0; i < 20; ++i)
        notches(place, 1);
    QVERIFY(QLineF(placeOf(now), place).length() <= 1.0);
}

void TestViewMover::manyNotchesAtOnePlace() {
    zoomIn();
    const QPointF place(123, 77);
    const QPointF point = scenePoint(place);
    for (int i = 0; i < 30; ++i) {
        notches(place, 1);
        // Rounding to whole px does not add up.
        QVERIFY(QLineF(placeOf(point), place).length() <= 1.0);
    }
    // Somewhere else it is what is there that stays.
    const QPointF other(300, 200);
    const QPointF there = scenePoint(other);
    notches(other, -4);
    QVERIFY(QLineF(placeOf(there), other).length() <= 1.0);
    // The view may have been moved by other means meanwhile.
    setScrolled(scrolled() + QPoint(40, 30));
    const QPointF now = scenePoint(other);
    notches(other, -1);
    QVERIFY(QLineF(placeOf(now), other).length() <= 1.0);
}

void TestViewMover::thereAndBack() {
    const QTransform before = view()->viewportTransform();
    const double fit = scale();
    for (int i = 0; i < 12; ++i)
        notches(middle() + QPoint(90, 15), 1);
    for (int i = 0; i < 12; ++i)
        notches(middle() - QPoint(120, 40), -1);
    QVERIFY(qAbs(scale() - fit) < 1e-12);
    QVERIFY(QLineF(placeOf({0, 0}), before.map(QPointF(0, 0))).length() <= 1.0);
}

void TestViewMover::fineWheel() {
    zoomIn();
    const QPointF place = middle();
    const QPointF point = scenePoint(place);
    for (int i = 0; i < 40; ++i)
        wheel(place, {0, 3});
    QVERIFY(qAbs(scale() - 3.3) < 1e-9);
    QVERIFY(QLineF(placeOf(point), place).length() <= 1.0);
}

void TestViewMover::ctrlMakesNoDifference() {
    zoomIn();
    const QPointF place(50, 200);
    const QPointF point = scenePoint(place);
    wheel(place, {0, 120}, Qt::ControlModifier);
    QCOMPARE(scale(), 3.0 * kZoomStep);
    QVERIFY(QLineF(placeOf(point), place).length() <= 1.0);
}

void TestViewMover::wheelHasBounds() {
    const double fit = scale();
    QVERIFY(fit < 1.0);
    for (int i = 0; i < 100; ++i)
        notches(middle(), 1);
    QVERIFY(qAbs(scale() - 64.0) < 1e-9);
    for (int i = 0; i < 200; ++i)
        notches(middle(), -1);
    QVERIFY(qAbs(scale() - fit / 4.0) < 0.02 * fit);  // the size of the fitted view has a px to spare
    QVERIFY(QLineF(placeOf({640, 240}), viewport()->rect().center()).length() <= 2.0);
}

/// The actions have no bounds.
void TestViewMover::wheelBeyondTheBoundsOnlyComesBack() {
    view()->resetTransform();
    for (int i = 0; i < 60; ++i)
        window->action("actionZoom_In")->trigger();
    const double large = scale();
    QVERIFY(large > 64.0);
    notches(middle(), 1);
    QCOMPARE(scale(), large);
    notches(middle(), -1);
    QVERIFY(qAbs(scale() / large - kZoomStepBack) < 1e-12);
    for (int i = 0; i < 120; ++i)
        window->action("actionZoom_Out")->trigger();
    const double small = scale();
    notches(middle(), -1);
    QCOMPARE(scale(), small);
    notches(middle(), 1);
    QVERIFY(qAbs(scale() / small - kZoomStep) < 1e-12);
}

void TestViewMover::wheelBeforeAnyPicture() {
    notches(middle(), 1);
    press(middle());
    moveTo(middle() + QPoint(30, 30));
    release(middle());
    doubleClick(middle());
    window->sendFrame(0, 50, 0, {640, 480});
    window->sendFrame(1, 150, 0, {640, 480});
    QVERIFY(window->isFitted());
}

void TestViewMover::actionsKeepTheirAnchor() {
    const auto anchor = view()->transformationAnchor();
    zoomIn();
    // At the corner the view does not have to scroll for the wheel.
    setScrolled({0, 0});
    notches({0, 0}, 5);
    QCOMPARE(view()->transformationAnchor(), anchor);
    const QPointF centre = scenePoint(QRectF(viewport()->rect()).center());
    window->action("actionZoom_In")->trigger();
    QVERIFY(QLineF(placeOf(centre), QRectF(viewport()->rect()).center()).length() <= 4.0);
}

void TestViewMover::twoFingersPan_data() {
    QTest::addColumn<QPoint>("px");
    QTest::addColumn<QPoint>("angle");
    QTest::addColumn<int>("phase");
    QTest::addColumn<int>("source");
    QTest::addColumn<QPoint>("distance");
    const int no = Qt::NoScrollPhase;
    const int byHand = Qt::MouseEventNotSynthesized;
    QTest::newRow("phase") << QPoint(7, -11) << QPoint(14, -22) << int(Qt::ScrollUpdate) << byHand
                           << QPoint(-7, 11);
    QTest::newRow("begin") << QPoint(0, 5) << QPoint(0, 10) << int(Qt::ScrollBegin) << byHand
                           << QPoint(0, -5);
    QTest::newRow("momentum") << QPoint(9, 0) << QPoint(18, 0) << int(Qt::ScrollMomentum) << byHand
                              << QPoint(-9, 0);
    QTest::newRow("end") << QPoint() << QPoint() << int(Qt::ScrollEnd) << byHand << QPoint();
    QTest::newRow("synthesized") << QPoint(3, 4) << QPoint(6, 8) << no
                                 << int(Qt::MouseEventSynthesizedBySystem) << QPoint(-3, -4);
    QTest::newRow("px alone") << QPoint(3, 4) << QPoint(6, 8) << no << byHand << QPoint(-3, -4);
}

void TestViewMover::twoFingersPan() {
    QFETCH(QPoint, px);
    QFETCH(QPoint, angle);
    QFETCH(int, phase);
    QFETCH(int, source);
    QFETCH(QPoint, distance);
    zoomIn();
    const QPoint before = scrolled();
    wheel(middle(), angle, {}, px, Qt::ScrollPhase(phase), Qt::MouseEventSource(source));
    QCOMPARE(scrolled() - before, distance);
    QCOMPARE(scale(), 3.0);
}

/// Where there are no px.
void TestViewMover::finePansAddUp() {
    zoomIn();
    const QPoint before = scrolled();
    for (int i = 0; i < 40; ++i)
        wheel(middle(), {-3, 3}, {}, {}, Qt::ScrollUpdate);
    const int lines = QApplication::wheelScrollLines();
    const QPoint notch(lines * view()->horizontalScrollBar()->singleStep(),
                       lines * view()->verticalScrollBar()->singleStep());
    QVERIFY((scrolled() - before - QPoint(notch.x(), -notch.y())).manhattanLength() <= 2);
    QCOMPARE(scale(), 3.0);
}

void TestViewMover::twoFingersZoomWithCtrl() {
    zoomIn();
    const QPointF place(200, 100);
    const QPointF point = scenePoint(place);
    for (int i = 0; i < 8; ++i)
        wheel(place, {2, 15}, Qt::ControlModifier, {1, 8}, Qt::ScrollUpdate);
    QVERIFY(qAbs(scale() - 3.3) < 1e-9);
    QVERIFY(QLineF(placeOf(point), place).length() <= 1.0);
}

void TestViewMover::wheelScrollsSideways_data() {
    QTest::addColumn<QPoint>("angle");
    QTest::addColumn<int>("modifiers");
    QTest::newRow("Shift") << QPoint(0, -120) << int(Qt::ShiftModifier);
    QTest::newRow("Alt") << QPoint(0, -120) << int(Qt::AltModifier);
    QTest::newRow("Alt as X servers have it") << QPoint(-120, 0) << int(Qt::AltModifier);
    QTest::newRow("tilting wheel") << QPoint(-120, 0) << 0;
    QTest::newRow("back") << QPoint(0, 120) << int(Qt::ShiftModifier);
}

void TestViewMover::wheelScrollsSideways() {
    QFETCH(QPoint, angle);
    QFETCH(int, modifiers);
    zoomIn();
    const QPoint before = scrolled();
    wheel(middle(), angle, Qt::KeyboardModifiers(modifiers));
    const int notch = QApplication::wheelScrollLines() * view()->horizontalScrollBar()->singleStep();
    QVERIFY(notch > 10);
    QCOMPARE(scrolled() - before, QPoint(angle.x() + angle.y() < 0 ? notch : -notch, 0));
    QCOMPARE(scale(), 3.0);
}

void TestViewMover::wheelOverAScrollBarScrolls() {
    zoomIn();
    const QPoint before = scrolled();
    QScrollBar* bar = view()->verticalScrollBar();
    QVERIFY(bar->isVisible());
    QWheelEvent event(QPointF(5, 50), bar->mapToGlobal(QPoint(5, 50)), {}, {0, -120}, Qt::NoButton, {},
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(bar, &event);
    QCOMPARE(scrolled().x(), before.x());
    QVERIFY(scrolled().y() > before.y());
    QCOMPARE(scale(), 3.0);
}

// ---- the middle button ---------------------------------------------------------------------------

void TestViewMover::middleButtonDragsTheView() {
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
void TestViewMover::dragEndsAtTheEdgeOfTheScene() {
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

void TestViewMover::nothingToDragWhereAllIsInView() {
    const QTransform before = view()->viewportTransform();
    press({200, 200});
    moveTo({300, 250});
    release({300, 250});
    QCOMPARE(view()->viewportTransform(), before);
}

void TestViewMover::wheelDuringADrag() {
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

void TestViewMover::dragEndsWithoutARelease_data() {
    QTest::addColumn<int>("event");
    QTest::newRow("the window is left") << int(QEvent::WindowDeactivate);
    QTest::newRow("the view is hidden") << int(QEvent::Hide);
    QTest::newRow("the keyboard brings a menu") << int(QEvent::ContextMenu);
    QTest::newRow("the button is up") << 0;
}

void TestViewMover::dragEndsWithoutARelease() {
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

void TestViewMover::rightButtonDuringADragBringsNoMenu_data() {
    QTest::addColumn<bool>("isAtPress");  // or at the release, as the system has it
    QTest::newRow("at the press") << true;
    QTest::newRow("at the release") << false;
}

void TestViewMover::rightButtonDuringADragBringsNoMenu() {
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

void TestViewMover::cursorOfTheViewComesBack() {
    zoomIn();
    viewport()->setCursor(Qt::CrossCursor);
    press({200, 200});
    QCOMPARE(viewport()->cursor().shape(), Qt::ClosedHandCursor);
    release({200, 200});
    QCOMPARE(viewport()->cursor().shape(), Qt::CrossCursor);
}

void TestViewMover::otherButtonsDuringADragAreNobodys() {
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

void TestViewMover::middleButtonDuringATileDrag_data() {
    QTest::addColumn<bool>("isMiddleUpFirst");
    QTest::newRow("left up first") << false;
    QTest::newRow("middle up first") << true;
}

void TestViewMover::middleButtonDuringATileDrag() {
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

void TestViewMover::marksAndTilesStayAsTheyAre() {
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

void TestViewMover::middleButtonPlacesWhilePlacing_data() {
    QTest::addColumn<QByteArray>("action");
    QTest::addColumn<int>("kind");
    QTest::newRow("cross-hair") << QByteArray("actionTilt") << 7;
    QTest::newRow("barcode") << QByteArray("actionBarcode") << 10;
    QTest::newRow("date and time") << QByteArray("actionDate_Time") << 11;
}

void TestViewMover::middleButtonPlacesWhilePlacing() {
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

void TestViewMover::dragAfterADiscardedCrossHair() {
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

void TestViewMover::pendingCrossHairStaysAtTheCursor() {
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

void TestViewMover::leftAndRightButtonAreAsEver() {
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

// ---- the double click, and what is left alone ----------------------------------------------------

void TestViewMover::doubleClickFits() {
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

void TestViewMover::doubleClickWhilePlacing_data() {
    middleButtonPlacesWhilePlacing_data();
}

/// Its first half places the mark, and that is all.
void TestViewMover::doubleClickWhilePlacing() {
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

void TestViewMover::settingsStayAsTheyAre() {
    window->action("actionZoom_Fit")->trigger();
    const QByteArray before = WorkingFolder::read(QStringLiteral("setting.ini"));
    QVERIFY(before.contains("Zoom="));
    for (int i = 0; i < 10; ++i)
        notches(middle(), 1);
    press({200, 200});
    moveTo({100, 100});
    release({100, 100});
    wheel(middle(), {0, 120}, Qt::ShiftModifier);
    QTest::qWait(0);
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), before);
    window->end();
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), before);
}

void TestViewMover::frozenAndPaused_data() {
    QTest::addColumn<QByteArray>("action");
    QTest::newRow("frozen") << QByteArray("actionFreeze");
    QTest::newRow("paused") << QByteArray("action_Stop");
    QTest::newRow("full screen") << QByteArray("actionFull_screen");
}

void TestViewMover::frozenAndPaused() {
    QFETCH(QByteArray, action);
    window->action(action.constData())->trigger();
    zoomIn();
    const QPointF place(150, 120);
    const QPointF point = scenePoint(place);
    notches(place, 3);
    QVERIFY(QLineF(placeOf(point), place).length() <= 1.0);
    const QPoint before = scrolled();
    press(place);
    moveTo(place + QPointF(15, -20));
    release(place + QPointF(15, -20));
    QCOMPARE(scrolled(), before + QPoint(-15, 20));
    doubleClick(place);
    QVERIFY(window->isFitted());
}

void TestViewMover::keyboardStaysTheBarcodeReaders() {
    window->action("actionBarcode")->trigger();
    QTest::mouseClick(viewport(), Qt::LeftButton, {}, {200, 200});
    QApplication::setActiveWindow(window->get());
    QTRY_COMPARE(QApplication::focusWidget(), view());
    zoomIn();
    QSignalSpy scanned(scene(), &InteractiveScene::scanned);
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("40"));
    QTest::mousePress(viewport(), Qt::MiddleButton, {}, {200, 200});
    QCOMPARE(QApplication::focusWidget(), view());
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("06"));
    QTest::mouseRelease(viewport(), Qt::MiddleButton, {}, {200, 200});
    notches(middle(), 1);
    QCOMPARE(QApplication::focusWidget(), view());
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("38"));
    QTest::mouseDClick(viewport(), Qt::MiddleButton, {}, {200, 200});
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QCOMPARE(scanned.size(), 1);
    QCOMPARE(scanned.first().first().toString(), QStringLiteral("400638"));
}

/// Pens and captions, too.
void TestViewMover::paintedAsAfterZoomIn() {
    placeCrossHair({300, 200});
    placeCrossHair({700, 200});
    window->action("actionDate_Time")->trigger();
    QTest::mouseClick(viewport(), Qt::LeftButton, {}, placeOf(QPointF(400, 100)).toPoint());
    scene()->setDateTimeFormat(QStringLiteral("yyyy"));  // stands still
    const QImage fitted = viewport()->grab().toImage();
    for (int i = 0; i < 8; ++i)
        notches(placeOf({500, 150}), 1);
    const QPoint place = scrolled();
    const double zoom = scale();
    const QImage byWheel = viewport()->grab().toImage();
    QVERIFY(byWheel != fitted);
    QCOMPARE(scene()->viewZoom, 1.0);
    window->action("actionZoom_Fit")->trigger();
    for (int i = 0; i < 8; ++i)
        window->action("actionZoom_In")->trigger();
    QVERIFY(qFuzzyCompare(scale(), zoom));
    setScrolled(place);
    QCOMPARE(viewport()->grab().toImage(), byWheel);
}

QTEST_MAIN(TestViewMover)
#include "tst_viewmover.moc"
