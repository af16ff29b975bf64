// SPDX-License-Identifier: Apache-2.0
#include "marks/coordinatesmark.h"
#include "marks/interactivescene.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

/// The marks in the main window: actions, corner tally, saved overlays.
class TestMarking : public QObject {
    Q_OBJECT

private slots:
    void init();
    void placingFreesTheTiles_data();
    void placingFreesTheTiles();
    void tiltTurnsTheCorrectionOff();
    void cornersOfAFileGiveWay();
    void cornersInARow_data();
    void cornersInARow();
    void cornersInAGrid_data();
    void cornersInAGrid();
    void otherModesAreRows();
    void fifthCornerDropsTheOldest();
    void beyondTheRowNothingIsStored();
    void withoutATileNothingIsStored();
    void otherKindsAreIgnored();
    void numbersOfTheTally();
    void clearing();
    void clearingWhilePlacing();
    void deletedCornersAreForgotten();
    void overlaysAreStoredWhenPlaced();
    void overlaysComeBackAtTheNextStart();
    void unreadableOverlaysAreLeftOut();
    void cornersAreSaved();
    void savingNoCornersAsks();
    void cornersAreLoaded();
    void loadingLosesTheOverlays();
    void loadingWhilePlacing();
    void scannedBarcodeIsSaved();
    void keysReachTheSceneAtOnce();

private:
    static void start(WindowUnderTest& window, int count, const QByteArray& ini = {});
    static void place(const WindowUnderTest& window, QPointF point, const char* action = "actionTilt");
    static QList<CoordinatesMark*> crossHairs(const WindowUnderTest& window);
    static int overlays(const WindowUnderTest& window);
    static void announce(const WindowUnderTest& window, double x, double y, int kind, Mark* mark = nullptr);
};

void TestMarking::init() {
    QVector<recording::Camera> cameras(4);
    for (auto& camera : cameras) {
        camera.width = 640;
        camera.height = 480;
        camera.queryStatus = 5;  // the frames of the test are the only ones
    }
    recording::reset(cameras);
}

/// Tiles of 640 x 480 px, arranged.
void TestMarking::start(WindowUnderTest& window, int count, const QByteArray& ini) {
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[File]\nLang=1\nType=2\n" + ini +
                                     "\n[Pos]\nX0=0\nY0=0\nX1=640\nY1=0\nX2=1280\nY2=0\nX3=1920\nY3=0\n"));
    recording::setReportedCount(count);
    window.start();
    QTRY_VERIFY(window->isMaximized());
    for (int i = 0; i < count; ++i)
        window.sendFrame(i, 100, 0, {640, 480});
    window.answerer.boxes.clear();  // the hot key's: there is none on this platform
}

/// As a person does: the action, then a click at a scene point.
void TestMarking::place(const WindowUnderTest& window, QPointF point, const char* action) {
    window.action(action)->trigger();
    const QPoint place = window.view()->mapFromScene(point);
    QVERIFY(window.view()->viewport()->rect().contains(place));
    QTest::mouseClick(window.view()->viewport(), Qt::LeftButton, {}, place);
}

QList<CoordinatesMark*> TestMarking::crossHairs(const WindowUnderTest& window) {
    QList<CoordinatesMark*> found;
    const auto items = window.view()->scene()->items(Qt::AscendingOrder);
    for (QGraphicsItem* item : items) {
        if (auto* mark = dynamic_cast<CoordinatesMark*>(item))
            found.append(mark);
    }
    return found;
}

int TestMarking::overlays(const WindowUnderTest& window) {
    const auto items = window.view()->scene()->items();
    return static_cast<int>(std::count_if(items.begin(), items.end(), [](QGraphicsItem* item) {
        return item->toolTip() == QLatin1String("Text Mark");
    }));
}

/// The signal as the scene sends it, with a point of exact numbers.
void TestMarking::announce(const WindowUnderTest& window, double x, double y, int kind, Mark* mark) {
    window->setMark(x, y, kind, mark);
}

void TestMarking::placingFreesTheTiles_data() {
    QTest::addColumn<QByteArray>("action");
    QTest::newRow("corner") << QByteArray("actionTilt");
    QTest::newRow("barcode") << QByteArray("actionBarcode");
    QTest::newRow("date and time") << QByteArray("actionDate_Time");
}

void TestMarking::placingFreesTheTiles() {
    QFETCH(QByteArray, action);
    WindowUnderTest window;
    start(window, 2);
    for (const auto* tile : window.tiles())
        QCOMPARE(tile->flags(), QGraphicsItem::GraphicsItemFlags(QGraphicsItem::ItemIsMovable));
    place(window, {300, 200}, action.constData());
    for (const auto* tile : window.tiles())
        QCOMPARE(tile->flags(), QGraphicsItem::GraphicsItemFlags());
    window.action("actionClear")->trigger();
    for (const auto* tile : window.tiles())
        QCOMPARE(tile->flags(), QGraphicsItem::GraphicsItemFlags(QGraphicsItem::ItemIsMovable));
}

void TestMarking::tiltTurnsTheCorrectionOff() {
    WindowUnderTest window;
    start(window, 1, "Trans=1\n");
    auto* enable = window.action("actionEnable");
    enable->setEnabled(true);
    enable->trigger();
    QVERIFY(enable->isChecked());
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Trans")), QStringLiteral("1"));
    window.action("actionTilt")->trigger();
    QVERIFY(!enable->isChecked());
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Trans")), QStringLiteral("1"));
    QCOMPARE(crossHairs(window).size(), 1);
}

/// With calibration files: frames after Tilt are shown as they are, and the corners of the files give way to
/// new ones.
void TestMarking::cornersOfAFileGiveWay() {
    const QByteArray calibration =
        "<?xml version=\"1.0\"?>\n<opencv_storage>\n"
        "<calibrate type_id=\"opencv-matrix\"><rows>3</rows><cols>3</cols><dt>d</dt><data>1. 0. 0. 0. 1. 0. "
        "0. 0. "
        "1.</data></calibrate>\n"
        "<corner_src type_id=\"opencv-matrix\"><rows>4</rows><cols>2</cols><dt>f</dt><data>60. 40. 560. 40. "
        "60. 400. "
        "560. 400.</data></corner_src>\n"
        "<corner_dst type_id=\"opencv-matrix\"><rows>4</rows><cols>2</cols><dt>f</dt><data>60. 40. 560. 40. "
        "60. 400. "
        "560. 400.</data></corner_dst>\n</opencv_storage>\n";
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal0.xml"), calibration));
    start(window, 1, "Trans=1\n");
    QVERIFY(window.action("actionEnable")->isChecked());
    QCOMPARE(window.tiles()[0]->pixmap().size(), QSize(580, 480));
    window.action("actionTilt")->trigger();
    window.sendFrame(0, 100, 0, {640, 480});
    QCOMPARE(window.tiles()[0]->pixmap().size(), QSize(640, 480));
    // Four records came with the file and have no cross-hair; each click pushes one of them out.
    for (int i = 0; i < 5; ++i) {
        place(window, QPointF(100 + 20 * i, 100));
        QVERIFY(window.leftText().endsWith(QStringLiteral("Total:4")));
    }
    QCOMPARE(crossHairs(window).size(), 4);
}

void TestMarking::cornersInARow_data() {
    QTest::addColumn<QPointF>("point");
    QTest::addColumn<QString>("text");
    const auto row = [](double x, double y, const char* text) {
        QTest::addRow("%g, %g", x, y) << QPointF(x, y) << QString::fromLatin1(text);
    };
    row(0, 0, "#0: 0 0 Total:1");
    row(639.5, 479, "#0: 639.5 479 Total:1");
    row(640, 100, "#1: 0 100 Total:1");
    row(1280, 900, "#2: 0 900 Total:1");
    row(1920.25, -5, "#3: 0.25 -5 Total:1");
    row(2559.9, 0, "#3: 639.9 0 Total:1");
    row(-10, 5, "#0: -10 5 Total:1");
}

void TestMarking::cornersInARow() {
    QFETCH(QPointF, point);
    WindowUnderTest window;
    start(window, 1);
    announce(window, point.x(), point.y(), 7);
    QTEST(window.leftText(), "text");
}

void TestMarking::cornersInAGrid_data() {
    QTest::addColumn<QPointF>("point");
    QTest::addColumn<QString>("text");
    const auto row = [](double x, double y, const char* text) {
        QTest::addRow("%g, %g", x, y) << QPointF(x, y) << QString::fromLatin1(text);
    };
    row(639.5, 479.9, "#0: 639.5 479.9 Total:1");
    row(700, 100, "#1: 60 100 Total:1");
    row(100, 480, "#2: 100 0 Total:1");
    row(640, 480, "#3: 0 0 Total:1");
    row(5000, 100, "#1: 4360 100 Total:1");
    row(5000, 5000, "#3: 4360 4520 Total:1");
}

void TestMarking::cornersInAGrid() {
    QFETCH(QPointF, point);
    WindowUnderTest window;
    start(window, 1, "[Camera]\nMode=0\n");
    announce(window, point.x(), point.y(), 7);
    QTEST(window.leftText(), "text");
}

void TestMarking::otherModesAreRows() {
    WindowUnderTest window;
    start(window, 1, "[Camera]\nMode=5\n");
    announce(window, 100, 500, 7);
    QCOMPARE(window.leftText(), QStringLiteral("#0: 100 500 Total:1"));
}

void TestMarking::fifthCornerDropsTheOldest() {
    WindowUnderTest window;
    start(window, 2);
    for (int i = 0; i < 4; ++i)
        place(window, QPointF(100 + 20 * i, 100));
    place(window, QPointF(800, 100));
    QVERIFY(window.leftText().startsWith(QStringLiteral("#1: ")));
    QVERIFY(window.leftText().endsWith(QStringLiteral(" Total:1")));
    const auto before = crossHairs(window);
    QCOMPARE(before.size(), 5);
    place(window, QPointF(300, 300));
    QVERIFY(window.leftText().startsWith(QStringLiteral("#0: ")));
    QVERIFY(window.leftText().endsWith(QStringLiteral(" Total:4")));
    const auto after = crossHairs(window);
    QCOMPARE(after.size(), 5);
    QCOMPARE(after.mid(0, 4), before.mid(1, 4));  // the first is gone from the scene, the others stay
    // The grabbed cross-hair can be the one that goes.
    QTest::mouseClick(window.view()->viewport(), Qt::LeftButton, {},
                      window.view()->mapFromScene(after[0]->point() - QPointF(70, 0)));
    place(window, QPointF(400, 400));
    QTest::keyClick(window.view(), Qt::Key_Left);
    QCOMPARE(crossHairs(window).size(), 5);
}

void TestMarking::beyondTheRowNothingIsStored() {
    WindowUnderTest window;
    start(window, 1);
    announce(window, 1, 1, 7);
    const QString text = window.leftText();
    announce(window, 2560, 1, 7);
    announce(window, 1e9, 1, 7);
    QCOMPARE(window.leftText(), text);
    // The cross-hair itself stays.
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), "Coordinates #0000ff 1 1 | 2560 10\r\n"));
    window.action("actionLoad_Corner")->trigger();
    QCOMPARE(crossHairs(window).size(), 1);
    QCOMPARE(window.leftText(), text);
}

void TestMarking::withoutATileNothingIsStored() {
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nLang=1\n"));
    recording::setReportedCount(1);
    window.start();
    QTRY_VERIFY(window->isMaximized());
    place(window, {10, 10});
    QCOMPARE(crossHairs(window).size(), 1);
    place(window, {20, 20}, "actionBarcode");
    QCOMPARE(window.leftText().trimmed(), QString());
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/BarcodeMark")), QString());
}

void TestMarking::otherKindsAreIgnored() {
    WindowUnderTest window;
    start(window, 1);
    CoordinatesMark mark(qobject_cast<InteractiveScene*>(window.view()->scene()));
    for (const int kind : {0, 1, 6, 9, 12, -1})
        announce(window, 1, 1, kind, &mark);
    QCOMPARE(window.leftText().trimmed(), QString());
}

void TestMarking::numbersOfTheTally() {
    WindowUnderTest window;
    start(window, 1);
    announce(window, 123.456789, 1e7, 7);
    QCOMPARE(window.leftText(), QStringLiteral("#0: 123.457 1e+07 Total:1"));
}

void TestMarking::clearing() {
    WindowUnderTest window;
    start(window, 1);
    place(window, {100, 100});
    place(window, {200, 200}, "actionBarcode");
    place(window, {200, 300}, "actionDate_Time");
    QVERIFY(!WorkingFolder::keyOnDisk(QStringLiteral("File/BarcodeMark")).isEmpty());
    QVERIFY(!WorkingFolder::keyOnDisk(QStringLiteral("File/DTMark")).isEmpty());
    window.action("actionClear")->trigger();
    QCOMPARE(window.view()->scene()->items().size(), 1);
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/BarcodeMark")).isNull());
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/DTMark")).isNull());
    // The corners' places stay in the tally.
    place(window, {300, 100});
    QVERIFY(window.leftText().endsWith(QStringLiteral("Total:2")));
}

void TestMarking::clearingWhilePlacing() {
    WindowUnderTest window;
    start(window, 1);
    place(window, {200, 200}, "actionBarcode");
    place(window, {200, 300}, "actionDate_Time");
    window.action("actionTilt")->trigger();
    window.action("actionClear")->trigger();
    QCOMPARE(window.answerer.boxes.size(), 1);
    QCOMPARE(window.answerer.boxes[0].text, QStringLiteral("Please finish the current action first."));
    QCOMPARE(overlays(window), 2);
    QCOMPARE(crossHairs(window).size(), 1);
    QCOMPARE(window.tiles()[0]->flags(), QGraphicsItem::GraphicsItemFlags(QGraphicsItem::ItemIsMovable));
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/BarcodeMark")).isNull());
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/DTMark")).isNull());
}

/// Records of corners whose cross-hairs are gone must not be taken for new ones at the same address.
void TestMarking::deletedCornersAreForgotten() {
    WindowUnderTest window;
    start(window, 1);
    for (int round = 0; round < 4; ++round) {
        for (int i = 0; i < 4; ++i)
            place(window, QPointF(100 + 100 * i, 100 + 20 * round));
        QCOMPARE(crossHairs(window).size(), 4);
        window.action("actionClear")->trigger();
        QCOMPARE(crossHairs(window).size(), 0);
    }
    for (int i = 0; i < 4; ++i)
        place(window, QPointF(100 + 100 * i, 100));
    // Deleted by key, the same: evicting its record takes no other cross-hair away.
    QTest::keyClick(window.view(), Qt::Key_Delete);
    QCOMPARE(crossHairs(window).size(), 3);
    for (int i = 0; i < 4; ++i)
        place(window, QPointF(100 + 100 * i, 300));
    QCOMPARE(crossHairs(window).size(), 4);
}

void TestMarking::overlaysAreStoredWhenPlaced() {
    WindowUnderTest window;
    start(window, 1);
    window.action("actionBarcode")->trigger();
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/BarcodeMark")).isNull());
    place(window, {200, 200}, "actionBarcode");
    const QString line = WorkingFolder::keyOnDisk(QStringLiteral("File/BarcodeMark"));
    QVERIFY2(line.startsWith(QStringLiteral("Text #ff0000 1 1 | ")), qPrintable(line));
    QVERIFY2(line.endsWith(QStringLiteral(" | 0 yyyy-MM-dd HH:mm:ss 0  1 0 0 0")), qPrintable(line));
    // A text that changes is not written again.
    QTest::keyClicks(window.view(), QStringLiteral("123"));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/BarcodeMark")), line);
    place(window, {200, 300}, "actionDate_Time");
    const QString dateLine = WorkingFolder::keyOnDisk(QStringLiteral("File/DTMark"));
    QVERIFY2(dateLine.endsWith(QStringLiteral(" | 1 yyyy-MM-dd HH:mm:ss 0  0 0 0 0")), qPrintable(dateLine));
    QCOMPARE(window.leftText().trimmed(), QString());
}

void TestMarking::overlaysComeBackAtTheNextStart() {
    WindowUnderTest window;
    start(window, 1, "DTFormat=dd.MM.yyyy HH:mm\n");
    place(window, {200, 200}, "actionBarcode");
    place(window, {200, 300}, "actionDate_Time");
    QPointF places[2];
    int index = 0;
    for (QGraphicsItem* item : window.view()->scene()->items(Qt::AscendingOrder)) {
        if (auto* text = dynamic_cast<Mark*>(item))
            places[index++] = text->boundingRect().bottomLeft();
    }
    QCOMPARE(index, 2);
    window.end();
    window.start();
    QTRY_VERIFY(window->isMaximized());
    QCOMPARE(overlays(window), 2);
    index = 0;
    for (QGraphicsItem* item : window.view()->scene()->items(Qt::AscendingOrder)) {
        auto* text = dynamic_cast<Mark*>(item);
        QVERIFY(text);
        QVERIFY((text->boundingRect().bottomLeft() - places[index++]).manhattanLength() < 0.1);
        QCOMPARE(static_cast<int>(text->flags()), 0x803);
        QCOMPARE(text->markType, 10);
    }
    // The barcode overlay is ready for the reader, the date has its whole format.
    window.sendFrame(0, 100, 0, {640, 480});
    QTest::keyClicks(window.view(), QStringLiteral("99"));
    QTest::keyClick(window.view(), Qt::Key_Return);
    QVERIFY(QFile::exists(QStringLiteral("99.png")));
    bool hasFormat = false;
    for (QGraphicsItem* item : window.view()->scene()->items()) {
        if (auto* text = dynamic_cast<Mark*>(item))
            hasFormat = hasFormat || text->toText().contains(QStringLiteral("| 1 dd.MM.yyyy HH:mm 0 "));
    }
    QVERIFY(hasFormat);
}

void TestMarking::unreadableOverlaysAreLeftOut() {
    WindowUnderTest window;
    start(window, 1, "BarcodeMark=Text #ff0000 1 1\nDTMark=nonsense\n");
    QCOMPARE(overlays(window), 0);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/BarcodeMark")),
             QStringLiteral("Text #ff0000 1 1"));
}

void TestMarking::cornersAreSaved() {
    WindowUnderTest window;
    start(window, 1);
    place(window, {100, 100});
    place(window, {200, 100});
    window.action("actionSave_Corner")->trigger();
    QVERIFY(window.answerer.boxes.isEmpty());
    const QByteArray content = WorkingFolder::read(QStringLiteral("mark0.txt"));
    QCOMPARE(content.count("\r\n"), 2);
    QVERIFY(content.startsWith("Coordinates #0000ff 1 1 | "));
}

void TestMarking::savingNoCornersAsks() {
    WindowUnderTest window;
    start(window, 1);
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), "old"));
    window.answerer.choice = QMessageBox::Cancel;
    window.action("actionSave_Corner")->trigger();
    QCOMPARE(window.answerer.boxes.size(), 1);
    QCOMPARE(window.answerer.boxes[0].icon, QMessageBox::Question);
    QCOMPARE(window.answerer.boxes[0].title, QStringLiteral("Override?"));
    QCOMPARE(window.answerer.boxes[0].text,
             QStringLiteral("No marks in the curvas, do you still want to save?"));
    QCOMPARE(window.answerer.boxes[0].buttons, QMessageBox::Save | QMessageBox::Cancel);
    QCOMPARE(window.answerer.boxes[0].defaultButton, QMessageBox::Cancel);
    QCOMPARE(WorkingFolder::read(QStringLiteral("mark0.txt")), QByteArray("old"));
    window.answerer.choice = QMessageBox::Save;
    window.action("actionSave_Corner")->trigger();
    QCOMPARE(WorkingFolder::read(QStringLiteral("mark0.txt")), QByteArray());
}

void TestMarking::cornersAreLoaded() {
    WindowUnderTest window;
    start(window, 2);
    for (int i = 0; i < 4; ++i)
        place(window, QPointF(100 + 20 * i, 100));
    QByteArray content;
    for (int i = 0; i < 6; ++i)
        content += "Coordinates #0000ff 1 1 | " + QByteArray::number(10 * i) + " 20\r\n";
    content += "Coordinates #0000ff 1 1 | 700 20\r\n";
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), content));
    window.action("actionLoad_Corner")->trigger();
    // What was placed is gone, the two oldest of the first tile too.
    const auto marks = crossHairs(window);
    QCOMPARE(marks.size(), 5);
    QCOMPARE(marks[0]->point(), QPointF(20, 20));
    QCOMPARE(window.leftText(), QStringLiteral("#1: 60 20 Total:1"));
    QVERIFY(window.tiles()[0]->flags().testFlag(QGraphicsItem::ItemIsMovable));
}

void TestMarking::loadingLosesTheOverlays() {
    WindowUnderTest window;
    start(window, 1);
    place(window, {200, 200}, "actionBarcode");
    place(window, {200, 300}, "actionDate_Time");
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), "Coordinates #0000ff 1 1 | 1 2\r\n"));
    window.action("actionLoad_Corner")->trigger();
    QCOMPARE(overlays(window), 0);
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/DTMark")).isNull());
    // The lists were emptied too: whoever loads once more counts from one.
    QCOMPARE(window.leftText(), QStringLiteral("#0: 1 2 Total:1"));
    window.action("actionLoad_Corner")->trigger();
    QCOMPARE(window.leftText(), QStringLiteral("#0: 1 2 Total:1"));
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/BarcodeMark")).isNull());
}

void TestMarking::loadingWhilePlacing() {
    WindowUnderTest window;
    start(window, 1);
    place(window, {100, 100});
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), "Coordinates #0000ff 1 1 | 1 2\r\n"));
    window.action("actionTilt")->trigger();
    window.action("actionLoad_Corner")->trigger();
    QCOMPARE(window.answerer.boxes.size(), 2);  // it clears twice
    QCOMPARE(crossHairs(window).size(), 3);     // the old one, the one being placed, the loaded one
    QCOMPARE(window.leftText(), QStringLiteral("#0: 1 2 Total:1"));
}

void TestMarking::scannedBarcodeIsSaved() {
    WindowUnderTest window;
    start(window, 1);
    place(window, {10, 200}, "actionBarcode");
    QTest::keyClicks(window.view(), QStringLiteral("4711"));
    QTest::keyClick(window.view(), Qt::Key_Return);
    const QImage saved(QStringLiteral("4711.png"));
    QCOMPARE(saved.size(), QSize(640, 480));
    // The barcode is in the picture.
    int red = 0;
    for (int x = 0; x < 640; ++x) {
        for (int y = 0; y < 480; ++y)
            red += saved.pixel(x, y) == qRgb(255, 0, 0) ? 1 : 0;
    }
    QVERIFY(red > 200);
    QCOMPARE(window.leftText(), QStringLiteral("Saved image ./4711.png"));
}

void TestMarking::keysReachTheSceneAtOnce() {
    WindowUnderTest window;
    start(window, 1, "BarcodeMark=Text #ff0000 1 1 | 10 200 0 0 | 0 yyyy-MM-dd HH:mm:ss 0  1 0 0 0\n");
    QCOMPARE(overlays(window), 1);
    // Nobody has clicked into the view: the keys go to whatever the window gives the focus to.
    QTRY_VERIFY(window->focusWidget());
    QTest::keyClicks(window->focusWidget(), QStringLiteral("55"));
    QTest::keyClick(window->focusWidget(), Qt::Key_Return);
    QVERIFY(QFile::exists(QStringLiteral("55.png")));
}

QTEST_MAIN(TestMarking)
#include "tst_marking.moc"
