// SPDX-License-Identifier: Apache-2.0
#include <QCursor>
#include <QMenu>
#include <QScreen>
#include <functional>

#include "support/mainwindowtest.h"
#include "support/ondesktop.h"
#include "support/recordingcamera.h"

/// The window on a real screen with a window manager: how large it is, the keys for full screen, the context
/// menu.
class TestScreen : public QObject {
    Q_OBJECT

private slots:
    void init() { recording::reset(2); }
    void fillsTheScreenAtStart();
    void fullScreenByKeys();
    void draggedTileIsRearranged();
    void contextMenuAtTheCursor();
    void fullScreenFromTheContextMenu();
    void exitActionEndsIt();

private:
    static void startOnScreen(WindowUnderTest& window);
    static void whileTheMenuIsUp(const std::function<void(QMenu*)>& look, const QStringList& keys);
    static bool press(const QStringList& xdotool);
};

void TestScreen::startOnScreen(WindowUnderTest& window) {
    window.start();
    QVERIFY(QTest::qWaitForWindowActive(window.get(), kWait));
    QVERIFY(window.waitForTiles(2));
}

/// Runs xdotool while the windows of this process go on.
bool TestScreen::press(const QStringList& xdotool) {
    QProcess process;
    process.start(QStringLiteral("xdotool"), xdotool);
    return QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, kWait) &&
           process.exitCode() == 0;
}

void TestScreen::fillsTheScreenAtStart() {
    WindowUnderTest window;
    startOnScreen(window);
    const QSize screen = QGuiApplication::primaryScreen()->size();
    QTRY_COMPARE_WITH_TIMEOUT(window->width(), screen.width(), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(window->frameGeometry().height() > screen.height() - 50, kWait);
    QTRY_VERIFY_WITH_TIMEOUT(window->isMaximized(), kWait);
}

void TestScreen::fullScreenByKeys() {
    WindowUnderTest window;
    startOnScreen(window);
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    auto* bar = window->findChild<QWidget*>(QStringLiteral("menuBar"));
    QVERIFY(press({QStringLiteral("key"), QStringLiteral("F4")}));
    QTRY_VERIFY_WITH_TIMEOUT(window->isFullScreen(), kWait);
    QTRY_COMPARE_WITH_TIMEOUT(window->geometry(), screen, kWait);
    QTRY_COMPARE_WITH_TIMEOUT(window.view()->size(), screen.size(), kWait);
    QVERIFY(bar->isHidden());
    QTRY_VERIFY_WITH_TIMEOUT(window.isFitted(), kWait);
    // The keys still work although the bars that hold the actions are hidden.
    QVERIFY(press({QStringLiteral("key"), QStringLiteral("Escape")}));
    QTRY_VERIFY_WITH_TIMEOUT(!window->isFullScreen(), kWait);
    QVERIFY(!bar->isHidden());
    // The window manager gives the normal size some time later; the view follows it.
    QTRY_VERIFY_WITH_TIMEOUT(window->height() < screen.height() - 100, kWait);
    QTRY_VERIFY_WITH_TIMEOUT(window.isFitted(), kWait);
    QVERIFY(press({QStringLiteral("key"), QStringLiteral("F4")}));
    QTRY_VERIFY_WITH_TIMEOUT(window->isFullScreen(), kWait);
    QTRY_COMPARE_WITH_TIMEOUT(window.view()->size(), screen.size(), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(window.isFitted(), kWait);
}

void TestScreen::draggedTileIsRearranged() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("Pos/X1"), 64);
    WorkingFolder::setKey(QStringLiteral("Pos/Y1"), 0);
    startOnScreen(window);
    QTRY_VERIFY_WITH_TIMEOUT(window.isFitted(), kWait);
    auto* right = window.tiles()[1];
    // Tile 1 is dragged to the left of tile 0 by the mouse.
    const auto onScreen = [&](QPointF scenePoint) {
        const QPoint point = window.view()->viewport()->mapToGlobal(window.view()->mapFromScene(scenePoint));
        return QStringList{QString::number(point.x()), QString::number(point.y())};
    };
    const QStringList from = onScreen({96, 24});
    const QStringList to = onScreen({26, 26});
    const QString half = QString::number((from[0].toInt() + to[0].toInt()) / 2);
    QVERIFY(
        press({QStringLiteral("mousemove"), from[0], from[1], QStringLiteral("mousedown"),
               QStringLiteral("1"), QStringLiteral("mousemove"), half, from[1], QStringLiteral("mousemove"),
               to[0], to[1], QStringLiteral("mouseup"), QStringLiteral("1")}));
    QTRY_VERIFY_WITH_TIMEOUT(right->x() < 0, kWait);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Pos/X1")),
             QStringLiteral("64"));  // dragging stores nothing
    window.action("actionRearrange")->trigger();
    QCOMPARE(right->pos(), QPointF(0, 0));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Camera/Cam0")), QStringLiteral("SN1"));
}

/// The menu runs an event loop of its own: what happens while it is up happens in here.
void TestScreen::whileTheMenuIsUp(const std::function<void(QMenu*)>& look, const QStringList& keys) {
    QTimer watch;
    bool seen = false;
    watch.callOnTimeout([&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (!menu || seen)
            return;
        seen = true;
        look(menu);
        QVERIFY(
            QProcess::startDetached(QStringLiteral("xdotool"), QStringList{QStringLiteral("key")} + keys));
    });
    watch.start(20);
    QVERIFY(press({QStringLiteral("mousemove"), QStringLiteral("700"), QStringLiteral("500"),
                   QStringLiteral("click"), QStringLiteral("3")}));
    QTRY_VERIFY_WITH_TIMEOUT(seen && !QApplication::activePopupWidget(), kWait);
}

void TestScreen::contextMenuAtTheCursor() {
    WindowUnderTest window;
    startOnScreen(window);
    QPointer<QMenu> guard;
    whileTheMenuIsUp(
        [&](QMenu* menu) {
            guard = menu;
            QCOMPARE(menu->actions(), (QList<QAction*>{window.action("actionFull_screen"),
                                                       window.action("actionExit_full_screen")}));
            QVERIFY((menu->pos() - QPoint(700, 500)).manhattanLength() < 10);
        },
        {QStringLiteral("Escape")});
    QTRY_VERIFY_WITH_TIMEOUT(guard.isNull(), kWait);  // deleted afterwards
}

void TestScreen::fullScreenFromTheContextMenu() {
    WindowUnderTest window;
    startOnScreen(window);
    whileTheMenuIsUp([](QMenu*) {}, {QStringLiteral("Down"), QStringLiteral("Return")});
    QTRY_VERIFY_WITH_TIMEOUT(window->isFullScreen(), kWait);
}

void TestScreen::exitActionEndsIt() {
    WindowUnderTest window;
    startOnScreen(window);
    window.action("actionExit")->trigger();
    QVERIFY(!window->isVisible());
    for (auto* thread : window->findChildren<CaptureThread*>())
        QVERIFY(thread->isFinished());
}

TEST_ON_DESKTOP_MAIN(TestScreen)
#include "tst_screen.moc"
