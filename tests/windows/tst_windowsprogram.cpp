// The packages for Windows as their users have them, run by Wine on a desktop with a window manager: real
// keys, another Windows program, a serial line, the installer. Made by packaging/windows/build and run by
// packaging/windows/test.

#include <QPainter>
#include <QProcess>

#include "calibration/calibrationfile.h"
#include "support/runningbivista.h"

namespace {

// What no code page of one byte has, and a blank: as people name their folders.
const QString kStation = QStringLiteral("\u68c0\u6d4b\u53f0 1");

/// The four corners of each simulated camera, as a cross-hair a line; tiles of 1280 x 720 px in a 2 x 2 grid.
bool writeCalibrations(const QDir& folder) {
    QFile marks(QStringLiteral(WORKSPACE "/mark0.txt"));
    if (!marks.open(QIODevice::ReadOnly))
        return false;
    CornerLists corners;
    while (!marks.atEnd()) {
        const QList<QByteArray> words = marks.readLine().simplified().split(' ');
        if (words.size() < 7)
            continue;
        const auto place = assignCorner({words[5].toDouble(), words[6].toDouble()}, {1280, 720}, 0);
        if (!place)
            return false;
        corners[size_t(place->tile)].append({place->point.x(), place->point.y(), nullptr});
    }
    for (auto& list : corners) {
        if (!orderCorners(list))
            return false;
    }
    const auto calibrations = computeCalibrations(corners, {10, 10, 10, 10}, {5, 5, 5, 5}, 4);
    return calibrations.problem.isEmpty() && writeCalibrations(calibrations.tiles, folder.path()).isEmpty();
}

}  // namespace

class TestWindowsProgram : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void runsLiveAndEndsInOrder();
    void hotkeyOfTheDesktop();
    void messageOfAnotherProgram();
    void serialLine();
    void samePicturesAsOnLinux_data();
    void samePicturesAsOnLinux();
    void calibrationIsThatOfLinux();
    void anotherCameraLibrary();
    void libraryThatIsNone();
    void secondInstanceSaysThatTheKeyIsTaken();
    void installs_data();
    void installs();
    void newerVersionTakesOldFilesAway();
    void installedElsewhere();
    void installedTwiceInTwoWays();

private:
    QStringList wine(const QStringList& command) const;
    QProcessEnvironment environment() const;
    int runToItsEnd(const QStringList& command, const QString& folder = {},
                    QByteArray* output = nullptr) const;
    void stopWine() const;
    RunningBivista unpacked();
    void unpackInto(const QDir& folder) const;
    void start(RunningBivista& bivista, quint32& window, QMap<QString, QString> variables = {});
    void endInOrder(DesktopProgram& process, quint32 window);
    QImage leftOfTheStatusBar();
    bool sendMessage(const RunningBivista& bivista, const QStringList& arguments) const;
    QString unixPath(const QString& windowsPath) const;
    QString registered(const QString& root, const QString& value) const;

    XServer server;
    QTemporaryDir place;  // the home of Wine's user, with Wine's own "C:", and the ends of the serial line
    QString prefix;
    QDir package;
    std::unique_ptr<ChildProcess> line;
    std::vector<std::unique_ptr<QFile>> ends;  // of the line: the program's, the machine controller's
};

QStringList TestWindowsProgram::wine(const QStringList& command) const {
    return QStringList{QStringLiteral("-"), prefix} + command;
}

/// Of this test's desktop; what Windows calls a user's folders are in `place`.
QProcessEnvironment TestWindowsProgram::environment() const {
    QProcessEnvironment result = server.environment();
    result.insert("HOME", place.path());
    return result;
}

/// Runs a Windows program; its result, or -1. Its output goes through a file: Wine's services would hold a
/// pipe open.
int TestWindowsProgram::runToItsEnd(const QStringList& command, const QString& folder,
                                    QByteArray* output) const {
    ChildProcess process;
    process.setProcessEnvironment(environment());
    process.setStandardOutputFile(place.filePath("output"));
    process.setStandardErrorFile(place.filePath("errors"));
    process.setWorkingDirectory(folder.isEmpty() ? place.path() : folder);
    process.start(QStringLiteral(RUN_IN_WINE), wine(command));
    const bool isOver = process.waitForFinished(4 * kDesktopLimit);
    QFile file(place.filePath("output"));
    if (output && file.open(QIODevice::ReadOnly))
        *output = file.readAll();
    return isOver && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

void TestWindowsProgram::stopWine() const {
    QCOMPARE(QProcess::execute(RUN_IN_WINE, {"--stop", prefix}), 0);
}

void TestWindowsProgram::initTestCase() {
    QVERIFY2(QFile::exists(QStringLiteral(PACKAGE)), PACKAGE " is missing: packaging/windows/build makes it");
    QCOMPARE(QProcess::execute("unzip", {"-q", PACKAGE, "-d", place.path()}), 0);
    package.setPath(place.filePath(QFileInfo(QStringLiteral(PACKAGE)).completeBaseName()));
    QVERIFY(package.exists("bivista.exe"));
    QVERIFY2(server.start(), qPrintable(server.errorString()));
    prefix = place.filePath("prefix");

    // A serial line of two ends, one of them COM1; both held open, so that the line outlives the program.
    line = std::make_unique<ChildProcess>();
    line->start("socat", {"pty,raw,echo=0,link=" + place.filePath("com1"),
                          "pty,raw,echo=0,link=" + place.filePath("controller")});
    QVERIFY2(line->waitForStarted(kDesktopLimit), "socat is missing");
    for (const char* end : {"com1", "controller"}) {
        QVERIFY(waitFor([&] { return QFile::exists(place.filePath(end)); }));
        ends.push_back(std::make_unique<QFile>(place.filePath(end)));
        QVERIFY(ends.back()->open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    }
    const QString com1 = QFileInfo(place.filePath("com1")).symLinkTarget();
    QCOMPARE(runToItsEnd({"reg", "add", "HKLM\\Software\\Wine\\Ports", "/v", "COM1", "/d", com1, "/f"}), 0);
    // Ports are looked for when Wine starts. Started here, it outlives the programs, and no start has to wait
    // for it.
    stopWine();
    QProcess start;
    start.setProcessEnvironment(environment());
    start.start(QStringLiteral(RUN_IN_WINE), {"--start", prefix});
    QVERIFY(start.waitForFinished(4 * kDesktopLimit));
    QCOMPARE(start.exitCode(), 0);
}

void TestWindowsProgram::cleanupTestCase() {
    if (!prefix.isEmpty())
        stopWine();
    ends.clear();
    if (line) {
        line->terminate();
        line->waitForFinished(kDesktopLimit);
    }
}

void TestWindowsProgram::unpackInto(const QDir& folder) const {
    QCOMPARE(QProcess::execute("cp", {"-r", "--no-clobber", package.path() + "/.", folder.path()}), 0);
}

/// The portable archive in a folder of its own.
RunningBivista TestWindowsProgram::unpacked() {
    return RunningBivista(server, QStringLiteral(RUN_IN_WINE), wine({"bivista.exe"}), kStation);
}

/// Starts it and gives it the keyboard.
void TestWindowsProgram::start(RunningBivista& bivista, quint32& window, QMap<QString, QString> variables) {
    unpackInto(bivista.folder);
    variables.insert("HOME", place.path());
    bivista.start(variables);
    window = server.waitForWindow("Bivista");
    QVERIFY2(window, bivista.process->errors().constData());
    QVERIFY(server.activate(window));
}

void TestWindowsProgram::endInOrder(DesktopProgram& process, quint32 window) {
    QVERIFY(server.closeWindow(window));
    QVERIFY(process.waitForEnd());
    QCOMPARE(process.exitCode(), 0);
}

void TestWindowsProgram::runsLiveAndEndsInOrder() {
    RunningBivista bivista = unpacked();
    quint32 window = 0;
    start(bivista, window);
    QVERIFY(bivista.waitForStreams());
    // The clock in the pictures runs. (Below are the rates, which change too.)
    const auto pictures = [this] { return server.screenshot().copy(0, 0, 1920, 1000); };
    const QImage first = pictures();
    QVERIFY(waitFor([&] { return pictures() != first; }));
    if (qEnvironmentVariableIsSet("BIVISTA_SCREENSHOT"))
        QVERIFY(server.screenshot().save(qEnvironmentVariable("BIVISTA_SCREENSHOT")));
    endInOrder(*bivista.process, window);
    const QByteArray log = bivista.process->errors();
    QVERIFY2(log.contains("Close event"), log.constData());
    QCOMPARE(log.count("exit capture"), 4);
    QVERIFY2(!log.contains("QObject::connect"), log.constData());
    QVERIFY(bivista.read("setting.ini").contains("Cam3=KV2500000004"));
    // Nothing was left behind on the way to a saved file.
    QVERIFY(bivista.folder.entryList({".bivista*"}, QDir::Files | QDir::Hidden).isEmpty());
}

void TestWindowsProgram::hotkeyOfTheDesktop() {
    RunningBivista bivista = unpacked();
    quint32 window = 0;
    start(bivista, window);
    QVERIFY(bivista.waitForStreams());
    QCOMPARE(bivista.lastPicture().size(), QSize(960 + 640, 480));

    // Wine hands keys to its desktop as long as one of its windows has the keyboard: that of another program
    // will do.
    DesktopProgram editor(environment(), QStringLiteral(RUN_IN_WINE), wine({"notepad"}), place.path());
    const quint32 other = server.waitForWindow("Untitled - Notepad");
    QVERIFY2(other, qPrintable(server.titles().join('\n')));
    QVERIFY(server.activate(other));
    const int before = bivista.pictures().size();
    QVERIFY(server.key("ctrl+w"));
    QVERIFY(bivista.waitForPictures(before + 1));
    QCOMPARE(server.activeWindow(), other);
    QVERIFY(server.closeWindow(other));
    QVERIFY(editor.waitForEnd());
    endInOrder(*bivista.process, window);
}

/// Where the window, which fills the screen, shows its messages. The rates of the cameras, which change, are
/// on the right.
QImage TestWindowsProgram::leftOfTheStatusBar() {
    const QImage screen = server.screenshot();
    return screen.copy(0, screen.height() - 22, 300, 20);
}

bool TestWindowsProgram::sendMessage(const RunningBivista& bivista, const QStringList& arguments) const {
    return runToItsEnd(QStringList{"bivista_send_message.exe"} + arguments, bivista.folder.path()) == 0;
}

/// What the window shows after two messages is the same with and without one of another name between them.
void TestWindowsProgram::messageOfAnotherProgram() {
    // A text, painted to its end.
    const auto text = [this] {
        QImage seen;
        waitFor([&] { return std::exchange(seen, leftOfTheStatusBar()) == leftOfTheStatusBar(); });
        return seen;
    };
    QImage texts[2];
    for (const bool isDisturbed : {false, true}) {
        RunningBivista bivista = unpacked();
        QVERIFY(QFile::copy(QStringLiteral(WINDOWS_TOOLS "/bivista_send_message.exe"),
                            bivista.folder.filePath("bivista_send_message.exe")));
        quint32 window = 0;
        start(bivista, window);
        QVERIFY(bivista.waitForStreams());
        const QImage saved = text();
        QVERIFY(sendMessage(bivista, {"Bivista"}));
        QVERIFY(waitFor([&] { return leftOfTheStatusBar() != saved; }));
        const QImage zero = text();  // "0 WM_USERDEFMSG received."
        if (isDisturbed)
            QVERIFY(sendMessage(bivista, {"Bivista", "KV OTHER"}));
        QVERIFY(sendMessage(bivista, {"Bivista"}));
        QVERIFY(waitFor([&] { return leftOfTheStatusBar() != zero; }));
        texts[isDisturbed ? 1 : 0] = text();
        endInOrder(*bivista.process, window);
    }
    QVERIFY(!texts[0].isNull());
    QCOMPARE(texts[1], texts[0]);
}

void TestWindowsProgram::serialLine() {
    RunningBivista bivista = unpacked();
    bivista.write("setting.ini", "[Camera]\nCamNum=1\n[File]\nType=2\nLang=1\nPort=COM1\n");
    bivista.write("kvcap2.ini",
                  "[Library]\nCount=1\n[Scene]\nMoving=0\nNoise=0\nFlicker=0\n[Camera]\nModes=640x480\n");
    quint32 window = 0;
    start(bivista, window);
    QVERIFY(bivista.waitForStreams(600));
    const auto brightness = [&bivista] {
        const QImage dot =
            bivista.lastPicture().scaled(1, 1, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        return qGray(dot.pixel(0, 0));
    };
    const auto trigger = [&] {
        const int before = bivista.pictures().size();
        ends[1]->write("TRIGGER\r\n");
        return bivista.waitForPictures(before + 1);
    };
    QVERIFY(trigger());
    const int before = brightness();
    // A second command close behind it would be one text with it.
    const QImage message = leftOfTheStatusBar();
    ends[1]->write("GAMMA 4\r\n");
    QVERIFY(waitFor([&] { return leftOfTheStatusBar() != message; }));
    // The frames that the command reached come some later.
    QVERIFY(waitFor([&] { return trigger() && brightness() > before + 10; }));
    endInOrder(*bivista.process, window);
}

void TestWindowsProgram::samePicturesAsOnLinux_data() {
    QTest::addColumn<QByteArray>("options");
    QTest::newRow("plain, grey") << QByteArray("Trans=0\nColor=0\n");
    QTest::newRow("corrected, grey") << QByteArray("Trans=1\nColor=0\n");
    QTest::newRow("corrected, colours") << QByteArray("Trans=1\nColor=1\n");
}

/// The program on Linux and the one on Windows, in the same working folder with calibrations that were
/// written on Linux.
void TestWindowsProgram::samePicturesAsOnLinux() {
    QFETCH(QByteArray, options);
    // A sheet without letters, which are different there.
    QImage sheet(1600, 900, QImage::Format_RGB32);
    sheet.fill(qRgb(40, 60, 50));
    QPainter painter(&sheet);
    for (int x = 0; x < 1600; x += 40)
        painter.fillRect(x, 0, 13, 900, QColor::fromHsv(x * 359 / 1600, 200, 230));
    for (int y = 0; y < 900; y += 60)
        painter.fillRect(0, y, 1600, 9, QColor(y / 4, 255 - y / 4, 90));
    painter.end();

    QImage pictures[2];
    for (const bool isWindows : {false, true}) {
        RunningBivista bivista(server, isWindows ? QStringLiteral(RUN_IN_WINE) : QStringLiteral(BIVISTA),
                               isWindows ? wine({"bivista.exe"}) : QStringList(), kStation);
        QVERIFY(sheet.save(bivista.folder.filePath("sheet.png")));
        // Of image formats the package has JPEG and what Qt always reads.
        bivista.write("kvcap2.ini",
                      "[Library]\nArrangement=grid\n[Scene]\nImage=sheet.png\nMoving=0\nNoise=0\nFlicker=0\n"
                      "[Camera]\nModes=1280x720\n");
        bivista.write("setting.ini", "[Camera]\nMode=0\n[File]\nType=2\nLang=1\n" + options +
                                         "[Pos]\nX0=0\nY0=0\nX1=1280\nY1=0\nX2=0\nY2=720\nX3=1280\nY3=720\n");
        QVERIFY(writeCalibrations(bivista.folder));
        quint32 window = 0;
        start(bivista, window);
        QVERIFY(bivista.waitForStreams(1280));
        pictures[isWindows ? 1 : 0] = bivista.lastPicture();
        endInOrder(*bivista.process, window);
    }
    QVERIFY(pictures[0].height() > 720);
    QCOMPARE(pictures[1], pictures[0]);
}

/// The other way round: what the program writes there when a person calibrates is what it writes on Linux.
void TestWindowsProgram::calibrationIsThatOfLinux() {
    RunningBivista bivista = unpacked();
    // The ready working folder, four cameras in a grid with marked corners.
    for (const char* name : {"setting.ini", "kvcap2.ini"})
        QVERIFY(QFile::remove(bivista.folder.filePath(name)));
    quint32 window = 0;
    start(bivista, window);
    QVERIFY(waitFor([&] { return bivista.process->errors().count("thread run") == 4; }));
    // A menu tells nobody outside that it is open: at the pace of a person.
    const auto press = [&](const QStringList& keys) {
        for (const QString& key : keys) {
            QVERIFY(server.key(key));
            QTest::qWait(300);
        }
    };
    press({"alt+f", "Right", "Right", "Right", "Up", "Return"});  // Calibrate, Load Corner, its last entry
    press({"alt+f", "Right", "Right", "Right", "Down", "Down", "Return"});  // Calibrate, Execute
    const quint32 dialog = server.waitForWindow("CalibrateDialog");
    QVERIFY(dialog);
    QVERIFY(server.activate(dialog));
    QVERIFY(server.key("Return"));
    QVERIFY(waitFor([&] { return bivista.read("setting.ini").contains("Trans=1"); }));
    endInOrder(*bivista.process, window);

    const QTemporaryDir here;
    QVERIFY(writeCalibrations(QDir(here.path())));
    for (int tile = 0; tile < 4; ++tile) {
        QFile file(here.filePath(calibrationFileName(tile)));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(bivista.read(calibrationFileName(tile)), file.readAll());
    }
}

void TestWindowsProgram::anotherCameraLibrary() {
    RunningBivista bivista = unpacked();
    quint32 window = 0;
    start(bivista, window);
    QVERIFY(bivista.waitForStreams());
    endInOrder(*bivista.process, window);
    // As the package's README says, after a look at it with simulated cameras.
    for (const QString& name :
         QStringList{"KVCap2.dll", "setting.ini", "kvcap2.ini", "mark0.txt"} + bivista.pictures())
        QVERIFY2(QFile::remove(bivista.folder.filePath(name)), qPrintable(name));
    QVERIFY(QFile::copy(QStringLiteral(WINDOWS_TOOLS "/recording/KVCap2.dll"),
                        bivista.folder.filePath("KVCap2.dll")));
    bivista.write("setting.ini", "[File]\nType=2\nLang=1\n[Pos]\nX0=0\nX1=64\nY1=0\n");
    start(bivista, window, {{"RECORDING_CAMERAS", "2"}});
    QVERIFY(bivista.waitForStreams(64));
    QCOMPARE(bivista.lastPicture().size(), QSize(128, 48));
    endInOrder(*bivista.process, window);
    const QByteArray settings = bivista.read("setting.ini");
    QVERIFY2(settings.contains("Cam0=SN0") && settings.contains("Cam1=SN1"), settings.constData());
    QVERIFY2(!settings.contains("Cam2="), settings.constData());
}

/// Nothing happens to the user's files when the library cannot be loaded.
void TestWindowsProgram::libraryThatIsNone() {
    RunningBivista bivista = unpacked();
    bivista.write("KVCap2.dll", "no library");
    const QByteArray settings = bivista.read("setting.ini");
    unpackInto(bivista.folder);
    QVERIFY(runToItsEnd({"bivista.exe"}, bivista.folder.path()) > 0);
    QCOMPARE(bivista.read("setting.ini"), settings);
}

void TestWindowsProgram::secondInstanceSaysThatTheKeyIsTaken() {
    RunningBivista first = unpacked();
    quint32 window = 0;
    start(first, window);
    QVERIFY(first.waitForStreams());
    RunningBivista second = unpacked();
    unpackInto(second.folder);
    second.write("setting.ini", "[File]\nLang=1\nTitle=Second\n");
    second.start({{"HOME", place.path()}});
    const quint32 box = server.waitForWindow("Error");
    QVERIFY(box);
    QVERIFY(server.activate(box));
    QVERIFY(server.key("Return"));
    const quint32 other = server.waitForWindow("Second");
    QVERIFY(other);
    endInOrder(*second.process, other);
    // The first one still has the key.
    QVERIFY(server.activate(window));
    const int before = first.pictures().size();
    QVERIFY(server.key("ctrl+w"));
    QVERIFY(first.waitForPictures(before + 1));
    endInOrder(*first.process, window);
}

QString TestWindowsProgram::unixPath(const QString& windowsPath) const {
    QByteArray output;
    runToItsEnd({"winepath", "-u", windowsPath}, {}, &output);
    return QString::fromLocal8Bit(output).trimmed();
}

/// What the installer noted.
QString TestWindowsProgram::registered(const QString& root, const QString& value) const {
    QByteArray output;
    runToItsEnd({"reg", "query", root + "\\Software\\Bivista", "/v", value}, {}, &output);
    return QString::fromLocal8Bit(output).section("REG_SZ", 1).trimmed();
}

void TestWindowsProgram::installs_data() {
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("root");
    QTest::addColumn<QString>("program");
    QTest::addColumn<QString>("working");
    QTest::addColumn<QString>("shortcut");
    QTest::newRow("one user") << "/CurrentUser"
                              << "HKCU"
                              << "\\AppData\\Local\\Programs\\Bivista"
                              << "\\Bivista"
                              << "\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu\\Programs\\Bivista.lnk";
    QTest::newRow("all users") << "/AllUsers"
                               << "HKLM"
                               << "C:\\Program Files\\Bivista"
                               << "C:\\ProgramData\\Bivista"
                               << "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Bivista.lnk";
}

/// Installed, started from the start menu, with the camera maker's library, installed again over it, removed.
void TestWindowsProgram::installs() {
    QFETCH(QString, mode);
    QFETCH(QString, root);
    QFETCH(QString, program);
    QFETCH(QString, working);
    QFETCH(QString, shortcut);
    QByteArray home;
    QCOMPARE(runToItsEnd({"cmd", "/c", "echo %USERPROFILE%"}, {}, &home), 0);
    for (QString* path : {&program, &working, &shortcut})
        *path = unixPath(path->startsWith('\\') ? QString::fromLocal8Bit(home).trimmed() + *path : *path);

    QCOMPARE(runToItsEnd({SETUP, "/S", mode}), 0);
    QCOMPARE(unixPath(registered(root, "Folder")), program);
    QCOMPARE(unixPath(registered(root, "WorkingFolder")), working);
    const QDir installed(program);
    const QString uninstaller = installed.filePath("uninstall.exe");
    const QDir folder(working);
    for (const char* file : {"bivista.exe", "KVCap2.dll", "simulator/KVCap2.dll", "platforms/qwindows.dll",
                             "uninstall.exe", "README.txt", "licenses/README.txt", "licenses/LGPL-3.txt"})
        QVERIFY2(installed.exists(file), file);
    for (const char* file : {"setting.ini", "kvcap2.ini", "mark0.txt", "lang/tilecam_zh_CN.qm"}) {
        QVERIFY2(folder.exists(file), file);
        QVERIFY2(!installed.exists(file), file);
    }

    // The maker's library, and things of the user's: a newer version leaves them alone.
    const QString library = installed.filePath("KVCap2.dll");
    QVERIFY(QFile::remove(library));
    QVERIFY(QFile::copy(QStringLiteral(WINDOWS_TOOLS "/recording/KVCap2.dll"), library));
    const qint64 size = QFileInfo(library).size();
    {
        QFile settings(folder.filePath("setting.ini"));
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("[File]\nType=2\nLang=1\nTitle=Installed\n[Pos]\nX0=0\nX1=64\nY1=0\n");
    }
    QVERIFY(QFile::remove(folder.filePath("mark0.txt")));
    QVERIFY(QFile::remove(installed.filePath("README.txt")));
    QCOMPARE(runToItsEnd({SETUP, "/S", mode}), 0);
    QVERIFY(installed.exists("README.txt"));
    QCOMPARE(QFileInfo(library).size(), size);
    QVERIFY(QFileInfo(installed.filePath("simulator/KVCap2.dll")).size() != size);
    QVERIFY(!folder.exists("mark0.txt"));

    // From the start menu it works in its working folder.
    QProcessEnvironment variables = environment();
    variables.insert("RECORDING_CAMERAS", "2");
    const DesktopProgram start(variables, QStringLiteral(RUN_IN_WINE), wine({"start", "/unix", shortcut}),
                               place.path());
    const quint32 window = server.waitForWindow("Installed");
    QVERIFY2(window, qPrintable(server.titles().join('\n')));
    QVERIFY(server.activate(window));
    QVERIFY(waitFor([&] {
        server.key("ctrl+w");
        return !QDir(working).entryList({"snapshot-*.png"}).isEmpty();
    }));
    // Not over a program that runs, and not from under it.
    QCOMPARE(runToItsEnd({SETUP, "/S", mode}), 3);
    const auto isRunning = [this] {
        QProcess pgrep;
        pgrep.start("pgrep", {"-f", "Bivista.bivista.exe"});
        pgrep.waitForFinished(kDesktopLimit);
        const auto ids = pgrep.readAllStandardOutput().simplified().split(' ');
        return std::any_of(ids.begin(), ids.end(), [this](const QByteArray& id) {
            QFile file("/proc/" + id + "/environ");
            return file.open(QIODevice::ReadOnly) && file.readAll().contains("WINEPREFIX=" + prefix.toUtf8());
        });
    };
    QVERIFY(isRunning());
    // (The uninstaller works from a copy of itself and does not wait for it, unless it is told where it is:
    // by the rest of its command line, without quotes.)
    const QStringList inPlace = QString("_?=" + registered(root, "Folder")).split(' ');
    QCOMPARE(runToItsEnd(QStringList{uninstaller, "/S", mode} + inPlace), 3);
    QVERIFY(installed.exists("bivista.exe") && QFile::exists(shortcut));
    QVERIFY(server.closeWindow(window));
    QVERIFY(waitFor([&] { return !isRunning(); }));

    QCOMPARE(runToItsEnd({uninstaller, "/S", mode}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(shortcut) && !installed.exists("uninstall.exe"); }));
    // Only what the user put there is left.
    QVERIFY(waitFor([&] { return registered(root, "Folder").isEmpty(); }));
    QCOMPARE(QDir(program).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"KVCap2.dll"});
    QVERIFY(folder.exists("setting.ini"));
    QVERIFY(!QDir(working).entryList({"snapshot-*.png"}).isEmpty());

    // Installed and removed without such things it leaves nothing of the program.
    QVERIFY(QFile::remove(library));
    QCOMPARE(runToItsEnd({SETUP, "/S", mode}), 0);
    QVERIFY(installed.exists("KVCap2.dll"));
    QCOMPARE(runToItsEnd({uninstaller, "/S", mode}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(program); }));
    QVERIFY(folder.exists("setting.ini"));
}

/// What an older version brought and this one does not have goes; what it left in the working folder stays.
void TestWindowsProgram::newerVersionTakesOldFilesAway() {
    const QDir stage(place.filePath("old"));
    QVERIFY(stage.mkpath("lang") && stage.mkpath("simulator"));
    const QStringList files{"bivista.exe",  "KVCap2.dll",          "gone.dll", "setting.ini", "mark0.txt",
                            "lang/gone.qm", "simulator/KVCap2.dll"};
    for (const QString& name : files) {
        QFile file(stage.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.write("old") == 3);
    }
    QFile list(place.filePath("old.nsh"));
    QVERIFY(list.open(QIODevice::WriteOnly));
    for (const char* name : {"bivista.exe", "gone.dll", "simulator\\KVCap2.dll"})
        list.write(QByteArray("Delete \"$INSTDIR\\") + name + "\"\n");
    list.close();
    const QString old = place.filePath("old-setup.exe");
    QCOMPARE(QProcess::execute("makensis",
                               {"-V1", "-INPUTCHARSET", "UTF8", "-DVERSION=0.0.1", "-DSTAGE=" + stage.path(),
                                "-DICON=" ICON, "-DOUTPUT=" + old, "-DFILES=" + list.fileName(), INSTALLER}),
             0);
    QCOMPARE(runToItsEnd({old, "/S", "/CurrentUser"}), 0);
    const QDir installed(unixPath(registered("HKCU", "Folder")));
    const QDir folder(unixPath(registered("HKCU", "WorkingFolder")));
    QVERIFY(installed.exists("gone.dll"));
    {
        QFile settings(folder.filePath("setting.ini"));
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("[File]\nLang=1\n");
    }

    QCOMPARE(runToItsEnd({SETUP, "/S", "/CurrentUser"}), 0);
    QVERIFY(!installed.exists("gone.dll"));
    for (const char* name : {"bivista.exe", "KVCap2.dll", "simulator/KVCap2.dll", "uninstall.exe"})
        QVERIFY2(QFileInfo(installed.filePath(name)).size() > 1000, name);
    QFile settings(folder.filePath("setting.ini"));
    QVERIFY(settings.open(QIODevice::ReadOnly));
    QCOMPARE(settings.readAll(), QByteArray("[File]\nLang=1\n"));
    QCOMPARE(runToItsEnd({installed.filePath("uninstall.exe"), "/S", "/CurrentUser"}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(installed.path()); }));
}

/// A folder of other files is left alone, and of two installations of one kind the first one goes.
void TestWindowsProgram::installedElsewhere() {
    const QDir others(prefix + "/drive_c/others");
    QVERIFY(others.mkpath("."));
    QFile readme(others.filePath("README.txt"));
    QVERIFY(readme.open(QIODevice::WriteOnly) && readme.write("mine") == 4);
    readme.close();
    QCOMPARE(runToItsEnd({SETUP, "/S", "/CurrentUser", "/D=C:\\others"}), 5);
    QCOMPARE(others.entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"README.txt"});
    QCOMPARE(registered("HKCU", "Folder"), QString());

    QCOMPARE(runToItsEnd({SETUP, "/S", "/CurrentUser", "/D=C:\\first"}), 0);
    const QString first = unixPath("C:\\first");
    QVERIFY(QFile::exists(first + "/bivista.exe"));
    {
        // As long as the first one runs, it stays whole and stays the one.
        DesktopProgram running(environment(), QStringLiteral(RUN_IN_WINE), wine({first + "/bivista.exe"}),
                               first);
        const quint32 window = server.waitForWindow("Bivista");
        QVERIFY(window);
        QCOMPARE(runToItsEnd({SETUP, "/S", "/CurrentUser", "/D=C:\\second"}), 3);
        QVERIFY(QFile::exists(first + "/bivista.exe") && QFile::exists(first + "/uninstall.exe"));
        QCOMPARE(registered("HKCU", "Folder"), QString("C:\\first"));
        endInOrder(running, window);
    }
    // What it wrote where it was started is nobody's but the user's.
    QVERIFY(QFile::remove(first + "/setting.ini"));
    QCOMPARE(runToItsEnd({SETUP, "/S", "/CurrentUser", "/D=C:\\second"}), 0);
    QVERIFY(!QFile::exists(first));
    QCOMPARE(registered("HKCU", "Folder"), QString("C:\\second"));
    const QString second = unixPath("C:\\second");
    QCOMPARE(runToItsEnd({second + "/uninstall.exe", "/S"}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(second); }));
}

/// For this user in a folder of the user's choice, and for all: each uninstaller removes its own.
void TestWindowsProgram::installedTwiceInTwoWays() {
    const QString chosen = "C:\\" + kStation;
    // The rest of the command line is the folder, without quotes.
    QCOMPARE(runToItsEnd(QStringList{SETUP, "/S", "/CurrentUser"} + QString("/D=" + chosen).split(' ')), 0);
    QCOMPARE(runToItsEnd({SETUP, "/S", "/AllUsers"}), 0);
    const QDir mine(unixPath(chosen));
    const QDir everybodys(unixPath(registered("HKLM", "Folder")));
    QVERIFY(mine.exists("bivista.exe") && everybodys.exists("bivista.exe"));
    QVERIFY(mine != everybodys);
    QCOMPARE(runToItsEnd({mine.filePath("uninstall.exe"), "/S"}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(mine.path()); }));
    QVERIFY(everybodys.exists("bivista.exe") && everybodys.exists("uninstall.exe"));
    QCOMPARE(registered("HKCU", "Folder"), QString());
    QCOMPARE(unixPath(registered("HKLM", "Folder")), everybodys.path());
    QCOMPARE(runToItsEnd({everybodys.filePath("uninstall.exe"), "/S"}), 0);
    QVERIFY(waitFor([&] { return !QFile::exists(everybodys.path()); }));
}

QTEST_GUILESS_MAIN(TestWindowsProgram)
#include "tst_windowsprogram.moc"
