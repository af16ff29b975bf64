// SPDX-License-Identifier: Apache-2.0
#include <QScreen>

#include "marks/coordinatesmark.h"
#include "support/mainwindowtest.h"
#include "support/ondesktop.h"
#include "support/recordingcamera.h"

/// Cross-hairs and barcodes in the real window, by real mouse and keys.
class TestMarksOnScreen : public QObject {
    Q_OBJECT

private slots:
    void init();
    void crossHairIsPlacedDraggedNudgedAndDeleted();
    void pendingCrossHairFollowsTheMouse();
    void barcodeReaderTypes();

private:
    static void start(WindowUnderTest& window);
    static bool xdo(const QString& command);
    static QString at(const WindowUnderTest& window, QPointF scenePoint);
    static QList<CoordinatesMark*> crossHairs(const WindowUnderTest& window);
    static double distance(QPointF a, QPointF b) { return QLineF(a, b).length(); }
};

void TestMarksOnScreen::init() {
    QVector<recording::Camera> cameras(2);
    for (auto& camera : cameras) {
        camera.width = 640;
        camera.height = 480;
    }
    recording::reset(cameras);
}

void TestMarksOnScreen::start(WindowUnderTest& window) {
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[File]\nLang=1\nType=2\n[Pos]\nX0=0\nY0=0\nX1=640\nY1=0\n"));
    window.start();
    QVERIFY(QTest::qWaitForWindowActive(window.get(), kWait));
    QVERIFY(window.waitForTiles(2));
    QTRY_COMPARE_WITH_TIMEOUT(window.view()->scene()->sceneRect().width(), 1280.0, kWait);
    QTRY_COMPARE_WITH_TIMEOUT(window->width(), window->screen()->size().width(), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(window.isFitted(), kWait);
}

bool TestMarksOnScreen::xdo(const QString& command) {
    return runBeside(QStringLiteral("xdotool"), command.split(QLatin1Char(' ')));
}

QString TestMarksOnScreen::at(const WindowUnderTest& window, QPointF scenePoint) {
    const QPoint place = window.view()->viewport()->mapToGlobal(window.view()->mapFromScene(scenePoint));
    return QStringLiteral("mousemove %1 %2").arg(place.x()).arg(place.y());
}

QList<CoordinatesMark*> TestMarksOnScreen::crossHairs(const WindowUnderTest& window) {
    QList<CoordinatesMark*> found;
    const auto items = window.view()->scene()->items(Qt::AscendingOrder);
    for (QGraphicsItem* item : items) {
        if (auto* mark = dynamic_cast<CoordinatesMark*>(item))
            found.append(mark);
    }
    return found;
}

void TestMarksOnScreen::pendingCrossHairFollowsTheMouse() {
    WindowUnderTest window;
    start(window);
    QVERIFY(xdo(at(window, {100, 100})));
    window.action("actionTilt")->trigger();
    QVERIFY(xdo(at(window, {300, 200})));
    QTRY_VERIFY_WITH_TIMEOUT(distance(crossHairs(window).first()->point(), {300, 200}) < 2.0, kWait);
    QVERIFY(xdo(at(window, {900, 100})));
    QTRY_VERIFY_WITH_TIMEOUT(distance(crossHairs(window).first()->point(), {900, 100}) < 2.0, kWait);
    QVERIFY(xdo(QStringLiteral("click 1")));
    QTRY_VERIFY_WITH_TIMEOUT(window.leftText().startsWith(QStringLiteral("#1: ")), kWait);
}

void TestMarksOnScreen::crossHairIsPlacedDraggedNudgedAndDeleted() {
    WindowUnderTest window;
    start(window);
    window.action("actionTilt")->trigger();
    QVERIFY(xdo(at(window, {200, 200}) + QStringLiteral(" click 1")));
    QTRY_VERIFY_WITH_TIMEOUT(window.leftText().endsWith(QStringLiteral("Total:1")), kWait);
    const auto point = [&] { return crossHairs(window).first()->point(); };
    QVERIFY(distance(point(), {200, 200}) < 2.0);
    // Grabbed 60 px aside, dragged, let go.
    QVERIFY(xdo(at(window, {260, 200}) + QStringLiteral(" mousedown 1")));
    QVERIFY(xdo(at(window, {350, 300})));
    QVERIFY(xdo(at(window, {400, 300}) + QStringLiteral(" mouseup 1")));
    QTRY_VERIFY_WITH_TIMEOUT(distance(point(), {400, 300}) < 2.0, kWait);
    const QPointF dropped = point();
    QVERIFY(xdo(QStringLiteral("key Left Left Up d")));
    QTRY_COMPARE_WITH_TIMEOUT(point(), dropped + QPointF(-1, -1), kWait);
    // The pictures stay where they are.
    QCOMPARE(window.tiles()[0]->pos(), QPointF(0, 0));
    QVERIFY(xdo(at(window, {430, 300}) + QStringLiteral(" click 1")));
    QVERIFY(xdo(QStringLiteral("key Delete")));
    QTRY_VERIFY_WITH_TIMEOUT(crossHairs(window).isEmpty(), kWait);
}

/// A reader types a whole code within some milliseconds.
void TestMarksOnScreen::barcodeReaderTypes() {
    WindowUnderTest window;
    start(window);
    window.action("actionBarcode")->trigger();
    QVERIFY(xdo(at(window, {20, 200}) + QStringLiteral(" click 1")));
    QTRY_VERIFY_WITH_TIMEOUT(!WorkingFolder::keyOnDisk(QStringLiteral("File/BarcodeMark")).isEmpty(), kWait);
    for (const char* code : {"4006381333931", "ABC-12xyz"}) {
        QVERIFY(xdo(QStringLiteral("type --delay 1 ") + QLatin1String(code)));
        QVERIFY(xdo(QStringLiteral("key Return")));
        const QString file = QLatin1String(code) + QStringLiteral(".png");
        QTRY_COMPARE_WITH_TIMEOUT(window.leftText(), QStringLiteral("Saved image ./") + file, kWait);
        QCOMPARE(QImage(file).size(), QSize(1280, 480));
    }
}

TEST_ON_DESKTOP_MAIN(TestMarksOnScreen)
#include "tst_marksonscreen.moc"
