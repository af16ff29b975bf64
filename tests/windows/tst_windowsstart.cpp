// SPDX-License-Identifier: Apache-2.0
// How the packaged program starts and ends on Windows, run by Wine: where it works, the one program of a
// folder, its log, what a killed and a crashed one leave, screens of other scales. Made by
// packaging/windows/build and run by packaging/windows/test.

#include <QProcess>
#include <QRegularExpression>

#include "support/runningbivista.h"
#include "windowspc.h"

namespace {

// What no code page of one byte has, and a blank: as people name their folders.
const QString kStation = QStringLiteral("\u68c0\u6d4b\u53f0 1");

const QString kLog = QStringLiteral("logs/bivista.log");

constexpr QSize kScreen(1920, 1080);  // px

QByteArray contentOf(const QString& fileName) {
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool matches(const QString& text, const char* pattern) {
    const QRegularExpression expression(QString::fromUtf8(pattern), QRegularExpression::MultilineOption);
    return expression.match(text).hasMatch();
}

}  // namespace

class TestWindowsStart : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void tellsItsVersion();
    void folderOfTheCommandLine();
    void logHasItsHead();
    void secondStartRaisesTheFirst();
    void killedAndStartedAgain();
    void crashLeavesTraces();
    void anotherHotkey();
    void installedWorksWhereItIsRegistered();
    void scales_data();
    void scales();

private:
    RunningBivista unpacked();
    void run(RunningBivista& bivista, quint32& window);
    std::unique_ptr<DesktopProgram> startIn(const QString& folder, const QStringList& command);
    quint32 windowOf(DesktopProgram& process);
    void endInOrder(DesktopProgram& process, quint32 window);

    WindowsPc pc;
    QDir package;
    QImage pictureOfScales;
};

void TestWindowsStart::initTestCase() {
    QVERIFY2(QFile::exists(QStringLiteral(PACKAGE)), PACKAGE " is missing: packaging/windows/build makes it");
    QCOMPARE(QProcess::execute("unzip", {"-q", PACKAGE, "-d", pc.place.path()}), 0);
    package.setPath(pc.place.filePath(QFileInfo(QStringLiteral(PACKAGE)).completeBaseName()));
    QVERIFY(package.exists("bivista.exe"));
    QVERIFY2(pc.startDesktop(), qPrintable(pc.server.errorString()));
    QCOMPARE(pc.startWine(), QString());
}

/// The portable archive in a folder of its own.
RunningBivista TestWindowsStart::unpacked() {
    return RunningBivista(pc.server, QStringLiteral(RUN_IN_WINE), pc.wine({"bivista.exe"}), kStation);
}

/// Starts it there, and gives it the keyboard.
void TestWindowsStart::run(RunningBivista& bivista, quint32& window) {
    QCOMPARE(QProcess::execute("cp", {"-r", "--no-clobber", package.path() + "/.", bivista.folder.path()}),
             0);
    bivista.start({{"HOME", pc.place.path()}});
    window = windowOf(*bivista.process);
}

/// In this folder, but not of it.
std::unique_ptr<DesktopProgram> TestWindowsStart::startIn(const QString& folder, const QStringList& command) {
    QProcessEnvironment variables = pc.environment();
    variables.insert("LC_ALL", "C.UTF-8");
    return std::make_unique<DesktopProgram>(variables, QStringLiteral(RUN_IN_WINE), pc.wine(command), folder);
}

quint32 TestWindowsStart::windowOf(DesktopProgram& process) {
    const quint32 window = pc.server.waitForWindow("Bivista");
    if (!window || !pc.server.activate(window))
        qWarning("There is no window, or it gets no keyboard: %s", process.errors().constData());
    return window;
}

void TestWindowsStart::endInOrder(DesktopProgram& process, quint32 window) {
    QVERIFY(window);
    QVERIFY(pc.server.closeWindow(window));
    QVERIFY(process.waitForEnd());
    QCOMPARE(process.exitCode(), 0);
}

/// Into a file, where nobody has a console, and without a start.
void TestWindowsStart::tellsItsVersion() {
    const QTemporaryDir folder;
    const QString program = package.filePath("bivista.exe");
    QByteArray output;
    QCOMPARE(pc.runToItsEnd({program, "--version"}, folder.path(), &output), 0);
    QCOMPARE(output, QByteArray("Bivista " VERSION "\n"));
    QCOMPARE(pc.runToItsEnd({program, "--help"}, folder.path(), &output), 0);
    QVERIFY2(output.contains("--folder DIR"), output.constData());
    QCOMPARE(pc.runToItsEnd({program, "--flder"}, folder.path()), 1);
    QCOMPARE(pc.runToItsEnd({program, "--folder", "nowhere"}, folder.path()), 4);
    QVERIFY(QDir(folder.path()).isEmpty());
}

void TestWindowsStart::folderOfTheCommandLine() {
    const RunningBivista station = unpacked();
    const QTemporaryDir elsewhere;
    const QString settings = package.filePath("setting.ini");
    const QByteArray before = contentOf(settings);
    const QString given = QDir(elsewhere.path()).relativeFilePath(station.folder.path());
    const auto process = startIn(elsewhere.path(), {package.filePath("bivista.exe"), "--folder", given});
    const quint32 window = windowOf(*process);
    QVERIFY2(station.waitForStreams(), process->errors().constData());
    endInOrder(*process, window);
    QVERIFY(station.read("setting.ini").contains("Cam3=KV2500000004"));
    const QString log = QString::fromUtf8(station.read(kLog));
    QVERIFY2(log.contains(kStation), qPrintable(log));
    QCOMPARE(contentOf(settings), before);
    QVERIFY(!package.exists("logs"));
    QVERIFY(QDir(elsewhere.path()).isEmpty());
}

void TestWindowsStart::logHasItsHead() {
    RunningBivista bivista = unpacked();
    quint32 window = 0;
    run(bivista, window);
    QVERIFY(bivista.waitForStreams());
    endInOrder(*bivista.process, window);
    const QString log = QString::fromUtf8(bivista.read(kLog));
    const QString folder = kStation + '\\';
    for (
        const char* pattern :
        {R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} [+-]\d\d:\d\d +info +main +Bivista \d+\.\d+\.\d+, process \d+)",
         R"(Qt 5\.\S+ .*, OpenCV 4\.)", R"(Camera library: [A-Z]:\\.*\\KVCap2\.dll of \d{4}-\d\d-\d\d \d\d:)",
         R"(System: Windows \d+)", R"(Screen ".*": 1920 x 1080 px at 0, 0, scale 1, 96 dpi)",
         R"(Working folder: [A-Z]:\\)", R"((debug|info) +tile 3 +thread run)", R"(Status bar: )",
         R"(The log ends$)"})
        QVERIFY2(matches(log, pattern), qPrintable(pattern + ('\n' + log)));
    QVERIFY2(log.contains(folder + "KVCap2.dll of"), qPrintable(log));
}

/// It had been put out of the way. (Of what Windows calls the foreground Wine tells no window manager.) It
/// goes on as if nothing had happened.
void TestWindowsStart::secondStartRaisesTheFirst() {
    RunningBivista bivista = unpacked();
    quint32 window = 0;
    run(bivista, window);
    QVERIFY(bivista.waitForStreams());
    QVERIFY(pc.server.run("xdotool", {"windowminimize", QString::number(window)}).ok);
    QVERIFY(waitFor([&] { return pc.server.activeWindow() != window; }));

    const auto second = startIn(bivista.folder.path(), {"bivista.exe"});
    QVERIFY2(pc.server.waitForActive(window), second->errors().constData());
    QVERIFY(second->waitForEnd());
    QCOMPARE(second->exitCode(), 3);
    QVERIFY2(second->errors().contains("already running"), second->errors().constData());
    QCOMPARE(pc.server.titles().count("Bivista"), 1);

    const int before = bivista.pictures().size();
    QVERIFY(pc.server.key("ctrl+w"));
    QVERIFY(bivista.waitForPictures(before + 1));
    endInOrder(*bivista.process, window);
    const QByteArray log = bivista.read(kLog);
    QCOMPARE(log.count("The log begins"), 1);
    QCOMPARE(log.count("exit capture"), 4);
    QVERIFY(!bivista.folder.exists("bivista.lock"));
}

void TestWindowsStart::killedAndStartedAgain() {
    RunningBivista bivista = unpacked();
    quint32 window = 0;
    run(bivista, window);
    QVERIFY(bivista.waitForStreams());
    bivista.process->kill();
    QVERIFY(pc.server.waitForNoWindow("Bivista"));
    QVERIFY(bivista.folder.exists("bivista.lock"));

    run(bivista, window);
    QVERIFY2(bivista.waitForStreams(), bivista.process->errors().constData());
    endInOrder(*bivista.process, window);
    const QByteArray log = bivista.read(kLog);
    QCOMPARE(log.count("The log begins"), 2);
    QCOMPARE(log.count("The log ends"), 1);
    QVERIFY2(!log.contains("crashed"), log.constData());
}

void TestWindowsStart::crashLeavesTraces() {
    RunningBivista bivista = unpacked();
    quint32 window = 0;
    run(bivista, window);
    QVERIFY(bivista.waitForStreams());
    QCOMPARE(pc.runToItsEnd({QStringLiteral(WINDOWS_TOOLS "/bivista_crash_other.exe"), "Bivista"}), 0);
    bivista.process->waitForEnd(3 * kDesktopLimit);
    QVERIFY(!bivista.process->isRunning());
    const QDir logs(bivista.folder.filePath("logs"));
    const QStringList dumps = logs.entryList({"crash-*.dmp"});
    const QStringList texts = logs.entryList({"crash-*.txt"});
    QVERIFY2(dumps.size() == 1 && texts.size() == 1, bivista.process->errors().constData());
    // (Wine reads all symbols for a dump. Until then it may be cut off, where much is going on.)
    const QByteArray text = contentOf(logs.filePath(texts.first()));
    QVERIFY2(text.startsWith("Bivista " VERSION " crashed: exception 0xc0000005"), text.constData());
    QVERIFY2(text.contains("could not be executed") && text.contains("bivista.exe"), text.constData());

    run(bivista, window);
    QVERIFY(bivista.waitForStreams());
    endInOrder(*bivista.process, window);
    const QByteArray log = bivista.read(kLog);
    QVERIFY2(log.contains("The last run crashed: "), log.constData());
    QVERIFY2(log.contains("\\logs\\" + texts.first().toUtf8()), log.constData());
}

/// As the package's README has it.
void TestWindowsStart::anotherHotkey() {
    RunningBivista bivista = unpacked();
    bivista.write("setting.ini", bivista.read("setting.ini") + "[Platform]\nHotkey=Ctrl+Alt+W\n");
    quint32 window = 0;
    run(bivista, window);
    QVERIFY(waitFor([&] {
        const int before = bivista.pictures().size();
        pc.server.key("ctrl+alt+w");
        waitFor([&] { return bivista.pictures().size() > before; }, 1000);
        return bivista.pictures().size() > before && bivista.lastPicture().width() > 960;
    }));
    const int before = bivista.pictures().size();
    QVERIFY(pc.server.key("ctrl+w"));
    QVERIFY(pc.server.key("ctrl+alt+w"));
    QVERIFY(bivista.waitForPictures(before + 1));
    endInOrder(*bivista.process, window);
    // All that was taken is written at the end.
    QCOMPARE(bivista.pictures().size(), before + 1);
    QVERIFY(bivista.read("setting.ini").contains("Hotkey=Ctrl+Alt+W"));
}

/// By a double click in its folder, and as Windows starts what nobody gave a folder.
void TestWindowsStart::installedWorksWhereItIsRegistered() {
    QCOMPARE(pc.runToItsEnd({SETUP, "/S", "/CurrentUser"}), 0);
    const QDir installed(pc.unixPath(pc.registered("HKCU", "Folder")));
    const QDir working(pc.unixPath(pc.registered("HKCU", "WorkingFolder")));
    QVERIFY(installed.exists("bivista.exe") && working.exists("setting.ini"));
    for (const QString& folder : {installed.path(), pc.unixPath("C:\\windows\\system32")}) {
        QVERIFY2(QFile::exists(folder), qPrintable(folder));
        QFile settings(working.filePath("setting.ini"));
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("[File]\nLang=1\n");
        settings.close();
        const auto process = startIn(folder, {installed.filePath("bivista.exe")});
        const quint32 window = windowOf(*process);
        QVERIFY(waitFor([&] { return process->errors().count("thread run") == 4; }));
        endInOrder(*process, window);
        QVERIFY2(contentOf(settings.fileName()).contains("Cam3=KV2500000004"), qPrintable(folder));
        for (const char* name : {"setting.ini", "logs", "bivista.lock"})
            QVERIFY2(!QFile::exists(folder + '/' + name), name);
        const QByteArray log = contentOf(working.filePath(kLog));
        QVERIFY2(log.contains("Working folder: " + pc.registered("HKCU", "WorkingFolder").toUtf8()),
                 log.constData());
        QVERIFY(QDir(working.filePath("logs")).removeRecursively());
    }
    // Somewhere else somebody has chosen, and an archive has no part in it.
    const RunningBivista station = unpacked();
    const auto process = startIn(station.folder.path(), {installed.filePath("bivista.exe")});
    endInOrder(*process, windowOf(*process));
    QVERIFY(station.read(kLog).contains("Working folder: "));
    QVERIFY(!working.exists("logs"));
    QCOMPARE(pc.runToItsEnd({installed.filePath("uninstall.exe"), "/S", "/CurrentUser"}), 0);
}

void TestWindowsStart::scales_data() {
    QTest::addColumn<int>("dpi");
    QTest::addColumn<QString>("scale");
    QTest::newRow("100 %") << 96 << "1";
    QTest::newRow("125 %") << 120 << "1.25";
    QTest::newRow("150 %") << 144 << "1.5";
    QTest::newRow("175 %") << 168 << "1.75";
    QTest::newRow("200 %") << 192 << "2";
}

/// The window fills the screen, the log names the scale, and what is saved does not depend on it.
void TestWindowsStart::scales() {
    QFETCH(int, dpi);
    QFETCH(QString, scale);
    QCOMPARE(pc.runToItsEnd({"reg", "add", "HKCU\\Control Panel\\Desktop", "/v", "LogPixels", "/t",
                             "REG_DWORD", "/d", QString::number(dpi), "/f"}),
             0);
    QCOMPARE(pc.startWine(), QString());
    RunningBivista bivista = unpacked();
    // Beside each other: which one is in front is up to who comes first.
    bivista.write("setting.ini",
                  "[File]\nType=2\nLang=1\n[Pos]\nX0=0\nX1=640\nX2=1280\nX3=1920\nY0=0\nY1=0\nY2=0\nY3=0\n");
    bivista.write("kvcap2.ini",
                  "[Library]\nCount=4\n[Scene]\nMoving=0\nNoise=0\nFlicker=0\n[Camera]\nModes=640x480\n");
    quint32 window = 0;
    run(bivista, window);
    QVERIFY(bivista.waitForStreams(1920));
    const QImage picture = bivista.lastPicture();
    const QImage screen = pc.server.screenshot();
    QCOMPARE(screen.size(), kScreen);
    if (qEnvironmentVariableIsSet("BIVISTA_SCREENSHOT"))
        QVERIFY(screen.save(qEnvironmentVariable("BIVISTA_SCREENSHOT") + scale + ".png"));
    endInOrder(*bivista.process, window);
    const QString log = QString::fromUtf8(bivista.read(kLog));
    QVERIFY2(log.contains(QStringLiteral("1920 x 1080 px at 0, 0, scale %1, %2 dpi").arg(scale).arg(dpi)),
             qPrintable(log));
    if (pictureOfScales.isNull())
        pictureOfScales = picture;
    QCOMPARE(picture, pictureOfScales);
}

QTEST_GUILESS_MAIN(TestWindowsStart)
#include "tst_windowsstart.moc"
