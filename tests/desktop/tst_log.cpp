// SPDX-License-Identifier: Apache-2.0
// The log's file of the real program, whatever ends it; and what the operator saw, in it.

#include <QRegularExpression>
#include <csignal>

#include "support/runningbivista.h"

class TestLog : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void closedWindow();
    void signal();
    void startThatFindsAnotherCamera();
    void lostDisplay();
    void whatTheStatusBarShowed();
    void silentCameras();
    void eachStartBegins();

private:
    static constexpr char kFile[] = "logs/bivista.log";

    void start(RunningBivista& bivista, const QMap<QString, QString>& variables = {});
    static QStringList lines(const RunningBivista& bivista) {
        return QString::fromUtf8(bivista.read(kFile)).split('\n', Qt::SkipEmptyParts);
    }
    static bool waitForLine(const RunningBivista& bivista, const QString& text) {
        return waitFor([&] { return !lines(bivista).filter(text).isEmpty(); });
    }
    void isComplete(const RunningBivista& bivista);
    QImage note();
    bool waitForSeconds(int count);

    std::unique_ptr<XServer> server;
};

void TestLog::init() {
    server = std::make_unique<XServer>();
    QVERIFY2(server->start(), qPrintable(server->errorString()));
}

void TestLog::cleanup() {
    server.reset();
}

/// Two cameras of a library that sends nothing until a query ends, after 20 ms.
void TestLog::start(RunningBivista& bivista, const QMap<QString, QString>& variables) {
    QMap<QString, QString> all{{"LD_LIBRARY_PATH", QStringLiteral(RECORDING_LIBRARY)},
                               {"RECORDING_CAMERAS", "2"},
                               {"RECORDING_TIMEOUTS", "20"}};
    for (auto i = variables.begin(); i != variables.end(); ++i)
        all.insert(i.key(), i.value());
    if (all.value("RECORDING_TIMEOUTS").isEmpty())
        all.remove("RECORDING_TIMEOUTS");
    bivista.start(all);
}

/// Every line is a record or goes on with one; the file has the header, all of standard error, and the end.
void TestLog::isComplete(const RunningBivista& bivista) {
    const QStringList all = lines(bivista);
    QVERIFY(all.size() > 7);
    const QRegularExpression record(
        "^(\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} [+-]\\d\\d:\\d\\d  "
        "(debug   |info    |warning |critical|fatal   )  \\S.{10}  |    )");
    for (const QString& line : all)
        QVERIFY2(record.match(line).hasMatch(), qPrintable(line));
    QVERIFY2(all[0].contains(QStringLiteral("Bivista ")), qPrintable(all[0]));
    QVERIFY2(all[2].contains(QStringLiteral("Camera library: ") + RECORDING_LIBRARY), qPrintable(all[2]));
    QVERIFY2(
        all[5].contains(QRegularExpression("Screen \"\\S+\": \\d+ x \\d+ px at 0, 0, scale [1-9][0-9.]*, ")),
        qPrintable(all[5]));
    QVERIFY2(all.last().endsWith(QStringLiteral("  The log ends")), qPrintable(all.last()));
    for (const char* text : {"Device count:", "thread run", "exit capture", "Close event"}) {
        QCOMPARE(all.filter(QLatin1String(text)).size(), bivista.process->errors().count(text));
    }
    for (const char* text : {"Camera library", "The log ", "Status bar: "})
        QVERIFY(!bivista.process->errors().contains(text));
}

void TestLog::closedWindow() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    start(bivista);
    QVERIFY(waitForLine(bivista, "thread run"));
    QVERIFY(server->closeWindow(server->waitForWindow("Bivista")));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    isComplete(bivista);
    for (const char* thread : {"  tile 0       thread run 0", "  tile 1       thread run 1"})
        QCOMPARE(lines(bivista).filter(QLatin1String(thread)).size(), 1);
    QCOMPARE(lines(bivista).filter("  main         Close event").size(), 1);
}

void TestLog::signal() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    start(bivista);
    QVERIFY(waitForLine(bivista, "thread run"));
    bivista.process->signal(SIGTERM);
    QVERIFY(bivista.process->waitForEnd());
    isComplete(bivista);
    QCOMPARE(lines(bivista).filter("exit capture").size(), 2);
}

/// It ends by exit().
void TestLog::startThatFindsAnotherCamera() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.write("setting.ini", "[Camera]\nCam1=NOT-ATTACHED\n[File]\nLang=1\n");
    start(bivista);
    const quint32 box = server->waitForWindow("Error");
    QVERIFY(box);
    QVERIFY(server->closeWindow(box));
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    isComplete(bivista);
    QCOMPARE(lines(bivista).filter("no camera for tile").size(), 1);
}

void TestLog::lostDisplay() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    start(bivista);
    QVERIFY(waitForLine(bivista, "thread run"));
    server.reset();
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 1);
    isComplete(bivista);
    QCOMPARE(lines(bivista).filter("exit capture").size(), 2);
}

/// A folder for pictures that is none, and then is.
void TestLog::whatTheStatusBarShowed() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    bivista.write("setting.ini", "[File]\nLang=1\nType=2\nPath=lot\n[Pos]\nX0=0\nX1=64\nY1=0\n");
    bivista.write("lot", "no folder");
    start(bivista, {{"RECORDING_TIMEOUTS", {}}});
    const auto save = [&](const QString& text) {
        return waitFor([&] {
            server->key("ctrl+w");
            return !lines(bivista).filter(QRegularExpression(text)).isEmpty();
        });
    };
    QVERIFY(save("Status bar: Picture not written"));
    QVERIFY(QFile::remove(bivista.folder.filePath("lot")));
    QVERIFY(bivista.folder.mkdir("lot"));
    QVERIFY(save("Status bar: Picture not written.* - is over"));
    QVERIFY(!lines(bivista).filter("Status bar: Saved image lot").isEmpty());
    bivista.process->signal(SIGTERM);
    QVERIFY(bivista.process->waitForEnd());
    isComplete(bivista);
}

/// The status bar of a window that fills the screen, and of it what is red.
QImage TestLog::note() {
    const QImage screen = server->screenshot().convertToFormat(QImage::Format_RGB32);
    QImage red = screen.copy(0, screen.height() - 40, screen.width(), 40);
    for (int y = 0; y < red.height(); ++y) {
        for (int x = 0; x < red.width(); ++x) {
            const QRgb pixel = red.pixel(x, y);
            if (qRed(pixel) < 120 || qGreen(pixel) > 80)
                red.setPixel(x, y, 0);
        }
    }
    return red;
}

/// Until a note that counts has shown another number so often.
bool TestLog::waitForSeconds(int count) {
    const QImage nothing = [this] {
        QImage none = note();
        none.fill(0);
        return none;
    }();
    QImage before = nothing;
    // The first to be seen is no other.
    for (int seen = 0; seen <= count; ++seen) {
        const bool isNew = waitFor([&] {
            const QImage now = note();
            if (now == before || now == nothing)
                return false;
            before = now;
            return true;
        });
        if (!isNew)
            return false;
    }
    return true;
}

/// It counts on, second by second.
void TestLog::silentCameras() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    start(bivista);
    QVERIFY(waitForLine(bivista, "Status bar: Cameras 0, 1: no picture for"));
    QVERIFY(waitForSeconds(3));
    bivista.process->signal(SIGTERM);
    QVERIFY(bivista.process->waitForEnd());
    isComplete(bivista);
    QCOMPARE(lines(bivista).filter("Status bar: Camera").size(), 1);
}

void TestLog::eachStartBegins() {
    RunningBivista bivista(*server, QStringLiteral(BIVISTA));
    for (int run = 1; run <= 2; ++run) {
        start(bivista);
        QVERIFY(server->waitForWindow("Bivista"));
        QVERIFY(waitFor([&] { return bivista.process->errors().contains("thread run"); }));
        bivista.process->signal(SIGTERM);
        QVERIFY(bivista.process->waitForEnd());
        QCOMPARE(lines(bivista).filter("  Camera library: ").size(), run);
        QCOMPARE(lines(bivista).filter("  The log ends").size(), run);
    }
}

QTEST_GUILESS_MAIN(TestLog)
#include "tst_log.moc"
