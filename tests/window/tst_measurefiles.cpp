// SPDX-License-Identifier: Apache-2.0
#include <QMenu>
#include <memory>

#include "control/pictureworker.h"
#include "marks/figuremark.h"
#include "marks/interactivescene.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

namespace {

const QByteArray kMark = "\xef\xbb\xbf";  // byte order mark
const QByteArray kLine = "Line #ff0000 1 1 | 10 20 110 20\r\n";

QByteArray lineOf(const QString& file, int line) {
    const QList<QByteArray> lines = WorkingFolder::read(file).mid(kMark.size()).split('\n');
    return lines.value(line).trimmed();
}

QStringList tables() {
    return QDir().entryList({QStringLiteral("*.csv")}, QDir::Files);
}

}  // namespace

/// The tables of measures beside saved pictures, and figures in the pictures.
class TestMeasureFiles : public QObject {
    Q_OBJECT

private slots:
    void init();
    void noneUnlessWanted();
    void asTheKeyIsAtEachSave();
    void besideEachPictureOfTheView_data();
    void besideEachPictureOfTheView();
    void theTimeIsThatOfTheName();
    void notForSingleTiles();
    void noFiguresIsAHeaderAlone();
    void scannedBarcodes_data();
    void scannedBarcodes();
    void barcodeOfTheOverlay();
    void sameNameReplaces();
    void switchedOffTablesStay();
    void failureIsSaidBesideThePicture();
    void neverWithoutItsPicture();
    void inTheBackground();
    void failsInTheBackground();
    void figuresHaveTheirSizeInFiles();
    void noDraftsInFiles_data();
    void noDraftsInFiles();
    void placedCrossHairIsInFiles();
    void marksReadAndSavedStayAsTheyAre();

private:
    static void start(WindowUnderTest& window, const QByteArray& ini = "Measures=1\n");
    static void load(const WindowUnderTest& window, const QByteArray& lines = kLine);
    static void click(const WindowUnderTest& window, QPoint scenePoint);
    static void hover(const WindowUnderTest& window, QPoint scenePoint);
    static QImage saved(const WindowUnderTest& window, const QString& name);
    static QString note(const WindowUnderTest& window) {
        return window->findChild<QLabel*>(QStringLiteral("statusNote"))->text();
    }
};

void TestMeasureFiles::init() {
    QVector<recording::Camera> cameras(2);
    for (auto& camera : cameras)
        camera.queryStatus = 5;  // the frames of the test are the only ones
    recording::reset(cameras);
}

/// Two tiles of 320 x 240 px.
void TestMeasureFiles::start(WindowUnderTest& window, const QByteArray& ini) {
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[File]\nLang=1\nType=2\n" + ini + "[Pos]\nX0=0\nY0=0\nX1=320\nY1=0\n"));
    window.start();
    QTRY_VERIFY(window->isMaximized());
    window.sendFrame(0, 50, 0, {320, 240});
    window.sendFrame(1, 150, 0, {320, 240});
    window.answerer.boxes.clear();  // the hot key's: there is none on this platform
}

void TestMeasureFiles::load(const WindowUnderTest& window, const QByteArray& lines) {
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), lines));
    window.action("actionLoad_Corner")->trigger();
}

void TestMeasureFiles::click(const WindowUnderTest& window, QPoint scenePoint) {
    QTest::mouseClick(window.view()->viewport(), Qt::LeftButton, {}, window.view()->mapFromScene(scenePoint));
}

void TestMeasureFiles::hover(const WindowUnderTest& window, QPoint scenePoint) {
    QWidget* viewport = window.view()->viewport();
    const QPoint place = window.view()->mapFromScene(scenePoint);
    QMouseEvent event(QEvent::MouseMove, place, viewport->mapToGlobal(place), Qt::NoButton, {}, {});
    QCoreApplication::sendEvent(viewport, &event);
}

QImage TestMeasureFiles::saved(const WindowUnderTest& window, const QString& name) {
    window->saveImageByName(name);
    return QImage(name + QStringLiteral(".png"));
}

void TestMeasureFiles::noneUnlessWanted() {
    for (const QByteArray& ini : {QByteArray(), QByteArray("Measures=0\n")}) {
        WindowUnderTest window;
        start(window, ini);
        load(window);
        window->saveImage();
        window->saveScanned(QStringLiteral("code"));
        QCOMPARE(tables(), QStringList());
    }
}

/// Edited by hand while the program runs it counts from when the program writes a setting of its own, with
/// the other keys of its section.
void TestMeasureFiles::asTheKeyIsAtEachSave() {
    WindowUnderTest window;
    start(window, "");
    load(window);
    window->saveImageByName(QStringLiteral("before"));
    QVERIFY(QFile::exists(QStringLiteral("before.png")));
    for (const bool isOn : {true, false}) {
        const QByteArray keys = isOn ? "\nMeasures=1\nType=0\n" : "\nMeasures=0\nType=1\n";
        QByteArray ini = WorkingFolder::read(QStringLiteral("setting.ini"));
        for (const char* key : {"Measures=1\n", "Type=0\n", "Type=2\n"})
            ini.replace(key, "");
        QVERIFY(
            WorkingFolder::write(QStringLiteral("setting.ini"), ini.replace("[File]\n", "[File]" + keys)));
        const std::unique_ptr<QMenu> menu(window->createPopupMenu());
        menu->actions().last()->trigger();
        window->saveImageByName(QStringLiteral("p"));
        QVERIFY(QFile::exists(isOn ? QStringLiteral("p.bmp") : QStringLiteral("p.jpg")));
        QCOMPARE(tables(), isOn ? QStringList(QStringLiteral("p.csv")) : QStringList());
        QFile::remove(QStringLiteral("p.csv"));
    }
}

void TestMeasureFiles::besideEachPictureOfTheView_data() {
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QString>("picture");
    QTest::newRow("BMP") << QByteArray("0") << QStringLiteral("p.v2.bmp");
    QTest::newRow("JPEG") << QByteArray("1") << QStringLiteral("p.v2.jpg");
    QTest::newRow("PNG") << QByteArray("2") << QStringLiteral("p.v2.png");
}

void TestMeasureFiles::besideEachPictureOfTheView() {
    QFETCH(QByteArray, type);
    QFETCH(QString, picture);
    WindowUnderTest window;
    start(window, "Measures=1\n");
    WorkingFolder::setKey(QStringLiteral("File/Type"), type);
    load(window, kLine + "Coordinates #0000ff 1 1 | 50 60\r\nRectangle #ff0000 1 1 | 30 40 50 80 0\r\n");
    window->saveImageByName(QStringLiteral("p.v2"));
    QVERIFY(QFile::exists(picture));
    QCOMPARE(tables(), QStringList(QStringLiteral("p.v2.csv")));
    const QByteArray content = WorkingFolder::read(QStringLiteral("p.v2.csv"));
    QVERIFY(content.startsWith(kMark));
    QCOMPARE(content.count('\n'), 3);
    QCOMPARE(content.count("\r\n"), 3);
    QVERIFY2(lineOf(QStringLiteral("p.v2.csv"), 1).endsWith(",,Line,10.00 20.00 110.00 20.00,100.00,pix"),
             lineOf(QStringLiteral("p.v2.csv"), 1));
    QVERIFY(lineOf(QStringLiteral("p.v2.csv"), 2).contains(",Rectangle,"));
    QCOMPARE(note(window), QString());
    // As the hot key and a trigger save.
    window->saveImage();
    QCOMPARE(tables().size(), 2);
}

void TestMeasureFiles::theTimeIsThatOfTheName() {
    WindowUnderTest window;
    start(window);
    load(window);
    window->saveImage();
    QCOMPARE(tables().size(), 1);
    const QString name = tables().first();
    QVERIFY(QFile::exists(QFileInfo(name).completeBaseName() + QStringLiteral(".png")));
    QString time = QString::fromLatin1(lineOf(name, 1)).section(QLatin1Char(','), 0, 0);
    QVERIFY(QDateTime::fromString(time, Qt::ISODateWithMs).isValid());
    QCOMPARE(QStringLiteral("snapshot-%1.csv").arg(time.remove(QRegularExpression(QStringLiteral("[-T:.]")))),
             name);
}

void TestMeasureFiles::notForSingleTiles() {
    WindowUnderTest window;
    start(window);
    load(window);
    for (QGraphicsPixmapItem* tile : window.tiles())
        tile->setFlags(QGraphicsItem::ItemIsSelectable);
    window.tiles()[0]->setSelected(true);
    window.action("actionSave_Single")->trigger();
    QCOMPARE(QDir().entryList({QStringLiteral("*.png")}).size(), 1);
    QCOMPARE(tables(), QStringList());
}

void TestMeasureFiles::noFiguresIsAHeaderAlone() {
    WindowUnderTest window;
    start(window);
    load(window);
    window->saveImageByName(QStringLiteral("p"));
    const QByteArray header = lineOf(QStringLiteral("p.csv"), 0);
    window.action("actionClear")->trigger();
    // What was measured before does not stay beside the new picture.
    window->saveImageByName(QStringLiteral("p"));
    QCOMPARE(WorkingFolder::read(QStringLiteral("p.csv")), kMark + header + "\r\n");
    QCOMPARE(header.count(','), 5);
}

void TestMeasureFiles::scannedBarcodes_data() {
    QTest::addColumn<QString>("barcode");
    QTest::addColumn<QString>("cell");
    QTest::newRow("plain") << QStringLiteral("4006381333931") << QStringLiteral("4006381333931");
    QTest::newRow("Chinese") << QString::fromUtf8("批次-7") << QString::fromUtf8("批次-7");
    QTest::newRow("comma") << QStringLiteral("A,B") << QStringLiteral("\"A,B\"");
#ifndef Q_OS_WIN
    QTest::newRow("quotes") << QStringLiteral("5\" bolt") << QStringLiteral("\"5\"\" bolt\"");
#endif
}

void TestMeasureFiles::scannedBarcodes() {
    QFETCH(QString, barcode);
    QFETCH(QString, cell);
    WindowUnderTest window;
    start(window);
    load(window);
    window->saveScanned(barcode);
    QCOMPARE(tables(), QStringList(barcode + QStringLiteral(".csv")));
    const QString line = QString::fromUtf8(lineOf(tables().first(), 1));
    QCOMPARE(line.mid(line.indexOf(QLatin1Char(',')) + 1, cell.size() + 6), cell + QStringLiteral(",Line,"));
}

void TestMeasureFiles::barcodeOfTheOverlay() {
    WindowUnderTest window;
    start(window);
    load(window);
    window.action("actionBarcode")->trigger();
    QTest::mouseClick(window.view()->viewport(), Qt::LeftButton, {}, window.view()->mapFromScene(50, 50));
    QTest::keyClicks(window.view(), QStringLiteral("K7"));
    window->saveImageByName(QStringLiteral("p"));
    QVERIFY2(lineOf(QStringLiteral("p.csv"), 1).contains(",K7,Line,"), lineOf(QStringLiteral("p.csv"), 1));
    // A name is no barcode, and none is none.
    window.action("actionClear")->trigger();
    load(window);
    window->saveImageByName(QStringLiteral("q"));
    QVERIFY(lineOf(QStringLiteral("q.csv"), 1).contains(",,Line,"));
}

void TestMeasureFiles::sameNameReplaces() {
    WindowUnderTest window;
    start(window);
    load(window, kLine + kLine);
    window->saveScanned(QStringLiteral("code"));
    QCOMPARE(WorkingFolder::read(QStringLiteral("code.csv")).count('\n'), 3);
    load(window, kLine);
    window->saveScanned(QStringLiteral("code"));
    QCOMPARE(WorkingFolder::read(QStringLiteral("code.csv")).count('\n'), 2);
}

/// Nobody who has switched tables off loses those that there are.
void TestMeasureFiles::switchedOffTablesStay() {
    WindowUnderTest window;
    start(window);
    load(window);
    window->saveScanned(QStringLiteral("code"));
    const QByteArray table = WorkingFolder::read(QStringLiteral("code.csv"));
    QVERIFY(!table.isEmpty());
    WorkingFolder::setKey(QStringLiteral("File/Measures"), 0);
    load(window, kLine + kLine);
    window->saveScanned(QStringLiteral("code"));
    QCOMPARE(WorkingFolder::read(QStringLiteral("code.csv")), table);
    window->saveScanned(QStringLiteral("other"));
    QVERIFY(QFile::exists(QStringLiteral("other.png")) && !QFile::exists(QStringLiteral("other.csv")));
}

void TestMeasureFiles::failureIsSaidBesideThePicture() {
    WindowUnderTest window;
    start(window);
    load(window);
    QVERIFY(QDir().mkdir(QStringLiteral("p.csv")));  // no file can take its place
    window->saveImageByName(QStringLiteral("p"));
    QVERIFY(QFile::exists(QStringLiteral("p.png")));
    QVERIFY2(note(window).startsWith(QLatin1String("Measures not written: ")), qPrintable(note(window)));
    QCOMPARE(window.leftText(), QStringLiteral("Saved image ./p.png"));
    // Of both the picture is said, too.
    WorkingFolder::setKey(QStringLiteral("File/Path"), QStringLiteral("nowhere"));
    window->saveImageByName(QStringLiteral("q"));
    QVERIFY(note(window).startsWith(QLatin1String("Picture not written: ")));
    const QString all = window->findChild<QLabel*>(QStringLiteral("statusNote"))->toolTip();
    QVERIFY(all.contains(QLatin1String("Measures not written: ")));
    // The next one that is written takes it away.
    WorkingFolder::setKey(QStringLiteral("File/Path"), QStringLiteral("."));
    window->saveImageByName(QStringLiteral("r"));
    QCOMPARE(note(window), QString());
    QVERIFY(QFile::exists(QStringLiteral("r.csv")));
}

void TestMeasureFiles::neverWithoutItsPicture() {
    for (const QByteArray& ini : {QByteArray("Measures=1\n"), QByteArray("Measures=1\nBackground=1\n")}) {
        WindowUnderTest window;
        start(window, ini);
        load(window);
        QVERIFY(QDir().mkdir(QStringLiteral("p.png")));
        window->saveImageByName(QStringLiteral("p"));
        window->close();
        QVERIFY(note(window).startsWith(QLatin1String("Picture not written: ")));
        QCOMPARE(tables(), QStringList());
    }
}

void TestMeasureFiles::inTheBackground() {
    WindowUnderTest window;
    start(window, "Measures=1\nBackground=1\n");
    load(window);
    for (const char* name : {"a", "b", "c"})
        window->saveScanned(QLatin1String(name));
    // As it was when the picture was taken.
    window.action("actionClear")->trigger();
    QTRY_COMPARE(tables().size(), 3);
    for (const QString& name : tables()) {
        QVERIFY(QFile::exists(QFileInfo(name).completeBaseName() + QStringLiteral(".png")));
        QVERIFY(lineOf(name, 1).contains(',' + QFileInfo(name).baseName().toLatin1() + ",Line,"));
    }
}

void TestMeasureFiles::failsInTheBackground() {
    WindowUnderTest window;
    start(window, "Measures=1\nBackground=1\n");
    load(window);
    QVERIFY(QDir().mkdir(QStringLiteral("p.csv")));
    window->saveImageByName(QStringLiteral("p"));
    QTRY_VERIFY(note(window).startsWith(QLatin1String("Measures not written: ")));
    QVERIFY(QFile::exists(QStringLiteral("p.png")));
    window->saveImageByName(QStringLiteral("q"));
    QTRY_COMPARE(note(window), QString());
}

void TestMeasureFiles::figuresHaveTheirSizeInFiles() {
    WindowUnderTest window;
    start(window, "Measures=0\n");
    load(window);
    window->saveImageByName(QStringLiteral("without"));
    const QImage without(QStringLiteral("without.png"));
    auto* scene = qobject_cast<InteractiveScene*>(window.view()->scene());
    for (const double zoom : {0.37, 3.0}) {
        scene->setFigureZoom(zoom);  // as the tools do
        window->saveImageByName(QStringLiteral("with"));
        QCOMPARE(QImage(QStringLiteral("with.png")), without);
        QCOMPARE(scene->figureZoom, zoom);
    }
}

void TestMeasureFiles::noDraftsInFiles_data() {
    QTest::addColumn<QString>("tool");
    QTest::addColumn<int>("clicks");
    QTest::addColumn<QByteArray>("background");
    for (const QByteArray& background : {QByteArray(), QByteArray("Background=1\n")}) {
        const char* where = background.isEmpty() ? "" : " in the background";
        QTest::addRow("level line%s", where) << QStringLiteral("measureHLine") << 0 << background;
        QTest::addRow("line%s", where) << QStringLiteral("measureLine") << 1 << background;
        QTest::addRow("arc%s", where) << QStringLiteral("measureArc") << 2 << background;
        QTest::addRow("polygon%s", where) << QStringLiteral("measurePolygon") << 3 << background;
    }
}

/// What is still being drawn is no measure: neither picture nor table has it.
void TestMeasureFiles::noDraftsInFiles() {
    QFETCH(QString, tool);
    QFETCH(int, clicks);
    QFETCH(QByteArray, background);
    WindowUnderTest window;
    start(window, "Measures=1\n" + background + "[View]\nMeasure=1\n[File]\n");
    load(window);
    const auto written = [&](const char* name) {
        window->saveImageByName(QLatin1String(name));
        const bool isThere = QTest::qWaitFor(
            [&] { return QFile::exists(QLatin1String(name) + QStringLiteral(".csv")); }, kWait);
        return isThere ? QImage(QLatin1String(name) + QStringLiteral(".png")) : QImage();
    };
    const QImage without = written("without");
    QVERIFY(!without.isNull());
    const auto figuresSeen = [&] {
        int seen = 0;
        const auto items = window.view()->scene()->items();
        for (QGraphicsItem* item : items)
            seen += dynamic_cast<FigureMark*>(item) ? 1 : 0;
        return seen;
    };
    window.action(qPrintable(tool))->trigger();
    const QPoint points[] = {{60, 60}, {200, 80}, {150, 200}};
    for (int i = 0; i < clicks; ++i)
        click(window, points[i]);
    hover(window, {300, 150});
    QCOMPARE(figuresSeen(), 2);
    const QPixmap seen = window.view()->viewport()->grab();
    QCOMPARE(written("with"), without);
    QCOMPARE(WorkingFolder::read(QStringLiteral("with.csv")).count("\r\n"), 2);
    // It goes on where it was.
    QCOMPARE(figuresSeen(), 2);
    QCOMPARE(window.view()->viewport()->grab().toImage(), seen.toImage());
}

void TestMeasureFiles::placedCrossHairIsInFiles() {
    WindowUnderTest window;
    start(window, "[View]\nMeasure=1\n[File]\n");
    const QImage without = saved(window, QStringLiteral("without"));
    window.action("actionTilt")->trigger();
    hover(window, {100, 100});
    QVERIFY(saved(window, QStringLiteral("with")) != without);
}

/// How far the view is zoomed makes no difference to the mark file.
void TestMeasureFiles::marksReadAndSavedStayAsTheyAre() {
    QByteArray hidden;
    for (const QByteArray& ini : {QByteArray(), QByteArray("[View]\nMeasure=1\n[File]\n")}) {
        WindowUnderTest window;
        start(window, ini);
        window.view()->resetTransform();
        window.view()->scale(0.29, 0.29);
        load(window, kLine + "Circle #00ff00 1 1 | 30 40 50 80 60 20\r\n");
        window.view()->viewport()->grab();
        window.action("actionSave_Corner")->trigger();
        const QByteArray saved = WorkingFolder::read(QStringLiteral("mark0.txt"));
        QCOMPARE(saved.count('|'), 2);
        if (ini.isEmpty())
            hidden = saved;
        QCOMPARE(saved, hidden);
    }
}

QTEST_MAIN(TestMeasureFiles)
#include "tst_measurefiles.moc"
