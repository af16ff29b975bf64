#include <QLineEdit>
#include <QPushButton>
#include <opencv2/imgproc.hpp>

#include "calibration/calibratedialog.h"
#include "calibration/calibrationfile.h"
#include "marks/coordinatesmark.h"
#include "marks/interactivescene.h"
#include "platform/fileset.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

namespace {

const QSize kFrame(320, 240);

struct Quad {
    QPointF corners[4];
};

/// The marked corners of tile `i` in frame px, a little different in each, in the order of a file.
Quad markedIn(int i) {
    return {{{40.3 + 3.1 * i, 30.7 + 2.3 * i}, {260.8 + i, 36.2}, {35.4, 200.9 - i}, {270.6, 205.1 + 2 * i}}};
}

QStringList texts(const QVector<int>& counts) {
    QStringList list;
    for (const int count : counts)
        list.append(QString::number(count));
    return list;
}

/// A frame that is different everywhere and for each tile.
QImage frameOf(int tile, QImage::Format format) {
    QImage image(kFrame, format);
    cv::RNG random(1000 + static_cast<uint64_t>(tile));
    for (int y = 0; y < image.height(); ++y) {
        cv::Mat row(1, image.width() * image.depth() / 8, CV_8U, image.scanLine(y));
        random.fill(row, cv::RNG::UNIFORM, 0, 256);
    }
    return image;
}

}  // namespace

/// Execute in the main window: from marks to corrected pictures, and everything that keeps it from them.
class TestCalibrating : public QObject {
    Q_OBJECT

private slots:
    void init();
    void picturesAreThoseOfOpenCv_data();
    void picturesAreThoseOfOpenCv();
    void filesAndKeys();
    void survivesARestart();
    void draggedCornersCountAtTheirNewPlace();
    void wrongNumberOfMarks_data();
    void wrongNumberOfMarks();
    void otherMarksCountToo();
    void otherMarksAreNamed_data();
    void otherMarksAreNamed();
    void otherMarksFitByAccident();
    void otherNotesStay();
    void otherMarksAreForgotten();
    void noCamera();
    void cancelledDialogChangesNothing();
    void countsAreStoredAlsoWhenCornersAreMissing();
    void failureSwitchesNothingOn();
    void badCountsLeaveEverything_data();
    void badCountsLeaveEverything();
    void unwritableFileChangesNothing();
    void filesOfACutOffRunAreFinished();
    void withoutMapsNothingIsOn();
    void againWithOtherCounts();
    void cornersOfAFileAreNotRefreshed();
    void rearrangedAfterwards_data();
    void rearrangedAfterwards();

private:
    static void start(WindowUnderTest& window, int count, const QByteArray& ini = {});
    static void loadMarks(const WindowUnderTest& window, int count, int layoutMode,
                          const QByteArray& more = {});
    void execute(const WindowUnderTest& window, const QStringList& xs = {}, bool accept = true);
    static void show(const WindowUnderTest& window, int tile, QImage::Format format);
    static QImage expected(int tile, int count, int layoutMode, const QVector<int>& xs,
                           const QVector<int>& ys, QImage::Format format);
    static QVector<QGraphicsPixmapItem*> items(const WindowUnderTest& window);

    int dialogs = 0;
};

void TestCalibrating::init() {
    QVector<recording::Camera> cameras(4);
    for (int i = 0; i < 4; ++i) {
        cameras[i].serial = "SN" + QByteArray::number(i);
        cameras[i].width = kFrame.width();
        cameras[i].height = kFrame.height();
        cameras[i].queryStatus = 5;  // the frames of the test are the only ones
    }
    recording::reset(cameras);
    dialogs = 0;
}

void TestCalibrating::start(WindowUnderTest& window, int count, const QByteArray& ini) {
    QVERIFY(WorkingFolder::write(
        QStringLiteral("setting.ini"),
        ini + "[File]\nLang=1\n[Pos]\nX0=0\nY0=0\nX1=320\nY1=0\nX2=640\nY2=0\nX3=960\nY3=0\n"));
    recording::setReportedCount(count);
    window.start();
    QTRY_VERIFY(window->isMaximized());
    for (int i = 0; i < count; ++i)
        show(window, i, QImage::Format_Grayscale8);
    window.answerer.boxes.clear();  // the hot key's: there is none on this platform
}

void TestCalibrating::show(const WindowUnderTest& window, int tile, QImage::Format format) {
    const QImage frame = frameOf(tile, format);
    auto* buffer = new unsigned char[static_cast<size_t>(frame.sizeInBytes())];
    std::copy_n(frame.constBits(), frame.sizeInBytes(), buffer);
    const QImage wrapped(buffer, frame.width(), frame.height(), frame.bytesPerLine(), format);
    window->process(tile, wrapped, buffer, static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
}

/// Tile items in the order of their making, which is that of the tiles.
QVector<QGraphicsPixmapItem*> TestCalibrating::items(const WindowUnderTest& window) {
    QVector<QGraphicsPixmapItem*> found;
    const auto all = window.view()->scene()->items(Qt::AscendingOrder);
    for (QGraphicsItem* item : all) {
        if (auto* tile = qgraphicsitem_cast<QGraphicsPixmapItem*>(item))
            found.append(tile);
    }
    return found;
}

/// By Load Corner; in an order that has to be put right.
void TestCalibrating::loadMarks(const WindowUnderTest& window, int count, int layoutMode,
                                const QByteArray& more) {
    QByteArray content = more;
    for (int i = 0; i < count; ++i) {
        const QPointF origin = layoutMode == 0 ? QPointF(i % 2 * kFrame.width(), i / 2 * kFrame.height())
                                               : QPointF(i * kFrame.width(), 0);
        for (const int corner : {3, 0, 2, 1}) {
            const QPointF point = origin + markedIn(i).corners[corner];
            content += QStringLiteral("Coordinates #0000ff 1 1 | %1 %2\r\n")
                           .arg(point.x())
                           .arg(point.y())
                           .toLatin1();
        }
    }
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), content));
    window.action("actionLoad_Corner")->trigger();
}

/// Triggers Execute and answers its dialog; counts that are given are typed in.
void TestCalibrating::execute(const WindowUnderTest& window, const QStringList& counts, bool accept) {
    QTimer answer;
    answer.callOnTimeout([&] {
        auto* dialog = qobject_cast<CalibrateDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible())
            return;
        ++dialogs;
        const char* names[] = {"leXCount", "leXCount1", "leXCount2", "leXCount3",
                               "leYCount", "leYCount1", "leYCount2", "leYCount3"};
        for (int i = 0; i < counts.size(); ++i)
            dialog->findChild<QLineEdit*>(QLatin1String(names[i]))->setText(counts[i]);
        dialog->findChild<QPushButton*>(accept ? QStringLiteral("btnOK") : QStringLiteral("btnCancel"))
            ->click();
    });
    answer.start(10);
    window.action("actionExecute")->trigger();
}

/// What tile `tile` has to show, computed with OpenCV and plain arithmetic from the marks and counts alone.
QImage TestCalibrating::expected(int tile, int count, int layoutMode, const QVector<int>& xs,
                                 const QVector<int>& ys, QImage::Format format) {
    const auto at = [](QPointF point) { return cv::Point2f(float(point.x()), float(point.y())); };
    const Quad zero = markedIn(0);
    const auto cellW = float((zero.corners[1].x() - zero.corners[0].x()) / xs[0]);
    const auto cellH = float((zero.corners[3].y() - zero.corners[0].y()) / ys[0]);
    std::array<std::array<cv::Point2f, 4>, 4> dst;
    for (int i = 0; i < count; ++i) {
        const cv::Point2f tl = at(markedIn(i).corners[0]);
        const float right = tl.x + float(xs[i]) * cellW;
        const float bottom = tl.y + float(ys[i]) * cellH;
        dst[size_t(i)] = {tl, cv::Point2f(right, tl.y), cv::Point2f(tl.x, bottom),
                          cv::Point2f(right, bottom)};
    }
    cv::Point2f src[4];
    for (int i = 0; i < 4; ++i)
        src[i] = at(markedIn(tile).corners[i]);
    const cv::Mat transform = cv::getPerspectiveTransform(src, dst[size_t(tile)].data(), cv::DECOMP_LU);
    cv::Mat inverse = transform.inv(cv::DECOMP_LU);
    inverse.convertTo(inverse, CV_32F);
    const int w = kFrame.width();
    const int h = kFrame.height();
    const auto tl = [&](int i) { return cv::Point2d(dst[size_t(i)][0]); };
    const auto tr = [&](int i) { return cv::Point2d(dst[size_t(i)][1]); };
    const auto bl = [&](int i) { return cv::Point2d(dst[size_t(i)][2]); };
    cv::Rect crop;
    if (layoutMode != 0) {
        int topMin = int(tr(0).y);
        int topMax = topMin;
        for (int i = 1; i < count; ++i) {
            topMin = std::min(topMin, int(tr(i).y));
            topMax = std::max(topMax, int(tr(i).y));
        }
        crop.x = tile == 0 ? 0 : int(tl(tile).x);
        crop.y = int(tr(tile).y - topMin);
        crop.height = topMin - topMax + h;
        crop.width = tile == 0 ? int(tr(0).x) : int(tr(tile).x - tl(tile).x);
        if (tile == count - 1)
            crop.width = int(w - tl(tile).x);
    } else {
        const int left = std::min(int(tr(0).x), int(tr(2).x));
        const int right = std::min(int(w - tl(1).x), int(w - tl(3).x));
        const int top = std::min(int(bl(0).y), int(bl(1).y));
        const int bottom = std::min(int(h - tl(2).y), int(h - tl(3).y));
        if (tile == 0)
            crop = {int(tr(0).x - left), int(bl(0).y - top), left, top};
        else if (tile == 1)
            crop = {int(tl(1).x), int(bl(1).y - top), right, top};
        else if (tile == 2)
            crop = {int(tr(2).x - left), int(tl(2).y), left, bottom};
        else
            crop = {int(tl(3).x), int(tl(3).y), right, bottom};
    }
    // Also where it reaches past the picture.
    cv::Mat grid(crop.height, crop.width, CV_32FC2);
    for (int r = 0; r < grid.rows; ++r)
        for (int c = 0; c < grid.cols; ++c)
            grid.at<cv::Vec2f>(r, c) = {float(crop.x + c), float(crop.y + r)};
    cv::perspectiveTransform(grid, grid, inverse);
    std::vector<cv::Mat> channels;
    cv::split(grid, channels);
    cv::Mat mapX;
    cv::Mat mapY;
    cv::convertMaps(channels[0], channels[1], mapX, mapY, CV_32FC1, false);
    const QImage frame = frameOf(tile, format);
    const cv::Mat input(frame.height(), frame.width(),
                        format == QImage::Format_Grayscale8 ? CV_8UC1 : CV_8UC3,
                        const_cast<uchar*>(frame.constBits()), size_t(frame.bytesPerLine()));
    cv::Mat output;
    cv::remap(input, output, mapX, mapY, cv::INTER_NEAREST, cv::BORDER_REPLICATE, cv::Scalar(0));
    return QImage(output.data, output.cols, output.rows, int(output.step), format).copy();
}

void TestCalibrating::picturesAreThoseOfOpenCv_data() {
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("layoutMode");
    QTest::addColumn<QVector<int>>("counts");
    QTest::addColumn<int>("format");
    // Counts that make the rectangles a little smaller and larger than what was marked, or larger than the
    // frame.
    const QVector<int> fitting{10, 10, 9, 11, 5, 5, 5, 5};
    const QVector<int> past{10, 14, 15, 14, 5, 5, 7, 8};
    for (const int count : {1, 2, 3, 4})
        QTest::addRow("row of %d", count) << count << 1 << fitting << int(QImage::Format_Grayscale8);
    QTest::newRow("grid") << 4 << 0 << fitting << int(QImage::Format_Grayscale8);
    QTest::newRow("row of 2, colour") << 2 << 1 << fitting << int(QImage::Format_RGB888);
    QTest::newRow("grid, colour") << 4 << 0 << fitting << int(QImage::Format_RGB888);
    QTest::newRow("row of 4, past the edge") << 4 << 1 << past << int(QImage::Format_Grayscale8);
    QTest::newRow("grid, past the edge, colour") << 4 << 0 << past << int(QImage::Format_RGB888);
}

void TestCalibrating::picturesAreThoseOfOpenCv() {
    QFETCH(int, count);
    QFETCH(int, layoutMode);
    QFETCH(QVector<int>, counts);
    QFETCH(int, format);
    WindowUnderTest window;
    start(window, count, "[Camera]\nMode=" + QByteArray::number(layoutMode) + "\n");
    loadMarks(window, count, layoutMode);
    execute(window, texts(counts));
    QCOMPARE(dialogs, 1);
    QVERIFY(window.action("actionEnable")->isChecked());
    for (int i = 0; i < count; ++i) {
        show(window, i, static_cast<QImage::Format>(format));
        const QImage shown = items(window)[i]->pixmap().toImage().convertToFormat(QImage::Format_RGB32);
        const QImage wanted = expected(i, count, layoutMode, counts.mid(0, 4), counts.mid(4),
                                       static_cast<QImage::Format>(format));
        QCOMPARE(shown, wanted.convertToFormat(QImage::Format_RGB32));
    }
}

void TestCalibrating::filesAndKeys() {
    WindowUnderTest window;
    start(window, 2, "[File]\nXCount=\"7,8,9,1\"\nYCount=\"3,3,3,1\"\nTrans=0\n");
    loadMarks(window, 2, 1);
    QVERIFY(!window.action("actionEnable")->isEnabled());
    QFile::remove(QStringLiteral("mark0.txt"));
    execute(window);
    QVERIFY(window.answerer.boxes.isEmpty());
    // As many counts as cameras, whatever there was.
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/XCount")), QStringLiteral("\"7,8\""));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/YCount")), QStringLiteral("\"3,3\""));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Trans")), QStringLiteral("1"));
    QVERIFY(window.action("actionEnable")->isEnabled());
    QVERIFY(window.action("actionEnable")->isChecked());
    QCOMPARE(WorkingFolder::read(QStringLiteral("mark0.txt")).count("\r\n"), 8);
    QCOMPARE(QDir().entryList({QStringLiteral("Cal*")}),
             (QStringList{QStringLiteral("Cal0.xml"), QStringLiteral("Cal1.xml")}));
    for (int i = 0; i < 2; ++i) {
        const auto calibration = readCalibration(calibrationFileName(i));
        QVERIFY(calibration);
        for (int corner = 0; corner < 4; ++corner) {
            QCOMPARE(calibration->cornerSrc.at<float>(corner, 0), float(markedIn(i).corners[corner].x()));
            QCOMPARE(calibration->cornerSrc.at<float>(corner, 1), float(markedIn(i).corners[corner].y()));
        }
    }
    // Off and on again by hand.
    window.action("actionEnable")->trigger();
    show(window, 0, QImage::Format_Grayscale8);
    QCOMPARE(items(window)[0]->pixmap().size(), kFrame);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Trans")), QStringLiteral("0"));
    window.action("actionEnable")->trigger();
    show(window, 0, QImage::Format_Grayscale8);
    QVERIFY(items(window)[0]->pixmap().size() != kFrame);
}

void TestCalibrating::survivesARestart() {
    WindowUnderTest window;
    start(window, 3);
    loadMarks(window, 3, 1);
    execute(window);
    for (int i = 0; i < 3; ++i)
        show(window, i, QImage::Format_Grayscale8);
    window.action("actionRearrange")->trigger();
    QVector<QImage> pictures;
    QVector<QPointF> places;
    for (const auto* item : items(window)) {
        pictures.append(item->pixmap().toImage());
        places.append(item->pos());
    }
    QCOMPARE(places[1], QPointF(pictures[0].width(), 0));
    window.end();
    window.start();
    QTRY_VERIFY(window->isMaximized());
    QVERIFY(window.action("actionEnable")->isChecked());
    for (int i = 0; i < 3; ++i)
        show(window, i, QImage::Format_Grayscale8);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(items(window)[i]->pixmap().toImage(), pictures[i]);
        QCOMPARE(items(window)[i]->pos(), places[i]);
    }
}

void TestCalibrating::draggedCornersCountAtTheirNewPlace() {
    WindowUnderTest window;
    start(window, 2);
    loadMarks(window, 2, 1);
    CoordinatesMark* topLeft = nullptr;
    for (QGraphicsItem* item : window.view()->scene()->items()) {
        auto* mark = dynamic_cast<CoordinatesMark*>(item);
        if (mark && QLineF(mark->point(), QPointF(320, 0) + markedIn(1).corners[0]).length() < 0.01)
            topLeft = mark;
    }
    QVERIFY(topLeft);
    // Into the other tile: it stays a corner of its own, with a place outside its picture.
    topLeft->shiftBy(-53, 4);
    execute(window);
    const auto calibration = readCalibration(calibrationFileName(1));
    QVERIFY(calibration);
    QCOMPARE(calibration->cornerSrc.at<float>(0, 0), float(markedIn(1).corners[0].x() - 53));
    QCOMPARE(calibration->cornerSrc.at<float>(0, 1), float(markedIn(1).corners[0].y() + 4));
}

void TestCalibrating::wrongNumberOfMarks_data() {
    QTest::addColumn<QByteArray>("marks");
    const QByteArray corner = "Coordinates #0000ff 1 1 | 10 10\r\n";
    QTest::newRow("none") << QByteArray();
    QTest::newRow("three") << corner.repeated(3);
    QTest::newRow("one too many") << corner.repeated(4) + "HLine #0000ff 1 1 | 10 10\r\n";
}

void TestCalibrating::wrongNumberOfMarks() {
    QFETCH(QByteArray, marks);
    WindowUnderTest window;
    start(window, 1);
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), marks));
    window.action("actionLoad_Corner")->trigger();
    window.action("actionTilt")->trigger();
    execute(window);
    QCOMPARE(dialogs, 0);
    QCOMPARE(items(window)[0]->flags(), QGraphicsItem::GraphicsItemFlags());  // nothing changes
    QCOMPARE(window.answerer.boxes.size(), 1);
    QCOMPARE(window.answerer.boxes[0].icon, QMessageBox::Information);
    QCOMPARE(window.answerer.boxes[0].title, QStringLiteral("Info"));
    QCOMPARE(window.answerer.boxes[0].text, QStringLiteral("Please mark 4 corners for each camera first."));
    QCOMPARE(window.answerer.boxes[0].buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QVERIFY(!QFile::exists(QStringLiteral("Cal0.xml")));
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/XCount")).isNull());
}

/// The number of all marks counts at first; what is missing in a tile comes out later.
void TestCalibrating::otherMarksCountToo() {
    WindowUnderTest window;
    start(window, 1);
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"),
                                 QByteArray("HLine #0000ff 1 1 | 10 10\r\n") +
                                     QByteArray("Coordinates #0000ff 1 1 | 10 10\r\n").repeated(3)));
    window.action("actionLoad_Corner")->trigger();
    execute(window);
    QCOMPARE(dialogs, 1);
    QCOMPARE(window.answerer.boxes.size(), 1);
    QCOMPARE(window.answerer.boxes[0].text, QStringLiteral("Please mark 4 corners for each camera first."));
    QVERIFY(!window.action("actionEnable")->isChecked());
}

void TestCalibrating::otherMarksAreNamed_data() {
    QTest::addColumn<int>("crossHairs");
    QTest::addColumn<int>("others");
    QTest::addColumn<QString>("text");
    const auto wanted = QStringLiteral(" are there; Execute wants 8 cross-hairs alone");
    QTest::newRow("too many") << 4 << 5 << QStringLiteral("4 cross-hairs and 5 other marks") + wanted;
    QTest::newRow("too few") << 4 << 2 << QStringLiteral("4 cross-hairs and 2 other marks") + wanted;
    QTest::newRow("one each") << 1 << 1 << QStringLiteral("1 cross-hair and 1 other mark") + wanted;
    QTest::newRow("others alone") << 0 << 3 << QStringLiteral("0 cross-hairs and 3 other marks") + wanted;
    QTest::newRow("cross-hairs alone") << 7 << 0 << QString();
    QTest::newRow("none") << 0 << 0 << QString();
}

void TestCalibrating::otherMarksAreNamed() {
    QFETCH(int, crossHairs);
    QFETCH(int, others);
    QFETCH(QString, text);
    WindowUnderTest window;
    start(window, 2);
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"),
                                 QByteArray("HLine #0000ff 1 1 | 10 10\r\n").repeated(others) +
                                     QByteArray("Coordinates #0000ff 1 1 | 10 10\r\n").repeated(crossHairs)));
    window.action("actionLoad_Corner")->trigger();
    const auto* note = window->findChild<QLabel*>(QStringLiteral("statusNote"));
    QString before;
    window.answerer.beforeAnswer = [&] { before = note->text(); };
    execute(window);
    QCOMPARE(dialogs, 0);
    QCOMPARE(window.answerer.boxes.size(), 1);
    QCOMPARE(window.answerer.boxes[0].text, QStringLiteral("Please mark 4 corners for each camera first."));
    if (text.isEmpty()) {
        // Whatever the note says is what it said before.
        QVERIFY(!before.contains(QLatin1String("Execute")));
    } else {
        QCOMPARE(before, text);
        QCOMPARE(note->text(), text);
    }
}

/// 5 and 3 are as many as two tiles have corners: Execute goes on, and fails for want of corners.
void TestCalibrating::otherMarksFitByAccident() {
    WindowUnderTest window;
    start(window, 2);
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"),
                                 QByteArray("HLine #0000ff 1 1 | 10 10\r\n").repeated(3) +
                                     QByteArray("Coordinates #0000ff 1 1 | 10 10\r\n").repeated(4) +
                                     QByteArray("Coordinates #0000ff 1 1 | 400 10\r\n")));
    window.action("actionLoad_Corner")->trigger();
    execute(window);
    QCOMPARE(dialogs, 1);
    QCOMPARE(window.answerer.boxes.size(), 1);
    QCOMPARE(window.answerer.boxes[0].text, QStringLiteral("Please mark 4 corners for each camera first."));
    const auto* note = window->findChild<QLabel*>(QStringLiteral("statusNote"));
    QVERIFY2(note->toolTip().contains(QLatin1String(
                 "5 cross-hairs and 3 other marks are there; Execute wants 8 cross-hairs alone")),
             qPrintable(note->toolTip()));
    QVERIFY(note->toolTip().contains(QLatin1String("Not calibrated")));
}

/// Marks that are gone take their own note away, and no other.
void TestCalibrating::otherNotesStay() {
    WindowUnderTest window;
    start(window, 2, "[File]\nTrans=1\n");
    const auto* note = window->findChild<QLabel*>(QStringLiteral("statusNote"));
    const QString before = note->text();
    QVERIFY2(before.startsWith(QLatin1String("Correction is off")), qPrintable(before));
    loadMarks(window, 2, 1, "HLine #0000ff 1 1 | 10 10\r\n");
    execute(window);
    QVERIFY(note->text() != before);
    loadMarks(window, 2, 1);
    execute(window, {}, false);
    QCOMPARE(note->text(), before);
}

void TestCalibrating::otherMarksAreForgotten() {
    WindowUnderTest window;
    start(window, 2);
    loadMarks(window, 2, 1, "HLine #0000ff 1 1 | 10 10\r\n");
    execute(window);
    const auto* note = window->findChild<QLabel*>(QStringLiteral("statusNote"));
    QVERIFY(note->text().startsWith(QLatin1String("8 cross-hairs and 1 other mark are there")));
    QVERIFY(!window.action("actionEnable")->isChecked());
    // Those who do what it says are not told again.
    window.action("actionClear")->trigger();
    QCOMPARE(note->text(), QString());
    loadMarks(window, 2, 1, "HLine #0000ff 1 1 | 10 10\r\n");
    execute(window);
    QVERIFY(note->text().startsWith(QLatin1String("8 cross-hairs and 1 other mark are there")));
    loadMarks(window, 2, 1);
    QCOMPARE(note->text(), QString());
    execute(window, {}, false);  // cancelled: the count was right
    QVERIFY(!note->text().contains(QLatin1String("Execute")));
    execute(window);
    QCOMPARE(note->text(), QString());
    QVERIFY(window.action("actionEnable")->isChecked());
}

void TestCalibrating::noCamera() {
    WindowUnderTest window;
    start(window, 0);
    execute(window);
    QCOMPARE(dialogs, 0);
    QCOMPARE(window.answerer.boxes.size(), 1);
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/XCount")).isNull());
}

void TestCalibrating::cancelledDialogChangesNothing() {
    WindowUnderTest window;
    start(window, 1, "[File]\nXCount=\"7,8,9\"\n");
    loadMarks(window, 1, 1);
    window.action("actionTilt")->trigger();
    // The pending cross-hair is no mark yet; tiles are free again whatever the answer.
    QCOMPARE(items(window)[0]->flags(), QGraphicsItem::GraphicsItemFlags());
    execute(window, {QStringLiteral("1")}, false);
    QCOMPARE(dialogs, 1);
    QVERIFY(window.answerer.boxes.isEmpty());
    QCOMPARE(items(window)[0]->flags(), QGraphicsItem::GraphicsItemFlags(QGraphicsItem::ItemIsMovable));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/XCount")), QStringLiteral("\"7,8,9\""));
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/YCount")).isNull());
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/Trans")).isNull());
    QVERIFY(!QFile::exists(QStringLiteral("Cal0.xml")));
    QVERIFY(!window.action("actionEnable")->isChecked());
}

void TestCalibrating::countsAreStoredAlsoWhenCornersAreMissing() {
    WindowUnderTest window;
    start(window, 2);
    // Eight marks, three of them in tile 1.
    loadMarks(
        window, 1, 1,
        "HLine #0000ff 1 1 | 10 10\r\n" + QByteArray("Coordinates #0000ff 1 1 | 400 10\r\n").repeated(3));
    execute(window, {QStringLiteral("4"), QStringLiteral("6")});
    QCOMPARE(dialogs, 1);
    QCOMPARE(window.answerer.boxes.size(), 1);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/XCount")), QStringLiteral("\"4,6\""));
    QVERIFY(!QFile::exists(QStringLiteral("Cal0.xml")));
    QVERIFY(!window.action("actionEnable")->isEnabled());
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/Trans")).isNull());
}

/// With the correction there but off, a failed run switches nothing on, and the corners keep the order of
/// their placing.
void TestCalibrating::failureSwitchesNothingOn() {
    WindowUnderTest window;
    start(window, 1);
    loadMarks(window, 1, 1);
    execute(window, {QStringLiteral("10"), {}, {}, {}, QStringLiteral("5")});
    window.action("actionEnable")->trigger();  // off
    loadMarks(window, 1, 1);
    QVERIFY(QFile::remove(QStringLiteral("mark0.txt")));
    execute(window, {QStringLiteral("0"), {}, {}, {}, QStringLiteral("5")});
    QCOMPARE(window.answerer.boxes.size(), 1);
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Trans")), QStringLiteral("0"));
    QVERIFY(!QFile::exists(QStringLiteral("mark0.txt")));
    QVERIFY(!window.action("actionEnable")->isChecked());
    show(window, 0, QImage::Format_Grayscale8);
    QCOMPARE(items(window)[0]->pixmap().size(), kFrame);
    // The oldest is the one that was placed first (bottom right), not the topmost.
    window->setMark(10, 10, kCoordinatesMark, nullptr);
    int left = 0;
    for (QGraphicsItem* item : window.view()->scene()->items()) {
        const auto* mark = dynamic_cast<CoordinatesMark*>(item);
        if (!mark)
            continue;
        ++left;
        QVERIFY(QLineF(mark->point(), markedIn(0).corners[3]).length() > 1);
    }
    QCOMPARE(left, 3);
}

void TestCalibrating::badCountsLeaveEverything_data() {
    QTest::addColumn<QStringList>("counts");
    const auto list = [](const char* text) { return QString::fromLatin1(text).split(QLatin1Char(',')); };
    QTest::newRow("zero in camera 0") << list("0,3,0,0,2,2");
    QTest::newRow("zero in camera 1") << list("5,0,0,0,2,2");
    QTest::newRow("no number") << list("5,3,0,0,x,2");
    QTest::newRow("all empty") << list(",,0,0,,");
}

void TestCalibrating::badCountsLeaveEverything() {
    QFETCH(QStringList, counts);
    WindowUnderTest window;
    start(window, 2);
    loadMarks(window, 2, 1);
    execute(window);
    const QByteArray first = WorkingFolder::read(QStringLiteral("Cal0.xml"));
    const QByteArray second = WorkingFolder::read(QStringLiteral("Cal1.xml"));
    QVERIFY(!first.isEmpty());
    show(window, 0, QImage::Format_Grayscale8);
    const QImage before = items(window)[0]->pixmap().toImage();
    execute(window, counts);
    QCOMPARE(window.answerer.boxes.size(), 1);
    QCOMPARE(window.answerer.boxes[0].title, QStringLiteral("Info"));
    QCOMPARE(WorkingFolder::read(QStringLiteral("Cal0.xml")), first);
    QCOMPARE(WorkingFolder::read(QStringLiteral("Cal1.xml")), second);
    show(window, 0, QImage::Format_Grayscale8);
    QCOMPARE(items(window)[0]->pixmap().toImage(), before);
}

/// One file that cannot be written: neither the other one nor anything else of the run is taken.
void TestCalibrating::unwritableFileChangesNothing() {
    WindowUnderTest window;
    start(window, 2);
    loadMarks(window, 2, 1);
    QVERIFY(QFile::remove(QStringLiteral("mark0.txt")));
    QVERIFY(QDir().mkdir(QStringLiteral("Cal1.xml")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("Cal1\\.xml was not written: .+")));
    execute(window);
    QCOMPARE(dialogs, 1);
    QVERIFY(window.answerer.boxes.isEmpty());  // the corners are all there
    QVERIFY(!QFile::exists(QStringLiteral("Cal0.xml")));
    QVERIFY(!QFile::exists(QStringLiteral("mark0.txt")));
    QVERIFY(QDir().entryList({QStringLiteral(".*")}, QDir::Files | QDir::Hidden).isEmpty());
    QVERIFY(!window.action("actionEnable")->isChecked());
    QVERIFY(!window.action("actionEnable")->isEnabled());
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/Trans")).isNull());
    show(window, 0, QImage::Format_Grayscale8);
    QCOMPARE(items(window)[0]->pixmap().size(), kFrame);
    // The cause taken away, the same marks do.
    QVERIFY(QDir().rmdir(QStringLiteral("Cal1.xml")));
    execute(window);
    QVERIFY(readCalibration(calibrationFileName(0)) && readCalibration(calibrationFileName(1)));
    QVERIFY(window.action("actionEnable")->isChecked());
}

/// A program was ended while it put the files of a run in place: the next one has them all.
void TestCalibrating::filesOfACutOffRunAreFinished() {
    WindowUnderTest window;
    start(window, 2);
    loadMarks(window, 2, 1);
    execute(window, texts({10, 10, 0, 0, 5, 5}));
    QVector<platform::NewFile> before;
    for (int i = 0; i < 2; ++i)
        before.append({calibrationFileName(i), WorkingFolder::read(calibrationFileName(i))});
    execute(window, texts({8, 9, 0, 0, 5, 5}));
    window.end();
    const QByteArray second = WorkingFolder::read(calibrationFileName(1));
    QVERIFY(second != before[1].content);
    struct End {};
    try {
        platform::replaceFileSet(QStringLiteral(".Cal.commit"), before, [&] {
            if (QFile::exists(QStringLiteral(".Cal.commit")))
                throw End();
        });
        QFAIL("not cut off");
    } catch (const End&) {
    }
    QCOMPARE(WorkingFolder::read(calibrationFileName(1)), second);
    window.start();
    QTRY_VERIFY(window->isMaximized());
    for (const auto& file : before)
        QCOMPARE(WorkingFolder::read(file.name), file.content);
    QVERIFY(QDir().entryList({QStringLiteral(".*")}, QDir::Files | QDir::Hidden).isEmpty());
    for (int i = 0; i < 2; ++i) {
        show(window, i, QImage::Format_Grayscale8);
        const QImage wanted = expected(i, 2, 1, {10, 10}, {5, 5}, QImage::Format_Grayscale8);
        QCOMPARE(items(window)[i]->pixmap().toImage().convertToFormat(QImage::Format_RGB32),
                 wanted.convertToFormat(QImage::Format_RGB32));
    }
}

/// Files that are good, but no maps for frames of this size: as without files. Nor does Execute go on then.
void TestCalibrating::withoutMapsNothingIsOn() {
    WindowUnderTest window;
    start(window, 1);
    loadMarks(window, 1, 1);
    execute(window, texts({10, 0, 0, 0, 5}));
    window.end();
    const QByteArray file = WorkingFolder::read(calibrationFileName(0));
    QVERIFY(!file.isEmpty());
    WorkingFolder::setKey(QStringLiteral("Camera/Demo"), 1);
    WorkingFolder::setKey(QStringLiteral("File/Width"), 40000);
    QVERIFY(frameOf(0, QImage::Format_RGB888).save(QStringLiteral("0.jpg")));
    window.start();
    QVERIFY(!window.action("actionEnable")->isChecked());
    QVERIFY(!window.action("actionEnable")->isEnabled());
    QVERIFY(window.waitForTiles(1));
    window.answerer.boxes.clear();
    loadMarks(window, 1, 1);
    execute(window, texts({8, 0, 0, 0, 4}));
    QCOMPARE(window.answerer.boxes.size(), 1);
    QCOMPARE(window.answerer.boxes[0].title, QStringLiteral("Info"));
    QCOMPARE(WorkingFolder::read(calibrationFileName(0)), file);
    QVERIFY(!window.action("actionEnable")->isChecked());
}

void TestCalibrating::againWithOtherCounts() {
    WindowUnderTest window;
    start(window, 2);
    loadMarks(window, 2, 1);
    const QVector<int> ys{5, 5, 5, 5};
    execute(window,
            {QStringLiteral("10"), QStringLiteral("10"), {}, {}, QStringLiteral("5"), QStringLiteral("5")});
    const QByteArray before = WorkingFolder::read(QStringLiteral("Cal1.xml"));
    for (const int count : {8, 10}) {
        execute(
            window,
            {QStringLiteral("10"), QString::number(count), {}, {}, QStringLiteral("5"), QStringLiteral("5")});
        QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/XCount")),
                 QStringLiteral("\"10,%1\"").arg(count));
        // Files and pictures follow.
        QCOMPARE(WorkingFolder::read(QStringLiteral("Cal1.xml")) == before, count == 10);
        for (int i = 0; i < 2; ++i) {
            show(window, i, QImage::Format_Grayscale8);
            const QImage wanted = expected(i, 2, 1, {10, count}, ys, QImage::Format_Grayscale8);
            QCOMPARE(items(window)[i]->pixmap().toImage().convertToFormat(QImage::Format_RGB32),
                     wanted.convertToFormat(QImage::Format_RGB32));
        }
    }
}

/// Corners that came from calibration files have no cross-hairs to be taken from: they stay where the file
/// says.
void TestCalibrating::cornersOfAFileAreNotRefreshed() {
    WindowUnderTest window;
    start(window, 1);
    loadMarks(window, 1, 1);
    execute(window);
    window.end();
    window.start();
    QTRY_VERIFY(window->isMaximized());
    show(window, 0, QImage::Format_Grayscale8);
    window.answerer.boxes.clear();
    // Four marks that are no corners: the count is right, and the corners are those of the file.
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"),
                                 QByteArray("HLine #0000ff 1 1 | 10 10\r\n").repeated(4)));
    auto* scene = qobject_cast<InteractiveScene*>(window.view()->scene());
    scene->loadMarks(0);
    QFile::remove(QStringLiteral("Cal0.xml"));
    execute(window);
    QVERIFY(window.answerer.boxes.isEmpty());
    const auto calibration = readCalibration(calibrationFileName(0));
    QVERIFY(calibration);
    QCOMPARE(calibration->cornerSrc.at<float>(0, 0), float(markedIn(0).corners[0].x()));
}

void TestCalibrating::rearrangedAfterwards_data() {
    QTest::addColumn<int>("layoutMode");
    QTest::addColumn<QVector<int>>("counts");
    const QVector<int> fitting{10, 10, 9, 11, 5, 5, 5, 5};
    const QVector<int> past{10, 14, 15, 14, 5, 5, 7, 8};
    QTest::newRow("grid") << 0 << fitting;
    QTest::newRow("grid, past the edge") << 0 << past;
    QTest::newRow("row") << 1 << fitting;
    QTest::newRow("row, past the edge") << 1 << past;
}

void TestCalibrating::rearrangedAfterwards() {
    QFETCH(int, layoutMode);
    QFETCH(QVector<int>, counts);
    WindowUnderTest window;
    start(window, 4, "[Camera]\nMode=" + QByteArray::number(layoutMode) + "\n");
    loadMarks(window, 4, layoutMode);
    QVector<QPointF> before;
    for (const auto* tile : items(window))
        before.append(tile->pos());
    execute(window, texts(counts));
    QVERIFY(window.answerer.boxes.isEmpty());
    QVERIFY(window.action("actionEnable")->isChecked());
    for (int i = 0; i < 4; ++i)
        show(window, i, QImage::Format_Grayscale8);
    const auto tiles = items(window);
    const auto sizeOf = [&](int i) { return tiles[i]->pixmap().size(); };
    for (int i = 0; i < 4; ++i) {
        QTRY_VERIFY(sizeOf(i) != kFrame);
        QCOMPARE(tiles[i]->pos(), before[i]);  // only Rearrange moves tiles
        // Each has the size that was reckoned with, so that what is at its inner edge is what it shares
        // there.
        QCOMPARE(
            sizeOf(i),
            expected(i, 4, layoutMode, counts.mid(0, 4), counts.mid(4), QImage::Format_Grayscale8).size());
    }
    window.action("actionRearrange")->trigger();
    QCOMPARE(tiles[0]->pos(), QPointF(0, 0));
    if (layoutMode == 0) {
        const QPointF meeting(sizeOf(0).width(), sizeOf(0).height());
        QCOMPARE(tiles[3]->pos(), meeting);
        QCOMPARE(tiles[1]->pos() + QPointF(0, sizeOf(1).height()), meeting);
        QCOMPARE(tiles[2]->pos() + QPointF(sizeOf(2).width(), 0), meeting);
    } else {
        for (int i = 1; i < 4; ++i)
            QCOMPARE(tiles[i]->pos(), tiles[i - 1]->pos() + QPointF(sizeOf(i - 1).width(), 0));
    }
    QVERIFY(tiles[3]->pos() != before[3]);
}

QTEST_MAIN(TestCalibrating)
#include "tst_calibrating.moc"
