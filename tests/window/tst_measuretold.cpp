// SPDX-License-Identifier: Apache-2.0
#include <QClipboard>

#include "measure/loupe.h"
#include "support/mainwindowtest.h"
#include "support/measurewindow.h"

namespace {

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

}  // namespace

/// What the window tells of measuring: the copied table, what a tool wants, what was refused, the loupe.
class TestMeasureTold : public QObject, private MeasureWindow {
    Q_OBJECT

private slots:
    void init() { setUp(); }
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
};

void TestMeasureTold::copiedMeasures() {
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

void TestMeasureTold::nothingToCopy() {
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n");
    window.action("measureCopy")->trigger();
    QCOMPARE(QApplication::clipboard()->text().split(QLatin1Char('\n'), Qt::SkipEmptyParts).size(), 1);
    QCOMPARE(window.leftText(), QStringLiteral("Figures copied: 0"));
}

void TestMeasureTold::toldInTheLanguage_data() {
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
void TestMeasureTold::toldInTheLanguage() {
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

void TestMeasureTold::refusedClicksAreTold() {
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

void TestMeasureTold::fullPolygonIsTold_data() {
    QTest::addColumn<int>("language");
    QTest::addColumn<QString>("text");
    QTest::newRow("English") << 1 << QStringLiteral("The polygon is closed: it has 50 corners at most");
    QTest::newRow("Chinese") << 2 << QString::fromUtf8("多边形已闭合：最多 50 个顶点");
}

void TestMeasureTold::fullPolygonIsTold() {
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
void TestMeasureTold::loupeInChinese() {
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

void TestMeasureTold::loupeShowsTheUpperTile_data() {
    QTest::addColumn<int>("first");
    QTest::newRow("the second tile above") << 0;
    QTest::newRow("the first tile above") << 1;
}

/// The later of the first frames lies above, as the scene has it.
void TestMeasureTold::loupeShowsTheUpperTile() {
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

void TestMeasureTold::polygonIsClosedByARightClick() {
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

QTEST_MAIN(TestMeasureTold)
#include "tst_measuretold.moc"
