// SPDX-License-Identifier: Apache-2.0
#include <QDateTime>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>

#include "calibration/calibratedialog.h"
#include "settings/settingdialog.h"
#include "support/fulldisk.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

namespace {

const QSize kFrame(320, 240);

}  // namespace

/// What people are told beside the fixed texts when something could not be done, and when it can be again.
class TestFailures : public QObject {
    Q_OBJECT

private slots:
    void init();
    void nothingToSay();
    void pictureThatIsNotWritten();
    void singleTileThatIsNotWritten();
    void fullDisk();
    void emptyPathIsNone_data();
    void emptyPathIsNone();
    void marksThatAreNotWritten();
    void settingsThatAreNotWritten();
    void settingsThatAreNotUnderstood();
    void executeThatFails_data();
    void executeThatFails();
    void calibrationThatIsNotWritten();
    void marksThatAreNotRead();
    void calibrationThatIsMissing();
    void serialLineThatIsNotThere();
    void leftOversAreRemoved();
    void leftOversOfAnUnfinishedSetStay();
    void noteLivesOnWhenMessagesGo();

private:
    static void start(WindowUnderTest& window, const QByteArray& ini = {});
    static QLabel* noteOf(const WindowUnderTest& window) {
        return window->findChild<QLabel*>(QStringLiteral("statusNote"));
    }
    /// Empty when there is none to be seen.
    static QString note(const WindowUnderTest& window) {
        const QLabel* label = noteOf(window);
        return label->isHidden() ? QString() : label->text();
    }
    static void loadCorners(const WindowUnderTest& window, const QVector<QPointF>& corners);
    static void execute(const WindowUnderTest& window, const QString& x, const QString& y);
};

void TestFailures::init() {
    recording::Camera camera;
    camera.serial = "SN0";
    camera.width = kFrame.width();
    camera.height = kFrame.height();
    camera.queryStatus = 5;  // the frames of the test are the only ones
    recording::reset({camera});
}

void TestFailures::start(WindowUnderTest& window, const QByteArray& ini) {
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nLang=1\nType=2\n" + ini));
    window.start();
    QTRY_VERIFY(window->isMaximized());
    window.sendFrame(0, 90, 0, kFrame);
    window.answerer.boxes.clear();  // the hot key's: there is none on this platform
}

void TestFailures::loadCorners(const WindowUnderTest& window, const QVector<QPointF>& corners) {
    QByteArray content;
    for (const QPointF& point : corners)
        content +=
            QStringLiteral("Coordinates #0000ff 1 1 | %1 %2\r\n").arg(point.x()).arg(point.y()).toLatin1();
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), content));
    window.action("actionLoad_Corner")->trigger();
}

/// Triggers Execute and accepts its dialog with these counts.
void TestFailures::execute(const WindowUnderTest& window, const QString& x, const QString& y) {
    QTimer answer;
    answer.callOnTimeout([&] {
        auto* dialog = qobject_cast<CalibrateDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible())
            return;
        dialog->findChild<QLineEdit*>(QStringLiteral("leXCount"))->setText(x);
        dialog->findChild<QLineEdit*>(QStringLiteral("leYCount"))->setText(y);
        dialog->findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    answer.start(10);
    window.action("actionExecute")->trigger();
}

void TestFailures::nothingToSay() {
    WindowUnderTest window;
    start(window);
    window->saveImageByName(QStringLiteral("a"));
    QCOMPARE(note(window), QString());
}

/// The message is what it always was; the note says what became of it, until a picture is written again.
void TestFailures::pictureThatIsNotWritten() {
    WindowUnderTest window;
    start(window, "Path=./later\n");
    window->saveImageByName(QStringLiteral("a"));
    QCOMPARE(window.leftText(), QStringLiteral("Saved image ./later/a.png"));
    QVERIFY2(note(window).startsWith(QStringLiteral("Picture not written: ")), qPrintable(note(window)));
    QVERIFY(!note(window).endsWith(QStringLiteral(": ")));
    // Other things that go well do not take it away.
    window.action("action_Setting")->trigger();
    window.action("actionReset")->trigger();
    QVERIFY(!note(window).isEmpty());
    QVERIFY(QDir().mkdir(QStringLiteral("later")));
    window->saveScanned(QStringLiteral("b"));
    QCOMPARE(note(window), QString());
    QVERIFY(QFile::exists(QStringLiteral("later/b.png")));
}

void TestFailures::singleTileThatIsNotWritten() {
    WindowUnderTest window;
    start(window, "Path=./later\n");
    window.tiles().first()->setFlag(QGraphicsItem::ItemIsSelectable);
    window.tiles().first()->setSelected(true);
    window.action("actionSave_Single")->trigger();
    QVERIFY2(note(window).startsWith(QStringLiteral("Picture not written: ")), qPrintable(note(window)));
    QVERIFY(QDir().mkdir(QStringLiteral("later")));
    window.action("actionSave_Single")->trigger();
    QCOMPARE(note(window), QString());
}

void TestFailures::fullDisk() {
#ifdef HAS_FULL_DISK
    WindowUnderTest window;
    start(window, "[Control]\nX=1\n");
    {
        const FullDisk disk(50);  // bytes: a small picture of two greys takes little more
        window->saveImageByName(QStringLiteral("a"));
    }
    QVERIFY2(note(window).startsWith(QStringLiteral("Picture not written: ")), qPrintable(note(window)));
    QVERIFY(!note(window).contains(QStringLiteral("cancel")));
    QVERIFY(QDir().entryList({QStringLiteral(".bivista*")}, QDir::Files | QDir::Hidden).isEmpty());
    window->saveImageByName(QStringLiteral("a"));
    QCOMPARE(note(window), QString());
#else
    QSKIP("Disks cannot be made full here");
#endif
}

void TestFailures::emptyPathIsNone_data() {
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("empty") << QByteArray("Path=\n");
    QTest::newRow("null") << QByteArray("Path=@Invalid()\n");
}

void TestFailures::emptyPathIsNone() {
    QFETCH(QByteArray, line);
    WindowUnderTest window;
    start(window, line);
    const QString before = window.leftText();
    window.action("action_Save")->trigger();
    QCOMPARE(window.answerer.boxes.size(), 1);
    QCOMPARE(window.answerer.boxes[0].text, QStringLiteral("Please select valid path!"));
    QCOMPARE(window.leftText(), before);
    QVERIFY(QDir(QStringLiteral("/")).entryList({QStringLiteral("snapshot-*")}).isEmpty());
}

void TestFailures::marksThatAreNotWritten() {
    WindowUnderTest window;
    start(window);
    loadCorners(window, {{10, 10}});
    QVERIFY(QFile::remove(QStringLiteral("mark0.txt")) && QDir().mkdir(QStringLiteral("mark0.txt")));
    window.action("actionSave_Corner")->trigger();
    QVERIFY2(note(window).startsWith(QStringLiteral("Marks not written: ")), qPrintable(note(window)));
    QVERIFY(QDir().rmdir(QStringLiteral("mark0.txt")));
    window.action("actionSave_Corner")->trigger();
    QCOMPARE(note(window), QString());
    QVERIFY(QFile::exists(QStringLiteral("mark0.txt")));
}

void TestFailures::settingsThatAreNotWritten() {
    WindowUnderTest window;
    start(window);
    QVERIFY(QFile::remove(QStringLiteral("setting.ini")) && QDir().mkdir(QStringLiteral("setting.ini")));
    window.action("actionReset")->trigger();
    QVERIFY2(note(window).startsWith(QStringLiteral("Settings not written: ")), qPrintable(note(window)));
    QVERIFY(QDir().rmdir(QStringLiteral("setting.ini")));
    window.action("actionReset")->trigger();
    QCOMPARE(note(window), QString());
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Zoom")), QStringLiteral("1"));
}

/// The file stays; what people choose holds for this run.
void TestFailures::settingsThatAreNotUnderstood() {
    const QByteArray content("\x00\x01garbage", 9);
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), content));
    window.start();
    QTRY_VERIFY(window->isMaximized());
    window.sendFrame(0, 90, 0, kFrame);
    QVERIFY2(note(window).contains(QStringLiteral("setting.ini cannot be understood")),
             qPrintable(note(window)));
    window.action("action_Setting")->trigger();
    window->findChild<SettingDialog*>()->findChild<QRadioButton*>(QStringLiteral("rbPNG"))->click();
    window->saveImageByName(QStringLiteral("a"));
    QVERIFY(QFile::exists(QStringLiteral("a.png")));
    window.end();
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), content);
}

void TestFailures::executeThatFails_data() {
    QTest::addColumn<QVector<QPointF>>("corners");
    QTest::addColumn<QString>("count");
    QTest::addColumn<QString>("reason");
    const QVector<QPointF> good{{40, 30}, {260, 36}, {35, 200}, {270, 205}};
    QTest::newRow("no counts") << good << QStringLiteral("0") << QStringLiteral("X count of camera 0 is 0");
    QTest::newRow("one line") << QVector<QPointF>{{40, 30}, {80, 60}, {120, 90}, {160, 120}}
                              << QStringLiteral("5") << QStringLiteral("orners of camera 0");
    QTest::newRow("concave") << QVector<QPointF>{{40, 30}, {260, 36}, {35, 200}, {80, 70}}
                             << QStringLiteral("5") << QStringLiteral("orners of camera 0");
}

void TestFailures::executeThatFails() {
    QFETCH(QVector<QPointF>, corners);
    QFETCH(QString, count);
    QFETCH(QString, reason);
    WindowUnderTest window;
    start(window);
    loadCorners(window, corners);
    execute(window, count, QStringLiteral("2"));
    QCOMPARE(window.answerer.boxes.size(), 1);
    QCOMPARE(window.answerer.boxes[0].text, QStringLiteral("Please mark 4 corners for each camera first."));
    QVERIFY2(note(window).contains(reason), qPrintable(note(window)));
    QVERIFY(!window.action("actionEnable")->isChecked());
    QVERIFY(!QFile::exists(QStringLiteral("Cal0.xml")));
    // Gone with the next that succeeds.
    loadCorners(window, {{40, 30}, {260, 36}, {35, 200}, {270, 205}});
    execute(window, QStringLiteral("5"), QStringLiteral("2"));
    QCOMPARE(note(window), QString());
    QVERIFY(window.action("actionEnable")->isChecked());
}

void TestFailures::calibrationThatIsNotWritten() {
    WindowUnderTest window;
    start(window);
    loadCorners(window, {{40, 30}, {260, 36}, {35, 200}, {270, 205}});
    QVERIFY(QDir().mkdir(QStringLiteral("Cal0.xml")));
    execute(window, QStringLiteral("5"), QStringLiteral("2"));
    QVERIFY(window.answerer.boxes.isEmpty());  // the corners are all there
    QVERIFY2(note(window).startsWith(QStringLiteral("Calibration not written: ")), qPrintable(note(window)));
    QVERIFY(!window.action("actionEnable")->isChecked());
}

/// What a killed program was writing; not what somebody writes now, and nobody else's files.
void TestFailures::leftOversAreRemoved() {
    const QString old = QStringLiteral(".bivista-0123456789abcdef0123456789abcdef");
    const QString young = QStringLiteral(".bivista-fedcba9876543210fedcba9876543210");
    const QString foreign = QStringLiteral(".bivista-mine");
    WindowUnderTest window;
    QVERIFY(QDir().mkdir(QStringLiteral("pictures")));
    for (const QString& folder : {QStringLiteral("./"), QStringLiteral("pictures/")}) {
        for (const QString& name : {old, young, foreign}) {
            QVERIFY(WorkingFolder::write(folder + name, "x"));
            QFile file(folder + name);
            QVERIFY(file.open(QIODevice::ReadWrite));
            const qint64 age = name == young ? 1800 : 7200;  // s
            QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-age),
                                     QFileDevice::FileModificationTime));
        }
    }
    start(window, "Path=pictures\n");
    for (const QString& folder : {QStringLiteral("./"), QStringLiteral("pictures/")}) {
        QTRY_VERIFY2_WITH_TIMEOUT(!QFile::exists(folder + old), qPrintable(folder), kWait);
        QVERIFY2(QFile::exists(folder + young), qPrintable(folder));
        QVERIFY2(QFile::exists(folder + foreign), qPrintable(folder));
    }
}

/// What an unfinished set of calibration files still needs is not taken away from it.
void TestFailures::leftOversOfAnUnfinishedSetStay() {
    const QString old = QStringLiteral(".bivista-0123456789abcdef0123456789abcdef");
    WindowUnderTest window;
    QVERIFY(QDir().mkdir(QStringLiteral("pictures")));
    for (const QString& folder : {QStringLiteral("./"), QStringLiteral("pictures/")}) {
        QVERIFY(WorkingFolder::write(folder + old, "x"));
        QFile file(folder + old);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(
            file.setFileTime(QDateTime::currentDateTime().addSecs(-7200), QFileDevice::FileModificationTime));
    }
    QVERIFY(QDir().mkdir(QStringLiteral(".Cal.commit")));  // cannot be read
    start(window, "Path=pictures\n");
    QVERIFY2(note(window).startsWith(QStringLiteral("Calibration files of different runs: ")),
             qPrintable(note(window)));
    QTRY_VERIFY_WITH_TIMEOUT(!QFile::exists(QStringLiteral("pictures/") + old), kWait);
    QVERIFY(QFile::exists(old));
}

void TestFailures::marksThatAreNotRead() {
    WindowUnderTest window;
    start(window);
    window.action("actionLoad_Corner")->trigger();
    QVERIFY2(note(window).startsWith(QStringLiteral("Marks not read: ")), qPrintable(note(window)));
    loadCorners(window, {{10, 10}});
    QCOMPARE(note(window), QString());
}

/// Only where the correction is wanted.
void TestFailures::calibrationThatIsMissing() {
    {
        WindowUnderTest window;
        start(window);
        QCOMPARE(note(window), QString());
    }
    WindowUnderTest window;
    start(window, "Trans=1\n");
    QCOMPARE(note(window), QStringLiteral("Correction is off: no calibration for camera 0"));
    loadCorners(window, {{40, 30}, {260, 36}, {35, 200}, {270, 205}});
    execute(window, QStringLiteral("5"), QStringLiteral("2"));
    QCOMPARE(note(window), QString());
}

void TestFailures::serialLineThatIsNotThere() {
    WindowUnderTest window;
    start(window, "Port=/nowhere/tty\n");
    QVERIFY2(note(window).contains(QStringLiteral(" not opened: ")), qPrintable(note(window)));
    QCOMPARE(window.leftText(), QStringLiteral("Serial port /nowhere/tty open failed."));
}

/// Messages live for a minute; what is still wrong is still said.
void TestFailures::noteLivesOnWhenMessagesGo() {
    WindowUnderTest window;
    start(window, "Path=./later\n");
    window->saveImageByName(QStringLiteral("a"));
    for (int i = 0; i < 60; ++i)
        window->updateFps();
    QCOMPARE(window.leftText(), QString());
    QVERIFY(!note(window).isEmpty());
}

QTEST_MAIN(TestFailures)
#include "tst_failures.moc"
