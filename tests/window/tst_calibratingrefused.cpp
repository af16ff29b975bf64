// SPDX-License-Identifier: Apache-2.0
#include <opencv2/imgproc.hpp>

#include "calibration/calibrationfile.h"
#include "marks/coordinatesmark.h"
#include "marks/interactivescene.h"
#include "platform/fileset.h"
#include "support/mainwindowtest.h"
#include "support/calibratingwindow.h"

/// Execute in the main window, and everything that keeps it from correcting: marks, counts, files.
class TestCalibratingRefused : public QObject, private CalibratingWindow {
    Q_OBJECT

private slots:
    void init() { setUp(); }
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
};

void TestCalibratingRefused::wrongNumberOfMarks_data() {
    QTest::addColumn<QByteArray>("marks");
    const QByteArray corner = "Coordinates #0000ff 1 1 | 10 10\r\n";
    QTest::newRow("none") << QByteArray();
    QTest::newRow("three") << corner.repeated(3);
    QTest::newRow("one too many") << corner.repeated(4) + "HLine #0000ff 1 1 | 10 10\r\n";
}

void TestCalibratingRefused::wrongNumberOfMarks() {
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
void TestCalibratingRefused::otherMarksCountToo() {
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

void TestCalibratingRefused::otherMarksAreNamed_data() {
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

void TestCalibratingRefused::otherMarksAreNamed() {
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
void TestCalibratingRefused::otherMarksFitByAccident() {
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
void TestCalibratingRefused::otherNotesStay() {
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

void TestCalibratingRefused::otherMarksAreForgotten() {
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

void TestCalibratingRefused::noCamera() {
    WindowUnderTest window;
    start(window, 0);
    execute(window);
    QCOMPARE(dialogs, 0);
    QCOMPARE(window.answerer.boxes.size(), 1);
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("File/XCount")).isNull());
}

void TestCalibratingRefused::cancelledDialogChangesNothing() {
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

void TestCalibratingRefused::countsAreStoredAlsoWhenCornersAreMissing() {
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
void TestCalibratingRefused::failureSwitchesNothingOn() {
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

void TestCalibratingRefused::badCountsLeaveEverything_data() {
    QTest::addColumn<QStringList>("counts");
    const auto list = [](const char* text) { return QString::fromLatin1(text).split(QLatin1Char(',')); };
    QTest::newRow("zero in camera 0") << list("0,3,0,0,2,2");
    QTest::newRow("zero in camera 1") << list("5,0,0,0,2,2");
    QTest::newRow("no number") << list("5,3,0,0,x,2");
    QTest::newRow("all empty") << list(",,0,0,,");
}

void TestCalibratingRefused::badCountsLeaveEverything() {
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
void TestCalibratingRefused::unwritableFileChangesNothing() {
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
void TestCalibratingRefused::filesOfACutOffRunAreFinished() {
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
void TestCalibratingRefused::withoutMapsNothingIsOn() {
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

QTEST_MAIN(TestCalibratingRefused)
#include "tst_calibratingrefused.moc"
