// SPDX-License-Identifier: Apache-2.0
#include <QMenuBar>
#include <QClipboard>
#include <QMenu>
#include <QToolBar>
#include <QToolButton>

#include "marks/interactivescene.h"
#include "support/mainwindowtest.h"
#include "support/measurewindow.h"

namespace {

QStringList textsOf(const QList<QAction*>& actions) {
    QStringList texts;
    for (const QAction* action : actions) {
        if (!action->isSeparator())
            texts.append(action->text());
    }
    return texts;
}

const QString kKey = QStringLiteral("View/Measure");

}  // namespace

/// The tool bar of measuring in the main window: when it is there, what it says, what its buttons do.
class TestMeasureBar : public QObject, private MeasureWindow {
    Q_OBJECT

private slots:
    void init() { setUp(); }
    void hiddenAtFirst();
    void inTheMenuOfToolBars_data();
    void inTheMenuOfToolBars();
    void rememberedOverARestart();
    void shownByTheKey_data();
    void shownByTheKey();
    void fullScreenHidesIt();
    void fullScreenLeavesItHidden();
    void onlyPeopleWriteTheKey();
    void buttons_data();
    void buttons();
    void iconsAreThere();
    void belowTheFirstBar_data();
    void belowTheFirstBar();
    void oneToolAtATime();
    void drawnDeletedUndone();
    void keysOnlyWhileShown();
    void keysInFullScreen();
    void hiddenBarDrawsNothing();
    void fittedViewStaysFitted();
    void zoomedViewStays();
};

void TestMeasureBar::hiddenAtFirst() {
    WindowUnderTest window;
    start(window);
    QVERIFY(barOf(window));
    QVERIFY(barOf(window)->isHidden());
    // The view begins where the first bar ends, as if there were no other.
    const auto* first = window->findChild<QToolBar*>(QStringLiteral("toolBar"));
    QCOMPARE(window->findChild<QToolBar*>(), first);
    QCOMPARE(window->centralWidget()->y(), first->geometry().bottom() + 1);
    window.end();
    QVERIFY(WorkingFolder::keyOnDisk(kKey).isNull());
}

void TestMeasureBar::inTheMenuOfToolBars_data() {
    QTest::addColumn<int>("language");
    QTest::addColumn<QStringList>("entries");
    QTest::newRow("English") << 1 << QStringList{QStringLiteral("toolBar"), QStringLiteral("Measure")};
    QTest::newRow("Chinese") << 2 << QStringList{QString::fromUtf8("工具栏"), QString::fromUtf8("测量")};
}

void TestMeasureBar::inTheMenuOfToolBars() {
    QFETCH(int, language);
    QFETCH(QStringList, entries);
    WindowUnderTest window;
    start(window, {}, language);
    const auto menu = menuOf(window);
    QVERIFY(menu);
    QCOMPARE(textsOf(menu->actions()), entries);
    QVERIFY(menu->actions().first()->isChecked());
    QVERIFY(!menu->actions().last()->isChecked());
    window.action("actionEnglish_Chinese")->trigger();
    window.action("actionEnglish_Chinese")->trigger();
    QCOMPARE(textsOf(menuOf(window)->actions()), entries);
    // No entry of the window's own menus.
    for (const QMenu* own : window->menuBar()->findChildren<QMenu*>())
        QVERIFY(!own->actions().contains(barOf(window)->toggleViewAction()));
}

void TestMeasureBar::rememberedOverARestart() {
    WindowUnderTest window;
    start(window);
    show(window);
    QCOMPARE(WorkingFolder::keyOnDisk(kKey), QStringLiteral("1"));
    window.end();
    QCOMPARE(WorkingFolder::keyOnDisk(kKey), QStringLiteral("1"));
    window.start();
    QTRY_VERIFY(window->isMaximized());
    QVERIFY(barOf(window)->isVisible());
    menuOf(window)->actions().last()->trigger();
    QVERIFY(barOf(window)->isHidden());
    QCOMPARE(WorkingFolder::keyOnDisk(kKey), QStringLiteral("0"));
    window.end();
    window.start();
    QTRY_VERIFY(window->isMaximized());
    QVERIFY(barOf(window)->isHidden());
}

void TestMeasureBar::shownByTheKey_data() {
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("isShown");
    QTest::newRow("0") << QByteArray("0") << false;
    QTest::newRow("1") << QByteArray("1") << true;
    QTest::newRow("-7") << QByteArray("-7") << true;
    QTest::newRow("no number") << QByteArray("yes") << false;
    QTest::newRow("nothing") << QByteArray("") << false;
}

void TestMeasureBar::shownByTheKey() {
    QFETCH(QByteArray, value);
    QFETCH(bool, isShown);
    WindowUnderTest window;
    start(window, "[View]\nMeasure=" + value + "\n");
    QCOMPARE(barOf(window)->isVisible(), isShown);
    window.end();
    QCOMPARE(WorkingFolder::keyOnDisk(kKey).toLatin1(), value);
}

void TestMeasureBar::fullScreenHidesIt() {
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n");
    window.action("actionFull_screen")->trigger();
    QVERIFY(barOf(window)->isHidden());
    window.action("actionExit_full_screen")->trigger();
    QVERIFY(barOf(window)->isVisible());
    // Without full screen nothing changes.
    window.action("actionExit_full_screen")->trigger();
    QVERIFY(barOf(window)->isVisible());
}

void TestMeasureBar::fullScreenLeavesItHidden() {
    WindowUnderTest window;
    start(window);
    window.action("actionFull_screen")->trigger();
    window.action("actionExit_full_screen")->trigger();
    QVERIFY(barOf(window)->isHidden());
    QVERIFY(window->findChild<QToolBar*>(QStringLiteral("toolBar"))->isVisible());
    // Hidden by hand before, shown by hand before.
    show(window);
    menuOf(window)->actions().last()->trigger();
    window.action("actionFull_screen")->trigger();
    window.action("actionExit_full_screen")->trigger();
    QVERIFY(barOf(window)->isHidden());
    show(window);
    window.action("actionFull_screen")->trigger();
    QVERIFY(barOf(window)->isHidden());
    window.action("actionExit_full_screen")->trigger();
    QVERIFY(barOf(window)->isVisible());
}

void TestMeasureBar::onlyPeopleWriteTheKey() {
    WindowUnderTest window;
    start(window);
    window.action("actionFull_screen")->trigger();
    window.action("actionExit_full_screen")->trigger();
    window->showMinimized();
    window->showMaximized();
    window.action("actionEnglish_Chinese")->trigger();
    window.end();
    QVERIFY(WorkingFolder::keyOnDisk(kKey).isNull());
}

void TestMeasureBar::buttons_data() {
    QTest::addColumn<int>("language");
    QTest::addColumn<QStringList>("texts");
    QTest::newRow("English") << 1
                             << QString::fromUtf8(
                                    "Line|Circle|Arc|Rectangle|Ellipse|Polygon|Horizontal line|Vertical "
                                    "line|Select|Delete|Undo|Redo|Copy measures|Scale…")
                                    .split(QLatin1Char('|'));
    QTest::newRow("Chinese") << 2
                             << QString::fromUtf8(
                                    "直线|圆|角度|矩形|椭圆|多边形|水平线|垂直线|选择|删除|撤销|"
                                    "重做|复制测量值|比例尺…")
                                    .split(QLatin1Char('|'));
}

void TestMeasureBar::buttons() {
    QFETCH(int, language);
    QFETCH(QStringList, texts);
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n", language);
    QCOMPARE(textsOf(barOf(window)->actions()), texts);
    QStringList names;
    for (const QAction* action : barOf(window)->actions()) {
        if (action->isSeparator())
            continue;
        names.append(action->objectName());
        QVERIFY2(action->toolTip().startsWith(action->text()), qPrintable(action->toolTip()));
        const bool isDrawn = action->isCheckable() && action->objectName() != QLatin1String("measureSelect");
        QCOMPARE(action->toolTip().contains(QLatin1String("Ctrl")), isDrawn || !action->shortcut().isEmpty());
    }
    QCOMPARE(names.join(QLatin1Char(' ')),
             QStringLiteral("measureLine measureCircle measureArc measureRectangle measureEllipse "
                            "measurePolygon measureHLine measureVLine measureSelect measureDelete "
                            "measureUndo measureRedo measureCopy measureScale"));
    QVERIFY(window.action("measureUndo")->toolTip().contains(QLatin1String("Ctrl+Z")));
}

void TestMeasureBar::iconsAreThere() {
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n");
    QVector<QImage> seen;
    for (const QAction* action : barOf(window)->actions()) {
        if (action->isSeparator())
            continue;
        const QImage icon = action->icon().pixmap(24).toImage();
        QCOMPARE(icon.size(), QSize(24, 24));
        QVERIFY2(!seen.contains(icon), qPrintable(action->objectName()));
        seen.append(icon);
    }
    QCOMPARE(seen.size(), 14);
}

void TestMeasureBar::belowTheFirstBar_data() {
    QTest::addColumn<int>("language");
    QTest::newRow("English") << 1;
    QTest::newRow("Chinese") << 2;
}

void TestMeasureBar::belowTheFirstBar() {
    QFETCH(int, language);
    WindowUnderTest window;
    start(window, {}, language);
    window->showNormal();
    window->resize(1440, 900);
    QTRY_COMPARE(window->width(), 1440);
    QCoreApplication::processEvents();
    const QSize smallest = window->minimumSizeHint();
    const auto* first = window->findChild<QToolBar*>(QStringLiteral("toolBar"));
    // Where the buttons of a bar are; how many of the first one have room is a matter of the font.
    const auto places = [](const QToolBar* bar) {
        QVector<QRect> found;
        for (QAction* action : bar->actions()) {
            const QWidget* button = bar->widgetForAction(action);
            found.append(button->isVisible() ? button->geometry() : QRect());
        }
        return found;
    };
    const QVector<QRect> before = places(first);
    show(window);
    QTRY_VERIFY(barOf(window)->y() > first->geometry().bottom());
    QCOMPARE(places(first), before);
    for (const QRect& place : places(barOf(window)))
        QVERIFY(!place.isEmpty() && barOf(window)->rect().contains(place));
    // On a small screen what has no room is behind an arrow, and the window is no wider for it.
    QCOMPARE(window->minimumSizeHint().width(), smallest.width());
    window->resize(640, 480);
    QCoreApplication::processEvents();
    const auto* more = barOf(window)->findChild<QToolButton*>(QStringLiteral("qt_toolbar_ext_button"));
    QTRY_VERIFY(more && more->isVisible());
}

void TestMeasureBar::oneToolAtATime() {
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n");
    QVERIFY(window.action("measureSelect")->isChecked());
    for (const char* name : {"measureLine", "measureVLine", "measureSelect", "measurePolygon"}) {
        window.action(name)->trigger();
        QStringList checked;
        for (const QAction* action : barOf(window)->actions()) {
            if (action->isChecked())
                checked.append(action->objectName());
        }
        QCOMPARE(checked, QStringList(QLatin1String(name)));
    }
}

void TestMeasureBar::drawnDeletedUndone() {
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n");
    InteractiveScene* scene = sceneOf(window);
    for (const char* name : {"measureDelete", "measureUndo", "measureRedo"})
        QVERIFY(!window.action(name)->isEnabled());
    window.action("measureLine")->trigger();
    click(window, {{20, 30}, {120, 30}});
    QCOMPARE(scene->markCount(), 1);
    // The tool stays.
    QVERIFY(window.action("measureLine")->isChecked());
    click(window, {{20, 60}, {220, 60}});
    QCOMPARE(scene->markCount(), 2);
    QVERIFY(window.action("measureUndo")->isEnabled());
    QVERIFY(!window.action("measureRedo")->isEnabled());
    window.action("measureUndo")->trigger();
    QCOMPARE(scene->markCount(), 1);
    QVERIFY(window.action("measureRedo")->isEnabled());
    window.action("measureRedo")->trigger();
    QCOMPARE(scene->markCount(), 2);
    window.action("measureSelect")->trigger();
    click(window, {{70, 30}});
    QVERIFY(window.action("measureDelete")->isEnabled());
    window.action("measureDelete")->trigger();
    QCOMPARE(scene->markCount(), 1);
    QVERIFY(!window.action("measureDelete")->isEnabled());
    window.action("measureUndo")->trigger();
    QCOMPARE(scene->markCount(), 2);
    // By other hands: what could be undone is gone too.
    window.action("actionClear")->trigger();
    QCOMPARE(scene->markCount(), 0);
    for (const char* name : {"measureDelete", "measureUndo", "measureRedo"})
        QVERIFY(!window.action(name)->isEnabled());
}

void TestMeasureBar::keysOnlyWhileShown() {
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n");
    QApplication::setActiveWindow(window.get());
    window.action("measureLine")->trigger();
    click(window, {{20, 30}, {120, 30}});
    InteractiveScene* scene = sceneOf(window);
    QTest::keyClick(window.view(), Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(scene->markCount(), 0);
    QTest::keyClick(window.view(), Qt::Key_Y, Qt::ControlModifier);
    QCOMPARE(scene->markCount(), 1);
    QTest::keyClick(window.view(), Qt::Key_Z, Qt::ControlModifier);
    QTest::keyClick(window.view(), Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    QCOMPARE(scene->markCount(), 1);
    QApplication::clipboard()->clear();
    QTest::keyClick(window.view(), Qt::Key_C, Qt::ControlModifier);
    QVERIFY(!QApplication::clipboard()->text().isEmpty());

    menuOf(window)->actions().last()->trigger();
    QApplication::clipboard()->clear();
    QTest::keyClick(window.view(), Qt::Key_Z, Qt::ControlModifier);
    QTest::keyClick(window.view(), Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(scene->markCount(), 1);
    QVERIFY(QApplication::clipboard()->text().isEmpty());
}

void TestMeasureBar::keysInFullScreen() {
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n");
    window.action("measureLine")->trigger();
    window.action("actionFull_screen")->trigger();
    QApplication::setActiveWindow(window.get());
    click(window, {{20, 30}, {120, 30}});
    QCOMPARE(sceneOf(window)->markCount(), 1);
    QTest::keyClick(window.view(), Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(sceneOf(window)->markCount(), 0);
    QTest::keyClick(window.view(), Qt::Key_Escape);
    QVERIFY(!window->isFullScreen());
    QVERIFY(window.action("measureLine")->isChecked());
}

void TestMeasureBar::hiddenBarDrawsNothing() {
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n");
    window.action("measureLine")->trigger();
    menuOf(window)->actions().last()->trigger();
    click(window, {{20, 30}, {120, 30}});
    QCOMPARE(sceneOf(window)->markCount(), 0);
    QCOMPARE(sceneOf(window)->figureZoom, 1.0);
    // Shown again it goes on with the tool that is checked.
    show(window);
    click(window, {{20, 30}, {120, 30}});
    QCOMPARE(sceneOf(window)->markCount(), window.action("measureLine")->isChecked() ? 1 : 0);
}

void TestMeasureBar::fittedViewStaysFitted() {
    WindowUnderTest window;
    start(window);
    low(window);
    const double before = window.view()->transform().m11();
    const int height = window.view()->height();
    show(window);
    QTRY_VERIFY(window.view()->height() < height);
    QTRY_VERIFY(window.isFitted());
    QVERIFY(window.view()->transform().m11() < before);
    menuOf(window)->actions().last()->trigger();
    QTRY_COMPARE(window.view()->height(), height);
    QTRY_COMPARE(window.view()->transform().m11(), before);
}

void TestMeasureBar::zoomedViewStays() {
    WindowUnderTest window;
    start(window);
    low(window);
    window.action("actionZoom_In")->trigger();
    const QTransform before = window.view()->transform();
    const int height = window.view()->height();
    show(window);
    QTRY_VERIFY(window.view()->height() < height);
    QTest::qWait(0);
    QCOMPARE(window.view()->transform(), before);
    menuOf(window)->actions().last()->trigger();
    QTRY_COMPARE(window.view()->height(), height);
    QTest::qWait(0);
    QCOMPARE(window.view()->transform(), before);
}

QTEST_MAIN(TestMeasureBar)
#include "tst_measurebar.moc"
