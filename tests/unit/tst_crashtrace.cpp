// SPDX-License-Identifier: Apache-2.0
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#ifndef Q_OS_WIN
#include <csignal>
#endif

#include "app/crashtrace.h"
#include "app/version.h"
#include "platform/crashtrace.h"
#include "platform/unattended.h"

namespace {

constexpr int kLimit = 40'000;  // ms; a trace that hangs is cut off before

QStringList warnings;

void keepWarning(QtMsgType type, const QMessageLogContext&, const QString& text) {
    if (type == QtWarningMsg)
        warnings.append(text);
}

QByteArray contentOf(const QString& fileName) {
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void makeFile(const QDir& folder, const QString& name, const QByteArray& content) {
    QFile file(folder.filePath(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

void makeTrace(const QDir& folder, const QString& name) {
    makeFile(folder, name, name.endsWith(".dmp") ? "MDMP and so on" : "Bivista 0.1.0 crashed: in some way\n");
}

}  // namespace

/// What a crash leaves, by a small program that crashes in many ways, and what the next start makes of it.
class TestCrashTrace : public QObject {
    Q_OBJECT

private slots:
    void crash_data();
    void crash();
    void timeIsUtc();
    void longFolder();
    void tracesAreToldOnce();
    void oldestTracesGo();
    void filesOfOthersStay();
    void restartArguments();
    void commandLine();
};

void TestCrashTrace::crash_data() {
    QTest::addColumn<int>("signal");
    QTest::addColumn<QByteArrayList>("traces");
    const auto row = [](const char* kind, int signal, const QByteArrayList& traces) {
        QTest::newRow(kind) << signal << traces;
    };
#ifdef Q_OS_WIN
    row("null", 0, {"0xc0000005", "could not be written"});
    row("call", 0, {"0xc0000005", "could not be executed"});
    row("abort", 0, {"aborted"});
    row("exception", 0, {"aborted", "runtime_error: the last word"});
    row("threadexception", 0, {"aborted", "runtime_error: the last word"});
    row("othertype", 0, {"aborted", "of no standard type"});
    row("badalloc", 0, {"aborted", "bad_alloc"});
#else
    row("null", SIGSEGV, {"SIGSEGV", "Address:   0x0,", "writeNowhere", "main"});
    row("call", SIGSEGV, {"SIGSEGV", "Address:   0x0,", "Called from, perhaps: 0x", "main"});
    row("divide", SIGFPE, {"SIGFPE", "main"});
    row("overflow", SIGSEGV, {"SIGSEGV", "#100 ", "fillTheStack"});
    row("threadoverflow", SIGSEGV, {"SIGSEGV", "#100 ", "fillTheStack"});
    row("abort", SIGABRT, {"SIGABRT", "abort", "main"});
    row("fatal", SIGABRT, {"SIGABRT", "main"});
    row("exception", SIGABRT, {"SIGABRT", "Exception: St13runtime_error: the last word", "main"});
    row("threadexception", SIGABRT, {"SIGABRT", "Exception: St13runtime_error: the last word"});
    row("othertype", SIGABRT, {"SIGABRT", "Exception: of no standard type", "main"});
    row("badalloc", SIGABRT, {"SIGABRT", "Exception: St9bad_alloc", "main"});
    row("heap", SIGABRT, {"SIGABRT", "breakTheHeap", "main"});
    row("allocating", SIGSEGV, {"SIGSEGV", "allocate"});
    row("nomemory", SIGSEGV, {"SIGSEGV", "writeNowhere", "crashWithoutMemory"});
    row("unread", SIGSEGV, {"SIGSEGV", "writeNowhere", "main"});
    row("twice", 0, {"SIG"});
#endif
}

/// One file, with what is needed to find the place; the process ends as it would have without it, and soon.
void TestCrashTrace::crash() {
    if (!platform::canTraceCrashes())
        QSKIP("A sanitizer has the signals for itself");
    QFETCH(int, signal);
    QFETCH(QByteArrayList, traces);
    const QTemporaryDir place;
    const QDir folder(place.filePath(QString::fromUtf8("Prüf 相机")));
    QProcess process;
    process.start(QStringLiteral(CRASHING), {QString::fromLatin1(QTest::currentDataTag()), folder.path()});
    QVERIFY(process.waitForFinished(kLimit));
#ifndef Q_OS_WIN
    QCOMPARE(process.exitStatus(), QProcess::CrashExit);
    if (signal != 0)
        QCOMPARE(process.exitCode(), signal);
#else
    Q_UNUSED(signal)
    const QFileInfoList dumps = folder.entryInfoList({"crash-*.dmp"}, QDir::Files);
    QCOMPARE(dumps.size(), 1);
    QVERIFY(contentOf(dumps.first().filePath()).startsWith("MDMP"));
#endif
    const QStringList files = folder.entryList({"*.txt"}, QDir::Files);
    QCOMPARE(files.size(), 1);
    const QRegularExpression pattern(QStringLiteral("^crash-\\d{8}-\\d{6}-\\d+\\.txt$"));
    QVERIFY2(pattern.match(files.first()).hasMatch(), qPrintable(files.first()));
    const QByteArray text = contentOf(folder.filePath(files.first()));
    QVERIFY2(text.startsWith("Crashing 1.2.3 crashed: "), text.constData());
    for (const QByteArray& part : traces + QByteArrayList{"#0  0x", "Thread:    ", "Time:      "})
        QVERIFY2(text.contains(part), (part + " is missing in:\n" + text).constData());
    QVERIFY2(!text.contains("cut off"), text.constData());
#ifndef Q_OS_WIN
    QVERIFY2(text.contains("r-xp") && text.contains("libc.so"), text.constData());
    // The same for whoever reads the log.
    const QByteArray errors = process.readAllStandardError();
    if (qstrcmp(QTest::currentDataTag(), "unread") != 0)
        QVERIFY2(errors.contains("Crashing 1.2.3 crashed: ") && errors.contains("#0  0x") &&
                     errors.contains("Written to " + QFile::encodeName(folder.filePath(files.first()))),
                 errors.constData());
#endif
}

/// Names sort as the crashes came, also where the clocks are changed.
void TestCrashTrace::timeIsUtc() {
    if (!platform::canTraceCrashes())
        QSKIP("A sanitizer has the signals for itself");
    const QTemporaryDir place;
    const QDir folder(place.path());
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("TZ", "XYZ-5:30");
    process.setProcessEnvironment(environment);
    const QDateTime begun = QDateTime::currentDateTimeUtc();
    process.start(QStringLiteral(CRASHING), {"null", folder.path()});
    QVERIFY(process.waitForFinished(kLimit));
    const QDateTime over = QDateTime::currentDateTimeUtc();
    const QStringList files = folder.entryList({"*.txt"}, QDir::Files);
    QCOMPARE(files.size(), 1);
    QDateTime time = QDateTime::fromString(files.first().mid(6, 15), "yyyyMMdd-HHmmss");
    time.setTimeSpec(Qt::UTC);
    QVERIFY2(time >= begun.addSecs(-1) && time <= over, qPrintable(files.first()));
    const QByteArray text = contentOf(folder.filePath(files.first()));
    const QString line = "Time:      " + time.toString("yyyy-MM-dd HH:mm:ss") + " UTC";
    QVERIFY2(QString::fromUtf8(text).remove('\r').split('\n').contains(line), text.constData());
}

/// Longer than Windows has names without further ado, and than some of ours were.
void TestCrashTrace::longFolder() {
    if (!platform::canTraceCrashes())
        QSKIP("A sanitizer has the signals for itself");
    const QTemporaryDir place;
    const QDir folder(place.filePath((QString(60, 'x') + '/').repeated(5) + "logs"));
    QVERIFY(QDir().mkpath(QFileInfo(folder.path()).path()));
    QProcess process;
    process.start(QStringLiteral(CRASHING), {"null", folder.path()});
    QVERIFY(process.waitForFinished(kLimit));
    QCOMPARE(folder.entryList({"crash-*.txt"}, QDir::Files).size(), 1);
#ifdef Q_OS_WIN
    QCOMPARE(folder.entryList({"crash-*.dmp"}, QDir::Files).size(), 1);
#endif
}

void TestCrashTrace::tracesAreToldOnce() {
    const QTemporaryDir place;
    const QDir folder(place.path());
    makeTrace(folder, "crash-20240131-120000-7.txt");
    makeTrace(folder, "crash-20240131-120000-7.dmp");
    makeTrace(folder, "crash-20240201-120000-8.dmp");
    makeTrace(folder, "bivista.log");
    const auto before = qInstallMessageHandler(keepWarning);
    const auto start = [&] {
        warnings.clear();
        const CrashTrace trace(folder.path(), {});
        return warnings;
    };
    const QStringList first = start();
    const QStringList second = start();
    makeTrace(folder, "crash-20240202-120000-9.txt");
    const QStringList third = start();
    qInstallMessageHandler(before);
    const auto path = [&](const char* name) { return QDir::toNativeSeparators(folder.filePath(name)); };
    QCOMPARE(first, (QStringList{"An earlier run crashed: " + path("crash-20240131-120000-7.txt"),
                                 "The last run crashed: " + path("crash-20240201-120000-8.dmp")}));
    QCOMPARE(second, QStringList());
    QCOMPARE(third, QStringList{"The last run crashed: " + path("crash-20240202-120000-9.txt")});
}

void TestCrashTrace::oldestTracesGo() {
    const QTemporaryDir place;
    const QDir folder(place.path());
    for (int i = 0; i < CrashTrace::kKept + 3; ++i) {
        const QString name = QStringLiteral("crash-20240131-1200%1-7").arg(i, 2, 10, QLatin1Char('0'));
        makeTrace(folder, name + ".txt");
        makeTrace(folder, name + ".dmp");
    }
    makeTrace(folder, "other.txt");
    const auto before = qInstallMessageHandler(keepWarning);
    const CrashTrace trace(folder.path(), {});
    qInstallMessageHandler(before);
    const QStringList kept = folder.entryList({"crash-*"}, QDir::Files, QDir::Name);
    QCOMPARE(kept.size(), 2 * int{CrashTrace::kKept});
    QCOMPARE(kept.first(), QStringLiteral("crash-20240131-120003-7.dmp"));
    QVERIFY(folder.exists("other.txt"));
}

/// Whatever they are called, and even by one of our names.
void TestCrashTrace::filesOfOthersStay() {
    const QTemporaryDir place;
    const QDir folder(place.path());
    const QByteArray note = "At ten the second camera had no picture.\n";
    const QStringList names{"crash-notes-of-line-3.txt",
                            "crash-20220101-120000-7 (copy).txt",
                            "crash-20220101-120000-7-line.dmp",
                            "crash-20220101-120000.txt",
                            "crash-2022-01-01.txt",
                            "old crash-20220101-120000-7.txt",
                            "crash-20220101-120000-8.txt",
                            "crash-20220101-120000-9.dmp"};
    for (const QString& name : names)
        makeFile(folder, name, note);
    QVERIFY(folder.mkdir("crash-20220101-120000-10.txt"));
    for (int i = 0; i < CrashTrace::kKept + 3; ++i)
        makeTrace(folder, QStringLiteral("crash-20240131-1200%1-7.txt").arg(i, 2, 10, QLatin1Char('0')));
    // A disk that was full leaves this of a trace.
    makeFile(folder, "crash-20240201-120000-7.txt", {});
    const auto before = qInstallMessageHandler(keepWarning);
    warnings.clear();
    const CrashTrace trace(folder.path(), {});
    qInstallMessageHandler(before);
    for (const QString& name : names)
        QVERIFY2(contentOf(folder.filePath(name)) == note, qPrintable(name));
    QVERIFY(folder.exists("crash-20220101-120000-10.txt"));
    QCOMPARE(folder.entryList({"crash-2024*"}, QDir::Files).size(), int{CrashTrace::kKept});
    QCOMPARE(warnings.size(), int{CrashTrace::kKept});
    QCOMPARE(warnings.filter("crash-2024").size(), int{CrashTrace::kKept});
}

void TestCrashTrace::restartArguments() {
    const QString folder = QDir::toNativeSeparators(QStringLiteral("/some where"));
    const QString log = QDir::toNativeSeparators(QStringLiteral("/logs/a b.log"));
    QCOMPARE(::restartArguments(QStringLiteral("/some where"), QString()), (QStringList{"--folder", folder}));
    QCOMPARE(::restartArguments(QStringLiteral("/some where"), QStringLiteral("/logs/a b.log")),
             (QStringList{"--folder", folder, "--log", log}));
}

/// As Windows takes it apart.
void TestCrashTrace::commandLine() {
    QCOMPARE(platform::commandLineOf({}), QString());
    QCOMPARE(platform::commandLineOf({"--folder", "C:\\some where", "plain\\"}),
             QStringLiteral("--folder \"C:\\some where\" plain\\"));
    QCOMPARE(platform::commandLineOf({"D: \\", "", "a\"b", "a\\\"b"}),
             QStringLiteral("\"D: \\\\\" \"\" \"a\\\"b\" \"a\\\\\\\"b\""));
}

QTEST_GUILESS_MAIN(TestCrashTrace)
#include "tst_crashtrace.moc"
