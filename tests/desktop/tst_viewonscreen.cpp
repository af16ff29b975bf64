// SPDX-License-Identifier: Apache-2.0
#include <QScreen>
#include <QScrollBar>
#include <QTimer>
#include <QWheelEvent>
#include <cmath>
#include <optional>

#include "live/livetiles.h"
#include "marks/coordinatesmark.h"
#include "support/mainwindowtest.h"
#include "support/ondesktop.h"
#include "support/recordingcamera.h"

/// Wheel and middle button of a real mouse in the real window.
class TestViewOnScreen : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup() {
        xdo(QStringLiteral("mouseup 2 mouseup 3"));  // of a test that failed
        window.reset();
    }
    void wheelZoomsAtTheCursor_data();
    void wheelZoomsAtTheCursor();
    void wheelWithKeys();
    void wheelOverTheScrollBar();
    void middleButtonDrags_data();
    void middleButtonDrags();
    void dragEndsOutsideTheWindow();
    void rightClickDuringADrag();
    void doubleClickFits();
    void whileACrossHairIsBeingPlaced();
    void readerTypesMeanwhile();

private:
    QGraphicsView* view() const { return window->view(); }
    QPointF scenePoint(QPointF place) const { return view()->viewportTransform().inverted().map(place); }
    QPointF placeOf(QPointF point) const { return view()->viewportTransform().map(point); }
    double scale() const { return view()->transform().m11(); }
    QPoint scrolled() const {
        return {view()->horizontalScrollBar()->value(), view()->verticalScrollBar()->value()};
    }
    bool mouse(QPoint place, const QString& then = {}) const;
    static bool xdo(const QString& command) {
        return runBeside(QStringLiteral("xdotool"), command.split(QLatin1Char(' ')));
    }
    void enter(const QByteArray& state) const;
    void zoomIn() const;

    std::optional<WindowUnderTest> window;
};

void TestViewOnScreen::init() {
    QVector<recording::Camera> cameras(2);
    for (auto& camera : cameras) {
        camera.width = 640;
        camera.height = 480;
    }
    recording::reset(cameras);
    window.emplace();
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[File]\nLang=1\nType=2\n[Pos]\nX0=0\nY0=0\nX1=640\nY1=0\n"));
    window->start();
    QVERIFY(QTest::qWaitForWindowActive(window->get(), kWait));
    QVERIFY(window->waitForTiles(2));
    QTRY_COMPARE_WITH_TIMEOUT(view()->scene()->sceneRect().width(), 1280.0, kWait);
    QTRY_COMPARE_WITH_TIMEOUT((*window)->width(), (*window)->screen()->size().width(), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(window->isFitted(), kWait);
}

/// Moves the mouse to a place of the viewport, px, and does the rest of an xdotool command line there.
bool TestViewOnScreen::mouse(QPoint place, const QString& then) const {
    const QPoint global = view()->viewport()->mapToGlobal(place);
    const QString command = QStringLiteral("mousemove %1 %2").arg(global.x()).arg(global.y());
    return xdo(then.isEmpty() ? command : command + QLatin1Char(' ') + then);
}

void TestViewOnScreen::enter(const QByteArray& state) const {
    if (state == "full screen") {
        QVERIFY(xdo(QStringLiteral("key F4")));
        // The window manager resizes it some time later, perhaps in steps, and each time it is fitted.
        QTRY_COMPARE_WITH_TIMEOUT((*window)->geometry(), (*window)->screen()->geometry(), kWait);
        QTRY_COMPARE_WITH_TIMEOUT(view()->size(), (*window)->screen()->size(), kWait);
        QCoreApplication::processEvents();
        QTRY_VERIFY_WITH_TIMEOUT(window->isFitted(), kWait);
    } else if (state == "frozen") {
        window->action("actionFreeze")->trigger();
    } else if (state == "paused") {
        window->action("action_Stop")->trigger();
    }
}

/// Higher and wider than the view, which is not fitted any more when the desktop gives it another size.
void TestViewOnScreen::zoomIn() const {
    disconnect((*window)->findChild<LiveTiles*>(), &LiveTiles::fitNeeded, nullptr, nullptr);
    view()->resetTransform();
    view()->scale(3.0, 3.0);
    QTRY_VERIFY_WITH_TIMEOUT(view()->verticalScrollBar()->isVisible(), kWait);
    view()->centerOn(640, 240);
}

void TestViewOnScreen::wheelZoomsAtTheCursor_data() {
    QTest::addColumn<QByteArray>("state");
    for (const char* state : {"as it starts", "full screen", "frozen", "paused"})
        QTest::newRow(state) << QByteArray(state);
}

void TestViewOnScreen::wheelZoomsAtTheCursor() {
    QFETCH(QByteArray, state);
    enter(state);
    const double fit = scale();
    const QPoint place = placeOf({1200, 60}).toPoint();
    QPointF point = scenePoint(place);
    QVERIFY(mouse(place, QStringLiteral("click --repeat 6 --delay 20 4")));
    QTRY_VERIFY_WITH_TIMEOUT(qAbs(scale() / fit - std::pow(1.1, 6)) < 1e-9, kWait);
    QVERIFY(qAbs(placeOf(point).x() - place.x()) <= 1.0);
    // Wide and high, it stays there exactly.
    zoomIn();
    point = scenePoint(place);
    QVERIFY(xdo(QStringLiteral("click --repeat 8 --delay 20 4")));
    QTRY_VERIFY_WITH_TIMEOUT(qAbs(scale() - 3.0 * std::pow(1.1, 8)) < 1e-9, kWait);
    QVERIFY(QLineF(placeOf(point), place).length() <= 1.0);
    QVERIFY(xdo(QStringLiteral("click --repeat 3 --delay 20 5")));
    QTRY_VERIFY_WITH_TIMEOUT(qAbs(scale() - 3.0 * std::pow(1.1, 5)) < 1e-9, kWait);
    QVERIFY(QLineF(placeOf(point), place).length() <= 1.0);
}

void TestViewOnScreen::wheelWithKeys() {
    zoomIn();
    const QPoint before = scrolled();
    QVERIFY(mouse({200, 200}, QStringLiteral("keydown shift click 5 keyup shift")));
    QTRY_VERIFY_WITH_TIMEOUT(scrolled().x() > before.x(), kWait);
    QCOMPARE(scrolled().y(), before.y());
    QVERIFY(xdo(QStringLiteral("click 6")));  // a wheel that tilts
    QTRY_COMPARE_WITH_TIMEOUT(scrolled(), before, kWait);
    QCOMPARE(scale(), 3.0);
    QVERIFY(xdo(QStringLiteral("keydown ctrl click 4 keyup ctrl")));
    QTRY_COMPARE_WITH_TIMEOUT(scale(), 3.0 * 1.1, kWait);
    // An X server gives px for an ordinary wheel, too: it zooms.
    QWheelEvent px(QPointF(200, 200), view()->viewport()->mapToGlobal(QPoint(200, 200)), {0, -15}, {0, -120},
                   Qt::NoButton, {}, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(view()->viewport(), &px);
    QVERIFY(qAbs(scale() - 3.0) < 1e-9);
}

void TestViewOnScreen::wheelOverTheScrollBar() {
    zoomIn();
    const QPoint before = scrolled();
    const QScrollBar* bar = view()->verticalScrollBar();
    const QPoint place = bar->mapToGlobal(QPoint(5, bar->height() / 3));
    QVERIFY(xdo(QStringLiteral("mousemove %1 %2 click 5").arg(place.x()).arg(place.y())));
    QTRY_VERIFY_WITH_TIMEOUT(scrolled().y() > before.y(), kWait);
    QCOMPARE(scale(), 3.0);
}

void TestViewOnScreen::middleButtonDrags_data() {
    wheelZoomsAtTheCursor_data();
}

void TestViewOnScreen::middleButtonDrags() {
    QFETCH(QByteArray, state);
    enter(state);
    zoomIn();
    const QPoint before = scrolled();
    QVERIFY(mouse({300, 300}, QStringLiteral("mousedown 2")));
    QTRY_COMPARE_WITH_TIMEOUT(view()->viewport()->cursor().shape(), Qt::ClosedHandCursor, kWait);
    QVERIFY(mouse({250, 320}));
    QTRY_COMPARE_WITH_TIMEOUT(scrolled(), before + QPoint(50, -20), kWait);
    QVERIFY(mouse({380, 270}, QStringLiteral("mouseup 2")));
    QTRY_COMPARE_WITH_TIMEOUT(scrolled(), before + QPoint(-80, 30), kWait);
    QTRY_COMPARE_WITH_TIMEOUT(view()->viewport()->cursor().shape(), Qt::ArrowCursor, kWait);
    QVERIFY(mouse({400, 400}));
    QVERIFY(mouse({401, 400}));
    QCOMPARE(scrolled(), before + QPoint(-80, 30));
    QCOMPARE(window->tiles()[0]->pos(), QPointF(0, 0));
    QCOMPARE(window->tiles()[1]->pos(), QPointF(640, 0));
}

void TestViewOnScreen::dragEndsOutsideTheWindow() {
    zoomIn();
    const QPoint before = scrolled();
    QVERIFY(mouse({200, 30}, QStringLiteral("mousedown 2")));
    // Over the tool bar, above the view.
    QVERIFY(mouse({220, -20}));
    QTRY_COMPARE_WITH_TIMEOUT(scrolled(), before + QPoint(-20, 50), kWait);
    QVERIFY(xdo(QStringLiteral("mouseup 2")));
    QTRY_COMPARE_WITH_TIMEOUT(view()->viewport()->cursor().shape(), Qt::ArrowCursor, kWait);
    QVERIFY(mouse({100, 100}));
    QVERIFY(mouse({101, 100}, QStringLiteral("click 4")));
    QTRY_COMPARE_WITH_TIMEOUT(scale(), 3.0 * 1.1, kWait);  // so the moves have come, too
    const QPointF point = scenePoint({101, 100});
    QVERIFY(xdo(QStringLiteral("click 4")));
    QTRY_VERIFY_WITH_TIMEOUT(scale() > 3.5, kWait);
    QVERIFY(QLineF(placeOf(point), {101, 100}).length() <= 1.0);
}

void TestViewOnScreen::rightClickDuringADrag() {
    zoomIn();
    // A menu that is up waits in an event loop of its own.
    int menus = 0;
    QTimer watch;
    watch.callOnTimeout([&menus] {
        if (QWidget* menu = QApplication::activePopupWidget()) {
            ++menus;
            menu->close();
        }
    });
    watch.start(10);
    const QPoint before = scrolled();
    QVERIFY(mouse({300, 300}, QStringLiteral("mousedown 2")));
    QVERIFY(mouse({310, 310}, QStringLiteral("click 3")));
    QVERIFY(mouse({350, 320}));
    QTRY_COMPARE_WITH_TIMEOUT(scrolled(), before - QPoint(50, 20), kWait);
    QCOMPARE(view()->viewport()->cursor().shape(), Qt::ClosedHandCursor);
    QVERIFY(mouse({360, 330}, QStringLiteral("mousedown 3 mouseup 2 mouseup 3")));
    QTRY_COMPARE_WITH_TIMEOUT(view()->viewport()->cursor().shape(), Qt::ArrowCursor, kWait);
    QVERIFY(xdo(QStringLiteral("click 4")));
    QTRY_COMPARE_WITH_TIMEOUT(scale(), 3.0 * 1.1, kWait);  // so the right button is up, too
    QCOMPARE(menus, 0);
    QVERIFY(xdo(QStringLiteral("click 3")));
    QTRY_COMPARE_WITH_TIMEOUT(menus, 1, kWait);
}

void TestViewOnScreen::doubleClickFits() {
    enter("full screen");
    zoomIn();
    const QString stored = WorkingFolder::keyOnDisk(QStringLiteral("File/Zoom"));
    WorkingFolder::setKey(QStringLiteral("File/Zoom"), 17);
    // Between two clicks that are meant to be one, a busy machine may lie idle for longer than a hand would.
    const int interval = QApplication::doubleClickInterval();
    QApplication::setDoubleClickInterval(kWait);
    const bool isClicked = mouse({300, 300}, QStringLiteral("click --repeat 2 --delay 60 2"));
    const bool isFitted = QTest::qWaitFor([this] { return window->isFitted(); }, kWait);
    QApplication::setDoubleClickInterval(interval);
    QVERIFY(isClicked && isFitted);
    QTRY_COMPARE_WITH_TIMEOUT(WorkingFolder::keyOnDisk(QStringLiteral("File/Zoom")), stored, kWait);
}

void TestViewOnScreen::whileACrossHairIsBeingPlaced() {
    zoomIn();
    QVERIFY(mouse({250, 200}));
    window->action("actionTilt")->trigger();
    QVERIFY(mouse({300, 220}));
    const auto mark = [this]() -> CoordinatesMark* {
        const auto items = view()->scene()->items();
        for (QGraphicsItem* item : items) {
            if (auto* found = dynamic_cast<CoordinatesMark*>(item))
                return found;
        }
        return nullptr;
    };
    QVERIFY(mark());
    QTRY_COMPARE_WITH_TIMEOUT(mark()->point(), scenePoint({300, 220}), kWait);
    const QPointF before = mark()->point();
    QVERIFY(xdo(QStringLiteral("click --repeat 5 --delay 20 4")));
    QTRY_VERIFY_WITH_TIMEOUT(scale() > 4.8, kWait);
    QCOMPARE(mark()->point(), scenePoint({300, 220}));
    QVERIFY(QLineF(mark()->point(), before).length() < 0.5);
    QVERIFY(!window->leftText().endsWith(QStringLiteral("Total:1")));
    // The middle button places it and moves nothing, however long it is held.
    const QTransform shown = view()->viewportTransform();
    QVERIFY(mouse({310, 220}, QStringLiteral("mousedown 2")));
    QTRY_VERIFY_WITH_TIMEOUT(window->leftText().endsWith(QStringLiteral("Total:1")), kWait);
    QVERIFY(mouse({370, 260}, QStringLiteral("mouseup 2")));
    const QPointF placed = scenePoint({310, 220});
    QVERIFY(mouse({380, 260}, QStringLiteral("click 5")));
    QTRY_VERIFY_WITH_TIMEOUT(view()->viewportTransform() != shown, kWait);
    QVERIFY(scale() < 4.8);  // it was the wheel
    QCOMPARE(mark()->point(), placed);
}

void TestViewOnScreen::readerTypesMeanwhile() {
    window->action("actionBarcode")->trigger();
    QVERIFY(mouse(placeOf({20, 200}).toPoint(), QStringLiteral("click 1")));
    QTRY_VERIFY_WITH_TIMEOUT(!WorkingFolder::keyOnDisk(QStringLiteral("File/BarcodeMark")).isEmpty(), kWait);
    zoomIn();
    QVERIFY(mouse({200, 200}, QStringLiteral("type --delay 1 400")));
    QVERIFY(xdo(QStringLiteral("click 4 mousedown 2")));
    QVERIFY(xdo(QStringLiteral("type --delay 1 638")));
    QVERIFY(mouse({220, 220}, QStringLiteral("mouseup 2 click --repeat 2 --delay 60 2")));
    QVERIFY(xdo(QStringLiteral("type --delay 1 13")));
    QVERIFY(xdo(QStringLiteral("key Return")));
    QTRY_COMPARE_WITH_TIMEOUT(window->leftText(), QStringLiteral("Saved image ./40063813.png"), kWait);
    QCOMPARE(QImage(QStringLiteral("40063813.png")).size(), QSize(1280, 480));
}

TEST_ON_DESKTOP_MAIN(TestViewOnScreen)
#include "tst_viewonscreen.moc"
