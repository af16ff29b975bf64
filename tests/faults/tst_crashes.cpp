// SPDX-License-Identifier: Apache-2.0
// The program as its users have it crashes, and is started again.

#include <QProcess>
#include <csignal>

#include "platform/crashtrace.h"
#include "support/runningbivista.h"

namespace {

constexpr int kEndsWithin = 10'000;  // ms for a trace, on a busy machine

}  // namespace

class TestCrashes : public QObject {
    Q_OBJECT

private slots:
    void crashLeavesATrace_data();
    void crashLeavesATrace();
    void folderOfTheLogIsLeftAlone();
    void serviceIsValid();

private:
    static QStringList traces(const RunningBivista& bivista) {
        return QDir(bivista.folder.filePath("logs")).entryList({"crash-*"}, QDir::Files);
    }
};

void TestCrashes::crashLeavesATrace_data() {
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("SIGSEGV") << SIGSEGV << QByteArray("SIGSEGV (11)");
    QTest::newRow("SIGABRT") << SIGABRT << QByteArray("SIGABRT (6)");
}

void TestCrashes::crashLeavesATrace() {
    if (!platform::canTraceCrashes())
        QSKIP("A sanitizer has the signals for itself");
    QFETCH(int, number);
    QFETCH(QByteArray, name);
    XServer server;
    QVERIFY2(server.start(), qPrintable(server.errorString()));
    // A core would take longer than all the rest.
    RunningBivista bivista(server, QStringLiteral("/bin/sh"),
                           {"-c", "ulimit -c 0; exec \"$0\"", QStringLiteral(BIVISTA)});
    bivista.start();
    QVERIFY(server.waitForWindow("Bivista"));
    QVERIFY(bivista.waitForStreams());
    QCOMPARE(traces(bivista), QStringList());
    const QByteArray settings = bivista.read("setting.ini");

    const qint64 process = bivista.process->processId();
    QElapsedTimer time;
    time.start();
    bivista.process->signal(number);
    QVERIFY(!bivista.process->waitForEnd());
    QVERIFY(!bivista.process->isRunning());
    QCOMPARE(bivista.process->exitCode(), number);
    QVERIFY2(time.elapsed() < kEndsWithin, qPrintable(QString::number(time.elapsed())));
    QCOMPARE(bivista.read("setting.ini"), settings);
    QCOMPARE(traces(bivista).size(), 1);
    const QString file = traces(bivista).first();
    QVERIFY2(file.endsWith(QStringLiteral("-%1.txt").arg(process)), qPrintable(file));
    const QByteArray trace = bivista.read("logs/" + file);
    for (const QByteArray& part :
         {"Bivista " BIVISTA_VERSION " crashed: " + name, QByteArray("Sent by:   process "),
          QByteArray("bivista\n"), QByteArray("#0  0x"), QByteArray("  main+0x"), QByteArray("libKVCap2.so")})
        QVERIFY2(trace.contains(part), (part + " is missing in:\n" + trace).constData());
    // What the log had said before stands before it, as whole lines.
    const QByteArray log = bivista.process->errors();
    QVERIFY2(log.count("thread run") >= 4, log.constData());
    const int told = log.indexOf("\nBivista " BIVISTA_VERSION " crashed: " + name + "\n");
    QVERIFY2(told > log.lastIndexOf("thread run"), log.constData());
    QVERIFY(!log.contains("run crashed"));

    bivista.start();
    QVERIFY(server.waitForWindow("Bivista"));
    QVERIFY(bivista.waitForStreams());
    QVERIFY2(bivista.process->errors().contains("The last run crashed: " +
                                                bivista.folder.filePath("logs/" + file).toUtf8()),
             bivista.process->errors().constData());
    bivista.process->signal(SIGTERM);
    QVERIFY(bivista.process->waitForEnd());
    QCOMPARE(bivista.process->exitCode(), 0);
    QCOMPARE(traces(bivista), QStringList{file});

    bivista.start();
    QVERIFY(server.waitForWindow("Bivista"));
    QVERIFY(bivista.waitForStreams());
    QVERIFY(!bivista.process->errors().contains("run crashed"));
}

/// A folder that many stations and people have: a crash leaves its trace with the settings, and a start
/// neither tells nor removes what others have there.
void TestCrashes::folderOfTheLogIsLeftAlone() {
    if (!platform::canTraceCrashes())
        QSKIP("A sanitizer has the signals for itself");
    XServer server;
    QVERIFY2(server.start(), qPrintable(server.errorString()));
    const QTemporaryDir shared;
    const QDir folder(shared.path());
    QStringList names;
    for (int i = 0; i < 30; ++i) {
        names << QStringLiteral("crash-20240131-1200%1-7.txt").arg(i, 2, 10, QLatin1Char('0'))
              << QStringLiteral("crash-notes-%1.txt").arg(i, 2, 10, QLatin1Char('0'));
        for (const QString& name : names.mid(2 * i)) {
            QFile file(folder.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("Bivista 0.1.0 crashed: on another station\n");
        }
    }
    RunningBivista bivista(
        server, QStringLiteral("/bin/sh"),
        {"-c", "ulimit -c 0; exec \"$0\" --log \"$1\"", QStringLiteral(BIVISTA), folder.filePath("a.log")});
    for (int start = 0; start < 2; ++start) {
        bivista.start();
        QVERIFY(server.waitForWindow("Bivista"));
        QVERIFY(bivista.waitForStreams());
        QCOMPARE(bivista.process->errors().count("run crashed"), start);
        bivista.process->signal(SIGSEGV);
        QVERIFY(!bivista.process->waitForEnd());
        QCOMPARE(traces(bivista).size(), start + 1);
    }
    names << "a.log";
    names.sort();
    QCOMPARE(folder.entryList(QDir::Files, QDir::Name), names);
}

/// The example for those who want it started again, with the path of a program that is here.
void TestCrashes::serviceIsValid() {
    QFile unit(QStringLiteral(SERVICE));
    QVERIFY(unit.open(QIODevice::ReadOnly));
    QByteArray text = unit.readAll();
    for (const char* line : {"\nRestart=on-failure\n", "\nRestartPreventExitStatus=2 3 4 5\n",
                             "\nExecStart=/usr/bin/bivista-station --cameras genicam %h/Bivista/genicam\n",
                             "\nEnvironment=BIVISTA_STATION_QUIET=1\n"})
        QVERIFY2(text.contains(line), line);
    // A folder that is not there yet is bivista-station's to make; systemd would fail to enter it, for ever.
    QVERIFY2(!text.contains("\nWorkingDirectory="), text.constData());
    if (QStandardPaths::findExecutable("systemd-analyze").isEmpty())
        QSKIP("There is no systemd-analyze here");
    text.replace("ExecStart=/usr/bin/bivista-station", "ExecStart=\"" BIVISTA "\"");
    const QTemporaryDir place;
    QFile tried(place.filePath("bivista.service"));
    QVERIFY(tried.open(QIODevice::WriteOnly));
    tried.write(text);
    tried.close();
    QProcess analyze;
    analyze.setProcessChannelMode(QProcess::MergedChannels);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_RUNTIME_DIR", place.path());
    analyze.setProcessEnvironment(environment);
    analyze.start("systemd-analyze", {"--user", "--man=no", "verify", tried.fileName()});
    QVERIFY(analyze.waitForFinished(kDesktopLimit));
    const QByteArray said = analyze.readAll();
    // Other units of this machine may have faults of their own.
    QVERIFY2(!said.contains("bivista.service"), said.constData());
}

QTEST_GUILESS_MAIN(TestCrashes)
#include "tst_crashes.moc"
