#include <QClipboard>
#include <QMenu>
#include <QMenuBar>
#include <QToolBar>
#include <QToolButton>

#include "marks/figuremark.h"
#include "marks/interactivescene.h"
#include "measure/loupe.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

namespace {

QToolBar* barOf(const WindowUnderTest& window) {
    return window->findChild<QToolBar*>(QStringLiteral("measureBar"));
}

InteractiveScene* sceneOf(const WindowUnderTest& window) {
    return qobject_cast<InteractiveScene*>(window.view()->scene());
}

/// The tool bars' own menu, as a right click on a bar opens it.
std::unique_ptr<QMenu> menuOf(const WindowUnderTest& window) {
    return std::unique_ptr<QMenu>(window->createPopupMenu());
}

QStringList textsOf(const QList<QAction*>& actions) {
    QStringList texts;
    for (const QAction* action : actions) {
        if (!action->isSeparator())
            texts.append(action->text());
    }
    return texts;
}

/// Clicks at scene points.
void click(const WindowUnderTest& window, const QVector<QPoint>& points) {
    for (const QPoint point : points) {
        const QPoint place = window.view()->mapFromScene(point);
        QTest::mouseMove(window.view()->viewport(), place);
        QTest::mouseClick(window.view()->viewport(), Qt::LeftButton, {}, place);
    }
}

int pixelsOf(const QImage& picture, QColor colour) {
    int count = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            count += picture.pixel(x, y) == colour.rgb() ? 1 : 0;
    }
    return count;
}

// The loupe's, where a point snaps to a corner.
const QColor kCorner(64, 224, 128);

const QString kKey = QStringLiteral("View/Measure");

}  // namespace

/// The tool bar of measuring in the main window: when it is there, what it says, what its buttons do.
class TestMeasureBar : public QObject {
    Q_OBJECT

private slots:
    void init();
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
    void copiedMeasures();
    void nothingToCopy();
    void toldInTheLanguage_data();
    void toldInTheLanguage();
    void refusedClicksAreTold();
    void fullPolygonIsTold_data();
    void fullPolygonIsTold();
    void loupeInChinese();
    void loupeShowsTheUpperTile_data();
    void loupeShowsTheUpperTile();
    void polygonIsClosedByARightClick();
    void fittedViewStaysFitted();
    void zoomedViewStays();

private:
    static void start(WindowUnderTest& window, const QByteArray& ini = {}, int language = 1);
    static void show(const WindowUnderTest& window);
    static void low(const WindowUnderTest& window);
};

void TestMeasureBar::init() {
    QVector<recording::Camera> cameras(2);
    for (auto& camera : cameras)
        camera.queryStatus = 5;  // the frames of the test are the only ones
    recording::reset(cameras);
}

/// Two tiles of 320 x 240 px.
void TestMeasureBar::start(WindowUnderTest& window, const QByteArray& ini, int language) {
    QVERIFY(WorkingFolder::write(
        QStringLiteral("setting.ini"),
        ini + "[File]\nLang=" + QByteArray::number(language) + "\n[Pos]\nX0=0\nY0=0\nX1=320\nY1=0\n"));
    QVERIFY(WorkingFolder::installTranslation());
    window.start();
    QTRY_VERIFY(window->isMaximized());
    window.sendFrame(0, 50, 0, {320, 240});
    window.sendFrame(1, 150, 0, {320, 240});
    window.answerer.boxes.clear();  // the hot key's: there is none on this platform
}

void TestMeasureBar::show(const WindowUnderTest& window) {
    menuOf(window)->actions().last()->trigger();
    QVERIFY(barOf(window)->isVisible());
    QTest::qWait(0);
}

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

void TestMeasureBar::copiedMeasures() {
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n");
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"),
                                 "Line #ff0000 1 1 | 10 20 110 20\r\nCoordinates #0000ff 1 1 | 50 "
                                 "60\r\nVLine #ff0000 1 1 | 30 40\r\n"));
    window.action("actionLoad_Corner")->trigger();
    QCOMPARE(sceneOf(window)->markCount(), 3);
    window.action("measureCopy")->trigger();
    const QStringList lines = QApplication::clipboard()->text().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 3);
    for (const QString& line : lines)
        QCOMPARE(line.count(QLatin1Char('\t')), 3);
    QCOMPARE(lines[1], QStringLiteral("Line\t10.00 20.00 110.00 20.00\t100.00\tpix"));
    QVERIFY(lines[2].startsWith(QLatin1String("VLine\t")));
    QCOMPARE(window.leftText(), QStringLiteral("Figures copied: 2"));
}

void TestMeasureBar::nothingToCopy() {
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n");
    window.action("measureCopy")->trigger();
    QCOMPARE(QApplication::clipboard()->text().split(QLatin1Char('\n'), Qt::SkipEmptyParts).size(), 1);
    QCOMPARE(window.leftText(), QStringLiteral("Figures copied: 0"));
}

void TestMeasureBar::toldInTheLanguage_data() {
    QTest::addColumn<int>("language");
    QTest::addColumn<bool>("isSwitched");
    QTest::addColumn<QString>("copied");
    QTest::addColumn<QString>("missed");
    const auto english =
        std::make_pair(QStringLiteral("Figures copied: 0"), QStringLiteral("Nothing to snap to"));
    const auto chinese =
        std::make_pair(QString::fromUtf8("已复制图形：0"), QString::fromUtf8("没有可吸附的点"));
    QTest::newRow("English") << 1 << false << english.first << english.second;
    QTest::newRow("Chinese") << 2 << false << chinese.first << chinese.second;
    QTest::newRow("English, then Chinese") << 1 << true << chinese.first << chinese.second;
    QTest::newRow("Chinese, then English") << 2 << true << english.first << english.second;
}

/// Messages come at moments in which all other texts are English.
void TestMeasureBar::toldInTheLanguage() {
    QFETCH(int, language);
    QFETCH(bool, isSwitched);
    QFETCH(QString, copied);
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n", language);
    if (isSwitched)
        window.action("actionEnglish_Chinese")->trigger();
    window.action("measureCopy")->trigger();
    QCOMPARE(window.leftText(), copied);
    // The tiles are of one grey.
    window.action("measureLine")->trigger();
    const QPoint place = window.view()->mapFromScene(QPoint(100, 100));
    QTest::mouseClick(window.view()->viewport(), Qt::LeftButton, Qt::ControlModifier, place);
    QTEST(window.leftText(), "missed");
}

void TestMeasureBar::refusedClicksAreTold() {
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n");
    window.action("measureCircle")->trigger();
    click(window, {{20, 30}, {120, 30}});
    QCOMPARE(window.leftText().trimmed(), QString());
    click(window, {{220, 30}});
    QCOMPARE(window.leftText(),
             QStringLiteral("This point makes no figure: it lies on another one or in line with them"));
    QCOMPARE(sceneOf(window)->markCount(), 0);
    window.action("measureCopy")->trigger();
    click(window, {{70, 80}});
    QCOMPARE(window.leftText(), QStringLiteral("Figures copied: 0"));
    QCOMPARE(sceneOf(window)->markCount(), 1);
}

void TestMeasureBar::fullPolygonIsTold_data() {
    QTest::addColumn<int>("language");
    QTest::addColumn<QString>("text");
    QTest::newRow("English") << 1 << QStringLiteral("The polygon is closed: it has 50 corners at most");
    QTest::newRow("Chinese") << 2 << QString::fromUtf8("多边形已闭合：最多 50 个顶点");
}

void TestMeasureBar::fullPolygonIsTold() {
    QFETCH(int, language);
    QFETCH(QString, text);
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n", language);
    window.action("measurePolygon")->trigger();
    for (int i = 0; i < 50; ++i)
        click(window, {{20 + 5 * i, i % 2 == 0 ? 40 : 160}});
    QCOMPARE(sceneOf(window)->markCount(), 1);
    QVERIFY(window.leftText() != text);
    click(window, {{275, 40}});
    QCOMPARE(window.leftText(), text);
    QCOMPARE(sceneOf(window)->markCount(), 1);
}

/// Also one that is made after the start.
void TestMeasureBar::loupeInChinese() {
    WindowUnderTest window;
    start(window, {}, 2);
    show(window);
    const auto* loupe = window.view()->findChild<Loupe*>();
    QVERIFY(loupe);
    Aim aim;
    QCOMPARE(loupe->snapText(aim), QString());
    aim.doesSnap = true;
    QCOMPARE(loupe->snapText(aim), QString::fromUtf8("没有可吸附的点"));
    aim.kind = SnapKind::Edge;
    QCOMPARE(loupe->snapText(aim), QString::fromUtf8("边缘"));
    aim.kind = SnapKind::Corner;
    QCOMPARE(loupe->snapText(aim), QString::fromUtf8("角点"));
    window.action("actionEnglish_Chinese")->trigger();
    QCOMPARE(loupe->snapText(aim), QStringLiteral("corner"));
}

void TestMeasureBar::loupeShowsTheUpperTile_data() {
    QTest::addColumn<int>("first");
    QTest::newRow("the second tile above") << 0;
    QTest::newRow("the first tile above") << 1;
}

/// The later of the first frames lies above, as the scene has it.
void TestMeasureBar::loupeShowsTheUpperTile() {
    QFETCH(int, first);
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[View]\nMeasure=1\n[Pos]\nX0=0\nY0=0\nX1=160\nY1=0\n"));
    window.start();
    QTRY_VERIFY(window->isMaximized());
    // Each has a corner of its own where both are.
    const QSize size(320, 240);
    const auto send = [&](int tile) {
        QImage picture(size, QImage::Format_Grayscale8);
        picture.fill(tile == 0 ? 60 : 160);
        const QRect bright(tile == 0 ? QPoint(200, 100) : QPoint(80, 150), QSize(60, 60));
        for (int y = bright.top(); y <= bright.bottom(); ++y)
            std::fill_n(picture.scanLine(y) + bright.left(), bright.width(), uchar(tile == 0 ? 110 : 240));
        auto* buffer = new unsigned char[size_t(size.width() * size.height())];
        std::copy_n(picture.constBits(), size.width() * size.height(), buffer);
        window->process(tile, QImage(buffer, size.width(), size.height(), size.width(), picture.format()),
                        buffer, quint64(QDateTime::currentMSecsSinceEpoch()));
    };
    const int upper = 1 - first;
    send(first);
    send(upper);
    send(first);
    for (QAction* action : barOf(window)->actions()) {
        if (action->objectName() == QLatin1String("measureLine"))
            action->trigger();
    }
    const auto move = [&](QPoint place, Qt::KeyboardModifiers modifiers) {
        QWidget* viewport = window.view()->viewport();
        QMouseEvent event(QEvent::MouseMove, place, viewport->mapToGlobal(place), Qt::NoButton, Qt::NoButton,
                          modifiers);
        QCoreApplication::sendEvent(viewport, &event);
    };
    move(window.view()->mapFromScene(QPoint(230, 40)), {});
    auto* loupe = window.view()->findChild<Loupe*>();
    QVERIFY(loupe->isVisible());
    QCOMPARE(qGray(loupe->grab().toImage().pixel(30, 30)), upper == 0 ? 60 : 160);
    const QPoint corners[] = {{200, 100}, {240, 150}};
    for (int tile = 0; tile < 2; ++tile) {
        move(window.view()->mapFromScene(corners[tile]) + QPoint(-2, -2), Qt::ControlModifier);
        QCOMPARE(pixelsOf(loupe->grab().toImage(), kCorner) > 50, tile == upper);
    }
}

void TestMeasureBar::polygonIsClosedByARightClick() {
    WindowUnderTest window;
    start(window);
    for (const QAction* action : barOf(window)->actions()) {
        const QString tip = action->toolTip();
        const bool closes = action->objectName() == QLatin1String("measurePolygon");
        const bool draws = tip.contains(QLatin1String("Ctrl snaps"));
        // Nor is there anything to give up before the one click of a level or upright line.
        const bool isOneClick = action->objectName() == QLatin1String("measureHLine") ||
                                action->objectName() == QLatin1String("measureVLine");
        QCOMPARE(tip.contains(QLatin1String("gives up")), draws && !closes && !isOneClick);
        QCOMPARE(tip.contains(QLatin1String("closes it")), closes);
        QVERIFY(draws || !closes);
    }
}

/// A window that is so low that the height of the view decides its scale.
void TestMeasureBar::low(const WindowUnderTest& window) {
    window->showNormal();
    window->resize(1440, 480);
    QTRY_COMPARE(window->size(), QSize(1440, 480));
    // As long as the window fits the view to any new size, since it was just opened; nothing tells when not.
    QTest::qWait(1200);
    window.action("actionZoom_Fit")->trigger();
    QVERIFY(window.isFitted());
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
