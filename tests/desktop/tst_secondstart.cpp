// SPDX-License-Identifier: Apache-2.0
// One working folder, one program: what a second start does to the first, what a killed one leaves, and the
// options of the command line. A camera library writes down what it is asked for.

#include <csignal>

#include "support/runningbivista.h"

namespace {

constexpr int kTakenCode = 3;

}  // namespace

class TestSecondStart : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void raisesTheFirst_data();
    void raisesTheFirst();
    void raisesTheBoxOfTheFirst_data();
    void raisesTheBoxOfTheFirst();
    void byAnotherPath();
    void withoutAWindowManager();
    void onAnotherDisplay();
    void firstOneHangs();
    void bothAtOnce();
    void whileTheFirstEnds();
    void afterAKill();
    void lockGoesWithAnEarlyEnd();
    void folderThatIsGone();
    void warningsOfTheStartAreInTheLog();
    void givenFolder();
    void givenFolderThatIsNotThere();
    void answersWithoutADisplay_data();
    void answersWithoutADisplay();

private:
    void start(RunningBivista& bivista, const QMap<QString, QString>& variables = {}) const;
    std::unique_ptr<DesktopProgram> startSecond(const RunningBivista& first,
                                                const QStringList& arguments = {},
                                                const QString& folder = {}) const;
    static void givesWay(const RunningBivista& first, DesktopProgram& second, bool firstHangs = false);
    quint32 cover();

    std::unique_ptr<XServer> server;
    std::unique_ptr<DesktopProgram> editor;
};

void TestSecondStart::init() {
    server = std::make_unique<XServer>();
    QVERIFY2(server->start(), qPrintable(server->errorString()));
}

void TestSecondStart::cleanup() {
    editor.reset();
    server.reset();
}

void TestSecondStart::start(RunningBivista& bivista, const QMap<QString, QString>& variables) const {
    QMap<QString, QString> all{{"LD_LIBRARY_PATH", QStringLiteral(RECORDING_LIBRARY)},
                               {"RECORDING_CAMERAS", "2"},
                               {"RECORDING_LOG", "calls"}};
    for (auto i = variables.begin(); i != variables.end(); ++i)
        all.insert(i.key(), i.value());
    bivista.start(all);
}

/// Another start in the folder of the first. What it asks of cameras it writes into a file of its own.
std::unique_ptr<DesktopProgram> TestSecondStart::startSecond(const RunningBivista& first,
                                                             const QStringList& arguments,
                                                             const QString& folder) const {
    QProcessEnvironment environment = server->environment();
    environment.insert("LD_LIBRARY_PATH", QStringLiteral(RECORDING_LIBRARY));
    environment.insert("RECORDING_CAMERAS", "2");
    environment.insert("RECORDING_LOG", first.folder.filePath("calls of the second"));
    return std::make_unique<DesktopProgram>(environment, QStringLiteral(BIVISTA), arguments,
                                            folder.isEmpty() ? first.folder.path() : folder);
}

/// The second has ended without touching anything, and the first runs on.
void TestSecondStart::givesWay(const RunningBivista& first, DesktopProgram& second, bool firstHangs) {
    const bool isOver = second.waitForEnd();
    const QByteArray log = second.errors();
    QVERIFY2(isOver, log.constData());
    QCOMPARE(second.exitCode(), kTakenCode);
    const QByteArray folder = first.folder.canonicalPath().toUtf8();
    QVERIFY2(log.contains("Bivista is already running in " + folder), log.constData());
    QVERIFY2(log.contains(", but does not answer.\n") == firstHangs, log.constData());
    QVERIFY2(!log.contains("Device count") && !log.contains("thread run"), log.constData());
    QVERIFY(!first.read("calls of the second").contains("Camera"));
    QVERIFY(first.process->isRunning());
    QVERIFY(first.folder.exists("bivista.lock"));
}

/// Another program's window over everything.
quint32 TestSecondStart::cover() {
    editor = std::make_unique<DesktopProgram>(*server, QStringLiteral(KEY_WINDOW), QStringList{"Editor"});
    const quint32 window = server->waitForWindow("Editor");
    return window != 0 && server->activate(window) ? window : 0;
}

void TestSecondStart::raisesTheFirst_data() {
    QTest::addColumn<QString>("state");
    QTest::newRow("before everything else") << "";
    QTest::newRow("covered") << "covered";
    QTest::newRow("minimised") << "minimised";
    QTest::newRow("full screen, covered") << "full screen, covered";
    QTest::newRow("full screen, minimised") << "full screen, minimised";
}

void TestSecondStart::raisesTheFirst() {
    QFETCH(QString, state);
    RunningBivista first(*server, QStringLiteral(BIVISTA));
    start(first);
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY(window);
    QVERIFY(first.waitForStreams(64));
    QVERIFY(server->activate(window));
    const auto height = [&] {
        const auto geometry =
            server->run("xdotool", {"getwindowgeometry", "--shell", QString::number(window)});
        return QString::fromLatin1(geometry.output).split('\n').filter("HEIGHT=");
    };
    if (state.contains("full screen")) {
        QVERIFY(server->key("F4"));
        QVERIFY(waitFor([&] { return height() == QStringList{"HEIGHT=1080"}; }));
    }
    const QStringList before = height();
    if (state.contains("minimised")) {
        QVERIFY(server->run("xdotool", {"windowminimize", QString::number(window)}).ok);
        QVERIFY(waitFor([&] { return server->activeWindow() != window; }));
    }
    if (state.contains("covered"))
        QVERIFY(cover());
    const QByteArray settings = first.read("setting.ini");
    const auto second = startSecond(first);
    QVERIFY(server->waitForActive(window));
    givesWay(first, *second);
    QCOMPARE(server->activeWindow(), window);
    QCOMPARE(server->titles().count("Bivista"), 1);
    QVERIFY(!server->titles().contains("Error"));
    QCOMPARE(height(), before);
    QVERIFY(!server->run("xdotool", {"search", "--onlyvisible", "--name", "^Bivista$"}).output.isEmpty());
    QCOMPARE(first.read("setting.ini"), settings);
    // It is as it was, with its key.
    const int pictures = first.pictures().size();
    QVERIFY(server->key("ctrl+w"));
    QVERIFY(first.waitForPictures(pictures + 1));
    first.process->signal(SIGTERM);
    QVERIFY(first.process->waitForEnd());
    QCOMPARE(first.read("calls").count("CameraInit(0"), 1);
    QVERIFY(!first.folder.exists("bivista.lock"));
}

void TestSecondStart::raisesTheBoxOfTheFirst_data() {
    QTest::addColumn<QByteArray>("settings");
    QTest::newRow("of its start") << QByteArray("[Camera]\nCam1=NOT-ATTACHED\n[File]\nLang=1\n");
    QTest::newRow("over its window") << QByteArray("[File]\nLang=1\nPath=\n");
}

void TestSecondStart::raisesTheBoxOfTheFirst() {
    QFETCH(QByteArray, settings);
    RunningBivista first(*server, QStringLiteral(BIVISTA));
    first.write("setting.ini", settings);
    start(first);
    const bool isOfStart = settings.contains("NOT-ATTACHED");
    if (!isOfStart)
        QVERIFY(server->waitForWindow("Bivista"));
    QString title;
    QVERIFY(waitFor([&] {
        if (!isOfStart)
            server->key("ctrl+w");
        for (const QString& each : server->titles())
            if (each != "Bivista")
                title = each;
        return !title.isEmpty();
    }));
    const quint32 box = server->waitForWindow(title);
    QVERIFY(cover());
    const auto second = startSecond(first);
    QVERIFY(server->waitForActive(box));
    givesWay(first, *second);
    QCOMPARE(server->activeWindow(), box);
    QVERIFY(server->key("Return"));
    QVERIFY(server->waitForNoWindow(title));
}

void TestSecondStart::byAnotherPath() {
    RunningBivista first(*server, QStringLiteral(BIVISTA), {}, "station");
    start(first);
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY(window);
    QVERIFY(cover());
    const QTemporaryDir elsewhere;
    QVERIFY(QFile::link(first.folder.path(), elsewhere.filePath("link")));
    const auto linked = startSecond(first, {}, elsewhere.filePath("link"));
    givesWay(first, *linked);
    const auto given = startSecond(first, {"--folder", "link"}, elsewhere.path());
    givesWay(first, *given);
    QCOMPARE(server->activeWindow(), window);
}

/// As on a station that shows nothing else.
void TestSecondStart::withoutAWindowManager() {
    QVERIFY(server->run("openbox", {"--exit"}).ok);
    RunningBivista first(*server, QStringLiteral(BIVISTA));
    start(first);
    QVERIFY(waitFor([&] { return first.process->errors().count("thread run") >= 2; }));
    editor = std::make_unique<DesktopProgram>(*server, QStringLiteral(KEY_WINDOW), QStringList{"Editor"});
    const auto windowOf = [&](const QString& title) {
        return server->run("xdotool", {"search", "--onlyvisible", "--name", '^' + title + '$'})
            .output.trimmed()
            .toUInt();
    };
    QVERIFY(waitFor([&] { return windowOf("Editor") != 0; }));
    QVERIFY(server->run("xdotool", {"windowfocus", "--sync", QString::number(windowOf("Editor"))}).ok);
    const quint32 window = windowOf("Bivista");
    QVERIFY(window);
    QVERIFY(server->focus() != window);
    const auto second = startSecond(first);
    QVERIFY(waitFor([&] { return server->focus() == window; }));
    givesWay(first, *second);
}

/// There is no window to raise, so somebody has to say it; and nobody may be there to answer.
void TestSecondStart::onAnotherDisplay() {
    RunningBivista first(*server, QStringLiteral(BIVISTA));
    start(first);
    QVERIFY(server->waitForWindow("Bivista"));
    const auto firstServer = std::exchange(server, std::make_unique<XServer>());
    QVERIFY(server->start());
    for (const bool isAnswered : {true, false}) {
        const auto second = startSecond(first);
        const quint32 box = server->waitForWindow("Bivista");
        QVERIFY(box);
        QVERIFY(second->isRunning());
        QVERIFY(server->activate(box));
        if (isAnswered)
            QVERIFY(server->key("Return"));
        givesWay(first, *second);
        QVERIFY(server->waitForNoWindow("Bivista"));
    }
    first.process->signal(SIGTERM);
    QVERIFY(first.process->waitForEnd());
}

/// The desktop brings its window to the front all the same.
void TestSecondStart::firstOneHangs() {
    RunningBivista first(*server, QStringLiteral(BIVISTA), {}, "station");
    start(first);
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY(window);
    QVERIFY(first.waitForStreams(64));
    first.process->signal(SIGSTOP);
    const auto second = startSecond(first);
    // Its box has the title that the window has.
    QVERIFY(waitFor([&] { return server->titles().count("Bivista") == 2; }));
    first.process->signal(SIGCONT);
    QVERIFY(waitFor([&] {
        server->key("Return");
        return !second->isRunning();
    }));
    givesWay(first, *second, true);
    // It goes on, and answers the next.
    const auto third = startSecond(first);
    givesWay(first, *third);
}

/// The one that comes first has no window yet when the other looks for it.
void TestSecondStart::bothAtOnce() {
    RunningBivista both(*server, QStringLiteral(BIVISTA));
    start(both);
    const auto second = startSecond(both);
    QVERIFY(server->waitForWindow("Bivista"));
    QVERIFY(waitFor([&] { return !both.process->isRunning() || !second->isRunning(); }));
    DesktopProgram& over = second->isRunning() ? *both.process : *second;
    QVERIFY(over.waitForEnd());
    QCOMPARE(over.exitCode(), kTakenCode);
    // It may have had a box of that title, which the window manager forgets a moment after its program ended.
    QVERIFY2(waitFor([&] { return server->titles() == QStringList{"Bivista"}; }),
             qPrintable(server->titles().join(", ")));
}

/// Who closes the window and starts the program at once gets it.
void TestSecondStart::whileTheFirstEnds() {
    RunningBivista first(*server, QStringLiteral(BIVISTA));
    start(first, {{"RECORDING_TIMEOUTS", "1500"}});
    QVERIFY(server->waitForWindow("Bivista"));
    QVERIFY(waitFor([&] { return first.process->errors().count("thread run") >= 2; }));
    first.process->signal(SIGTERM);
    QVERIFY(waitFor([&] { return first.process->errors().contains("Close event"); }));
    const auto second = startSecond(first);
    QVERIFY(first.process->waitForEnd());
    QVERIFY(waitFor([&] { return second->errors().count("thread run") >= 2; }));
    QVERIFY(second->isRunning());
    QVERIFY(server->waitForWindow("Bivista"));
    QVERIFY(first.folder.exists("bivista.lock"));
}

void TestSecondStart::afterAKill() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    for (int i = 0; i < 2; ++i) {
        start(bivista);
        QVERIFY(waitFor([&] { return bivista.process->errors().count("thread run") >= 2; }));
        bivista.process->kill();
        QVERIFY(bivista.folder.exists("bivista.lock"));
    }
    start(bivista);
    QVERIFY(server->waitForWindow("Bivista"));
    QVERIFY(bivista.waitForStreams(64));
    bivista.process->signal(SIGTERM);
    QVERIFY(bivista.process->waitForEnd());
    QVERIFY(!bivista.folder.exists("bivista.lock"));
}

/// By exit(), from the box of the start.
void TestSecondStart::lockGoesWithAnEarlyEnd() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.write("setting.ini", "[Camera]\nCam1=NOT-ATTACHED\n[File]\nLang=1\n");
    start(bivista);
    const quint32 box = server->waitForWindow("Error");
    QVERIFY(box);
    QVERIFY(bivista.folder.exists("bivista.lock"));
    QVERIFY(server->activate(box));
    QVERIFY(server->key("Return"));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    QVERIFY(!bivista.folder.exists("bivista.lock"));
}

/// A shell may stand in it still. The system's first folder is nobody's station.
void TestSecondStart::folderThatIsGone() {
    const QTemporaryDir place;
    const QString gone = place.filePath("gone");
    QVERIFY(QDir().mkdir(gone));
    const QStringList before = QDir::root().entryList(QDir::AllEntries | QDir::Hidden);
    QProcessEnvironment environment = server->environment();
    environment.insert("LD_LIBRARY_PATH", QStringLiteral(RECORDING_LIBRARY));
    environment.insert("RECORDING_CAMERAS", "2");
    DesktopProgram program(environment, "sh", {"-c", "rmdir \"$PWD\"; exec \"$0\"", QStringLiteral(BIVISTA)},
                           gone);
    QVERIFY(waitFor([&] { return program.errors().count("thread run") >= 2; }));
    for (const char* line : {"Nothing keeps a second Bivista out of the working folder since it has no name",
                             "There is no log file"})
        QVERIFY2(program.errors().contains(line), program.errors().constData());
    program.signal(SIGTERM);
    QVERIFY(program.waitForEnd());
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(QDir::root().entryList(QDir::AllEntries | QDir::Hidden), before);
}

/// They come before there is one.
void TestSecondStart::warningsOfTheStartAreInTheLog() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    QVERIFY(bivista.folder.mkpath("bivista.lock/full"));
    start(bivista);
    const QByteArray line = "Nothing keeps a second Bivista out of " +
                            bivista.folder.canonicalPath().toUtf8() +
                            " since no bivista.lock can be made there";
    QVERIFY(waitFor([&] { return bivista.read("logs/bivista.log").contains(line); }));
    // The file and standard error have it one after the other.
    QVERIFY2(waitFor([&] { return bivista.process->errors().contains(line); }),
             bivista.process->errors().constData());
    QVERIFY(server->waitForWindow("Bivista"));
    QCOMPARE(bivista.process->errors().count(line), 1);
}

/// Everything is read from there and written there, what the camera library reads included.
void TestSecondStart::givenFolder() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA), {"--folder", QStringLiteral("工位 1")});
    const QByteArray settings = bivista.read("setting.ini");
    QVERIFY(QDir(bivista.folder).mkdir(QStringLiteral("工位 1")));
    for (const char* name : {"setting.ini", "kvcap2.ini"})
        QVERIFY(QFile::rename(bivista.folder.filePath(name),
                              bivista.folder.filePath(QStringLiteral("工位 1/") + name)));
    bivista.start({{"LC_ALL", "C.UTF-8"}});
    QVERIFY(server->waitForWindow("Bivista"));
    const QDir inner(bivista.folder.filePath(QStringLiteral("工位 1")));
    QVERIFY(waitFor([&] {
        server->key("ctrl+w");
        return !inner.entryList({"snapshot-*.png"}).isEmpty();
    }));
    QVERIFY(inner.exists("bivista.lock"));
    bivista.process->signal(SIGTERM);
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    QVERIFY(bivista.read(QStringLiteral("工位 1/setting.ini")).contains("Cam3="));
    // Four cameras, as the file there says.
    QVERIFY2(bivista.process->errors().contains("Device count: 4"), bivista.process->errors().constData());
    QCOMPARE(bivista.folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("工位 1")});
}

void TestSecondStart::givenFolderThatIsNotThere() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA), {"--folder", "gone"});
    start(bivista);
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 4);
    const QByteArray log = bivista.process->errors();
    QVERIFY2(log.contains("/gone: there is no such folder"), log.constData());
    QVERIFY(server->titles().isEmpty());
    QCOMPARE(bivista.folder.entryList(QDir::Files), (QStringList{"kvcap2.ini", "setting.ini"}));
}

void TestSecondStart::answersWithoutADisplay_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    QTest::newRow("version") << QStringList{"--version"} << 0 << QByteArray("Bivista ") << QByteArray();
    QTest::newRow("help") << QStringList{"--help"} << 0 << QByteArray("Usage: bivista ") << QByteArray();
    QTest::newRow("wrong") << QStringList{"--fodler", "x"} << 2 << QByteArray() << QByteArray("'fodler'");
}

void TestSecondStart::answersWithoutADisplay() {
    QFETCH(QStringList, arguments);
    QFETCH(int, code);
    QFETCH(QByteArray, output);
    QFETCH(QByteArray, errors);
    const QTemporaryDir folder;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        environment.remove(name);
    ChildProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(folder.path());
    process.start(QStringLiteral(BIVISTA), arguments);
    QVERIFY(process.waitForFinished(kDesktopLimit));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), code);
    const QByteArray said = process.readAllStandardOutput();
    const QByteArray complained = process.readAllStandardError();
    QVERIFY2(said.startsWith(output) && said.isEmpty() == output.isEmpty(), said.constData());
    QVERIFY2(complained.contains(errors) && complained.isEmpty() == errors.isEmpty(), complained.constData());
    QVERIFY(QDir(folder.path()).isEmpty());
}

QTEST_GUILESS_MAIN(TestSecondStart)
#include "tst_secondstart.moc"
