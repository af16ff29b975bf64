// SPDX-License-Identifier: Apache-2.0
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <opencv2/imgproc.hpp>

#include "calibration/calibratedialog.h"
#include "calibration/calibrationfile.h"
#include "calibration/correction.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

namespace {

const QSize kFrame(320, 240);
constexpr int kTiles = 2;
const QString kKey = QStringLiteral("File/Smooth");

/// The marked corners of a tile in frame px, in the order of a file.
QVector<QPointF> markedIn(int tile) {
    return {{40.3 + 3.1 * tile, 30.7 + 2.3 * tile},
            {260.8 + tile, 36.2},
            {35.4, 200.9 - tile},
            {270.6, 205.1 + 2 * tile}};
}

/// A frame that is different everywhere, for each tile and each `moment`.
QImage frameOf(int tile, int moment, QImage::Format format, QSize size) {
    QImage image(size, format);
    cv::RNG random(1000 + static_cast<uint64_t>(10 * moment + tile));
    for (int y = 0; y < image.height(); ++y) {
        cv::Mat row(1, image.width() * image.depth() / 8, CV_8U, image.scanLine(y));
        random.fill(row, cv::RNG::UNIFORM, 0, 256);
    }
    return image;
}

QImage asShown(const QImage& image) {
    return image.convertToFormat(QImage::Format_RGB32);
}

}  // namespace

/// The window with File/Smooth: what is shown and what is in the files, against the plain way.
class TestSmooth : public QObject {
    Q_OBJECT

private slots:
    void init();
    void viewAndFiles_data();
    void viewAndFiles();
    void valuesOfTheKey_data();
    void valuesOfTheKey();
    void heldPictures();
    void framesOfAnotherSize();
    void afterExecute();
    void keyIsNeverWritten();

private:
    static void start(WindowUnderTest& window, const QByteArray& ini);
    static void show(const WindowUnderTest& window, int moment = 0,
                     QImage::Format format = QImage::Format_Grayscale8, QSize size = kFrame);
    static void execute(const WindowUnderTest& window, const QString& counts);
    static Correction correction(bool isSmooth);
    /// What tile `tile` has to show of its frame, by the calibration files in the folder.
    static QImage expected(int tile, bool isSmooth, int moment = 0,
                           QImage::Format format = QImage::Format_Grayscale8, QSize size = kFrame);
    /// The same of the whole scene.
    static QImage composite(const WindowUnderTest& window, bool isSmooth, int moment,
                            QImage::Format format = QImage::Format_Grayscale8);
    static QImage shownBy(const WindowUnderTest& window, int tile) {
        return asShown(window.tiles()[tile]->pixmap().toImage());
    }
};

void TestSmooth::init() {
    QVector<recording::Camera> cameras(kTiles);
    for (auto& camera : cameras) {
        camera.width = kFrame.width();
        camera.height = kFrame.height();
        camera.queryStatus = 5;  // the frames of the test are the only ones
    }
    recording::reset(cameras);
}

/// Two corrected tiles in a row, with a first picture each.
void TestSmooth::start(WindowUnderTest& window, const QByteArray& ini) {
    CornerLists corners;
    for (int tile = 0; tile < kTiles; ++tile) {
        for (const QPointF& corner : markedIn(tile))
            corners[size_t(tile)].append({corner.x(), corner.y(), nullptr});
    }
    QVERIFY(writeCalibrations(computeCalibrations(corners, {10, 10, 0, 0}, {5, 5, 0, 0}, kTiles).tiles)
                .isEmpty());
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[File]\nLang=1\nType=2\nTrans=1\nWidth=320\nHeight=240\n" + ini +
                                     "[Pos]\nX0=0\nY0=0\nX1=320\nY1=0\n"));
    window.start();
    QTRY_VERIFY(window->isMaximized());
    show(window);
    window.action("actionRearrange")->trigger();
    window.answerer.boxes.clear();  // the hot key's: there is none on this platform
}

void TestSmooth::show(const WindowUnderTest& window, int moment, QImage::Format format, QSize size) {
    for (int tile = 0; tile < kTiles; ++tile) {
        const QImage frame = frameOf(tile, moment, format, size);
        auto* buffer = new unsigned char[static_cast<size_t>(frame.sizeInBytes())];
        std::copy_n(frame.constBits(), frame.sizeInBytes(), buffer);
        const QImage wrapped(buffer, frame.width(), frame.height(), frame.bytesPerLine(), format);
        window->process(tile, wrapped, buffer, static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
    }
}

Correction TestSmooth::correction(bool isSmooth) {
    Correction correction;
    correction.isSmooth = isSmooth;
    for (int tile = 0; tile < kTiles; ++tile) {
        const auto calibration = readCalibration(QStringLiteral("Cal%1.xml").arg(tile));
        if (!calibration || !correction.take(tile, *calibration, kFrame))
            qFatal("no calibration");
    }
    return correction;
}

QImage TestSmooth::expected(int tile, bool isSmooth, int moment, QImage::Format format, QSize size) {
    return asShown(
        correctedPicture(frameOf(tile, moment, format, size), correction(isSmooth), tile, kTiles, 1));
}

QImage TestSmooth::composite(const WindowUnderTest& window, bool isSmooth, int moment,
                             QImage::Format format) {
    QImage image(window.view()->scene()->sceneRect().size().toSize(), QImage::Format_RGB32);
    QPainter painter(&image);
    for (int tile = 0; tile < kTiles; ++tile)
        painter.drawImage(window.tiles()[tile]->pos(), expected(tile, isSmooth, moment, format));
    return image;
}

void TestSmooth::viewAndFiles_data() {
    QTest::addColumn<QImage::Format>("format");
    QTest::newRow("grey") << QImage::Format_Grayscale8;
    QTest::newRow("colour") << QImage::Format_RGB888;
}

void TestSmooth::viewAndFiles() {
    QFETCH(QImage::Format, format);
    WindowUnderTest window;
    start(window, "Smooth=1\n");
    show(window, 1, format);
    for (int tile = 0; tile < kTiles; ++tile) {
        QCOMPARE(shownBy(window, tile), expected(tile, true, 1, format));
        QVERIFY(shownBy(window, tile) != expected(tile, false, 1, format));
    }
    // Whole pictures, in all three ways, and a single tile.
    const QImage whole = composite(window, true, 1, format);
    QVERIFY(whole != composite(window, false, 1, format));
    window.action("action_Save")->trigger();
    window->saveScanned(QStringLiteral("code"));
    window->saveImageByName(QStringLiteral("named"));
    const QStringList files = QDir().entryList({QStringLiteral("*.png")});
    QCOMPARE(files.size(), 3);
    for (const QString& name : files) {
        QCOMPARE(asShown(QImage(name)), whole);
        QVERIFY(QFile::remove(name));
    }
    auto* tile = window.tiles()[1];
    tile->setFlags(QGraphicsItem::ItemIsSelectable);
    tile->setSelected(true);
    window.action("actionSave_Single")->trigger();
    const QStringList single = QDir().entryList({QStringLiteral("*.png")});
    QCOMPARE(single.size(), 1);
    QCOMPARE(asShown(QImage(single[0])), expected(1, true, 1, format));
}

void TestSmooth::valuesOfTheKey_data() {
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("isSmooth");
    QTest::newRow("absent") << QByteArray() << false;
    QTest::newRow("0") << QByteArray("Smooth=0\n") << false;
    QTest::newRow("1") << QByteArray("Smooth=1\n") << true;
    QTest::newRow("another number") << QByteArray("Smooth=-2\n") << true;
    QTest::newRow("no number") << QByteArray("Smooth=bilinear\n") << false;
    QTest::newRow("nothing") << QByteArray("Smooth=\n") << false;
}

void TestSmooth::valuesOfTheKey() {
    QFETCH(QByteArray, line);
    QFETCH(bool, isSmooth);
    WindowUnderTest window;
    start(window, line);
    for (int tile = 0; tile < kTiles; ++tile) {
        QCOMPARE(shownBy(window, tile), expected(tile, isSmooth));
        QVERIFY(shownBy(window, tile) != expected(tile, !isSmooth));
    }
    // It is read at the start only.
    WorkingFolder::setKey(kKey, isSmooth ? 0 : 1);
    show(window, 1);
    QCOMPARE(shownBy(window, 0), expected(0, isSmooth, 1));
}

void TestSmooth::heldPictures() {
    WindowUnderTest window;
    start(window, "Smooth=1\nFreezeImage=true\n");
    show(window, 1);
    QCOMPARE(shownBy(window, 0), expected(0, true, 0));
    window->saveScanned(QStringLiteral("held"));
    QCOMPARE(asShown(QImage(QStringLiteral("held.png"))), composite(window, true, 1));
    QCOMPARE(shownBy(window, 0), expected(0, true, 1));
}

/// As where a camera was set to another size: corrected the plain way.
void TestSmooth::framesOfAnotherSize() {
    WindowUnderTest window;
    start(window, "Smooth=1\n");
    const QSize smaller(300, 200);
    show(window, 1, QImage::Format_Grayscale8, smaller);
    for (int tile = 0; tile < kTiles; ++tile) {
        QCOMPARE(shownBy(window, tile), expected(tile, true, 1, QImage::Format_Grayscale8, smaller));
        QVERIFY(shownBy(window, tile) != expected(tile, false, 1, QImage::Format_Grayscale8, smaller));
    }
    show(window, 2);
    QCOMPARE(shownBy(window, 0), expected(0, true, 2));
}

void TestSmooth::execute(const WindowUnderTest& window, const QString& counts) {
    QTimer answer;
    answer.callOnTimeout([&] {
        auto* dialog = qobject_cast<CalibrateDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible())
            return;
        for (const char* name : {"leXCount", "leXCount1", "leYCount", "leYCount1"})
            dialog->findChild<QLineEdit*>(QLatin1String(name))->setText(counts);
        dialog->findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    answer.start(10);
    window.action("actionExecute")->trigger();
}

void TestSmooth::afterExecute() {
    WindowUnderTest window;
    start(window, "Smooth=1\n");
    window.action("actionEnable")->trigger();
    show(window);
    QByteArray marks;
    for (int tile = 0; tile < kTiles; ++tile) {
        const auto corners = markedIn(tile);
        for (const QPointF& corner : corners)
            marks += QStringLiteral("Coordinates #0000ff 1 1 | %1 %2\r\n")
                         .arg(corner.x() + tile * kFrame.width())
                         .arg(corner.y())
                         .toLatin1();
    }
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), marks));
    window.action("actionLoad_Corner")->trigger();
    const QByteArray before = WorkingFolder::read(QStringLiteral("Cal1.xml"));
    execute(window, QStringLiteral("7"));
    QVERIFY(WorkingFolder::read(QStringLiteral("Cal1.xml")) != before);
    show(window, 1);
    for (int tile = 0; tile < kTiles; ++tile) {
        QCOMPARE(shownBy(window, tile), expected(tile, true, 1));
        QVERIFY(shownBy(window, tile) != expected(tile, false, 1));
    }
}

void TestSmooth::keyIsNeverWritten() {
    WindowUnderTest window;
    start(window, "");
    window.action("actionEnable")->trigger();
    window.action("actionEnable")->trigger();
    window.action("action_Save")->trigger();
    QVERIFY(WorkingFolder::keyOnDisk(kKey).isNull());
    window.end();
    QVERIFY(WorkingFolder::keyOnDisk(kKey).isNull());
}

QTEST_MAIN(TestSmooth)
#include "tst_smooth.moc"
