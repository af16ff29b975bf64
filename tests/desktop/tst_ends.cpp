// SPDX-License-Identifier: Apache-2.0
// How the program ends when it is not the operator who ends it: a signal, a display that is lost. A camera
// library writes down what it is asked for.

#include <QThread>
#include <csignal>

#include "support/runningbivista.h"

namespace {

// Places on the keyboard (X key codes).
constexpr int kControl = 37;
constexpr int kUsW = 25;

const QStringList kFreed{"CameraFree(0)", "CameraFree(1)"};

}  // namespace

class TestEnds : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void signalEndsInOrder_data();
    void signalEndsInOrder();
    void queryUnderWayIsWaitedFor();
    void whileABoxIsUp();
    void whileAMenuIsUp();
    void whileDialogsAreUp();
    void inFullScreen();
    void whileTheCountsAreAsked();
    void whileAPictureIsWritten();
    void whileTheStartWaitsInABox();
    void whileTheStartFindsAnotherCamera();
    void hangingLibraryIsLeftAtTheSecondSignal();
    void ignoredSignalStaysIgnored();
    void lostDisplay();
    void lostDisplayWhileABoxOfTheStartIsUp();
    void lostDisplayAndAHangingCamera();
    void lostDisplayAndALibraryThatTakesItselfDown();
    void readerOfTheLogHasGone();

private:
    void start(RunningBivista& bivista, const QMap<QString, QString>& variables = {});
    void endsInOrder(RunningBivista& bivista, int exitCode = 0);
    void chooseFromMenu(const QStringList& keys, const QString& title);
    static QStringList freed(const RunningBivista& bivista);
    static bool waitForLog(const RunningBivista& bivista, const QByteArray& text, int count = 1);

    std::unique_ptr<XServer> server;
};

void TestEnds::init() {
    server = std::make_unique<XServer>();
    QVERIFY2(server->start(), qPrintable(server->errorString()));
}

void TestEnds::cleanup() {
    server.reset();
}

QStringList TestEnds::freed(const RunningBivista& bivista) {
    return QString::fromLatin1(bivista.read("calls")).split('\n').filter("CameraFree");
}

bool TestEnds::waitForLog(const RunningBivista& bivista, const QByteArray& text, int count) {
    return waitFor([&] { return bivista.process->errors().count(text) >= count; });
}

/// Two cameras, each query of which ends after 20 ms without a frame unless `variables` have something else.
void TestEnds::start(RunningBivista& bivista, const QMap<QString, QString>& variables) {
    QMap<QString, QString> all{{"LD_LIBRARY_PATH", QStringLiteral(RECORDING_LIBRARY)},
                               {"RECORDING_CAMERAS", "2"},
                               {"RECORDING_TIMEOUTS", "20"},
                               {"RECORDING_LOG", "calls"}};
    for (auto i = variables.begin(); i != variables.end(); ++i)
        all.insert(i.key(), i.value());
    if (all.value("RECORDING_TIMEOUTS").isEmpty())
        all.remove("RECORDING_TIMEOUTS");
    bivista.start(all);
}

/// Until the window of this title is there: a window that has just got the keyboard may not know it yet. A
/// menu that some of the keys have opened is closed before they are tried again.
void TestEnds::chooseFromMenu(const QStringList& keys, const QString& title) {
    for (int tries = 0; tries < 10 && !server->titles().contains(title); ++tries) {
        if (tries > 0)
            QVERIFY(server->run("xdotool", {"key", "Escape"}).ok);
        QVERIFY(server->run("xdotool", QStringList{"key", "--delay", "100"} + keys).ok);
        server->waitForWindow(title, 2000);
    }
    QVERIFY2(server->titles().contains(title), qPrintable(server->titles().join(", ")));
}

/// All threads have ended, then every camera was freed, once, and the settings are whole.
void TestEnds::endsInOrder(RunningBivista& bivista, int exitCode) {
    const bool isOver = bivista.process->waitForEnd();
    const QByteArray log = bivista.process->errors();
    QVERIFY2(isOver, log.constData());
    QCOMPARE(bivista.process->exitCode(), exitCode);
    QCOMPARE(log.count("exit capture"), log.count("thread run"));
    QVERIFY2(log.count("Close event") <= 1, log.constData());
    QVERIFY2(!log.contains("Sanitizer") && !log.contains("QThread"), log.constData());
    QCOMPARE(freed(bivista), kFreed);
    QVERIFY(bivista.read("calls").endsWith("CameraFree(1)\n"));
    QVERIFY2(bivista.read("setting.ini").contains("Cam1=SN1"), bivista.read("setting.ini").constData());
    QVERIFY(!bivista.folder.exists("bivista.lock"));
}

void TestEnds::signalEndsInOrder_data() {
    QTest::addColumn<int>("number");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGHUP") << SIGHUP;
}

void TestEnds::signalEndsInOrder() {
    QFETCH(int, number);
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    start(bivista);
    QVERIFY(waitForLog(bivista, "thread run", 2));
    bivista.process->signal(number);
    endsInOrder(bivista);
    QCOMPARE(bivista.process->errors().count("Close event"), 1);
}

/// It ends with the camera's time-out. More signals meanwhile change nothing.
void TestEnds::queryUnderWayIsWaitedFor() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    start(bivista, {{"RECORDING_TIMEOUTS", "3000"}});
    QVERIFY(waitForLog(bivista, "thread run", 2));
    bivista.process->signal(SIGTERM);
    QVERIFY(waitForLog(bivista, "Close event"));
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        bivista.process->signal(number);
    QVERIFY(freed(bivista).isEmpty());
    endsInOrder(bivista);
    QCOMPARE(bivista.process->errors().count("Close event"), 1);
}

void TestEnds::whileABoxIsUp() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.write("setting.ini", "[File]\nLang=1\nPath=\n");
    start(bivista, {{"RECORDING_TIMEOUTS", ""}});
    QVERIFY(waitForLog(bivista, "thread run", 2));
    QVERIFY(waitFor([&] {
        server->key("ctrl+w");
        return server->titles().contains("notice");
    }));
    bivista.process->signal(SIGTERM);
    endsInOrder(bivista);
    QCOMPARE(bivista.process->errors().count("Close event"), 1);
}

void TestEnds::whileAMenuIsUp() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    start(bivista);
    QVERIFY(server->waitForWindow("Bivista"));
    QVERIFY(waitForLog(bivista, "thread run", 2));
    // Again where the window was not that large yet.
    QVERIFY(waitFor([&] {
        return server->run("xdotool", {"mousemove", "900", "600", "click", "3"}).ok &&
               waitFor([&] { return server->hasPopup(); }, 3000);
    }));
    bivista.process->signal(SIGTERM);
    endsInOrder(bivista);
}

/// The settings, a box, and above it another one that came by the hot key: an event loop within another.
void TestEnds::whileDialogsAreUp() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.write("setting.ini", "[File]\nLang=1\nPath=\n");
    start(bivista, {{"RECORDING_TIMEOUTS", ""}});
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY(window);
    QVERIFY(waitForLog(bivista, "thread run", 2));
    QVERIFY(server->activate(window));
    chooseFromMenu({"alt+t", "Return"}, "Setting");
    QVERIFY(server->activate(window));
    chooseFromMenu({"alt+t", "Right", "Down", "Down", "Return"}, "Info");
    QVERIFY(waitFor([&] {
        server->key("ctrl+w");
        return server->titles().contains("notice");
    }));
    bivista.process->signal(SIGTERM);
    endsInOrder(bivista);
    QCOMPARE(bivista.process->errors().count("Close event"), 1);
}

void TestEnds::inFullScreen() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    start(bivista);
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY(window);
    QVERIFY(waitForLog(bivista, "thread run", 2));
    QVERIFY(server->activate(window));
    QVERIFY(server->key("F4"));
    QVERIFY(waitFor([&] {
        const auto geometry =
            server->run("xdotool", {"getwindowgeometry", "--shell", QString::number(window)});
        return geometry.output.contains("HEIGHT=1080");
    }));
    bivista.process->signal(SIGTERM);
    endsInOrder(bivista);
    QCOMPARE(bivista.process->errors().count("Close event"), 1);
}

/// The form of the calibration: it ends as if it was cancelled.
void TestEnds::whileTheCountsAreAsked() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.write("setting.ini", "[File]\nLang=1\nType=2\n[Pos]\nX0=0\nX1=64\nY1=0\n");
    QByteArray marks;
    for (const char* place : {"5 5", "60 5", "5 40", "60 40", "70 5", "120 5", "70 40", "120 40"})
        marks += QByteArray("Coordinates #0000ff 1 1 | ") + place + "\r\n";
    bivista.write("mark0.txt", marks);
    start(bivista, {{"RECORDING_TIMEOUTS", ""}});
    QVERIFY(bivista.waitForStreams(64));
    QVERIFY(server->activate(server->waitForWindow("Bivista")));
    chooseFromMenu({"alt+t", "Right", "Up", "Return", "alt+t", "Right", "Down", "Down", "Return"},
                   "CalibrateDialog");
    bivista.process->signal(SIGTERM);
    endsInOrder(bivista);
    QCOMPARE(bivista.process->errors().count("Close event"), 1);
    QVERIFY(!QFile::exists(bivista.folder.filePath("Cal0.xml")));
    QCOMPARE(bivista.read("mark0.txt"), marks);
}

/// Not in the background: the window is busy with it when the signal comes.
void TestEnds::whileAPictureIsWritten() {
    const QPoint far(9000, 7000);
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.write("setting.ini", QStringLiteral("[File]\nLang=1\nType=2\n[Pos]\nX0=0\nX1=%1\nY1=%2\n")
                                     .arg(far.x())
                                     .arg(far.y())
                                     .toLatin1());
    start(bivista, {{"RECORDING_TIMEOUTS", ""}});
    QVERIFY(waitForLog(bivista, "thread run", 2));
    const auto isUnderWay = [&] {
        return !bivista.folder.entryList({".bivista-*"}, QDir::Files | QDir::Hidden).isEmpty();
    };
    const auto isStopped = [&] {
        QFile file(QStringLiteral("/proc/%1/stat").arg(bivista.process->processId()));
        const QByteArray state = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        return state.mid(state.lastIndexOf(')') + 2).startsWith('T');
    };
    QElapsedTimer time;
    time.start();
    // As soon as there are tiles the key saves. The program is stopped in the middle of it, or the picture
    // may be whole before the signal comes.
    bool isInTheMiddle = false;
    for (int looks = 0; !isInTheMiddle && time.elapsed() < kDesktopLimit; ++looks) {
        if (looks % 1000 == 0)
            QVERIFY(server->pressPlaces({kControl, kUsW}));
        QThread::msleep(1);
        if (!isUnderWay())
            continue;
        bivista.process->signal(SIGSTOP);
        QVERIFY(waitFor(isStopped));
        isInTheMiddle = isUnderWay();
        if (!isInTheMiddle)
            bivista.process->signal(SIGCONT);
    }
    QVERIFY(isInTheMiddle);
    bivista.process->signal(SIGTERM);
    bivista.process->signal(SIGCONT);
    endsInOrder(bivista);
    QVERIFY(!isUnderWay());
    const QStringList pictures = bivista.pictures();
    QVERIFY(!pictures.isEmpty());
    for (const QString& picture : pictures)
        QVERIFY2(!QImage(bivista.folder.filePath(picture)).isNull(), qPrintable(picture));
    QCOMPARE(bivista.lastPicture().size(), QSize(far.x() + 64, far.y() + 48));
}

/// Before there is an event loop of the program's: what was on its way to be built is built and taken down.
void TestEnds::whileTheStartWaitsInABox() {
    RunningBivista first(*server, QStringLiteral(BIVISTA));
    first.start();
    QVERIFY(server->waitForWindow("Bivista"));
    RunningBivista second(*server, QStringLiteral(BIVISTA));
    start(second);
    QVERIFY(server->waitForWindow("Error"));
    second.process->signal(SIGTERM);
    endsInOrder(second);
}

void TestEnds::whileTheStartFindsAnotherCamera() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    const QByteArray settings = "[Camera]\nCam1=NOT-ATTACHED\n[File]\nLang=1\n";
    bivista.write("setting.ini", settings);
    start(bivista);
    QVERIFY(server->waitForWindow("Error"));
    bivista.process->signal(SIGTERM);
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    QCOMPARE(freed(bivista), kFreed);
    QCOMPARE(bivista.read("setting.ini"), settings);
}

/// The window waits for as long as the camera takes, which may be for ever. Who asks again much later is
/// heard.
void TestEnds::hangingLibraryIsLeftAtTheSecondSignal() {
#ifdef __SANITIZE_THREAD__
    QSKIP("The thread sanitizer keeps signals back while the thread waits");
#endif
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    start(bivista, {{"RECORDING_HANGS", "1"}});
    QVERIFY(waitForLog(bivista, "thread run", 2));
    QElapsedTimer time;
    time.start();
    bivista.process->signal(SIGTERM);
    QVERIFY(waitForLog(bivista, "Close event"));
    bivista.process->signal(SIGTERM);
    QVERIFY(waitForLog(bivista, "exit capture"));
    while (!bivista.process->waitForEnd(500) && bivista.process->isRunning() &&
           time.elapsed() < kDesktopLimit)
        bivista.process->signal(SIGTERM);
    QVERIFY(!bivista.process->isRunning());
    QCOMPARE(bivista.process->exitCode(), SIGTERM);
    // No sooner, and that from the first signal on: an end that takes its time is not cut short by who is in
    // a hurry.
    QVERIFY2(time.elapsed() > 9900, qPrintable(QString::number(time.elapsed())));
}

/// As "nohup" starts programs that are to outlive their terminal.
void TestEnds::ignoredSignalStaysIgnored() {
    RunningBivista bivista(*server, QStringLiteral("/bin/sh"),
                           {"-c", "trap '' HUP; exec \"$0\"", QStringLiteral(BIVISTA)});
    start(bivista, {{"RECORDING_TIMEOUTS", ""}});
    QVERIFY(waitForLog(bivista, "thread run", 2));
    bivista.process->signal(SIGHUP);
    // It lives on, as far as to take a picture.
    QVERIFY(bivista.waitForStreams(0));
    QVERIFY(!bivista.process->errors().contains("Close event"));
    bivista.process->signal(SIGTERM);
    endsInOrder(bivista);
}

void TestEnds::lostDisplay() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    start(bivista, {{"RECORDING_TIMEOUTS", "1000"}});
    QVERIFY(waitForLog(bivista, "thread run", 2));
    server.reset();
    // With what Qt ends it.
    endsInOrder(bivista, 1);
}

void TestEnds::lostDisplayWhileABoxOfTheStartIsUp() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.write("setting.ini", "[Camera]\nCam1=NOT-ATTACHED\n[File]\nLang=1\n");
    start(bivista);
    QVERIFY(server->waitForWindow("Error"));
    server.reset();
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 1);
    QCOMPARE(freed(bivista), kFreed);
}

/// The other camera is freed all the same, and the program ends.
void TestEnds::lostDisplayAndAHangingCamera() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    start(bivista, {{"RECORDING_HANGS", "1"}});
    QVERIFY(waitForLog(bivista, "thread run", 2));
    server.reset();
    QVERIFY2(bivista.process->waitForEnd(), bivista.process->errors().constData());
    QCOMPARE(bivista.process->exitCode(), 1);
    QCOMPARE(freed(bivista), QStringList{"CameraFree(0)"});
}

/// What it has made at the first query goes before anything that was registered before that.
void TestEnds::lostDisplayAndALibraryThatTakesItselfDown() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    start(bivista, {{"RECORDING_LATE_STATE", "1"}});
    // Asked after three seconds without a frame.
    QVERIFY(waitFor([&] { return bivista.read("calls").contains("CameraGetSnapMode(1)"); }));
    server.reset();
    QVERIFY2(bivista.process->waitForEnd(), bivista.process->errors().constData());
    QCOMPARE(bivista.process->exitCode(), 1);
    const QByteArray calls = bivista.read("calls");
    QVERIFY2(calls.endsWith("CameraFree(0)\nCameraFree(1)\nLibraryEnds()\n"), calls.constData());
}

/// Standard error is a pipe that nobody reads any more: the next line of the log is lost, and that is all.
void TestEnds::readerOfTheLogHasGone() {
    RunningBivista bivista(*server, QStringLiteral("/bin/bash"),
                           {"-c", "exec \"$0\" 2> >(exec true)", QStringLiteral(BIVISTA)});
    start(bivista, {{"RECORDING_TIMEOUTS", ""}});
    QVERIFY(server->waitForWindow("Bivista"));
    QVERIFY(bivista.waitForStreams(0));
    bivista.process->signal(SIGTERM);
    endsInOrder(bivista);
}

QTEST_GUILESS_MAIN(TestEnds)
#include "tst_ends.moc"
