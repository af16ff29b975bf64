#include <QClipboard>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <cmath>

#include "calibration/calibrationfile.h"
#include "marks/figuremark.h"
#include "marks/interactivescene.h"
#include "measure/scaledialog.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"
#include "support/somecorrections.h"

namespace {

const QSize kFrame(320, 240);

// The rectangles of the two tiles, 13 x 9 and 12 x 9 cells of 20 px. They meet between pixels: tile 0 is cut
// at x = 300, tile 1 begins at its column 20, so that the seam is 0.3 px too wide.
const QVector<QPointF> kLeft = rectangle(40.4, 30.0, 300.4, 210.0);
const QVector<QPointF> kRight = rectangle(20.7, 30.0, 260.7, 210.0);
constexpr double kStep = 0.3;      // px
constexpr double kPerPixel = 0.5;  // mm
const QByteArray kScale = "CellWidth=10\nCellHeight=10\nCellWidthPx=20\nCellHeightPx=20\n";
const QByteArray kJoined = "X0=0\nY0=0\nX1=300\nY1=0\n";

QString key(const char* name) {
    return WorkingFolder::keyOnDisk(QStringLiteral("File/") + QLatin1String(name));
}

}  // namespace

/// The scale: where measures are mm and where they are px, what people are asked, what is kept.
class TestScaling : public QObject {
    Q_OBJECT

private slots:
    void init();
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
    void dialogAsksForTheCell();
    void dialogRefusesBadValues();
    void dialogAsksForALine();
    void lineOutsideIsNoScale();
    void cancelledDialogChangesNothing();
    void dialogInChinese();
    void executeRenewsTheCell();
    void executeWithoutAScaleStoresNone();
    void unitAloneStoresNoCell();
    void scaleAfterAnotherCalibration();
    void cellOfAnotherRun();
    void failedExecuteLeavesTheScale();
    void exchangedCalibration_data();
    void exchangedCalibration();
    void digitsThatAreStored();
    void whatIsNotTouchedStays_data();
    void whatIsNotTouchedStays();
    void smallCellsCanBeTyped();

private:
    static void start(WindowUnderTest& window, const QByteArray& file = kScale,
                      const QByteArray& pos = kJoined, bool isCalibrated = true, int language = 1);
    static void show(const WindowUnderTest& window);
    static void load(const WindowUnderTest& window, const QByteArray& lines);
    static Measure measure(const WindowUnderTest& window, int mark = 0);
    /// Marks the corners of both tiles and executes, for each of the counts of cells in x.
    static void execute(const WindowUnderTest& window, const QVector<QByteArray>& xCounts);
    /// Enters the size of a cell, mm, into the dialog.
    void enterCell(const WindowUnderTest& window, double x, double y);
    /// Opens the dialog by its button; `answer` is called once while it is up.
    void ask(const WindowUnderTest& window, const std::function<void(ScaleDialog&)>& answer);

    int dialogs = 0;
};

void TestScaling::init() {
    QVector<recording::Camera> cameras(2);
    for (auto& camera : cameras) {
        camera.width = kFrame.width();
        camera.height = kFrame.height();
        camera.queryStatus = 5;  // the frames of the test are the only ones
    }
    recording::reset(cameras);
    dialogs = 0;
}

void TestScaling::start(WindowUnderTest& window, const QByteArray& file, const QByteArray& pos,
                        bool isCalibrated, int language) {
    QVERIFY(
        WorkingFolder::write(QStringLiteral("setting.ini"),
                             "[View]\nMeasure=1\n[File]\nTrans=1\nXCount=\"13,12\"\nYCount=\"9,9\"\nLang=" +
                                 QByteArray::number(language) + "\n" + file + "[Pos]\n" + pos));
    QVERIFY(WorkingFolder::installTranslation());
    if (isCalibrated)
        QCOMPARE(writeCalibrations({calibrationOf(kLeft, kLeft), calibrationOf(kRight, kRight)}), QString());
    window.start();
    QTRY_VERIFY(window->isMaximized());
    show(window);
    window.answerer.boxes.clear();  // the hot key's: there is none on this platform
}

void TestScaling::show(const WindowUnderTest& window) {
    window.sendFrame(0, 50, 0, kFrame);
    window.sendFrame(1, 150, 0, kFrame);
}

void TestScaling::load(const WindowUnderTest& window, const QByteArray& lines) {
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), lines));
    window.action("actionLoad_Corner")->trigger();
}

Measure TestScaling::measure(const WindowUnderTest& window, int mark) {
    const auto* scene = qobject_cast<InteractiveScene*>(window.view()->scene());
    const auto* figure = dynamic_cast<FigureMark*>(scene->markList().value(mark));
    return figure ? figure->measures().value(0) : Measure();
}

void TestScaling::ask(const WindowUnderTest& window, const std::function<void(ScaleDialog&)>& answer) {
    QTimer timer;
    timer.callOnTimeout([&] {
        auto* dialog = qobject_cast<ScaleDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible())
            return;
        timer.stop();
        ++dialogs;
        answer(*dialog);
        if (dialog->isVisible())
            dialog->reject();
    });
    timer.start(10);
    window.action("measureScale")->trigger();
}

void TestScaling::enterCell(const WindowUnderTest& window, double x, double y) {
    ask(window, [=](ScaleDialog& dialog) {
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"))->setValue(x);
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellY"))->setValue(y);
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
}

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

void TestScaling::dialogAsksForTheCell() {
    WindowUnderTest window;
    start(window, {});
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    QStringList states;
    ask(window, [&](ScaleDialog& dialog) {
        const auto* state = dialog.findChild<QLabel*>(QStringLiteral("lblState"));
        QVERIFY(!dialog.findChild<QRadioButton*>(QStringLiteral("rbLine"))->isEnabled());
        states.append(state->text());
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"))->setValue(5.0);
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellY"))->setValue(5.0);
        states.append(state->text());
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellY"))->setValue(6.0);
        states.append(state->text());
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    QCOMPARE(states,
             (QStringList{QStringLiteral("Enter a size above 0."), QStringLiteral("One pixel is 0.25 mm."),
                          QStringLiteral("One pixel is 0.25 mm wide and 0.3 mm high.")}));
    // The px of a cell came from the calibration and its counts.
    QCOMPARE(key("CellWidth"), QStringLiteral("5"));
    QCOMPARE(key("CellHeight"), QStringLiteral("6"));
    QVERIFY(std::abs(key("CellWidthPx").toDouble() - 20.0) < 1e-4);
    QVERIFY(std::abs(key("CellHeightPx").toDouble() - 20.0) < 1e-4);
    QCOMPARE(key("Unit"), QStringLiteral("1"));
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    QVERIFY(std::abs(measure(window).value - 25.0) < 1e-3);
    // In another unit; the sizes are those that were entered.
    ask(window, [&](ScaleDialog& dialog) {
        QCOMPARE(dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellY"))->value(), 6.0);
        dialog.findChild<QComboBox*>(QStringLiteral("cbUnit"))->setCurrentIndex(2);
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    QCOMPARE(measure(window).unit, QStringLiteral("um"));
    QCOMPARE(key("CellHeight"), QStringLiteral("6"));
    window.end();
    window.start();
    QTRY_VERIFY(window->isMaximized());
    show(window);
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    QCOMPARE(measure(window).unit, QStringLiteral("um"));
}

void TestScaling::dialogRefusesBadValues() {
    WindowUnderTest window;
    start(window);
    ask(window, [&](ScaleDialog& dialog) {
        auto* box = dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"));
        const auto* ok = dialog.findChild<QPushButton*>(QStringLiteral("btnOK"));
        QVERIFY(ok->isEnabled());
        box->setValue(0.0);
        QVERIFY(!ok->isEnabled());
        QTest::keyClick(&dialog, Qt::Key_Return);
        QVERIFY(dialog.isVisible());
        // What cannot be a size cannot be typed.
        for (const char* text : {"-5", "1e308", "inf", "nan", "999999999"}) {
            box->selectAll();
            QTest::keyClicks(box, QLatin1String(text));
            QVERIFY2(box->value() >= 0.0 && box->value() <= 1e5, text);
        }
        box->setValue(0.0001);
        QVERIFY(ok->isEnabled());
    });
    QCOMPARE(dialogs, 1);
    QCOMPARE(key("CellWidth"), QStringLiteral("10"));
}

void TestScaling::dialogAsksForALine() {
    WindowUnderTest window;
    start(window, {});
    window.action("measureLine")->trigger();
    const auto* view = window.view();
    for (const QPointF point : {QPointF(100, 50), QPointF(200, 50)})
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(point));
    const double px = measure(window).value;
    QVERIFY(px > 90.0);
    ask(window, [&](ScaleDialog& dialog) {
        QVERIFY(dialog.findChild<QRadioButton*>(QStringLiteral("rbLine"))->isChecked());
        const auto* ok = dialog.findChild<QPushButton*>(QStringLiteral("btnOK"));
        QVERIFY(!ok->isEnabled());
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbLine"))->setValue(80.0);
        QVERIFY(ok->isEnabled());
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    QCOMPARE(dialogs, 1);
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    QVERIFY(std::abs(measure(window).value - 80.0) < 1e-3);
    QVERIFY(std::abs(key("CellWidth").toDouble() - 80.0 / px * 20.0) < 1e-3);
    // Asked again: what the line measures now. It is still selected.
    ask(window, [&](ScaleDialog& dialog) {
        QVERIFY(dialog.findChild<QRadioButton*>(QStringLiteral("rbCell"))->isChecked());
        QVERIFY(dialog.findChild<QRadioButton*>(QStringLiteral("rbLine"))->isEnabled());
        QCOMPARE(dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbLine"))->value(), 80.0);
    });
    QCOMPARE(dialogs, 2);
}

void TestScaling::lineOutsideIsNoScale() {
    WindowUnderTest window;
    start(window, {});
    window.action("actionEnable")->trigger();
    show(window);
    window.action("measureLine")->trigger();
    const auto* view = window.view();
    for (const QPointF point : {QPointF(100, 50), QPointF(200, 50)})
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(point));
    ask(window, [&](ScaleDialog& dialog) {
        QVERIFY(!dialog.findChild<QRadioButton*>(QStringLiteral("rbLine"))->isEnabled());
        QVERIFY(dialog.findChild<QLabel*>(QStringLiteral("lblState"))
                    ->text()
                    .contains(QLatin1String("Measures are pixels as long as the correction is off.")));
    });
    QCOMPARE(dialogs, 1);
}

void TestScaling::cancelledDialogChangesNothing() {
    WindowUnderTest window;
    start(window, {});
    const QByteArray before = WorkingFolder::read(QStringLiteral("setting.ini"));
    ask(window, [&](ScaleDialog& dialog) {
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"))->setValue(5.0);
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellY"))->setValue(5.0);
        dialog.findChild<QPushButton*>(QStringLiteral("btnCancel"))->click();
    });
    QCOMPARE(dialogs, 1);
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), before);
    QVERIFY(!window->findChild<ScaleDialog*>());
}

void TestScaling::dialogInChinese() {
    WindowUnderTest window;
    start(window, kScale, kJoined, true, 2);
    ask(window, [&](ScaleDialog& dialog) {
        QCOMPARE(dialog.windowTitle(), QString::fromUtf8("比例尺"));
        auto* state = dialog.findChild<QLabel*>(QStringLiteral("lblState"));
        QCOMPARE(state->text(), QString::fromUtf8("每像素 0.5 mm。"));
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"))->setValue(0.0);
        QCOMPARE(state->text(), QString::fromUtf8("请输入大于 0 的尺寸。"));
        // Other texts that are looked up meanwhile are English as ever.
        QCOMPARE(QCoreApplication::translate("MainWindow", "Restart"), QStringLiteral("Restart"));
    });
    QCOMPARE(dialogs, 1);
}

void TestScaling::execute(const WindowUnderTest& window, const QVector<QByteArray>& xCounts) {
    QByteArray marks;
    const auto add = [&](const QVector<QPointF>& corners, double dx) {
        for (const QPointF corner : corners)
            marks += QStringLiteral("Coordinates #0000ff 1 1 | %1 %2\r\n")
                         .arg(corner.x() + dx)
                         .arg(corner.y())
                         .toLatin1();
    };
    add(kLeft, 0);
    add(kRight, kFrame.width());
    load(window, marks);
    for (const QByteArray& counts : xCounts) {
        QTimer answer;
        answer.callOnTimeout([&] {
            auto* dialog = QApplication::activeModalWidget();
            if (!dialog || dialog->objectName() != QLatin1String("CalibrateDialog"))
                return;
            dialog->findChild<QLineEdit*>(QStringLiteral("leXCount"))->setText(QString::fromLatin1(counts));
            dialog->findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
        });
        answer.start(10);
        window.action("actionExecute")->trigger();
    }
}

void TestScaling::executeRenewsTheCell() {
    WindowUnderTest window;
    start(window, "CellWidth=10\nCellHeight=10\nCellWidthPx=77\nCellHeightPx=77\n",
          "X0=0\nY0=0\nX1=320\nY1=0\n", false);
    execute(window, {"0"});  // no cell: nothing is calibrated
    QCOMPARE(key("CellWidthPx"), QStringLiteral("77"));
    execute(window, {"13"});
    QVERIFY(std::abs(key("CellWidthPx").toDouble() - 20.0) < 1e-4);
    QVERIFY(std::abs(key("CellHeightPx").toDouble() - 20.0) < 1e-4);
    QCOMPARE(key("CellWidth"), QStringLiteral("10"));
    show(window);
    window.action("actionRearrange")->trigger();
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\nLine #ff0000 1 1 | 250 50 350 50\r\n");
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    QVERIFY(std::abs(measure(window).value - 50.0) < 1e-3);
    QTRY_COMPARE(measure(window, 1).unit, QStringLiteral("mm"));
    QVERIFY(std::abs(measure(window, 1).value - (100 - kStep) * kPerPixel) < 1e-3);
}

void TestScaling::executeWithoutAScaleStoresNone() {
    WindowUnderTest window;
    start(window, {}, "X0=0\nY0=0\nX1=320\nY1=0\n", false);
    execute(window, {"13"});
    QVERIFY(window.action("actionEnable")->isChecked());
    for (const char* name : {"CellWidth", "CellHeight", "CellWidthPx", "CellHeightPx", "Unit"})
        QVERIFY2(key(name).isNull(), name);
}

void TestScaling::unitAloneStoresNoCell() {
    WindowUnderTest window;
    start(window, {});
    ask(window, [](ScaleDialog& dialog) {
        dialog.findChild<QComboBox*>(QStringLiteral("cbUnit"))->setCurrentIndex(0);
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    QCOMPARE(key("Unit"), QStringLiteral("0"));
    for (const char* name : {"CellWidth", "CellHeight", "CellWidthPx", "CellHeightPx"})
        QVERIFY2(key(name).isNull(), name);
}

/// What was asked before the last calibration is not what a cell has now.
void TestScaling::scaleAfterAnotherCalibration() {
    WindowUnderTest window;
    start(window, "CellWidthPx=20\nCellHeightPx=20\n", "X0=0\nY0=0\nX1=320\nY1=0\n", false);
    execute(window, {"13"});
    enterCell(window, 0, 0);  // cannot be accepted
    execute(window, {"26"});
    QVERIFY(key("CellWidthPx").isNull());
    show(window);
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\nLine #ff0000 1 1 | 100 50 100 150\r\n");
    enterCell(window, 5, 10);  // of 10 x 20 px
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    QVERIFY(std::abs(measure(window, 0).value - 50.0) < 1e-3);
    QVERIFY(std::abs(measure(window, 1).value - 50.0) < 1e-3);
    QVERIFY(std::abs(key("CellWidthPx").toDouble() - 10.0) < 1e-4);
}

/// An earlier run has left it in the settings; the calibration is another one.
void TestScaling::cellOfAnotherRun() {
    WindowUnderTest window;
    start(window, "CellWidthPx=77\nCellHeightPx=77\n");
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    enterCell(window, 10, 10);
    QVERIFY(std::abs(measure(window).value - 50.0) < 1e-3);
    QVERIFY(std::abs(key("CellWidthPx").toDouble() - 20.0) < 1e-4);
}

/// Its counts are stored, but the calibration in use was made with others.
void TestScaling::failedExecuteLeavesTheScale() {
    WindowUnderTest window;
    start(window, {}, "X0=0\nY0=0\nX1=320\nY1=0\n", false);
    execute(window, {"13"});
    execute(window, {"0"});
    QVERIFY(!key("XCount").contains(QLatin1String("13")));
    show(window);
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    enterCell(window, 10, 10);
    QVERIFY(std::abs(measure(window).value - 50.0) < 1e-3);
    window.end();
    window.start();
    QTRY_VERIFY(window->isMaximized());
    show(window);
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\n");
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    QVERIFY(std::abs(measure(window).value - 50.0) < 1e-3);
}

void TestScaling::exchangedCalibration_data() {
    QTest::addColumn<QByteArray>("px");
    QTest::addColumn<double>("cell");
    // Of 13 x 9 cells of 18.3 px.
    QTest::newRow("of another one") << QByteArray("CellWidthPx=20\nCellHeightPx=20\n") << 18.3;
    QTest::newRow("of another one in y alone") << QByteArray("CellWidthPx=18.3\nCellHeightPx=20\n") << 18.3;
    QTest::newRow("none") << QByteArray() << 18.3;
    QTest::newRow("no numbers") << QByteArray("CellWidthPx=nan\nCellHeightPx=inf\n") << 18.3;
    // The counts in the settings are those of an Execute that failed.
    QTest::newRow("its own") << QByteArray("CellWidthPx=36.6\nCellHeightPx=18.3\nXCount=\"10,10\"\n") << 36.6;
}

void TestScaling::exchangedCalibration() {
    QFETCH(QByteArray, px);
    QFETCH(double, cell);
    const bool isDoubled = cell > 20.0;
    const auto upright = rectangle(40.0, 30.0, isDoubled ? 40.0 + 7 * 36.6 : 277.9, 194.7);
    WindowUnderTest window;
    QCOMPARE(writeCalibrations({calibrationOf(upright, upright), calibrationOf(upright, upright)}),
             QString());
    start(window, "CellWidth=10\nCellHeight=10\n" + px, "X0=0\nY0=0\nX1=238\nY1=0\n", false);
    window.action("actionRearrange")->trigger();
    load(window, "Line #ff0000 1 1 | 100 50 200 50\r\nLine #ff0000 1 1 | 100 50 100 150\r\n");
    QTRY_COMPARE(measure(window).unit, QStringLiteral("mm"));
    QVERIFY2(std::abs(measure(window, 0).value - 1000.0 / cell) < 1e-3,
             qPrintable(QString::number(measure(window, 0).value)));
    QVERIFY2(std::abs(measure(window, 1).value - 1000.0 / 18.3) < 1e-3,
             qPrintable(QString::number(measure(window, 1).value)));
}

void TestScaling::digitsThatAreStored() {
    WindowUnderTest window;
    start(window, {});
    window.action("measureLine")->trigger();
    const auto* view = window.view();
    for (const QPointF point : {QPointF(100, 50), QPointF(200, 90)})
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(point));
    ask(window, [](ScaleDialog& dialog) {
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbLine"))->setValue(77.7);
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    for (const char* name : {"CellWidth", "CellHeight", "CellWidthPx", "CellHeightPx"}) {
        QVERIFY2(key(name).toDouble() > 0.0, name);
        QVERIFY2(key(name).size() <= 11, qPrintable(key(name)));
    }
}

void TestScaling::whatIsNotTouchedStays_data() {
    QTest::addColumn<QByteArray>("width");
    QTest::addColumn<QByteArray>("height");
    QTest::addColumn<bool>("byLine");
    for (const bool byLine : {false, true}) {
        const char* how = byLine ? "by a line" : "by a cell";
        QTest::addRow("%s", how) << QByteArray("0.0213456") << QByteArray("0.0213457") << byLine;
        QTest::addRow("%s, all digits", how)
            << QByteArray("10.12345678901234") << QByteArray("0.1234567890123") << byLine;
        QTest::addRow("%s, small", how) << QByteArray("0.00002") << QByteArray("0.000003") << byLine;
        QTest::addRow("%s, large", how) << QByteArray("250000.5") << QByteArray("250001") << byLine;
    }
}

/// Who opens the dialog to look at it, or for the unit, has not asked for another scale.
void TestScaling::whatIsNotTouchedStays() {
    QFETCH(QByteArray, width);
    QFETCH(QByteArray, height);
    QFETCH(bool, byLine);
    WindowUnderTest window;
    start(window, "CellWidth=" + width + "\nCellHeight=" + height + "\nCellWidthPx=20\nCellHeightPx=20\n");
    window.action("measureLine")->trigger();
    const auto* view = window.view();
    for (const QPointF point : {QPointF(100, 50), QPointF(200, 90)})
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(point));
    const double before = measure(window).value;
    QCOMPARE(measure(window).unit, QStringLiteral("mm"));
    for (const int unit : {1, 2}) {
        ask(window, [&](ScaleDialog& dialog) {
            if (byLine)
                dialog.findChild<QRadioButton*>(QStringLiteral("rbLine"))->setChecked(true);
            dialog.findChild<QComboBox*>(QStringLiteral("cbUnit"))->setCurrentIndex(unit);
            auto* ok = dialog.findChild<QPushButton*>(QStringLiteral("btnOK"));
            QVERIFY(ok->isEnabled());
            ok->click();
        });
        QCOMPARE(key("CellWidth"), QString::fromLatin1(width));
        QCOMPARE(key("CellHeight"), QString::fromLatin1(height));
        const double expected = unit == 1 ? before : before * 1000;
        QVERIFY(std::abs(measure(window).value - expected) < 1e-6 * expected);  // in single precision
    }
    QCOMPARE(dialogs, 2);
    // One side alone.
    ask(window, [&](ScaleDialog& dialog) {
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"))->setValue(7.5);
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    QCOMPARE(key("CellWidth"), QStringLiteral("7.5"));
    QCOMPARE(key("CellHeight").toDouble(), height.toDouble());
}

void TestScaling::smallCellsCanBeTyped() {
    WindowUnderTest window;
    start(window);
    ask(window, [](ScaleDialog& dialog) {
        for (const char* name : {"sbCellX", "sbCellY"}) {
            auto* box = dialog.findChild<QDoubleSpinBox*>(QLatin1String(name));
            QCOMPARE(box->text(), QStringLiteral("10.0000 mm"));
            box->selectAll();
            QTest::keyClicks(box, QStringLiteral("0.0000215"));
        }
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    QCOMPARE(key("CellWidth").toDouble(), 2.15e-5);
    ask(window, [](ScaleDialog& dialog) {
        QCOMPARE(dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"))->text(),
                 QStringLiteral("0.0000215 mm"));
    });
    QCOMPARE(dialogs, 2);
}

QTEST_MAIN(TestScaling)
#include "tst_scaling.moc"
