// SPDX-License-Identifier: Apache-2.0
#include <QFile>
#include <QLoggingCategory>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>
#include <thread>
#include <vector>
#ifdef Q_OS_LINUX
#include <sys/stat.h>
#endif

#include "app/logwriter.h"
#include "app/programlog.h"
#include "app/repeatedlines.h"
#include "app/version.h"
#include "camera/kvcap2.h"
#include "platform/crashtrace.h"
#include "support/workingfolder.h"

namespace {

const char kEndsBy[] = "BIVISTA_TEST_ENDS_BY";

QStringList written;  // what reached the handler that was there before
QMutex writtenMutex;

void write(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    const QMutexLocker lock(&writtenMutex);
    written.append(QStringLiteral("%1 %2 %3").arg(type).arg(QString::fromLatin1(context.category), text));
}

}  // namespace

/// The program's way of its messages, from Qt to the handler that was there before.
class TestProgramLog : public QObject {
    Q_OBJECT

private slots:
    void init() {
        folder = std::make_unique<WorkingFolder>();
        written.clear();
        before = qInstallMessageHandler(write);
    }
    void cleanup() {
        qInstallMessageHandler(before);
        folder.reset();
    }
    void passesTypeCategoryAndText();
    void repeatsAreCounted();
    void anyThreadMayLog();
    void handlerIsGivenBack();
    void fileHasWhatIsTold();
    void fileBeginsWithWhatTheProgramIs();
    void fileOfAnotherName();
    void threadsHaveNames();
    void notesAreForTheFileAlone();
    void unwritableFileIsTold();
    void flushedFileHasAll();
    void stuckDiskDoesNotKeepTheEnd();
    void everyEndWritesTheFile_data();
    void everyEndWritesTheFile();

private:
    /// The lines of the log's file whose text matches.
    static QStringList inFile(const QString& text, const QString& name = QStringLiteral("logs/bivista.log")) {
        return QString::fromUtf8(WorkingFolder::read(name)).split('\n').filter(QRegularExpression(text));
    }

    std::unique_ptr<WorkingFolder> folder;
    QtMessageHandler before = nullptr;
};

void TestProgramLog::passesTypeCategoryAndText() {
    const ProgramLog log;
    qDebug() << "drop";
    qWarning("%s", "oh");
    const QLoggingCategory category("some.room");
    qCCritical(category) << "ah";
    QCOMPARE(written, (QStringList{"0 default drop", "1 default oh", "2 some.room ah"}));
}

void TestProgramLog::repeatsAreCounted() {
    {
        const ProgramLog log;
        const QLoggingCategory category("some.room");
        for (int i = 0; i < RepeatedLines::kToldAtOnce + 100; ++i)
            qCWarning(category) << "drop";
        QCOMPARE(written.size(), int(RepeatedLines::kToldAtOnce));
        QVERIFY(written.contains("1 some.room drop"));
    }
    // Told when the log ends. (A slow machine may have told some before.)
    QVERIFY2(written.last().startsWith("1 some.room drop (repeated 100 times in "),
             qPrintable(written.last()));
}

void TestProgramLog::anyThreadMayLog() {
    constexpr int kThreads = 4;
    constexpr int kLines = 5000;
    {
        const ProgramLog log;
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([i] {
                for (int line = 0; line < kLines; ++line) {
                    qDebug() << "drop";
                    if (line % 1000 == 0)
                        qDebug() << "thread" << i << line;
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
    }
    QCOMPARE(written.filter("thread").size(), kThreads * kLines / 1000);
    qint64 drops = 0;
    for (const QString& line : written.filter("drop"))
        drops += line.contains("repeated") ? qMax(1, line.section(' ', 4, 4).toInt()) : 1;
    QCOMPARE(drops, qint64(kThreads) * kLines);
}

void TestProgramLog::handlerIsGivenBack() {
    { const ProgramLog log; }
    for (int i = 0; i < 10; ++i)
        qDebug() << "drop";
    QCOMPARE(written.size(), 10);
    QVERIFY(qInstallMessageHandler(write) == &write);
}

/// After counting, and with what the handler does not get.
void TestProgramLog::fileHasWhatIsTold() {
    {
        const ProgramLog log;
        QCOMPARE(ProgramLog::fileName(), QDir::current().absoluteFilePath("logs/bivista.log"));
        for (int i = 0; i < RepeatedLines::kToldAtOnce + 100; ++i)
            qDebug() << "drop";
        const QLoggingCategory category("some.room");
        qCCritical(category) << "ah";
    }
    QCOMPARE(inFile("  debug     main         drop$").size(), int(RepeatedLines::kToldAtOnce));
    // Who says what is counted may be several.
    QCOMPARE(inFile("  debug     -            drop \\(repeated 100 times in \\d+ s\\)$").size(), 1);
    QCOMPARE(inFile("  critical  main         some\\.room: ah$").size(), 1);
    QVERIFY(WorkingFolder::read("logs/bivista.log").endsWith("  The log ends\n"));
}

void TestProgramLog::fileBeginsWithWhatTheProgramIs() {
    // On Windows the linker leaves out a library that nobody uses.
    int32_t count = -1;
    QCOMPARE(CameraGetCount(&count), 0);
    { const ProgramLog log; }
    const QStringList lines = inFile(".");
    QVERIFY(lines.size() > 6);
    QVERIFY2(lines[0].contains("  info      main         Bivista " + programVersion() + ", process " +
                               QString::number(QCoreApplication::applicationPid())),
             qPrintable(lines[0]));
    QVERIFY2(lines[1].contains(QRegularExpression("Qt 5\\.\\S+ \\(compiled with 5\\.\\S+\\), OpenCV 4\\.")),
             qPrintable(lines[1]));
    // Another one than the program's own: the tests'.
    const QRegularExpression library("Camera library: (.*KVCap2\\.(so|dll)) of \\d{4}-\\d\\d-\\d\\d \\d\\d:");
    const auto match = library.match(lines[2]);
    QVERIFY2(match.hasMatch() && match.captured(1).contains("recording") && QFile::exists(match.captured(1)),
             qPrintable(lines[2]));
    QVERIFY(lines[3].contains("System: " + QSysInfo::prettyProductName()));
    QVERIFY2(lines[4].contains(QRegularExpression("Processor: \\S.*, \\d+ threads$")), qPrintable(lines[4]));
    QVERIFY(lines[5].contains("Working folder: "));
    QVERIFY(written.isEmpty());
}

void TestProgramLog::fileOfAnotherName() {
    {
        const ProgramLog log("here/station.txt");
        QCOMPARE(ProgramLog::fileName(), QDir::current().absoluteFilePath("here/station.txt"));
        qWarning("oh");
    }
    QCOMPARE(inFile("oh", "here/station.txt").size(), 1);
    QVERIFY(!QFile::exists("logs"));
}

void TestProgramLog::threadsHaveNames() {
    {
        const ProgramLog log;
        const std::unique_ptr<QThread> named(QThread::create([] { qDebug() << "by name"; }));
        named->setObjectName("tile 3");
        named->start();
        QVERIFY(named->wait());
        std::thread([] {
            qDebug() << "by number";
            qDebug() << "again";
        }).join();
    }
    QCOMPARE(inFile("  tile 3       by name$").size(), 1);
    const QStringList numbered = inFile("  thread \\d+     by number$");
    QCOMPARE(numbered.size(), 1);
    const QString number = QRegularExpression("thread \\d+").match(numbered[0]).captured();
    QCOMPARE(inFile(number + " +again$").size(), 1);
}

void TestProgramLog::notesAreForTheFileAlone() {
    noteInLog("before");  // there is no log yet
    {
        const ProgramLog log;
        for (int i = 0; i < 10; ++i)
            noteInLog("Status bar: x");
    }
    noteInLog("after");
    QCOMPARE(inFile("  info      main         Status bar: x$").size(), 10);
    QCOMPARE(inFile("before|after").size(), 0);
    QCOMPARE(written, QStringList());
}

/// The program goes on, and standard error has all as ever.
void TestProgramLog::unwritableFileIsTold() {
    QVERIFY(WorkingFolder::write("logs", "no folder"));
    {
        const ProgramLog log;
        qDebug() << "one";
        QTRY_VERIFY([] {
            const QMutexLocker lock(&writtenMutex);
            return !written.filter("bivista.log cannot be written: ").isEmpty();
        }());
        qDebug() << "two";
    }
    QCOMPARE(written.filter("cannot be written").size(), 1);
    QVERIFY(written.contains("0 default one") && written.contains("0 default two"));
    QCOMPARE(WorkingFolder::read("logs"), QByteArray("no folder"));
}

void TestProgramLog::flushedFileHasAll() {
    flushLog();  // there is none yet
    const ProgramLog log;
    for (int i = 0; i < RepeatedLines::kToldAtOnce + 2; ++i)
        qDebug() << "drop";
    flushLog();
    QCOMPARE(inFile("drop \\(repeated 2 times in ").size(), 1);
    qDebug() << "after";
    flushLog();
    QVERIFY(inFile(".").last().endsWith("  after"));
}

/// One limit for all of it. The file is a pipe that nobody reads, and is full.
void TestProgramLog::stuckDiskDoesNotKeepTheEnd() {
#ifdef Q_OS_LINUX
    QVERIFY(QDir().mkdir("logs"));
    QCOMPARE(mkfifo("logs/bivista.log", 0666), 0);
    QElapsedTimer time;
    {
        const ProgramLog log;
        for (int i = 0; i < 40; ++i)
            qWarning("%d %s", i, QByteArray(3900, 'x').constData());
        time.start();
        flushLog();
    }
    QVERIFY2(time.elapsed() >= LogWriter::kLongestEnd.count() - 100,
             qPrintable(QString::number(time.elapsed())));
    // Twice would be twice as long, and a busy machine takes its time.
    QVERIFY2(time.elapsed() < 2 * LogWriter::kLongestEnd.count(),
             qPrintable(QString::number(time.elapsed())));
#else
    QSKIP("No pipe here that is a file");
#endif
}

void TestProgramLog::everyEndWritesTheFile_data() {
    QTest::addColumn<QByteArray>("end");
    QTest::addColumn<QString>("last");
    QTest::newRow("exit()") << QByteArray("exit") << "  info      main         The log ends$";
    QTest::newRow("fatal message") << QByteArray("fatal") << "  fatal     main         the end$";
}

/// In a process of its own.
void TestProgramLog::everyEndWritesTheFile() {
    QFETCH(QByteArray, end);
    QFETCH(QString, last);
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(kEndsBy, QString::fromLatin1(end));
    process.setProcessEnvironment(environment);
    process.start(QCoreApplication::applicationFilePath(), {});
    QVERIFY(process.waitForFinished());
    const QStringList lines = inFile(".");
    QVERIFY(!lines.isEmpty());
    QVERIFY2(lines.last().contains(QRegularExpression(last)), qPrintable(lines.join('\n')));
    QCOMPARE(inFile("  debug     main         drop$").size(), int(RepeatedLines::kToldAtOnce));
    QCOMPARE(inFile("drop \\(repeated 6 times in ").size(), 1);
    const QByteArray errors = process.readAllStandardError();
    QVERIFY2(errors.contains("drop (repeated 6 times in "), errors.constData());
    QVERIFY(!errors.contains("The log") && !errors.contains("Camera library"));
    const bool hasTrace = platform::canTraceCrashes() && end == "fatal";
    QCOMPARE(QDir("traces").entryList({"crash-*.txt"}, QDir::Files).size(), hasTrace ? 1 : 0);
}

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    const QByteArray end = qgetenv(kEndsBy);
    if (!end.isEmpty()) {
        const ProgramLog log;
        platform::traceCrashes(QStringLiteral("traces"), "Test 1.2.3");
        for (int i = 0; i < RepeatedLines::kToldAtOnce + 6; ++i)
            qDebug() << "drop";
        if (end == "fatal")
            qFatal("the end");
        std::exit(0);
    }
    TestProgramLog test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_programlog.moc"
