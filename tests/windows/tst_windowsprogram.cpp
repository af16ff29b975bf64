// SPDX-License-Identifier: Apache-2.0
// The packages for Windows as their users have them, run by Wine on a desktop with a window manager: real
// keys, another Windows program, a serial line. Made by packaging/windows/build and run by
// packaging/windows/test.

#include <QPainter>
#include <QProcess>

#include "calibration/calibrationfile.h"
#include "genicam/fakecameras.h"
#include "genicam/scene.h"
#include "support/runningbivista.h"
#include "windowspc.h"

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

/// Frame px of the GigE cameras.
constexpr QSize kGigeFrame(320, 240);

/// Whether a saved picture has a frame of that scene at this place, but for the stamps above and below.
bool showsScene(const QImage& picture, int left, uint32_t scene) {
    for (int y = fake::kSquare * 3 / 2; y < kGigeFrame.height() - fake::kSquare; y += fake::kSquare) {
        for (int x = fake::kSquare / 2; x < kGigeFrame.width(); x += fake::kSquare) {
            const int expected = fake::greyOf(fake::sceneAt(x, y, scene));
            if (std::abs(qGray(picture.pixel(left + x, y)) - expected) > 3)
                return false;
        }
    }
    return true;
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
    void gigeCameras_data();
    void gigeCameras();
    void secondInstanceSaysThatTheKeyIsTaken();

private:
    RunningBivista unpacked();
    void unpackInto(const QDir& folder) const;
    void start(RunningBivista& bivista, quint32& window, QMap<QString, QString> variables = {});
    void endInOrder(DesktopProgram& process, quint32 window);
    QImage leftOfTheStatusBar();
    bool sendMessage(const RunningBivista& bivista, const QStringList& arguments) const;

    WindowsPc pc;  // its place has the ends of the serial line too
    QDir package;
    std::unique_ptr<ChildProcess> line;
    std::vector<std::unique_ptr<QFile>> ends;  // of the line: the program's, the machine controller's
};

void TestWindowsProgram::initTestCase() {
    QVERIFY2(QFile::exists(QStringLiteral(PACKAGE)), PACKAGE " is missing: packaging/windows/build makes it");
    QCOMPARE(QProcess::execute("unzip", {"-q", PACKAGE, "-d", pc.place.path()}), 0);
    package.setPath(pc.place.filePath(QFileInfo(QStringLiteral(PACKAGE)).completeBaseName()));
    QVERIFY(package.exists("bivista.exe"));
    QVERIFY2(pc.startDesktop(), qPrintable(pc.server.errorString()));

    // A serial line of two ends, one of them COM1; both held open, so that the line outlives the program.
    line = std::make_unique<ChildProcess>();
    line->start("socat", {"pty,raw,echo=0,link=" + pc.place.filePath("com1"),
                          "pty,raw,echo=0,link=" + pc.place.filePath("controller")});
    QVERIFY2(line->waitForStarted(kDesktopLimit), "socat is missing");
    for (const char* end : {"com1", "controller"}) {
        QVERIFY(waitFor([&] { return QFile::exists(pc.place.filePath(end)); }));
        ends.push_back(std::make_unique<QFile>(pc.place.filePath(end)));
        QVERIFY(ends.back()->open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    }
    const QString com1 = QFileInfo(pc.place.filePath("com1")).symLinkTarget();
    QCOMPARE(pc.runToItsEnd({"reg", "add", "HKLM\\Software\\Wine\\Ports", "/v", "COM1", "/d", com1, "/f"}),
             0);
    // Ports are looked for when Wine starts.
    QCOMPARE(pc.startWine(), QString());
}

void TestWindowsProgram::cleanupTestCase() {
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
    return RunningBivista(pc.server, QStringLiteral(RUN_IN_WINE), pc.wine({"bivista.exe"}), kStation);
}

/// Starts it and gives it the keyboard.
void TestWindowsProgram::start(RunningBivista& bivista, quint32& window, QMap<QString, QString> variables) {
    unpackInto(bivista.folder);
    variables.insert("HOME", pc.place.path());
    bivista.start(variables);
    window = pc.server.waitForWindow("Bivista");
    QVERIFY2(window, bivista.process->errors().constData());
    QVERIFY(pc.server.activate(window));
}

void TestWindowsProgram::endInOrder(DesktopProgram& process, quint32 window) {
    QVERIFY(pc.server.closeWindow(window));
    QVERIFY(process.waitForEnd());
    QCOMPARE(process.exitCode(), 0);
}

void TestWindowsProgram::runsLiveAndEndsInOrder() {
    RunningBivista bivista = unpacked();
    quint32 window = 0;
    start(bivista, window);
    QVERIFY(bivista.waitForStreams());
    // The clock in the pictures runs. (Below are the rates, which change too.)
    const auto pictures = [this] { return pc.server.screenshot().copy(0, 0, 1920, 1000); };
    const QImage first = pictures();
    QVERIFY(waitFor([&] { return pictures() != first; }));
    if (qEnvironmentVariableIsSet("BIVISTA_SCREENSHOT"))
        QVERIFY(pc.server.screenshot().save(qEnvironmentVariable("BIVISTA_SCREENSHOT")));
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
    DesktopProgram editor(pc.environment(), QStringLiteral(RUN_IN_WINE), pc.wine({"notepad"}),
                          pc.place.path());
    const quint32 other = pc.server.waitForWindow("Untitled - Notepad");
    QVERIFY2(other, qPrintable(pc.server.titles().join('\n')));
    QVERIFY(pc.server.activate(other));
    const int before = bivista.pictures().size();
    QVERIFY(pc.server.key("ctrl+w"));
    QVERIFY(bivista.waitForPictures(before + 1));
    QCOMPARE(pc.server.activeWindow(), other);
    QVERIFY(pc.server.closeWindow(other));
    QVERIFY(editor.waitForEnd());
    endInOrder(*bivista.process, window);
}

/// Where the window, which fills the screen, shows its messages. The rates of the cameras, which change, are
/// on the right.
QImage TestWindowsProgram::leftOfTheStatusBar() {
    const QImage screen = pc.server.screenshot();
    return screen.copy(0, screen.height() - 22, 300, 20);
}

bool TestWindowsProgram::sendMessage(const RunningBivista& bivista, const QStringList& arguments) const {
    return pc.runToItsEnd(QStringList{"bivista_send_message.exe"} + arguments, bivista.folder.path()) == 0;
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
        RunningBivista bivista(pc.server, isWindows ? QStringLiteral(RUN_IN_WINE) : QStringLiteral(BIVISTA),
                               isWindows ? pc.wine({"bivista.exe"}) : QStringList(), kStation);
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
            QVERIFY(pc.server.key(key));
            QTest::qWait(300);
        }
    };
    press({"alt+f", "Right", "Right", "Right", "Up", "Return"});  // Calibrate, Load Corner, its last entry
    press({"alt+f", "Right", "Right", "Right", "Down", "Down", "Return"});  // Calibrate, Execute
    const quint32 dialog = pc.server.waitForWindow("CalibrateDialog");
    QVERIFY(dialog);
    QVERIFY(pc.server.activate(dialog));
    QVERIFY(pc.server.key("Return"));
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
    QVERIFY(pc.runToItsEnd({"bivista.exe"}, bivista.folder.path()) > 0);
    QCOMPARE(bivista.read("setting.ini"), settings);
}

void TestWindowsProgram::gigeCameras_data() {
    QTest::addColumn<bool>("isPulled");
    QTest::newRow("live") << false;
    QTest::newRow("one is pulled") << true;
}

/// On cameras of this machine, by the library for them. What Wine makes of their rate says nothing of
/// Windows, so any rate will do.
void TestWindowsProgram::gigeCameras() {
    QFETCH(bool, isPulled);
    if (!package.exists("lib/genicam/KVCap2.dll"))
        QSKIP("the package was made without the library for GenICam cameras");
    FakeCameras cameras(2, {"--width", QString::number(kGigeFrame.width()), "--height",
                            QString::number(kGigeFrame.height()), "--rate", "10"});
    QCOMPARE(cameras.start(), QString());
    RunningBivista bivista = unpacked();
    QVERIFY(QFile::copy(package.filePath("lib/genicam/KVCap2.dll"), bivista.folder.filePath("KVCap2.dll")));
    bivista.write("setting.ini", "[Camera]\nCamNum=2\n[File]\nType=2\nLang=1\n[Pos]\nX0=0\nX1=320\nY1=0\n");
    QCOMPARE(cameras.writeConfiguration(bivista.folder.path(), {"PacketSize=8000"}), QString());
    quint32 window = 0;
    start(bivista, window);
    const auto shows = [&](uint32_t first, uint32_t second) {
        const int before = bivista.pictures().size();
        pc.server.key("ctrl+w");
        waitFor([&] { return bivista.pictures().size() > before; }, 1000);
        if (bivista.pictures().size() == before)
            return false;
        const QImage picture = bivista.lastPicture();
        return picture.size() == QSize(2 * kGigeFrame.width(), kGigeFrame.height()) &&
               showsScene(picture, 0, first) && showsScene(picture, kGigeFrame.width(), second);
    };
    QVERIFY2(waitFor([&] { return shows(0, 1); }, 3 * kDesktopLimit), bivista.process->errors().constData());
    if (isPulled) {
        // When it is back it sees something else: what comes then is no old frame.
        cameras.kill(0);
        const auto says = [&](const char* what) {
            return waitFor([&] { return bivista.process->errors().contains(what); }, 3 * kDesktopLimit);
        };
        QVERIFY2(says("(FAKE0001) has gone: "), bivista.process->errors().constData());
        QVERIFY(shows(0, 1));
        cameras.setOptions(0, {"--scene", "2"});
        QCOMPARE(cameras.start(0), QString());
        QVERIFY2(waitFor([&] { return shows(2, 1); }, 3 * kDesktopLimit),
                 bivista.process->errors().constData());
        QVERIFY2(says("(FAKE0001) is back after "), bivista.process->errors().constData());
    }
    endInOrder(*bivista.process, window);
    const QByteArray settings = bivista.read("setting.ini");
    QVERIFY2(settings.contains("Cam0=FAKE0001") && settings.contains("Cam1=FAKE0002"), settings.constData());
}

void TestWindowsProgram::secondInstanceSaysThatTheKeyIsTaken() {
    RunningBivista first = unpacked();
    quint32 window = 0;
    start(first, window);
    QVERIFY(first.waitForStreams());
    RunningBivista second = unpacked();
    unpackInto(second.folder);
    second.write("setting.ini", "[File]\nLang=1\nTitle=Second\n");
    second.start({{"HOME", pc.place.path()}});
    const quint32 box = pc.server.waitForWindow("Error");
    QVERIFY(box);
    QVERIFY(pc.server.activate(box));
    QVERIFY(pc.server.key("Return"));
    const quint32 other = pc.server.waitForWindow("Second");
    QVERIFY(other);
    endInOrder(*second.process, other);
    // The first one still has the key.
    QVERIFY(pc.server.activate(window));
    const int before = first.pictures().size();
    QVERIFY(pc.server.key("ctrl+w"));
    QVERIFY(first.waitForPictures(before + 1));
    endInOrder(*first.process, window);
}

QTEST_GUILESS_MAIN(TestWindowsProgram)
#include "tst_windowsprogram.moc"
