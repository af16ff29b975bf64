// SPDX-License-Identifier: Apache-2.0
#include <QElapsedTimer>

#include "camera/kvcap2.h"
#include "live/livetiles.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

namespace {

constexpr int kSilence = 100;    // ms, instead of seconds
constexpr int kQuestion = 400;   // ms
constexpr int kOverload = 200;   // ms
constexpr int kRecovery = 100;   // ms
constexpr int kPatience = 3000;  // ms: in the tests where nothing is to be seen, for busy PCs

const QString kOverloaded = QStringLiteral("The PC is overloaded: pictures are shown late");

/// A window whose cameras send nothing until the test says so, and whose watch looks when the test says so.
class WatchedWindow {
public:
    explicit WatchedWindow(int cameras, const QByteArray& settings = "[File]\nLang=1\n") {
        recording::reset(cameras);
        for (int i = 0; i < cameras; ++i)
            hold(i);
        WorkingFolder::write(QStringLiteral("setting.ini"), settings);
        window.start();
        const auto timers = window->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
        for (QTimer* timer : timers)
            timer->stop();
    }

    ~WatchedWindow() {
        recording::releaseQueries();
        window.end();
    }

    /// The streams run, and the watch begins with the limits.
    bool start(const TileWatch::Limits& limits = {kSilence, kQuestion, kOverload, kRecovery}) {
        const bool isStarted = QTest::qWaitFor([&] { return window->isMaximized(); }, kWait);
        recording::forgetCalls();
        live()->setWatchLimits(limits);
        return isStarted;
    }

    LiveTiles* live() const { return window->findChild<LiveTiles*>(); }

    static void hold(int camera) {
        recording::Camera held;
        held.serial = "SN" + QByteArray::number(camera);
        held.holdQueries = true;
        recording::setCamera(camera, held);
    }

    static void flow(int camera) {
        recording::Camera sending;
        sending.serial = "SN" + QByteArray::number(camera);
        recording::setCamera(camera, sending);
    }

    /// What is seen of the note after the watch has looked.
    QString look() const {
        window->updateFps();
        const auto* note = window->findChild<QLabel*>(QStringLiteral("statusNote"));
        return note->isHidden() ? QString() : note->text();
    }

    bool waitFor(const QString& beginning) const {
        return QTest::qWaitFor(
            [&] { return beginning.isEmpty() ? look().isEmpty() : look().startsWith(beginning); }, kWait);
    }

    /// Nothing is said for so long, ms.
    bool saysNothing(int duration) const {
        QString text;
        QElapsedTimer timer;
        timer.start();
        while (text.isEmpty() && timer.elapsed() < duration) {
            QTest::qWait(20);
            text = look();
        }
        return text.isEmpty();
    }

    static int questions() { return recording::callsOf(QStringLiteral("CameraGetSnapMode")).size(); }

    WindowUnderTest window;
};

}  // namespace

/// What the window says about cameras that send nothing, and about pictures that are late.
class TestWatching : public QObject {
    Q_OBJECT

private slots:
    void silentUntilTheNextFrame();
    void secondsAreCounted();
    void pausedIsNotSilent();
    void triggeredIsNotSilent();
    void whoDoesNotAnswerIsSilent();
    void whoNeverAnswersHoldsNobodyUp();
    void oneQuestionForTwoTilesOfACamera();
    void answersThatAreOwedAtTheEnd();
    void frozenIsNotSilent();
    void flowingCamerasAreAskedNothing();
    void askedSeldom();
    void framesThatNobodyLookedAt();
    void demoIsAskedNothing();
    void lateFramesAreSaid_data();
    void lateFramesAreSaid();
    void linesInTheLog();
};

void TestWatching::silentUntilTheNextFrame() {
    WatchedWindow watched(3);
    QVERIFY(watched.start());
    QVERIFY(watched.waitFor(QStringLiteral("Cameras 0, 1, 2: no picture for ")));
    WatchedWindow::flow(1);
    QVERIFY(watched.waitFor(QStringLiteral("Cameras 0, 2: no picture for ")));
    WatchedWindow::flow(2);
    QVERIFY(watched.waitFor(QStringLiteral("Camera 0: no picture for ")));
    WatchedWindow::flow(0);
    QVERIFY(watched.waitFor(QString()));
    // With frames the camera is well, however old they are.
    WatchedWindow::hold(2);
    QVERIFY(watched.waitFor(QStringLiteral("Camera 2: no picture for ")));
    watched.window.sendFrame(2, 100, 1000);
    const QString text = watched.look();
    QVERIFY2(!text.section(QLatin1Char(':'), 0, 0).contains(QLatin1Char('2')), qPrintable(text));
}

/// By the limits and the timer of the program itself.
void TestWatching::secondsAreCounted() {
    WatchedWindow watched(1);
    QVERIFY(watched.start({}));
    QElapsedTimer timer;
    timer.start();
    const auto timers = watched.window->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    for (QTimer* rateTimer : timers)
        rateTimer->start();
    const auto* note = watched.window->findChild<QLabel*>(QStringLiteral("statusNote"));
    QTRY_VERIFY_WITH_TIMEOUT(!note->isHidden(), kWait);
    QVERIFY2(timer.elapsed() >= 2900, qPrintable(QString::number(timer.elapsed())));
    const QString first = note->text();
    QVERIFY2(first.startsWith(QStringLiteral("Camera 0: no picture for ")), qPrintable(first));
    QTRY_VERIFY_WITH_TIMEOUT(note->text() != first, kWait);
    QCOMPARE(WatchedWindow::questions(), 1);
    WatchedWindow::flow(0);
    QTRY_VERIFY_WITH_TIMEOUT(note->isHidden(), kWait);
}

void TestWatching::pausedIsNotSilent() {
    WatchedWindow watched(1);
    const int silence = 1000;  // from an action to the look after it, it is a moment
    QVERIFY(watched.start({silence, kQuestion, kOverload, kRecovery}));
    QVERIFY(watched.waitFor(QStringLiteral("Camera 0")));
    watched.window.action("action_Stop")->trigger();
    QVERIFY(watched.look().isEmpty());
    QVERIFY(watched.saysNothing(silence + 300));
    watched.window.action("action_Play")->trigger();
    QVERIFY(watched.look().isEmpty());
    QVERIFY(watched.waitFor(QStringLiteral("Camera 0")));
    // Paused and resumed between two looks; playing what plays changes nothing.
    watched.window.action("action_Play")->trigger();
    QVERIFY(!watched.look().isEmpty());
    watched.window.action("action_Stop")->trigger();
    watched.window.action("action_Play")->trigger();
    QVERIFY(watched.look().isEmpty());
}

void TestWatching::triggeredIsNotSilent() {
    WatchedWindow watched(2);
    QVERIFY(watched.start());
    QCOMPARE(CameraSetSnapMode(1, kSnapTriggered), 0);
    QVERIFY(watched.waitFor(QStringLiteral("Camera 0: ")));
    QTRY_VERIFY(watched.look().startsWith(QStringLiteral("Camera 0: ")) && WatchedWindow::questions() > 2);
    QCOMPARE(CameraSetSnapMode(1, kSnapContinuous), 0);
    QVERIFY(watched.waitFor(QStringLiteral("Cameras 0, 1: ")));
}

void TestWatching::whoDoesNotAnswerIsSilent() {
    WatchedWindow watched(1);
    QVERIFY(watched.start());
    recording::Camera dead;
    dead.status = 7;
    dead.queryStatus = 7;
    recording::setCamera(0, dead);
    QVERIFY(watched.waitFor(QStringLiteral("Camera 0: no picture for ")));
}

/// A library that keeps everybody out of a camera while it waits for a frame of it, which never comes.
void TestWatching::whoNeverAnswersHoldsNobodyUp() {
    WatchedWindow watched(2);
    QVERIFY(watched.start());
    recording::Camera dead;
    dead.holdQueries = true;
    dead.holdGetters = true;
    recording::setCamera(0, dead);
    QVERIFY(watched.waitFor(QStringLiteral("Cameras 0, 1: no picture for ")));
    WatchedWindow::flow(1);
    QVERIFY(watched.waitFor(QStringLiteral("Camera 0: no picture for ")));
    // It is not asked again, however long that lasts.
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 3 * kQuestion) {
        QTest::qWait(20);
        QVERIFY(watched.look().startsWith(QStringLiteral("Camera 0: no picture for ")));
    }
    const auto calls = recording::callsOf(QStringLiteral("CameraGetSnapMode"));
    QCOMPARE(std::count_if(calls.begin(), calls.end(), [](const auto& call) { return call.index == 0; }), 1);
    QCOMPARE(recording::gettersUnderWay(), 1);
    // Nor is it given up.
    WatchedWindow::hold(0);
    QCOMPARE(CameraSetSnapMode(0, kSnapTriggered), 0);
    QVERIFY(watched.waitFor(QString()));
}

void TestWatching::oneQuestionForTwoTilesOfACamera() {
    WatchedWindow watched(2, "[Camera]\nCam0=SN1\nCam1=SN1\n[File]\nLang=1\n");
    QVERIFY(watched.start());
    recording::Camera dead;
    dead.holdQueries = true;
    dead.holdGetters = true;
    recording::setCamera(1, dead);
    QVERIFY(watched.waitFor(QStringLiteral("Cameras 0, 1: no picture for ")));
    QCOMPARE(WatchedWindow::questions(), 1);
    WatchedWindow::hold(1);
    QCOMPARE(CameraSetSnapMode(1, kSnapTriggered), 0);
    QVERIFY(watched.waitFor(QString()));
}

/// Nobody may be inside the library for a camera that is freed.
void TestWatching::answersThatAreOwedAtTheEnd() {
    WatchedWindow watched(2);
    QVERIFY(watched.start());
    recording::Camera owing;
    owing.serial = "SN0";
    owing.holdGetters = true;
    owing.queryStatus = 7;
    recording::setCamera(0, owing);
    QVERIFY(watched.waitFor(QStringLiteral("Cameras 0, 1: no picture for ")));
    QCOMPARE(recording::gettersUnderWay(), 1);
    WatchedWindow::flow(1);
    watched.window.end();
    QCOMPARE(recording::gettersUnderWay(), 1);
    QCOMPARE(recording::callsButFrames().filter(QStringLiteral("CameraFree")),
             QStringList{QStringLiteral("CameraFree(1)")});
}

void TestWatching::frozenIsNotSilent() {
    WatchedWindow watched(1, "[File]\nLang=1\nFreezeImage=true\n");
    QVERIFY(watched.start({kPatience, kQuestion, kOverload, kRecovery}));
    WatchedWindow::flow(0);
    QVERIFY(watched.window.waitForTiles(1));
    QVERIFY(watched.saysNothing(kPatience + 300));
    QCOMPARE(WatchedWindow::questions(), 0);
}

void TestWatching::flowingCamerasAreAskedNothing() {
    WatchedWindow watched(2);
    WatchedWindow::flow(0);
    WatchedWindow::flow(1);
    QVERIFY(watched.start({kPatience, kQuestion, 10 * kPatience, kRecovery}));
    QVERIFY(watched.window.waitForTiles(2));
    QVERIFY(watched.saysNothing(kPatience + 300));
    QVERIFY2(recording::callsButFrames().isEmpty(), qPrintable(recording::callsButFrames().join(' ')));
}

void TestWatching::askedSeldom() {
    WatchedWindow watched(1);
    QVERIFY(watched.start());
    QElapsedTimer timer;
    timer.start();
    QTRY_VERIFY(!watched.look().isEmpty() && WatchedWindow::questions() >= 3);
    QVERIFY2(timer.elapsed() >= 2 * kQuestion, qPrintable(QString::number(timer.elapsed())));
    const auto calls = recording::callsOf(QStringLiteral("CameraGetSnapMode"));
    for (const recording::Call& call : calls) {
        QCOMPARE(call.index, 0);
        QVERIFY(!call.onGuiThread);
    }
    QCOMPARE(recording::callsButFrames().size(), calls.size());
}

/// The window was busy: the camera is well all the same.
void TestWatching::framesThatNobodyLookedAt() {
    WatchedWindow watched(1);
    QVERIFY(watched.start());
    QVERIFY(watched.waitFor(QStringLiteral("Camera 0")));
    QTRY_COMPARE(recording::queriesUnderWay(), 1);
    const int before = recording::callsOf(QStringLiteral("CameraQueryImage")).size();
    WatchedWindow::flow(0);
    QElapsedTimer timer;
    timer.start();
    while (recording::callsOf(QStringLiteral("CameraQueryImage")).size() < before + 3 &&
           timer.elapsed() < kWait)
        QThread::msleep(1);  // without handling events
    QVERIFY(watched.look().isEmpty());
}

void TestWatching::demoIsAskedNothing() {
    WatchedWindow watched(0, "[File]\nLang=1\n[Camera]\nDemo=2\n");
    QVERIFY(watched.start({kPatience, kQuestion, kOverload, kRecovery}));
    QVERIFY(watched.saysNothing(kPatience + 300));  // there are no pictures: empty frames come
    QVERIFY(recording::calls().isEmpty());
    watched.live()->setWatchLimits({1, 1, kOverload, kRecovery});
    QVERIFY(watched.waitFor(QStringLiteral("Camera")));  // between two frames
    QVERIFY(recording::calls().isEmpty());
}

void TestWatching::lateFramesAreSaid_data() {
    QTest::addColumn<int>("age");
    QTest::newRow("shown late") << 250;
    QTest::newRow("dropped") << 400;
}

void TestWatching::lateFramesAreSaid() {
    QFETCH(int, age);
    WatchedWindow watched(1);
    QVERIFY(watched.start({10 * kWait, kQuestion, kOverload, kRecovery}));
    QElapsedTimer timer;
    timer.start();
    const auto send = [&](int late) {
        watched.window.sendFrame(0, 100, late);
        QTest::qWait(10);
        return watched.look();
    };
    QTest::ignoreMessage(QtWarningMsg, qPrintable(kOverloaded));
    QTest::ignoreMessage(QtWarningMsg, "The PC is not overloaded any more");
    QTRY_COMPARE(send(age), kOverloaded);
    QVERIFY2(timer.elapsed() >= kOverload, qPrintable(QString::number(timer.elapsed())));
    timer.restart();
    QTRY_COMPARE(send(0), QString());
    QVERIFY2(timer.elapsed() >= kRecovery - 20, qPrintable(QString::number(timer.elapsed())));
}

/// For each change one, not one for every second.
void TestWatching::linesInTheLog() {
    static QStringList lines;
    lines.clear();
    WatchedWindow watched(2);
    WatchedWindow::flow(1);
    QVERIFY(watched.start({kPatience, kQuestion, kOverload, kRecovery}));
    const QtMessageHandler before =
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& line) {
            if (type == QtWarningMsg && line.contains(QLatin1String("picture")))
                lines.append(line);
        });
    const bool isSaid = watched.waitFor(QStringLiteral("Camera 0: no picture for "));
    const QString first = watched.look();
    const bool isCounted = QTest::qWaitFor([&] { return watched.look() != first; }, kWait);
    WatchedWindow::hold(1);
    const bool areSaid = watched.waitFor(QStringLiteral("Cameras 0, 1: no picture for "));
    WatchedWindow::flow(0);
    const bool isOneBack = watched.waitFor(QStringLiteral("Camera 1: no picture for "));
    WatchedWindow::flow(1);
    const bool isOver = watched.waitFor(QString());
    qInstallMessageHandler(before);
    QVERIFY(isSaid && isCounted && areSaid && isOneBack && isOver);
    QCOMPARE(lines.size(), 4);
    QVERIFY2(lines[0].startsWith(QStringLiteral("Camera 0: no picture for ")), qPrintable(lines[0]));
    QVERIFY2(lines[1].startsWith(QStringLiteral("Cameras 0, 1: no picture for ")), qPrintable(lines[1]));
    QVERIFY2(lines[2].startsWith(QStringLiteral("Camera 1: no picture for ")), qPrintable(lines[2]));
    QCOMPARE(lines[3], QStringLiteral("No camera is without pictures any more"));
}

QTEST_MAIN(TestWatching)
#include "tst_watching.moc"
