// The program as its users have it: on a desktop with a window manager, beside other programs, with the
// camera library it is built with.

#include "support/xserver.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>

namespace {

/// The program in a working folder of its own.
class Bivista {
public:
    explicit Bivista(XServer& desktop) : server(desktop) {
        write("setting.ini",
              "[File]\nType=2\nLang=1\n[Pos]\nX0=0\nX1=320\nX2=640\nX3=960\nY1=0\nY2=0\nY3=0\n");
        write("kvcap2.ini", "[Library]\nCount=4\n[Camera]\nModes=640x480\nRate=20\n");
    }

    void write(const QString& name, const QByteArray& content) const {
        QFile file(folder.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content), content.size());
    }

    QByteArray read(const QString& name) const {
        QFile file(folder.filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    void start(const QByteArray& cameras = "4") {
        QProcessEnvironment environment = server.environment();
        environment.insert("KVCAP2_COUNT", QString::fromLatin1(cameras));
        process = std::make_unique<DesktopProgram>(environment, QStringLiteral(BIVISTA), QStringList(),
                                                   folder.path());
    }

    /// Pictures saved so far.
    QStringList pictures() const {
        return QDir(folder.path()).entryList({"snapshot-*.png"}, QDir::Files, QDir::Name);
    }

    bool waitForPictures(int count) const {
        return waitFor([&] { return pictures().size() >= count; });
    }

    /// Presses the save key until a picture with every tile in it comes: the streams have started then.
    bool waitForStreams() const {
        QElapsedTimer time;
        time.start();
        while (time.elapsed() < kDesktopLimit) {
            const int before = pictures().size();
            server.key("ctrl+w");
            // Before there is a tile the key saves nothing; then it is pressed again.
            waitFor([&] { return pictures().size() > before; }, 1000);
            if (pictures().size() > before && QImage(folder.filePath(pictures().last())).width() > 960)
                return true;
        }
        return false;
    }

    template <typename Condition>
    static bool waitFor(Condition condition, int limit = kDesktopLimit) {
        QElapsedTimer time;
        time.start();
        while (time.elapsed() < limit) {
            if (condition())
                return true;
            QTest::qWait(50);
        }
        return false;
    }

    QTemporaryDir folder;
    XServer& server;
    std::unique_ptr<DesktopProgram> process;
};

}  // namespace

class TestProgram : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void startsMaximisedAndEndsInOrder();
    void savesByHotkeyFromAnotherProgram();
    void secondInstanceSaysThatTheKeyIsTaken();
    void wrongSerialNumberEndsTheProgram();
    void otherLibraryOnThePathIsUsed();
    void pullsThroughWithoutCameras();

private:
    std::unique_ptr<XServer> server;
};

void TestProgram::init() {
    server = std::make_unique<XServer>();
    QVERIFY2(server->start(), qPrintable(server->errorString()));
}

void TestProgram::cleanup() {
    server.reset();
}

void TestProgram::startsMaximisedAndEndsInOrder() {
    Bivista bivista(*server);
    bivista.start();
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY2(window, bivista.process->errors().constData());
    QVERIFY(bivista.waitForStreams());
    const auto geometry = server->run("xdotool", {"getwindowgeometry", "--shell", QString::number(window)});
    QVERIFY(geometry.ok);
    QVERIFY2(geometry.output.contains("WIDTH=19"), geometry.output.constData());
    QVERIFY(server->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    const QByteArray log = bivista.process->errors();
    QVERIFY2(log.contains("Close event"), log.constData());
    QCOMPARE(log.count("exit capture"), 4);
    QVERIFY2(!log.contains("No matching signal"), log.constData());
    QVERIFY2(!log.contains("QObject::connect"), log.constData());
    QVERIFY(bivista.read("setting.ini").contains("Cam3="));
}

void TestProgram::savesByHotkeyFromAnotherProgram() {
    Bivista bivista(*server);
    bivista.start();
    QVERIFY(server->waitForWindow("Bivista"));
    DesktopProgram editor(*server, QStringLiteral(KEY_WINDOW), {"Editor"});
    const quint32 other = server->waitForWindow("Editor");
    QVERIFY(other);
    QVERIFY(server->activate(other));
    QVERIFY(bivista.waitForStreams());
    QCOMPARE(server->activeWindow(), other);
    const int before = bivista.pictures().size();
    QVERIFY(server->key("ctrl+w"));
    QVERIFY(bivista.waitForPictures(before + 1));
    QCOMPARE(server->activeWindow(), other);
    const QImage saved(bivista.folder.filePath(bivista.pictures().last()));
    QCOMPARE(saved.size(), QSize(960 + 640, 480));
}

void TestProgram::secondInstanceSaysThatTheKeyIsTaken() {
    Bivista first(*server);
    first.start();
    QVERIFY(server->waitForWindow("Bivista"));
    QVERIFY(first.waitForStreams());
    Bivista second(*server);
    second.write("setting.ini", "[File]\nLang=1\nTitle=Second\n");
    second.start();
    const quint32 box = server->waitForWindow("Error");
    QVERIFY(box);
    QVERIFY(!server->titles().contains("Second"));  // the start waits for the answer
    QVERIFY(server->activate(box));
    QVERIFY(server->key("Return"));
    const quint32 window = server->waitForWindow("Second");
    QVERIFY(window);
    QVERIFY(server->closeWindow(window));
    QVERIFY(second.process->waitForEnd());
    QCOMPARE(second.process->exitCode(), 0);
    // The first one still has the key.
    const int before = first.pictures().size();
    QVERIFY(server->key("ctrl+w"));
    QVERIFY(first.waitForPictures(before + 1));
}

void TestProgram::wrongSerialNumberEndsTheProgram() {
    Bivista bivista(*server);
    const QByteArray settings = "[Camera]\nCam1=NOT-ATTACHED\n[File]\nLang=1\n";
    bivista.write("setting.ini", settings);
    bivista.start();
    const quint32 box = server->waitForWindow("Error");
    QVERIFY(box);
    QVERIFY(!server->titles().contains("Bivista"));
    QVERIFY(server->activate(box));
    QVERIFY(server->key("Return"));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    QVERIFY(!server->titles().contains("Bivista"));
    QCOMPARE(bivista.read("setting.ini"), settings);
}

void TestProgram::otherLibraryOnThePathIsUsed() {
    Bivista bivista(*server);
    QProcessEnvironment environment = server->environment();
    environment.insert("LD_LIBRARY_PATH", QStringLiteral(RECORDING_LIBRARY));
    environment.insert("RECORDING_CAMERAS", "2");
    bivista.process = std::make_unique<DesktopProgram>(environment, QStringLiteral(BIVISTA), QStringList(),
                                                       bivista.folder.path());
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY(window);
    QVERIFY(Bivista::waitFor([&] { return bivista.read("setting.ini").contains("Cam1=SN1"); }));
    QVERIFY(server->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
}

void TestProgram::pullsThroughWithoutCameras() {
    Bivista bivista(*server);
    bivista.start("0");
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY(window);
    QVERIFY(Bivista::waitFor([&] { return bivista.process->errors().contains("Device count: 0"); }));
    QVERIFY(server->key("ctrl+w"));
    QVERIFY(server->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    QVERIFY(bivista.pictures().isEmpty());
    QVERIFY(!bivista.read("setting.ini").contains("Cam0="));
}

QTEST_GUILESS_MAIN(TestProgram)
#include "tst_program.moc"
