// The program as its users have it: on a desktop with a window manager, beside other programs, with the
// camera library it is built with.

#include "support/runningbivista.h"

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
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
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
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
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
    RunningBivista first(*server, QStringLiteral(BIVISTA));
    first.start();
    QVERIFY(server->waitForWindow("Bivista"));
    QVERIFY(first.waitForStreams());
    RunningBivista second(*server, QStringLiteral(BIVISTA));
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
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
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
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.start({{"LD_LIBRARY_PATH", QStringLiteral(RECORDING_LIBRARY)}, {"RECORDING_CAMERAS", "2"}});
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY(window);
    QVERIFY(waitFor([&] { return bivista.read("setting.ini").contains("Cam1=SN1"); }));
    QVERIFY(server->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
}

void TestProgram::pullsThroughWithoutCameras() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.start({{"KVCAP2_COUNT", "0"}});
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY(window);
    QVERIFY(waitFor([&] { return bivista.process->errors().contains("Device count: 0"); }));
    QVERIFY(server->key("ctrl+w"));
    QVERIFY(server->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    QVERIFY(bivista.pictures().isEmpty());
    QVERIFY(!bivista.read("setting.ini").contains("Cam0="));
}

QTEST_GUILESS_MAIN(TestProgram)
#include "tst_program.moc"
