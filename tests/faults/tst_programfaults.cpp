// SPDX-License-Identifier: Apache-2.0
// Faults around the program as its users have it: a process on a desktop, with simulated cameras.

#include "support/runningbivista.h"
#include "support/smalldisk.h"

namespace {

constexpr int kEndsWithin = 5000;  // ms in which it ends when its desktop is gone

}  // namespace

class TestProgramFaults : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup() { server.reset(); }
    void fullDiskFromTheStart();
    void slowQueryAtTheEnd_data();
    void slowQueryAtTheEnd();
    void twoInOneFolder();
    void folderOfAnyName();
    void desktopGoes();

private:
    static bool isWhole(const RunningBivista& bivista, const QString& file);
    bool startAndStream(RunningBivista& bivista, const QMap<QString, QString>& variables = {});

    std::unique_ptr<XServer> server;
};

void TestProgramFaults::init() {
    server = std::make_unique<XServer>();
    QVERIFY2(server->start(), qPrintable(server->errorString()));
}

bool TestProgramFaults::isWhole(const RunningBivista& bivista, const QString& file) {
    return !QImage(bivista.folder.filePath(file)).isNull();
}

bool TestProgramFaults::startAndStream(RunningBivista& bivista, const QMap<QString, QString>& variables) {
    bivista.start(variables);
    return server->waitForWindow("Bivista") != 0 && bivista.waitForStreams();
}

/// What the first start has to keep finds no room, and gets it a moment before the end.
void TestProgramFaults::fullDiskFromTheStart() {
    if (!SmallDisk::canMount())
        QSKIP("Nothing may be mounted here, and another process cannot be told that its disk is full");
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    const QByteArray settings = bivista.read("setting.ini");
    const QByteArray cameras = bivista.read("kvcap2.ini");
    SmallDisk disk(4 << 20, bivista.folder.path());
    bivista.write("setting.ini", settings);
    bivista.write("kvcap2.ini", cameras);
    disk.fill();
    bivista.start();
    const quint32 window = server->waitForWindow("Bivista");
    QVERIFY(window);
    // As soon as there are tiles the key tries to save.
    QVERIFY(waitFor([&] {
        server->key("ctrl+w");
        return bivista.process->errors().contains(".png was not written: No space left on device");
    }));
    QVERIFY(bivista.process->errors().contains("setting.ini cannot be written: No space left on device"));
    QCOMPARE(bivista.read("setting.ini"), settings);
    const auto hidden = QDir::Files | QDir::Hidden;
    // What is just being tried has a file of its own for a moment.
    const QStringList kept{".filler", "kvcap2.ini", "setting.ini"};
    const auto names = [&] {
        bivista.folder.refresh();
        return bivista.folder.entryList(hidden, QDir::Name);
    };
    QVERIFY2(waitFor([&] { return names() == kept; }), qPrintable(names().join(' ')));
    disk.makeRoom();
    QVERIFY(bivista.waitForStreams());
    QVERIFY(server->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    QVERIFY2(bivista.read("setting.ini").contains("Cam3="), bivista.read("setting.ini").constData());
    const auto pictures = bivista.pictures();
    for (const QString& picture : pictures)
        QVERIFY2(isWhole(bivista, picture), qPrintable(picture));
    QVERIFY(bivista.folder.entryList({".bivista-*", "*.lock"}, hidden).isEmpty());
}

void TestProgramFaults::slowQueryAtTheEnd_data() {
    QTest::addColumn<QString>("variable");
    QTest::newRow("no frames") << "KVCAP2_CAMERA1_NO_FRAMES";
    QTest::newRow("cable out") << "KVCAP2_CAMERA1_CABLE_OUT_AT_FRAME";
    QTest::newRow("slow") << "KVCAP2_CAMERA1_SLOW_QUERY";
}

/// The end waits for a query, but no longer than the time-out and a second.
void TestProgramFaults::slowQueryAtTheEnd() {
    QFETCH(QString, variable);
    constexpr int kTimeout = 2000;  // ms
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.write("setting.ini",
                  "[File]\nType=2\nLang=1\n[Control]\nTimeout=2000\n[Pos]\nX0=0\nX1=320\nX2=640\nX3=960\n");
    const bool isSlow = variable.endsWith("SLOW_QUERY");
    QVERIFY(startAndStream(bivista, {{variable, isSlow ? QString::number(kTimeout) : QStringLiteral("1")},
                                     {"KVCAP2_CAMERA1_CABLE_OUT_FOR", "-1"}}));
    const quint32 window = server->waitForWindow("Bivista");
    QElapsedTimer time;
    time.start();
    QVERIFY(server->closeWindow(window));
    QVERIFY(bivista.process->waitForEnd());
    // What the program allows itself, and as much again for a busy PC to close the window and end the
    // process.
    QVERIFY2(time.elapsed() < 2 * (kTimeout + 1000), qPrintable(QString::number(time.elapsed())));
    QCOMPARE(bivista.process->exitCode(), 0);
}

/// The second one leaves cameras, key and files to the first, again and again.
void TestProgramFaults::twoInOneFolder() {
    RunningBivista first(*server, QStringLiteral(BIVISTA));
    QVERIFY(startAndStream(first));
    const QByteArray settings = first.read("setting.ini");
    for (int start = 0; start < 3; ++start) {
        DesktopProgram second(server->environment(), QStringLiteral(BIVISTA), {}, first.folder.path());
        QVERIFY(second.waitForEnd());
        QCOMPARE(second.exitCode(), 3);
        QVERIFY2(!second.errors().contains("Device count"), second.errors().constData());
        QCOMPARE(server->titles(), QStringList{"Bivista"});
        const int before = first.pictures().size();
        QVERIFY(server->key("ctrl+w"));
        QVERIFY(first.waitForPictures(before + 1));
    }
    QVERIFY(server->closeWindow(server->waitForWindow("Bivista")));
    QVERIFY(first.process->waitForEnd());
    QCOMPARE(first.process->exitCode(), 0);
    QCOMPARE(first.read("setting.ini"), settings);
    const auto pictures = first.pictures();
    for (const QString& picture : pictures)
        QVERIFY2(isWhole(first, picture), qPrintable(picture));
}

/// Spaces and letters of all kinds in the names of the working folder and of the folder for pictures.
void TestProgramFaults::folderOfAnyName() {
    const QString name = QString::fromUtf8("Prüf stand №1 相机");
    RunningBivista bivista(*server, QStringLiteral(BIVISTA), {}, name);
    QVERIFY(bivista.folder.mkdir(name));
    bivista.write("setting.ini", "[File]\nType=2\nLang=1\nPath=\"" + name.toUtf8() +
                                     "\"\n[Pos]\nX0=0\nX1=320\nX2=640\nX3=960\nY1=0\nY2=0\nY3=0\n");
    const QDir pictures(bivista.folder.filePath(name));
    for (int run = 1; run <= 2; ++run) {
        bivista.start();
        const quint32 window = server->waitForWindow("Bivista");
        QVERIFY(window);
        const int before = pictures.entryList({"snapshot-*.png"}).size();
        QVERIFY(waitFor([&] {
            server->key("ctrl+w");
            return pictures.entryList({"snapshot-*.png"}).size() > before;
        }));
        QVERIFY(server->closeWindow(window));
        QVERIFY(bivista.process->waitForEnd());
        QCOMPARE(bivista.process->exitCode(), 0);
        QVERIFY(bivista.read("setting.ini").contains("Cam3="));
        const auto saved = pictures.entryList({"snapshot-*.png"});
        for (const QString& picture : saved)
            QVERIFY2(!QImage(pictures.filePath(picture)).isNull(), qPrintable(picture));
    }
}

/// The X server is gone without a word: the program ends, and what it wrote is whole.
void TestProgramFaults::desktopGoes() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    QVERIFY(startAndStream(bivista));
    const QByteArray settings = bivista.read("setting.ini");
    server->stop();
    QElapsedTimer time;
    time.start();
    bivista.process->waitForEnd();
    QVERIFY(!bivista.process->isRunning());
    QVERIFY2(time.elapsed() < kEndsWithin, qPrintable(QString::number(time.elapsed())));
    QCOMPARE(bivista.read("setting.ini"), settings);
    const auto pictures = bivista.pictures();
    for (const QString& picture : pictures)
        QVERIFY2(isWhole(bivista, picture), qPrintable(picture));
    QVERIFY(bivista.folder.entryList({"*.lock"}, QDir::Files | QDir::Hidden).isEmpty());
}

int main(int argc, char* argv[]) {
    SmallDisk::useOwnMounts();
    QCoreApplication application(argc, argv);
    TestProgramFaults test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_programfaults.moc"
