// SPDX-License-Identifier: Apache-2.0
#include <QClipboard>
#include <QDoubleSpinBox>
#include <QJsonObject>
#include <QLineEdit>
#include <QPushButton>
#include <cstdio>
#include <optional>

#include "calibration/calibratedialog.h"
#include "calibration/calibrationfile.h"
#include "calibration/cropgeometry.h"
#include "camera/kvcap2.h"
#include "marks/coordinatesmark.h"
#include "measure/scaledialog.h"
#include "support/measureonscreen.h"
#include "support/simulatedstation.h"

namespace {

constexpr double kCell = 20.0;  // mm, of the simulated sheet
constexpr int kColumns = 10;    // cells of a camera's rectangle
constexpr int kRows = 5;
const QSize kFrame(1280, 720);

}  // namespace

/// Measuring at a station with two simulated cameras, by a real mouse and keys: corners that snap, a
/// calibration by them, the scale, a line across the seam in mm, and taking it along; and everything that can
/// happen while a figure is being drawn.
class TestMeasureAtStation : public QObject, private SimulatedStation {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void snappedCornersJoinAndMeasureInMillimetres();
    void whileAFigureIsBeingDrawn_data();
    void whileAFigureIsBeingDrawn();
    void endsWhileAFigureIsBeingDrawn_data();
    void endsWhileAFigureIsBeingDrawn();

private:
    void start(const QByteArray& file = {});
    QPointF cellCorner(double column, double row) const;
    bool markCorners();
    bool execute();
    bool enterScale();
    QList<CoordinatesMark*> crossHairs() const;
    static QString otherProgramsClipboard();

    std::unique_ptr<WindowUnderTest> window;
    std::unique_ptr<MeasureOnScreen> hand;
};

void TestMeasureAtStation::initTestCase() {
    attachCameras("Modes=1280x720\nRate=10\n");
    const QJsonObject sheet = groundTruth["scene"].toObject();
    QCOMPARE(sheet["cell"].toDouble() / sheet["unitsPerMillimetre"].toDouble(), kCell);
}

void TestMeasureAtStation::cleanup() {
    MeasureOnScreen::xdo(QStringLiteral("mouseup 1 keyup ctrl"));  // of a test that failed
    hand.reset();
    window.reset();
}

void TestMeasureAtStation::start(const QByteArray& file) {
    window = std::make_unique<WindowUnderTest>();
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[View]\nMeasure=1\n[File]\nLang=1\nType=2\nXCount=1,1\nYCount=1,1\n" +
                                     file + "[Pos]\nX0=0\nY0=0\nX1=1280\nY1=0\n"));
    QVERIFY(WorkingFolder::installTranslation());
    window->start();
    hand = std::make_unique<MeasureOnScreen>(*window);
    QVERIFY(QTest::qWaitForWindowActive(window->get(), kWait));
    QVERIFY(window->waitForTiles(2));
    QTRY_COMPARE_WITH_TIMEOUT(hand->scene()->sceneRect().width(), 2560.0, kWait);
    QTRY_COMPARE_WITH_TIMEOUT((*window)->width(), (*window)->screen()->size().width(), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(window->isFitted(), kWait);
}

/// Where the sheet's grid is seen in the joined picture, scene px; cells from the first rectangle's corner,
/// on into the second. As well as whole px of a seam can be.
QPointF TestMeasureAtStation::cellCorner(double column, double row) const {
    CornerTable corners;
    for (int camera = 0; camera < 2; ++camera) {
        const auto calibration = readCalibration(calibrationFileName(camera));
        for (int i = 0; calibration && i < 4; ++i)
            corners[size_t(camera)].append({double(calibration->cornerDst.at<float>(i, 0)),
                                            double(calibration->cornerDst.at<float>(i, 1))});
    }
    const auto geometry = computeCropGeometry(corners, 2, 1, kFrame);
    if (!geometry)
        return {};
    const QPointF first = corners[0][TopLeft];
    const QPointF size = corners[0][BottomRight] - first;
    const QPointF cut = cropRectangle(*geometry, corners, 1, 0).topLeft();
    return window->tiles()[0]->pos() - cut + first +
           QPointF(column * size.x() / kColumns, row * size.y() / kRows);
}

QList<CoordinatesMark*> TestMeasureAtStation::crossHairs() const {
    QList<CoordinatesMark*> found;
    for (Mark* mark : hand->scene()->markList()) {
        if (auto* crossHair = dynamic_cast<CoordinatesMark*>(mark))
            found.append(crossHair);
    }
    return found;
}

/// Each with Ctrl, three px beside the printed mark.
bool TestMeasureAtStation::markCorners() {
    const QPoint beside[] = {{3, 0}, {0, -3}, {-2, 2}, {2, 2}};
    int count = 0;
    for (int camera = 0; camera < 2; ++camera) {
        for (const int index : {2, 1, 0, 3}) {
            const QPointF wanted = corner(camera, index) + window->tiles()[camera]->pos();
            hand->view()->centerOn(wanted);
            if (!hand->pressButton("actionTilt") || !MeasureOnScreen::xdo(QStringLiteral("keydown ctrl")) ||
                !hand->click(hand->placeOf(wanted + QPointF(0.5, 0.5)) + beside[index]) ||
                !MeasureOnScreen::xdo(QStringLiteral("keyup ctrl")) ||
                !QTest::qWaitFor([&] { return hand->scene()->markCount() == count + 1; }, kWait))
                return false;
            const double off = QLineF(crossHairs()[count]->point(), wanted).length();
            qInfo("corner %d of camera %d: %.3f px off", index, camera, off);
            if (off > 0.3)
                return false;
            ++count;
        }
    }
    return true;
}

/// The counts, typed over what the dialog proposes.
bool TestMeasureAtStation::execute() {
    QTimer watch;
    bool answered = false;
    watch.callOnTimeout([&] {
        auto* dialog = qobject_cast<CalibrateDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isActiveWindow() || answered)
            return;
        answered = true;
        const char* const names[] = {"leXCount", "leXCount1", "leYCount", "leYCount1"};
        const char* const counts[] = {"10", "10", "5", "5"};
        for (int i = 0; i < 4; ++i)
            dialog->findChild<QLineEdit*>(QLatin1String(names[i]))->setText(QLatin1String(counts[i]));
        dialog->findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    watch.start(50);
    return hand->pressButton("actionExecute") &&
           QTest::qWaitFor([&] { return window->action("actionEnable")->isChecked(); }, 2 * kWait);
}

/// By the keyboard: the first field has it.
bool TestMeasureAtStation::enterScale() {
    QTimer watch;
    bool answered = false;
    QString state;
    watch.callOnTimeout([&] {
        auto* dialog = qobject_cast<ScaleDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isActiveWindow() || answered)
            return;
        answered = true;
        const auto* height = dialog->findChild<QDoubleSpinBox*>(QStringLiteral("sbCellY"));
        const bool typed = MeasureOnScreen::xdo(QStringLiteral("key ctrl+a 2 0 Tab ctrl+a 2 0")) &&
                           QTest::qWaitFor([&] { return height->value() == kCell; }, kWait);
        state = dialog->findChild<QLabel*>(QStringLiteral("lblState"))->text();
        if (!typed || !MeasureOnScreen::xdo(QStringLiteral("key Return")))
            dialog->reject();
    });
    watch.start(50);
    return hand->pressButton("measureScale") &&
           QTest::qWaitFor(
               [&] {
                   return WorkingFolder::keyOnDisk(QStringLiteral("File/CellHeight")) == QLatin1String("20");
               },
               kWait) &&
           state.startsWith(QLatin1String("One pixel is "));
}

/// What another process gets of it.
QString TestMeasureAtStation::otherProgramsClipboard() {
    QProcess other;
    other.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--clipboard")});
    if (!QTest::qWaitFor([&] { return other.state() == QProcess::NotRunning; }, kWait))
        return {};
    return QString::fromUtf8(other.readAllStandardOutput());
}

void TestMeasureAtStation::snappedCornersJoinAndMeasureInMillimetres() {
    start("Measures=1\n");
    QVERIFY(hand->zoomTo(1.0));
    QVERIFY(markCorners());
    QVERIFY(execute());
    QTRY_VERIFY_WITH_TIMEOUT(window->tiles()[0]->pixmap().width() < kFrame.width() &&
                                 window->tiles()[1]->pixmap().width() < kFrame.width(),
                             kWait);
    QVERIFY(hand->pressButton("actionRearrange"));
    QTRY_COMPARE_WITH_TIMEOUT(window->tiles()[1]->pos(), QPointF(window->tiles()[0]->pixmap().width(), 0),
                              kWait);
    QVERIFY(enterScale());
    QVERIFY(hand->pressButton("actionClear"));
    QTRY_COMPARE_WITH_TIMEOUT(hand->scene()->markCount(), 0, kWait);

    // Across the seam, from one ringed mark to another, beside which the mouse is. Both ends are not in sight
    // at once.
    const struct {
        QPointF from, to;  // cells
        double scale;
    } lines[] = {{{0, 0}, {20, 5}, 1.0}, {{0, 5}, {20, 5}, 1.0}, {{0, 5}, {20, 0}, 3.0}};
    const QPointF beside[] = {{2, -2}, {-2, 2}};  // px
    int count = 0;
    for (const auto& line : lines) {
        QVERIFY(hand->zoomTo(line.scale));
        QVERIFY(hand->pressButton("measureLine"));
        const QPointF ends[] = {line.from, line.to};
        QVERIFY(MeasureOnScreen::xdo(QStringLiteral("keydown ctrl")));
        for (int i = 0; i < 2; ++i) {
            const QPointF place = cellCorner(ends[i].x(), ends[i].y()) + QPointF(0.5, 0.5);
            hand->view()->centerOn(place);
            QVERIFY(hand->click(hand->placeOf(place + beside[i])));
        }
        QVERIFY(MeasureOnScreen::xdo(QStringLiteral("keyup ctrl")));
        ++count;
        QTRY_COMPARE_WITH_TIMEOUT(hand->scene()->markCount(), count, kWait);
        const Measure length = hand->figure(count - 1)->measures().value(0);
        const double truth = kCell * std::hypot(line.to.x() - line.from.x(), line.to.y() - line.from.y());
        const double millimetresAPixel =
            kCell * kColumns / QLineF(cellCorner(0, 0), cellCorner(10, 0)).length();
        QCOMPARE(length.unit, QStringLiteral("mm"));
        QVERIFY2(qAbs(length.value - truth) <= std::max(0.001 * truth, 0.5 * millimetresAPixel),
                 qPrintable(QStringLiteral("%1 mm are %2 mm").arg(truth).arg(length.value)));
        const QVector<QPointF> points = hand->points(count - 1);
        QVERIFY(points[0].x() < window->tiles()[1]->x() && points[1].x() > window->tiles()[1]->x());
    }

    // Taken along: by the button, and by the keys after one is gone.
    QVERIFY(hand->pressButton("measureCopy"));
    const auto isTold = [&](int lineCount) {
        // The other one may give up before this process answers it.
        return QTest::qWaitFor(
            [&] {
                const QStringList table =
                    otherProgramsClipboard().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
                if (table.size() != lineCount + 1 || table[0] != QLatin1String("kind\tpoints\tvalues\tunit"))
                    return false;
                for (int i = 0; i < lineCount; ++i) {
                    const QStringList cells = table[i + 1].split(QLatin1Char('\t'));
                    if (cells.size() != 4 || cells[0] != QLatin1String("Line") ||
                        cells[2] != valueText(hand->figure(i)->measures().value(0)) ||
                        cells[3] != QLatin1String("mm"))
                        return false;
                }
                return true;
            },
            kWait);
    };
    QVERIFY(isTold(count));
    QVERIFY(hand->keys(QStringLiteral("ctrl+z")));
    --count;
    QTRY_COMPARE_WITH_TIMEOUT(hand->scene()->markCount(), count, kWait);
    QVERIFY(hand->keys(QStringLiteral("ctrl+c")));
    QVERIFY(isTold(count));

    // And beside the picture that the hot key saves.
    QVERIFY(window->answerer.boxes.isEmpty());
    const QDir folder;
    QCOMPARE(folder.entryList({QStringLiteral("*.csv"), QStringLiteral("*.png")}), QStringList());
    QVERIFY(hand->keys(QStringLiteral("ctrl+w")));
    const auto saved = [&folder](const QString& pattern) { return folder.entryList({pattern}).value(0); };
    QTRY_VERIFY_WITH_TIMEOUT(!saved(QStringLiteral("snapshot-*.csv")).isEmpty(), kWait);
    const QString table = saved(QStringLiteral("snapshot-*.csv"));
    const QString picture = saved(QStringLiteral("snapshot-*.png"));
    QCOMPARE(QFileInfo(table).completeBaseName(), QFileInfo(picture).completeBaseName());
    QVERIFY(!QImage(picture).isNull());
    const QStringList rows =
        QString::fromUtf8(WorkingFolder::read(table)).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
    QCOMPARE(rows.size(), count + 1);
    for (int i = 0; i < count; ++i)
        QVERIFY2(rows[i + 1].endsWith(QLatin1Char(',') + valueText(hand->figure(i)->measures().value(0)) +
                                      QStringLiteral(",mm")),
                 qPrintable(rows[i + 1]));
}

// ---- what can happen meanwhile -------------------------------------------------------------------

/// A figure is begun, then something happens; the tool goes on, whatever becomes of the figure.
void TestMeasureAtStation::whileAFigureIsBeingDrawn_data() {
    QTest::addColumn<QByteArray>("happening");
    QTest::addColumn<bool>("goesOn");
    // By a button, or by a menu where there is none.
    QTest::newRow("language") << QByteArray("actionEnglish_Chinese") << true;
    QTest::newRow("freeze") << QByteArray("actionFreeze") << true;
    QTest::newRow("pause") << QByteArray("action_Stop") << true;
    QTest::newRow("play") << QByteArray("action_Play") << true;
    QTest::newRow("save") << QByteArray("action_Save") << true;
    QTest::newRow("save corner") << QByteArray("actionSave_Corner") << true;
    QTest::newRow("clear") << QByteArray("actionClear") << false;
    QTest::newRow("load corner") << QByteArray("actionLoad_Corner") << false;
    QTest::newRow("barcode") << QByteArray("actionBarcode") << false;
    QTest::newRow("date and time") << QByteArray("actionDate_Time") << false;
    QTest::newRow("tilt") << QByteArray("actionTilt") << false;
    QTest::newRow("rearrange") << QByteArray("actionRearrange") << true;
}

void TestMeasureAtStation::whileAFigureIsBeingDrawn() {
    QFETCH(QByteArray, happening);
    QFETCH(bool, goesOn);
    start();
    QVERIFY(hand->pressButton("measureLine"));
    QVERIFY(hand->click({-300, -150}));
    QVERIFY(hand->click({-200, -150}));
    QVERIFY(hand->pressButton("actionSave_Corner"));  // for Load Corner
    const struct {
        const char* tool;
        QVector<QPoint> clicks;  // as many as it takes
    } tools[] = {{"measurePolygon", {{-100, 0}, {120, 50}, {30, -90}}},
                 {"measureHLine", {{30, -90}}},
                 {"measureLine", {{-100, 0}, {120, 50}}},
                 {"measureCircle", {{-100, 0}, {120, 50}, {30, -90}}}};
    // Those that end by themselves differ where marks come and go.
    const int count = happening == "actionLoad_Corner" || happening == "actionTilt" ? 4 : 2;
    const bool places =
        happening == "actionBarcode" || happening == "actionDate_Time" || happening == "actionTilt";
    for (int k = 0; k < count; ++k) {
        const auto& tool = tools[k];
        const int before = hand->scene()->markCount();
        QVERIFY(hand->pressButton(tool.tool));
        // All but its last point.
        for (int i = 0; i + 1 < tool.clicks.size(); ++i)
            QVERIFY(hand->click(tool.clicks[i]));
        QVERIFY(hand->moveTo(tool.clicks.last() + QPoint(7, 5)));
        QVERIFY(hand->draft());
        if (!hand->pressButton(happening))
            window->action(happening)->trigger();
        QVERIFY(hand->moveTo({200, 100}));
        if (places) {
            QTRY_VERIFY_WITH_TIMEOUT(!hand->draft(), kWait);
            QVERIFY(hand->click({200, 100}));
            QTRY_VERIFY_WITH_TIMEOUT(!hand->scene()->isPlacing(), kWait);
        }
        if (happening == "actionBarcode") {
            // What is typed meanwhile is a barcode, arrows or not.
            QVERIFY(hand->keys(QStringLiteral("a Left 7")));
            QTRY_COMPARE_WITH_TIMEOUT(hand->scene()->barcode(), QStringLiteral("a7"), kWait);
            QVERIFY(hand->keys(QStringLiteral("BackSpace BackSpace")));
        }
        const int begun = goesOn ? hand->pointsTaken() : 0;
        if (goesOn)
            QCOMPARE(begun, tool.clicks.size() - 1);
        const int now = hand->scene()->markCount();
        if (goesOn)
            QCOMPARE(now, before);
        for (int i = hand->pointsTaken(); i < tool.clicks.size(); ++i)
            QVERIFY(hand->click(tool.clicks[i]));
        if (hand->pointsTaken() > 0)  // a polygon
            QVERIFY(hand->click(tool.clicks.last(), 3));
        QCOMPARE(hand->scene()->markCount(), now + 1);
        QVERIFY(!hand->draft() || hand->pointsTaken() == 0);
    }
    // The pictures that were saved meanwhile are all there, and the program goes on.
    QVERIFY(hand->pressButton("measureSelect"));
    QVERIFY(hand->keys(QStringLiteral("Delete")));
}

void TestMeasureAtStation::endsWhileAFigureIsBeingDrawn_data() {
    QTest::addColumn<QByteArray>("tool");
    QTest::addColumn<bool>("held");
    QTest::newRow("line begun") << QByteArray("measureLine") << false;
    QTest::newRow("line being dragged") << QByteArray("measureLine") << true;
    QTest::newRow("polygon begun") << QByteArray("measurePolygon") << false;
    QTest::newRow("line that follows the mouse") << QByteArray("measureVLine") << false;
    QTest::newRow("cross-hair that follows the mouse") << QByteArray("actionTilt") << false;
    QTest::newRow("figure being moved") << QByteArray("measureSelect") << true;
}

/// Everything is taken down in order: that is for the sanitizers to say, and what is kept is kept.
void TestMeasureAtStation::endsWhileAFigureIsBeingDrawn() {
    QFETCH(QByteArray, tool);
    QFETCH(bool, held);
    start();
    QVERIFY(hand->pressButton("measureLine"));
    QVERIFY(hand->drag({-60, 0}, {60, 0}));
    QCOMPARE(hand->scene()->markCount(), 1);
    QVERIFY(hand->pressButton(tool));
    QVERIFY(hand->moveTo({-5, 0}));
    if (held)
        QVERIFY(hand->press());
    else if (tool == "measureLine" || tool == "measurePolygon")
        QVERIFY(hand->click({-5, 0}));
    QVERIFY(hand->moveTo({40, 70}));
    QVERIFY((*window)->close());
    hand.reset();
    QVERIFY(MeasureOnScreen::xdo(QStringLiteral("mouseup 1")));
    window->end();
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("View/Measure")), QStringLiteral("1"));
    window->start();
    QVERIFY(window->waitForTiles(2));
    QVERIFY((*window)->findChild<QToolBar*>(QStringLiteral("measureBar"))->isVisible());
}

namespace {

int runTest(int argc, char* argv[]) {
    QApplication application(argc, argv);
    TestMeasureAtStation test;
    return QTest::qExec(&test, argc, argv);
}

/// As another program on the same desktop.
int tellClipboard(int argc, char* argv[]) {
    const QApplication application(argc, argv);
    std::fputs(QApplication::clipboard()->text().toUtf8().constData(), stdout);
    return 0;
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc == 2 && qstrcmp(argv[1], "--clipboard") == 0)
        return tellClipboard(argc, argv);
    return runOnDesktop(argc, argv, &runTest);
}

#include "tst_measureatstation.moc"
