// SPDX-License-Identifier: Apache-2.0
#include <opencv2/imgproc.hpp>

#include "calibration/calibrationfile.h"
#include "marks/coordinatesmark.h"
#include "marks/interactivescene.h"
#include "platform/fileset.h"
#include "support/mainwindowtest.h"
#include "support/calibratingwindow.h"

/// Execute in the main window: from marks to corrected pictures.
class TestCalibrating : public QObject, private CalibratingWindow {
    Q_OBJECT

private slots:
    void init() { setUp(); }
    void picturesAreThoseOfOpenCv_data();
    void picturesAreThoseOfOpenCv();
    void filesAndKeys();
    void survivesARestart();
    void draggedCornersCountAtTheirNewPlace();
    void againWithOtherCounts();
    void cornersOfAFileAreNotRefreshed();
    void rearrangedAfterwards_data();
    void rearrangedAfterwards();
};

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
