// SPDX-License-Identifier: Apache-2.0
#include <QLayout>
#include <QLineEdit>
#include <QSerialPort>
#include <QSignalSpy>
#include <QSlider>

#include "camera/kvcap2.h"
#include "settings/settingdialog.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"
#include "support/serialline.h"

/// The serial line from end to end: the window opens one end of it as its port, the test writes into the
/// other.
class TestSerial : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void commandsReachTheCameras_data();
    void commandsReachTheCameras();
    void ignoredCommands_data();
    void ignoredCommands();
    void triggerSavesAtOnce();
    void triggersSaveInTheBackground();
    void triggerAfterTheDelay();
    void everyTriggerHasItsTimer();
    void negativeDelaySavesAtOnce();
    void triggerWithSavingSwitchedOff();
    void triggerPendingAtTheEnd();
    void setDelay();
    void nextTriggerTakesTheDelaySet();
    void withoutCameras_data();
    void withoutCameras();
    void saveDoesNotRefreshTheDialog();
    void splitCommandIsTwo();
    void mergedCommandsAreOne();
    void garbageIsHarmless();
    void longTextKeepsTheWindow();
    void messageStaysAFullMinute();
    void unknownCommandKeepsTheMessage();
    void commandsWhileABoxIsUp();
    void speedOfTheLine();
    void unpluggedLine();
    void commandLineExample();

private:
    void start(const QByteArray& ini = {});
    void send(const QByteArray& bytes) const;
    QString sendAndWait(const QByteArray& bytes);
    static QStringList snapshots() { return QDir().entryList({QStringLiteral("snapshot-*")}); }

    std::unique_ptr<WindowUnderTest> window;
    std::unique_ptr<SerialLine> line;
};

void TestSerial::initTestCase() {
    const QString reason = SerialLine::whyNot();
    if (!reason.isEmpty())
        QSKIP(qPrintable(reason));
}

void TestSerial::init() {
    QVector<recording::Camera> cameras(3);
    for (auto& camera : cameras)
        camera.queryStatus = 5;  // the frames of the test are the only ones
    recording::reset(cameras);
    line = std::make_unique<SerialLine>();
    QVERIFY2(line->plugIn(), qPrintable(line->errorString()));
    window = std::make_unique<WindowUnderTest>();
}

void TestSerial::cleanup() {
    window.reset();
    line.reset();
}

void TestSerial::start(const QByteArray& ini) {
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[File]\nLang=1\nType=2\nPort=" + line->programEnd().toUtf8() + "\n" + ini));
    window->start();
    QTRY_VERIFY(window->get()->isMaximized());
    QCOMPARE(window->leftText().trimmed(), QString());  // the port is open
    for (int i = 0; i < 3; ++i)
        window->sendFrame(i, 50);
    window->answerer.boxes.clear();
    recording::forgetCalls();
}

void TestSerial::send(const QByteArray& bytes) const {
    QVERIFY(line->send(bytes));
}

/// Sends a command and waits until the window shows something new.
QString TestSerial::sendAndWait(const QByteArray& bytes) {
    const QString before = window->leftText();
    send(bytes);
    (void)QTest::qWaitFor([&] { return window->leftText() != before; }, kWait);
    return window->leftText();
}

void TestSerial::commandsReachTheCameras_data() {
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QStringList>("calls");
    const auto row = [](const char* command, std::initializer_list<const char*> calls) {
        QStringList list;
        for (const char* call : calls)
            list.append(QString::fromLatin1(call));
        QTest::newRow(command) << QByteArray(command) << list;
    };
    row("GAMMA 1.5", {"CameraSetGamma(0, 1.5)", "CameraSetGamma(1, 1.5)", "CameraSetGamma(2, 1.5)"});
    row("GAMMA 0", {"CameraSetGamma(0, 0)", "CameraSetGamma(1, 0)", "CameraSetGamma(2, 0)"});
    row("contrast 2 0.25", {"CameraSetContrast(2, 0.25)"});
    row("EXPOSURE 0 1500.7", {"CameraSetExposure(0, 1500)"});
    row("gain 1 20\r\n", {"CameraSetGain(1, 20)"});
    row("GAIN  5", {"CameraSetGain(0, 5)"});
    row("ADVANCEDGAIN 3",
        {"CameraSetAdvancedGain(0, 3)", "CameraSetAdvancedGain(1, 3)", "CameraSetAdvancedGain(2, 3)"});
    row("GAIN 1 TRIGGER", {"CameraSetGain(1, 0)"});
    row("GAIN 3 7", {});  // no such camera
    row("GAIN 2147483647 7", {});
}

void TestSerial::commandsReachTheCameras() {
    QFETCH(QByteArray, command);
    QFETCH(QStringList, calls);
    start();
    QCOMPARE(sendAndWait(command), QStringLiteral("COMMAND:") + QString::fromUtf8(command));
    QStringList made;
    const QStringList all = recording::callsButFrames();
    for (const QString& call : all) {
        if (call.startsWith(QLatin1String("CameraSet")))
            made.append(call);
    }
    QCOMPARE(made, calls);
    // The dialog follows, afterwards and with its own camera.
    QCOMPARE(all.last(), QStringLiteral("CameraGetSnapMode(0)"));
    QCOMPARE(all.indexOf(QStringLiteral("CameraGetGamma(0)")), made.size());
    QCOMPARE(snapshots(), QStringList());
}

void TestSerial::ignoredCommands_data() {
    QTest::addColumn<QByteArray>("command");
    for (const char* command :
         {"GAMMA", "GAIN 2 -1", "GAIN -1", "GAIN nan", "SETDELAY", "HELLO", " TRIGGER", "\r\n"})
        QTest::newRow(QByteArray(command).toPercentEncoding(" ").constData()) << QByteArray(command);
}

void TestSerial::ignoredCommands() {
    QFETCH(QByteArray, command);
    start();
    QCOMPARE(sendAndWait("SAVE 9"), QStringLiteral("COMMAND:SAVE 9"));
    send(command);
    // Seen to be over when the next one is.
    // So that the two do not arrive together, on a busy machine either: absence of a reaction has no signal.
    QTest::qWait(400);
    QCOMPARE(window->leftText(), QStringLiteral("COMMAND:SAVE 9"));
    QCOMPARE(recording::callsButFrames(), QStringList());
    QCOMPARE(sendAndWait("SAVE 8"), QStringLiteral("COMMAND:SAVE 8"));
}

void TestSerial::triggerSavesAtOnce() {
    start();
    QVERIFY(sendAndWait("Trigger\r\n").startsWith(QStringLiteral("Saved image ./snapshot-")));
    QCOMPARE(snapshots().size(), 1);
    QCOMPARE(QImage(snapshots()[0]).pixelColor(0, 0), QColor(50, 50, 50));
}

void TestSerial::triggersSaveInTheBackground() {
    start("Background=1\n");
    for (int grey = 60; grey < 63; ++grey) {
        window->sendFrame(0, grey);
        QVERIFY(sendAndWait("TRIGGER").startsWith(QStringLiteral("Saved image ./snapshot-")));
    }
    QTRY_COMPARE_WITH_TIMEOUT(snapshots().size(), 3, kWait);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(qGray(QImage(snapshots()[i]).pixel(0, 0)), 60 + i);
}

void TestSerial::triggerAfterTheDelay() {
    start("Delay=400\n");
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(sendAndWait("TRIGGER"), QStringLiteral("COMMAND:TRIGGER"));
    QCOMPARE(snapshots(), QStringList());
    QTRY_COMPARE_WITH_TIMEOUT(snapshots().size(), 1, kWait);
    QVERIFY(timer.elapsed() >= 390);
}

void TestSerial::everyTriggerHasItsTimer() {
    start("Delay=1500\n");
    QCOMPARE(sendAndWait("TRIGGER"), QStringLiteral("COMMAND:TRIGGER"));
    QVERIFY(sendAndWait("SAVE").startsWith(QStringLiteral("COMMAND:SAVE")));
    QCOMPARE(sendAndWait("TRIGGER 2"), QStringLiteral("COMMAND:TRIGGER"));
    QTRY_COMPARE_WITH_TIMEOUT(snapshots().size(), 2, kWait);
}

void TestSerial::negativeDelaySavesAtOnce() {
    start("Delay=-5\n");
    QVERIFY(sendAndWait("TRIGGER").startsWith(QStringLiteral("Saved image ./snapshot-")));
    QCOMPARE(snapshots().size(), 1);
}

/// Nothing is written, but the view takes the held frames as at any save.
void TestSerial::triggerWithSavingSwitchedOff() {
    start("SaveCaptured=false\nFreezeImage=true\n");
    window->sendFrame(0, 90);
    QCOMPARE(WindowUnderTest::greyOf(window->tiles()[0]), 50);
    QCOMPARE(sendAndWait("TRIGGER"), QStringLiteral("COMMAND:TRIGGER"));
    QTRY_COMPARE_WITH_TIMEOUT(WindowUnderTest::greyOf(window->tiles()[0]), 90, kWait);
    QCOMPARE(snapshots(), QStringList());
}

/// A window that is closed takes its pending triggers with it.
void TestSerial::triggerPendingAtTheEnd() {
    start("Delay=300\n");
    QElapsedTimer sent;
    sent.start();
    QCOMPARE(sendAndWait("TRIGGER"), QStringLiteral("COMMAND:TRIGGER"));
    window->end();
    QTest::qWait(static_cast<int>(std::max<qint64>(0, 600 - sent.elapsed())));  // nothing happens
    QCOMPARE(snapshots(), QStringList());
}

void TestSerial::setDelay() {
    start("Delay=3\n");
    auto* dialog = window->get()->findChild<SettingDialog*>();
    const auto* field = dialog->findChild<QLineEdit*>(QStringLiteral("leDelaySave"));
    for (const char* refused : {"SETDELAY 0", "SETDELAY -5", "SETDELAY x"}) {
        QCOMPARE(sendAndWait(refused), QStringLiteral("COMMAND:") + QLatin1String(refused));
        QCOMPARE(dialog->saveDelay(), 3);
        QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Delay")), QStringLiteral("3"));
    }
    QCOMPARE(sendAndWait("SetDelay 1200\r\n"), QStringLiteral("COMMAND:SetDelay 1200\r\n"));
    QCOMPARE(dialog->saveDelay(), 1200);
    QCOMPARE(field->text(), QStringLiteral("1200"));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Delay")), QStringLiteral("1200"));
}

void TestSerial::nextTriggerTakesTheDelaySet() {
    start();
    QVERIFY(sendAndWait("TRIGGER").startsWith(QStringLiteral("Saved image")));
    QCOMPARE(snapshots().size(), 1);
    QCOMPARE(sendAndWait("SETDELAY 400"), QStringLiteral("COMMAND:SETDELAY 400"));
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(sendAndWait("TRIGGER"), QStringLiteral("COMMAND:TRIGGER"));
    QCOMPARE(snapshots().size(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(snapshots().size(), 2, kWait);
    QVERIFY(timer.elapsed() >= 390);
}

void TestSerial::withoutCameras_data() {
    QTest::addColumn<QByteArray>("ini");
    QTest::addColumn<int>("attached");
    QTest::addColumn<QStringList>("calls");
    // A command goes to the cameras that are counted, also to those that demo mode never opened.
    QTest::newRow("none attached") << QByteArray() << 0 << QStringList();
    QTest::newRow("demo mode") << QByteArray("[Camera]\nDemo=1\n") << 2
                               << QStringList{QStringLiteral("CameraSetGain(0, 7)"),
                                              QStringLiteral("CameraSetGain(1, 7)")};
}

void TestSerial::withoutCameras() {
    QFETCH(QByteArray, ini);
    QFETCH(int, attached);
    QFETCH(QStringList, calls);
    recording::setReportedCount(attached);
    start(ini);
    QCOMPARE(sendAndWait("GAIN 7"), QStringLiteral("COMMAND:GAIN 7"));
    QStringList made;
    const QStringList all = recording::callsButFrames();
    for (const QString& call : all) {
        if (call.startsWith(QLatin1String("CameraSet")))
            made.append(call);
    }
    QCOMPARE(made, calls);
    QCOMPARE(sendAndWait("SAVE 0"), QStringLiteral("COMMAND:SAVE 0"));
    if (attached == 0)
        QCOMPARE(sendAndWait("TRIGGER"), QStringLiteral("No image"));
}

void TestSerial::saveDoesNotRefreshTheDialog() {
    start();
    QCOMPARE(sendAndWait("SAVE"), QStringLiteral("COMMAND:SAVE"));
    QCOMPARE(recording::callsButFrames(), (QStringList{QStringLiteral("CameraSaveParameter(0, 0)"),
                                                       QStringLiteral("CameraSaveParameter(1, 0)"),
                                                       QStringLiteral("CameraSaveParameter(2, 0)")}));
    recording::forgetCalls();
    QCOMPARE(sendAndWait("SAVE 1"), QStringLiteral("COMMAND:SAVE 1"));
    QCOMPARE(recording::callsButFrames(), QStringList{QStringLiteral("CameraSaveParameter(1, 0)")});
}

/// Delivered in two halves: the first is a command of its own, the second none.
void TestSerial::splitCommandIsTwo() {
    start();
    QCOMPARE(sendAndWait("GAIN 1"), QStringLiteral("COMMAND:GAIN 1"));
    recording::forgetCalls();
    send("5");
    QTest::qWait(100);  // nothing happens
    QCOMPARE(window->leftText(), QStringLiteral("COMMAND:GAIN 1"));
    QCOMPARE(recording::callsButFrames(), QStringList());
}

void TestSerial::mergedCommandsAreOne() {
    start();
    send("TRIGGER SAVE");
    QTRY_COMPARE_WITH_TIMEOUT(snapshots().size(), 1, kWait);
    QVERIFY(recording::callsOf(QStringLiteral("CameraSaveParameter")).isEmpty());
}

void TestSerial::garbageIsHarmless() {
    start();
    QByteArray garbage;
    for (int i = 0; i < 3000; ++i)
        garbage.append(static_cast<char>(i * 7));
    send(garbage);
    send(QByteArray(3000, ' '));
    QTest::qWait(200);  // so that the next one arrives alone
    QCOMPARE(sendAndWait("SAVE 7"), QStringLiteral("COMMAND:SAVE 7"));
}

void TestSerial::longTextKeepsTheWindow() {
    start();
    const QSize size = window->get()->size();
    const QSize view = window->view()->size();
    QVERIFY(
        sendAndWait("GAIN 5 5 " + QByteArray(3000, 'W')).startsWith(QStringLiteral("COMMAND:GAIN 5 5 WWW")));
    QVERIFY(sendAndWait("gain 5 5\r\n\r\n\r\n").startsWith(QStringLiteral("COMMAND:gain 5 5")));
    // Laid out anew now, if at all.
    window->get()->layout()->activate();
    QCoreApplication::processEvents();
    QCOMPARE(window->get()->size(), size);
    QCOMPARE(window->view()->size(), view);
    QVERIFY(window->get()->minimumSizeHint().width() < 3000);
}

/// The tick counter begins anew with every command.
void TestSerial::messageStaysAFullMinute() {
    start();
    for (int i = 0; i < 50; ++i)
        window->get()->updateFps();
    QCOMPARE(sendAndWait("SAVE 7"), QStringLiteral("COMMAND:SAVE 7"));
    for (int i = 0; i < 58; ++i)
        window->get()->updateFps();
    QCOMPARE(window->leftText(), QStringLiteral("COMMAND:SAVE 7"));
    for (int i = 0; i < 3; ++i)
        window->get()->updateFps();
    QCOMPARE(window->leftText(), QString());
}

/// Also what is not understood begins the minute anew.
void TestSerial::unknownCommandKeepsTheMessage() {
    start();
    QCOMPARE(sendAndWait("SAVE 7"), QStringLiteral("COMMAND:SAVE 7"));
    for (int i = 0; i < 50; ++i)
        window->get()->updateFps();
    send("HELLO");
    QTest::qWait(400);  // nothing tells that it has been looked at
    for (int i = 0; i < 50; ++i)
        window->get()->updateFps();
    QCOMPARE(window->leftText(), QStringLiteral("COMMAND:SAVE 7"));
}

/// Commands that come while a box is up are not lost and do not spoil the next.
void TestSerial::commandsWhileABoxIsUp() {
    start("Path=@Invalid()\n");
    bool sent = false;
    window->answerer.beforeAnswer = [&] {
        sent = true;
        send("GAIN 1 33");
    };
    send("TRIGGER");
    QTRY_COMPARE_WITH_TIMEOUT(window->leftText(), QStringLiteral("COMMAND:GAIN 1 33"), kWait);
    QVERIFY(sent);
    QCOMPARE(window->answerer.boxes.size(), 1);
    QCOMPARE(sendAndWait("SAVE 7"), QStringLiteral("COMMAND:SAVE 7"));
}

void TestSerial::speedOfTheLine() {
    if (!SerialLine::isPty())
        QSKIP("Nobody but the program can ask its port here");
    start();
    const auto settings = line->programSettings();
    QVERIFY(settings);
    QCOMPARE(settings->inputSpeed, 9600);
    QCOMPARE(settings->outputSpeed, 9600);
    QCOMPARE(settings->dataBits, 8);
    QVERIFY(!settings->parity);
    QCOMPARE(settings->stopBits, 1);
}

void TestSerial::unpluggedLine() {
    if (!SerialLine::isPty())
        QSKIP("No program can pull this line out");
    start();
    QCOMPARE(sendAndWait("SAVE 7"), QStringLiteral("COMMAND:SAVE 7"));
    auto* port = window->get()->findChild<QSerialPort*>();
    QVERIFY(port->isOpen());
    QVERIFY(line->unplug());
    // Given up: a lost line that stays open keeps a processor busy.
    QTRY_VERIFY_WITH_TIMEOUT(!port->isOpen(), kWait);
    auto* note = window->get()->findChild<QLabel*>(QStringLiteral("statusNote"));
    QVERIFY(!note->isHidden());
    QVERIFY2(note->text().contains(QStringLiteral("lost")), qPrintable(note->text()));
    window->sendFrame(0, 90);
    window->action("action_Save")->trigger();
    QCOMPARE(snapshots().size(), 1);
    // Plugged in again, it works by itself, and nobody speaks of it any more.
    QVERIFY2(line->plugIn(), qPrintable(line->errorString()));
    QTRY_VERIFY_WITH_TIMEOUT(port->isOpen(), kWait);
    QVERIFY(note->isHidden());
    QCOMPARE(sendAndWait("SAVE 6"), QStringLiteral("COMMAND:SAVE 6"));
}

/// The example of the documents, as a process of its own.
void TestSerial::commandLineExample() {
    if (!SerialLine::isPty())
        QSKIP("The example is a shell script, for a tty");
    start();
    QProcess example;
    example.start(QStringLiteral(SEND_COMMAND),
                  {line->controllerEnd(), QStringLiteral("GAIN"), QStringLiteral("1"), QStringLiteral("42")});
    QTRY_COMPARE_WITH_TIMEOUT(window->leftText(), QStringLiteral("COMMAND:GAIN 1 42"), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(example.state() == QProcess::NotRunning, kWait);
    QCOMPARE(example.exitCode(), 0);
    int32_t gain = 0;
    QCOMPARE(CameraGetGain(1, &gain), 0);
    QCOMPARE(gain, 42);
}

QTEST_MAIN(TestSerial)
#include "tst_serial.moc"
