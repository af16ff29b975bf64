// SPDX-License-Identifier: Apache-2.0
#include <QClipboard>
#include <QDoubleSpinBox>
#include <QPushButton>
#include <cmath>

#include "measure/scaledialog.h"
#include "support/mainwindowtest.h"
#include "support/scaledwindow.h"

/// The scale: where measures are mm and where they are px.
class TestScaling : public QObject, private ScaledWindow {
    Q_OBJECT

private slots:
    void init() { setUp(); }
    void pixelsWithoutAScale();
    void millimetresOnCorrectedTiles();
    void units_data();
    void units();
    void acrossTheSeam();
    void snapsOnTheSeam();
    void oblongPixels();
    void outsideTheTiles();
    void correctionSwitchedOffAndOn();
    void tiltSwitchesItOff();
    void tileDraggedAway();
    void coordinatesGoWithADraggedTile();
    void frozenPicturesStayWhatTheyAre();
    void valuesOfNoUse_data();
    void valuesOfNoUse();
    void withoutCalibration();
};

void TestScaling::pixelsWithoutAScale() {
    WindowUnderTest window;
    start(window, {});
    QCOMPARE(window.tiles()[1]->pixmap().width(), 299);  // corrected
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    QCOMPARE(measure(window).unit, QStringLiteral("pix"));
    QCOMPARE(measure(window).value, 100.0);
}

void TestScaling::millimetresOnCorrectedTiles() {
    WindowUnderTest window;
    start(window);
    load(window,
         "Line #ff0000 1 1 | 100 50 200 50\r\nLine #ff0000 1 1 | 310 60 310 160\r\n"
         "Rectangle #ff0000 1 1 | 100 100 140 120 0\r\n");
    for (const int line : {0, 1}) {
        QCOMPARE(measure(window, line).unit, QStringLiteral("mm"));
        QCOMPARE(measure(window, line).value, 100 * kPerPixel);
    }
}

void TestScaling::units_data() {
    QTest::addColumn<QByteArray>("unit");
    QTest::addColumn<QString>("text");
    QTest::addColumn<double>("value");
    QTest::newRow("pix") << QByteArray("0") << QStringLiteral("pix") << 100.0;
    QTest::newRow("mm") << QByteArray("1") << QStringLiteral("mm") << 50.0;
    QTest::newRow("um") << QByteArray("2") << QStringLiteral("um") << 50000.0;
    QTest::newRow("any other") << QByteArray("9") << QStringLiteral("um") << 50000.0;
}

void TestScaling::units() {
    QFETCH(QByteArray, unit);
    QFETCH(QString, text);
    QFETCH(double, value);
    WindowUnderTest window;
    start(window, kScale + "Unit=" + unit + "\n");
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    QCOMPARE(measure(window).unit, text);
    QCOMPARE(measure(window).value, value);
}

void TestScaling::acrossTheSeam() {
    WindowUnderTest window;
    start(window);
    load(window, "Line #ff0000 1 1 | 250 50 350 50\r\nCircle #ff0000 1 1 | 280 100 320 100 300 120\r\n");
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    QVERIFY(std::abs(measure(window).value - (100 - kStep) * kPerPixel) < 1e-3);
    QCOMPARE(measure(window, 1).unit, QStringLiteral("mm"));
}

// Half of a corner is in each of the tiles: the left one ends where the right one begins, at kLeft's and
// kRight's own corners.
void TestScaling::snapsOnTheSeam() {
    WindowUnderTest window;
    start(window);
    constexpr double kRow = 100.2;    // frame px
    constexpr double kCells = 120.0;  // px from the seam to another corner
    for (int tile = 0; tile < 2; ++tile) {
        const double seam = tile == 0 ? kLeft[1].x() : kRight[0].x();
        auto* pixels = new unsigned char[size_t(kFrame.width()) * size_t(kFrame.height())];
        for (int y = 0; y < kFrame.height(); ++y) {
            for (int x = 0; x < kFrame.width(); ++x) {
                const auto edge = [](double away) { return std::clamp(away, -1.0, 1.0); };
                const double across = edge(x - seam) * edge(x - seam + kCells) * edge(y - kRow);
                pixels[y * kFrame.width() + x] = static_cast<unsigned char>(120 + 80 * across);
            }
        }
        const QImage frame(pixels, kFrame.width(), kFrame.height(), kFrame.width(),
                           QImage::Format_Grayscale8);
        window->process(tile, frame, pixels, quint64(QDateTime::currentMSecsSinceEpoch()));
    }
    window.view()->resetTransform();
    window.action("measureLine")->trigger();
    for (const QPoint beside : {QPoint(302, 102), QPoint(182, 99)}) {
        const QPoint place = window.view()->mapFromScene(beside);
        QTest::mouseMove(window.view()->viewport(), place);
        QTest::mouseClick(window.view()->viewport(), Qt::LeftButton, Qt::ControlModifier, place);
    }
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    QVERIFY2(std::abs(measure(window).value - kCells * kPerPixel) < 0.2 * kPerPixel,
             qPrintable(QString::number(measure(window).value)));
}

void TestScaling::oblongPixels() {
    WindowUnderTest window;
    start(window, "CellWidth=10\nCellHeight=20\nCellWidthPx=20\nCellHeightPx=20\n");
    load(window,
         "Line #ff0000 1 1 | 100 50 130 50\r\nLine #ff0000 1 1 | 100 50 100 80\r\n"
         "Line #ff0000 1 1 | 100 50 130 90\r\n");
    QCOMPARE(measure(window, 0).value, 15.0);
    QCOMPARE(measure(window, 1).value, 30.0);
    QVERIFY(std::abs(measure(window, 2).value - std::hypot(15.0, 40.0)) < 1e-3);
}

void TestScaling::outsideTheTiles() {
    WindowUnderTest window;
    start(window);
    // The last column of pixels is seen from 598 to 599; half a px beside them is still in the tile.
    load(window,
         "Line #ff0000 1 1 | 500 50 599.4 50\r\nLine #ff0000 1 1 | 500 50 599.6 50\r\n"
         "Line #ff0000 1 1 | 100 -5 100 50\r\n");
    QCOMPARE(measure(window, 0).unit, QStringLiteral("mm"));
    QCOMPARE(measure(window, 1).unit, QStringLiteral("pix"));
    QCOMPARE(measure(window, 2).unit, QStringLiteral("pix"));
}

void TestScaling::correctionSwitchedOffAndOn() {
    WindowUnderTest window;
    start(window);
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    // At once, whether frames come or not: that is what is written beside the button.
    window.action("actionEnable")->trigger();
    QCOMPARE(measure(window).unit, QStringLiteral("pix"));
    show(window);
    QCOMPARE(measure(window).unit, QStringLiteral("pix"));
    // On again: the tiles still show uncorrected pictures.
    window.action("actionEnable")->trigger();
    QCOMPARE(measure(window).unit, QStringLiteral("pix"));
    show(window);
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
}

void TestScaling::tiltSwitchesItOff() {
    WindowUnderTest window;
    start(window);
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    window.action("actionTilt")->trigger();
    QCOMPARE(measure(window).unit, QStringLiteral("pix"));
}

void TestScaling::tileDraggedAway() {
    WindowUnderTest window;
    start(window);
    load(window, "Line #ff0000 1 1 | 250 50 350 50\r\nLine #ff0000 1 1 | 350 60 450 60\r\n");
    QCOMPARE(measure(window, 0).unit, QStringLiteral("mm"));
    // What is saved or copied before the view has been painted is right, too.
    window.tiles()[1]->moveBy(0, 3);
    window.action("measureCopy")->trigger();
    QCOMPARE(QApplication::clipboard()->text().count(QLatin1String("\tpix")), 1);
    window.tiles()[1]->moveBy(0, -3);
    window->saveImageByName(QStringLiteral("p"));
    QCOMPARE(measure(window, 0).unit, QStringLiteral("mm"));
    window.tiles()[1]->moveBy(2, 0);
    // The picture that is painted next has to be right.
    QTRY_COMPARE(measure(window, 0).unit, QStringLiteral("pix"));
    QCOMPARE(measure(window, 1).unit, QStringLiteral("mm"));
    // All together they still join.
    window.tiles()[0]->moveBy(2, 0);
    QTRY_COMPARE(measure(window, 0).unit, QStringLiteral("mm"));
    window.tiles()[0]->moveBy(0, 7);
    QTRY_COMPARE(measure(window, 0).unit, QStringLiteral("pix"));
    window.action("actionRearrange")->trigger();
    QTRY_COMPARE(measure(window, 0).unit, QStringLiteral("mm"));
}

/// The lines stay where they are; what the tile shows there has the coordinate that it had.
void TestScaling::coordinatesGoWithADraggedTile() {
    WindowUnderTest window;
    start(window);
    load(window, "VLine #00ff00 1 1 | 350 60\r\nVLine #00ff00 1 1 | 100 60\r\n");
    const auto isAt = [&](int mark, double mm) {
        const Measure found = measure(window, mark);
        return found.unit == QLatin1String("mm") && std::abs(found.value - mm) < 0.01;
    };
    const double second = (350 - kStep) * kPerPixel;
    QVERIFY(isAt(0, second));
    QVERIFY(isAt(1, 50.0));
    window.tiles()[1]->moveBy(20, 0);
    QTRY_VERIFY(isAt(0, second - 20 * kPerPixel));
    QVERIFY(isAt(1, 50.0));
    window.tiles()[0]->moveBy(-30, 5);
    QTRY_VERIFY(isAt(1, 50.0 + 30 * kPerPixel));
    QVERIFY(isAt(0, second - 20 * kPerPixel));
    // Dragged over the first one, it is what is seen there.
    window.tiles()[1]->moveBy(-270, 0);
    QTRY_VERIFY(isAt(1, second));
}

void TestScaling::frozenPicturesStayWhatTheyAre() {
    WindowUnderTest window;
    start(window);
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    window.action("actionEnable")->trigger();
    show(window);
    window.action("actionFreeze")->trigger();
    window.action("actionEnable")->trigger();
    show(window);
    // The corrected frame is kept aside until a picture is saved.
    QCOMPARE(measure(window).unit, QStringLiteral("pix"));
    window->saveImage();
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
}

void TestScaling::valuesOfNoUse_data() {
    QTest::addColumn<QByteArray>("file");
    QTest::newRow("zero") << QByteArray("CellWidth=0\nCellHeight=10\n");
    QTest::newRow("negative") << QByteArray("CellWidth=-10\nCellHeight=-10\n");
    QTest::newRow("one alone") << QByteArray("CellWidth=10\n");
    QTest::newRow("no number") << QByteArray("CellWidth=ten\nCellHeight=10\n");
    QTest::newRow("absurd") << QByteArray("CellWidth=1e308\nCellHeight=1e308\n");
    QTest::newRow("infinite") << QByteArray("CellWidth=inf\nCellHeight=nan\n");
    QTest::newRow("tiny") << QByteArray("CellWidth=1e-300\nCellHeight=10\n");
}

void TestScaling::valuesOfNoUse() {
    QFETCH(QByteArray, file);
    WindowUnderTest window;
    start(window, file + "CellWidthPx=20\nCellHeightPx=20\n");
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    QCOMPARE(measure(window).unit, QStringLiteral("pix"));
    QCOMPARE(measure(window).value, 100.0);
    window->saveImageByName(QStringLiteral("p"));
    ask(window, [](ScaleDialog&) {});
    QCOMPARE(dialogs, 1);
}

void TestScaling::withoutCalibration() {
    WindowUnderTest window;
    start(window, "CellWidth=10\nCellHeight=10\n", kJoined, false);
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    QCOMPARE(measure(window).unit, QStringLiteral("pix"));
    QString state;
    ask(window, [&](ScaleDialog& dialog) {
        state = dialog.findChild<QLabel*>(QStringLiteral("lblState"))->text();
        // The size of a cell is known before the cameras are calibrated.
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"))->setValue(12.5);
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    QCOMPARE(state, QStringLiteral("Measures are pixels until the cameras are calibrated."));
    QCOMPARE(key("CellWidth"), QStringLiteral("12.5"));
    QVERIFY(key("CellWidthPx").isNull());
    QCOMPARE(measure(window).unit, QStringLiteral("pix"));
}

QTEST_MAIN(TestScaling)
#include "tst_scaling.moc"
