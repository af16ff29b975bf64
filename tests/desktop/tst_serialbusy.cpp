// SPDX-License-Identifier: Apache-2.0
#include <QSerialPort>
#include <atomic>
#include <random>
#include <thread>

#include "control/controllerline.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"
#include "support/serialline.h"

namespace {}  // namespace

/// Commands on the serial line while the window is busy with something else, and a line that comes and goes.
class TestSerialBusy : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void everyTriggerIsAPicture();
    void commandsWhileTheWindowIsBlocked();
    void oneWriteStaysOneCommand();
    void oldestFirstWhenAskedByHand();
    void commandsWhileABoxIsUp();
    void lostWhileABoxIsUp();
    void missingAtTheStart_data();
    void missingAtTheStart();
    void waitingAtTheEnd_data();
    void waitingAtTheEnd();
    void awayAtTheEnd_data();
    void awayAtTheEnd();

private:
    void write(const QByteArray& ini) const;
    void start(const QByteArray& ini = {});
    void sendNoise(int tile, QSize size) const;
    bool sendApart(const QByteArray& command) const;
    QSerialPort* port() const { return window->get()->findChild<QSerialPort*>(); }
    QLabel* note() const { return window->get()->findChild<QLabel*>(QStringLiteral("statusNote")); }
    static QStringList snapshots() { return QDir().entryList({QStringLiteral("snapshot-*")}); }
    static QStringList gainsSet();

    std::unique_ptr<WindowUnderTest> window;
    std::unique_ptr<SerialLine> line;
    const ControllerLine* program = nullptr;  // the window's
};

void TestSerialBusy::initTestCase() {
    const QString reason = SerialLine::whyNot();
    if (!reason.isEmpty())
        QSKIP(qPrintable(reason));
}

void TestSerialBusy::init() {
    QVector<recording::Camera> cameras(3);
    for (auto& camera : cameras)
        camera.queryStatus = 5;  // the frames of the test are the only ones
    recording::reset(cameras);
    line = std::make_unique<SerialLine>();
    window = std::make_unique<WindowUnderTest>();
}

void TestSerialBusy::cleanup() {
    window.reset();
    line.reset();
}

void TestSerialBusy::write(const QByteArray& ini) const {
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[File]\nLang=1\nType=2\nPort=" + line->programEnd().toUtf8() + "\n" + ini));
}

void TestSerialBusy::start(const QByteArray& ini) {
    QVERIFY2(line->plugIn(), qPrintable(line->errorString()));
    write(ini);
    window->start();
    QTRY_VERIFY(window->get()->isMaximized());
    program = qobject_cast<const ControllerLine*>(port());
    QVERIFY(program);
    QCOMPARE(window->leftText().trimmed(), QString());  // the port is open
    for (int i = 0; i < 3; ++i)
        window->sendFrame(i, 50);
    window->answerer.boxes.clear();
    recording::forgetCalls();
}

/// Sends it and waits until the program has taken it off the line, so that the next one comes apart from it.
/// The window may be busy meanwhile. From any thread.
bool TestSerialBusy::sendApart(const QByteArray& command) const {
    const quint64 before = program->deliveries();
    const QDeadlineTimer limit(kWait);
    if (!line->send(command))
        return false;
    while (program->deliveries() == before && !limit.hasExpired())
        QThread::msleep(2);
    return program->deliveries() == before + 1;
}

/// A frame that takes the encoder long.
void TestSerialBusy::sendNoise(int tile, QSize size) const {
    const auto bytes = static_cast<size_t>(size.width()) * static_cast<size_t>(size.height());
    auto* buffer = new unsigned char[bytes];
    std::mt19937 random(1);
    std::generate_n(buffer, bytes, [&] { return static_cast<unsigned char>(random()); });
    const QImage image(buffer, size.width(), size.height(), size.width(), QImage::Format_Grayscale8);
    window->get()->process(tile, image, buffer, static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
}

QStringList TestSerialBusy::gainsSet() {
    QStringList made;
    const QVector<recording::Call> calls = recording::callsOf(QStringLiteral("CameraSetGain"));
    for (const recording::Call& call : calls)
        made.append(QStringLiteral("GAIN %1 %2").arg(call.index).arg(call.value));
    return made;
}

/// They come faster than pictures can be written.
void TestSerialBusy::everyTriggerIsAPicture() {
    if (!SerialLine::isPty())
        QSKIP("Here the controller is played by the thread that is busy");
    start();
    sendNoise(0, QSize(2560, 1440));
    window->action("actionZoom_Fit")->trigger();
    std::atomic<bool> isSent{true};
    std::thread controller([&] {
        for (int i = 0; i < 10; ++i) {
            isSent = sendApart("TRIGGER") && isSent;
            QThread::msleep(300);
        }
    });
    (void)QTest::qWaitFor([] { return snapshots().size() >= 10; }, 12 * kWait);
    controller.join();
    QVERIFY(isSent);
    QCOMPARE(snapshots().size(), 10);
    QVERIFY(QImage(snapshots()[9]).width() >= 2560);
}

void TestSerialBusy::commandsWhileTheWindowIsBlocked() {
    start();
    std::mt19937 random(3);
    QStringList sent;
    for (int i = 0; i < 50; ++i) {
        sent.append(QStringLiteral("GAIN %1 %2").arg(random() % 3).arg(random() % 1000));
        QVERIFY(sendApart(sent.last().toUtf8() + QByteArray(i % 3 == 0 ? "\r\n" : "")));
    }
    QTRY_COMPARE_WITH_TIMEOUT(gainsSet().size(), sent.size(), kWait);
    QCOMPARE(gainsSet(), sent);
    const QVector<recording::Call> calls = recording::callsOf(QStringLiteral("CameraSetGain"));
    QVERIFY(std::all_of(calls.begin(), calls.end(), [](const auto& call) { return call.onGuiThread; }));
    QVERIFY(note()->isHidden());
}

void TestSerialBusy::oneWriteStaysOneCommand() {
    start();
    QVERIFY(sendApart("GAIN 1 TRIGGER"));
    QVERIFY(line->send("GAIN 2 9 GAIN 1 8"));
    QTRY_COMPARE_WITH_TIMEOUT(gainsSet().size(), 2, kWait);
    QCOMPARE(gainsSet(), (QStringList{QStringLiteral("GAIN 1 0"), QStringLiteral("GAIN 2 9")}));
    QCOMPARE(snapshots(), QStringList());
}

void TestSerialBusy::oldestFirstWhenAskedByHand() {
    start();
    QVERIFY(sendApart("GAIN 1 1"));
    QVERIFY(sendApart("GAIN 1 2"));
    window->get()->CheckCom();
    QCOMPARE(gainsSet(), QStringList{QStringLiteral("GAIN 1 1")});
    window->get()->CheckCom();
    window->get()->CheckCom();
    QTRY_COMPARE_WITH_TIMEOUT(gainsSet().size(), 2, kWait);
    QCOMPARE(gainsSet().last(), QStringLiteral("GAIN 1 2"));
}

/// They are handled meanwhile, one by one, and no second box comes up.
void TestSerialBusy::commandsWhileABoxIsUp() {
    start("Path=@Invalid()\n");
    QStringList sent;
    // The box stays up until all of them have been handled.
    std::function<void()> look = [&] {
        if (gainsSet().size() < sent.size())
            window->answerer.beforeAnswer = look;
    };
    window->answerer.beforeAnswer = [&] {
        for (int i = 0; i < 5; ++i) {
            QVERIFY(sendApart("TRIGGER"));
            sent.append(QStringLiteral("GAIN 1 %1").arg(i));
            QVERIFY(sendApart(sent.last().toUtf8()));
        }
        window->answerer.beforeAnswer = look;
    };
    QVERIFY(line->send("TRIGGER"));
    QTRY_COMPARE_WITH_TIMEOUT(window->answerer.boxes.size(), 1, kWait);
    QCOMPARE(gainsSet(), sent);
    QCOMPARE(sent.size(), 5);
    QVERIFY(line->send("GAIN 2 7"));
    QTRY_COMPARE_WITH_TIMEOUT(gainsSet().size(), 6, kWait);
    QCOMPARE(window->answerer.boxes.size(), 1);
}

void TestSerialBusy::lostWhileABoxIsUp() {
    if (!SerialLine::isPty())
        QSKIP("No program can pull this line out");
    start("Path=@Invalid()\n");
    bool wasOpen = false;
    // The box stays up until the loss has been told.
    std::function<void()> look = [&] {
        if (note()->text().contains(QStringLiteral("lost")))
            wasOpen = port()->isOpen();
        else
            window->answerer.beforeAnswer = look;
    };
    window->answerer.beforeAnswer = [&] {
        QVERIFY(line->unplug());
        window->answerer.beforeAnswer = look;
    };
    QVERIFY(line->send("TRIGGER"));
    QTRY_COMPARE_WITH_TIMEOUT(window->answerer.boxes.size(), 1, kWait);
    QVERIFY(wasOpen);
    QTRY_VERIFY_WITH_TIMEOUT(!port()->isOpen(), kWait);
    QVERIFY(!note()->isHidden());
    QVERIFY2(line->plugIn(), qPrintable(line->errorString()));
    QTRY_VERIFY_WITH_TIMEOUT(port()->isOpen(), kWait);
    QVERIFY(note()->isHidden());
    QVERIFY(line->send("GAIN 1 5"));
    QTRY_COMPARE_WITH_TIMEOUT(gainsSet(), QStringList{QStringLiteral("GAIN 1 5")}, kWait);
}

void TestSerialBusy::missingAtTheStart_data() {
    QTest::addColumn<QByteArray>("ini");
    QTest::addColumn<bool>("comesBack");
    QTest::newRow("as it always was") << QByteArray() << false;
    QTest::newRow("off") << QByteArray("PortRetry=0\n") << false;
    QTest::newRow("on") << QByteArray("PortRetry=1\n") << true;
}

void TestSerialBusy::missingAtTheStart() {
    if (!SerialLine::isPty())
        QSKIP("No program can pull this line out");
    QFETCH(QByteArray, ini);
    QFETCH(bool, comesBack);
    write(ini);
    window->start();
    QCOMPARE(window->leftText(), QStringLiteral("Serial port %1 open failed.").arg(line->programEnd()));
    QVERIFY(!port()->isOpen());
    QVERIFY(note()->text().startsWith(QStringLiteral("Serial port %1 not opened: ").arg(line->programEnd())));
    const QString problem = note()->text();
    QVERIFY2(line->plugIn(), qPrintable(line->errorString()));
    if (!comesBack) {
        // More than a try would need: that nothing happens has no signal.
        QVERIFY(!QTest::qWaitFor([&] { return port()->isOpen(); }, 3000));
        QCOMPARE(note()->text(), problem);
        return;
    }
    QTRY_VERIFY_WITH_TIMEOUT(port()->isOpen(), kWait);
    QVERIFY(note()->isHidden());
    QCOMPARE(port()->baudRate(), 9600);
    QVERIFY(line->send("GAIN 1 5"));
    QTRY_COMPARE_WITH_TIMEOUT(gainsSet(), QStringList{QStringLiteral("GAIN 1 5")}, kWait);
}

void TestSerialBusy::waitingAtTheEnd_data() {
    QTest::addColumn<bool>("isLost");
    QTest::newRow("line there") << false;
    QTest::newRow("line lost, and looked for") << true;
}

/// What nobody has looked at when the window is closed is nobody's command any more.
void TestSerialBusy::waitingAtTheEnd() {
    QFETCH(bool, isLost);
    if (isLost && !SerialLine::isPty())
        QSKIP("No program can pull this line out");
    start(isLost ? "PortRetry=1\n" : "");
    for (const char* command : {"GAIN 1 5", "TRIGGER", "GAIN 1 6"}) {
        QVERIFY(sendApart(command));
    }
    if (isLost) {
        QVERIFY(line->unplug());
        QThread::msleep(500);  // the reader looks for it meanwhile; the window is busy with this
    }
    window->get()->close();
    QVERIFY(line->send("GAIN 1 7") != isLost);
    QTest::qWait(200);  // nothing happens
    QCOMPARE(gainsSet(), QStringList());
    QCOMPARE(snapshots(), QStringList());
    window->end();
    QCOMPARE(gainsSet(), QStringList());
}

void TestSerialBusy::awayAtTheEnd_data() {
    QTest::addColumn<bool>("wasThere");
    QTest::newRow("pulled out") << true;
    QTest::newRow("never there, and looked for") << false;
}

void TestSerialBusy::awayAtTheEnd() {
    if (!SerialLine::isPty())
        QSKIP("No program can pull this line out");
    QFETCH(bool, wasThere);
    if (wasThere) {
        start();
        QVERIFY(line->unplug());
    } else {
        write("PortRetry=1\n");
        window->start();
    }
    QTRY_VERIFY_WITH_TIMEOUT(!port()->isOpen(), kWait);
    QElapsedTimer timer;
    timer.start();
    window->end();
    QVERIFY(timer.elapsed() < kWait);
}

QTEST_MAIN(TestSerialBusy)
#include "tst_serialbusy.moc"
