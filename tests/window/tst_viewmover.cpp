// SPDX-License-Identifier: Apache-2.0
#include <QScrollBar>
#include <QWheelEvent>
#include <cmath>

#include "live/tilelayout.h"
#include "marks/interactivescene.h"
#include "support/viewmoving.h"

/// Moving around the view by the wheel and by two fingers: two tiles of 640 x 480 px side by side.
class TestViewMover : public QObject, private ViewMoving {
    Q_OBJECT

private slots:
    void init() { setUp(); }
    void cleanup() { tearDown(); }

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

    void settingsStayAsTheyAre();
    void frozenAndPaused_data();
    void frozenAndPaused();
    void keyboardStaysTheBarcodeReaders();
    void paintedAsAfterZoomIn();
};

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
