// SPDX-License-Identifier: Apache-2.0
#include <QLineEdit>
#include <QScreen>
#include <QToolBar>
#include <cmath>

#include "calibration/calibratedialog.h"
#include "calibration/calibrationfile.h"
#include "camera/kvcap2.h"
#include "support/mainwindowtest.h"
#include "support/ondesktop.h"
#include "support/simulatedstation.h"

/// What an operator does at a new station, by mouse and keyboard in the real window, with two simulated
/// cameras: marks four corners in each picture, calibrates, rearranges, and has one picture; also after a
/// restart.
class TestOperator : public QObject, private SimulatedStation {
    Q_OBJECT

private slots:
    void initTestCase();
    void marksCalibratesAndRearranges();

private:
    static bool xdo(const QString& command);
    static QString at(const QWidget* widget, QPoint place);
    static bool click(const QWidget* widget, QPoint place);
    static bool pressButton(const WindowUnderTest& window, const char* action);
};

void TestOperator::initTestCase() {
    attachCameras("Modes=640x480\nRate=20\n");
}

bool TestOperator::xdo(const QString& command) {
    return runBeside(QStringLiteral("xdotool"), command.split(QLatin1Char(' ')));
}

QString TestOperator::at(const QWidget* widget, QPoint place) {
    const QPoint global = widget->mapToGlobal(place);
    return QStringLiteral("mousemove %1 %2").arg(global.x()).arg(global.y());
}

/// The window manager may move a window after it gave it the keyboard, and tells so later still: the mouse
/// goes to where the widget is thought to be until it is over it.
bool TestOperator::click(const QWidget* widget, QPoint place) {
    const auto isThere = [&] {
        return xdo(at(widget, place)) && QTest::qWaitFor([&] { return widget->underMouse(); }, 300);
    };
    return QTest::qWaitFor(isThere, kWait) && xdo(QStringLiteral("click 1"));
}

bool TestOperator::pressButton(const WindowUnderTest& window, const char* action) {
    auto* toolBar = window->findChild<QToolBar*>(QStringLiteral("toolBar"));
    const QWidget* button = toolBar->widgetForAction(window.action(action));
    // Nothing else is done before it is triggered: while the window manager has the press, what comes after
    // it piles up there.
    QSignalSpy triggered(window.action(action), &QAction::triggered);
    return button && button->isVisible() &&
           xdo(at(button, button->rect().center()) + QStringLiteral(" click 1")) &&
           QTest::qWaitFor([&] { return !triggered.isEmpty(); }, kWait);
}

void TestOperator::marksCalibratesAndRearranges() {
    WindowUnderTest window;
    QVERIFY(
        WorkingFolder::write(QStringLiteral("setting.ini"),
                             "[File]\nLang=1\nXCount=1,1\nYCount=1,1\n[Pos]\nX0=0\nY0=0\nX1=640\nY1=0\n"));
    window.start();
    QVERIFY(QTest::qWaitForWindowActive(window.get(), kWait));
    QVERIFY(window.waitForTiles(2));
    QTRY_COMPARE_WITH_TIMEOUT(window.view()->scene()->sceneRect().width(), 1280.0, kWait);
    QTRY_COMPARE_WITH_TIMEOUT(window->width(), window->screen()->size().width(), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(window.isFitted(), kWait);

    for (int camera = 0; camera < 2; ++camera) {
        for (const int index : {2, 1, 0, 3}) {
            QVERIFY(pressButton(window, "actionTilt"));
            const QPoint place =
                window.view()->mapFromScene(corner(camera, index) + QPointF(640.0 * camera, 0.0));
            const QString before = window.leftText();
            QVERIFY(xdo(at(window.view()->viewport(), place)));
            QVERIFY(xdo(QStringLiteral("click 1")));
            QTRY_VERIFY_WITH_TIMEOUT(window.leftText() != before, kWait);
        }
        QVERIFY(window.leftText().startsWith(QStringLiteral("#%1: ").arg(camera)));
        QVERIFY(window.leftText().endsWith(QStringLiteral("Total:4")));
    }

    // The counts, typed over what the dialog proposes; Tab goes along a row and Return accepts.
    QTimer watch;
    bool answered = false;
    watch.callOnTimeout([&] {
        auto* dialog = qobject_cast<CalibrateDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isActiveWindow() || answered)
            return;
        answered = true;
        // The first field has the focus and its text is selected.
        const auto* secondX = dialog->findChild<QLineEdit*>(QStringLiteral("leXCount1"));
        const auto* firstY = dialog->findChild<QLineEdit*>(QStringLiteral("leYCount"));
        const bool typed = xdo(QStringLiteral("key 1 0 Tab 1 0")) &&
                           QTest::qWaitFor([&] { return secondX->text() == QLatin1String("10"); }, kWait) &&
                           click(firstY, {5, 5}) &&
                           QTest::qWaitFor([&] { return firstY->hasFocus(); }, kWait) &&
                           xdo(QStringLiteral("key ctrl+a 5 Tab 5 Return"));
        if (!typed)
            dialog->reject();
    });
    watch.start(50);
    QVERIFY(pressButton(window, "actionExecute"));
    QTRY_VERIFY_WITH_TIMEOUT(window.action("actionEnable")->isChecked(), 2 * kWait);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/XCount")), QStringLiteral("\"10,10\""));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/YCount")), QStringLiteral("\"5,5\""));
    QVERIFY(window.answerer.boxes.isEmpty());
    for (int camera = 0; camera < 2; ++camera) {
        const auto calibration = readCalibration(calibrationFileName(camera));
        QVERIFY(calibration);
        for (int index = 0; index < 4; ++index) {
            // As well as a hand can mark on this screen: within two px of the frame.
            const QPointF marked(double(calibration->cornerSrc.at<float>(index, 0)),
                                 double(calibration->cornerSrc.at<float>(index, 1)));
            QVERIFY(QLineF(marked, corner(camera, index)).length() < 2.0);
        }
    }

    const auto tiles = window.tiles();
    QTRY_VERIFY_WITH_TIMEOUT(tiles[0]->pixmap().width() < 640 && tiles[1]->pixmap().width() < 640, kWait);
    QVERIFY(pressButton(window, "actionRearrange"));
    QTRY_COMPARE_WITH_TIMEOUT(tiles[1]->pos(), QPointF(tiles[0]->pixmap().width(), 0), kWait);
    QCOMPARE(tiles[0]->pixmap().height(), tiles[1]->pixmap().height());

    // The same picture after a restart, without a click.
    const QSize size = tiles[1]->pixmap().size();
    const QPointF place = tiles[1]->pos();
    window.end();
    window.start();
    QVERIFY(window.waitForTiles(2));
    QCOMPARE(window.tiles()[1]->pixmap().size(), size);
    QCOMPARE(window.tiles()[1]->pos(), place);
}

TEST_ON_DESKTOP_MAIN(TestOperator)
#include "tst_operator.moc"
