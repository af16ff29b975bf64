// SPDX-License-Identifier: Apache-2.0
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>
#include <cerrno>

#include "app/logfile.h"
#include "app/logrecord.h"
#include "platform/files.h"
#ifdef HAS_SMALL_DISK
#include "support/smalldisk.h"
#endif

/// What stands in the log's files, and when one makes room for the next.
class TestLogFile : public QObject {
    Q_OBJECT

private slots:
    void record();
    void levelsAreOneWide_data();
    void levelsAreOneWide();
    void furtherLinesAreIndented();
    void garbageBreaksNothing();
    void longTextsAreCut();
    void namesOfOlderFiles();
    void folderIsMade();
    void everyFileBeginsWithTheHeader();
    void eachStartHasItsHeader();
    void rotates();
    void oldestGoes();
    void removedFileIsMadeAgain();
    void removedFolderAboveStaysAway();
    void tornLineGetsItsEnd();
    void twoWritersShareAFile();
    void fileThatCannotMoveGrowsOn();
    void failedStepLosesNothing();
    void folderInTheWayIsTold();
    void fullDisk();
    void readOnlyFolder();

private:
    static QByteArray read(const QString& name) {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    /// A line of 100 bytes.
    static QByteArray line(int number) {
        return QByteArray::number(number).rightJustified(6, '0').leftJustified(99, '.') + '\n';
    }
    QString file(const char* name = "log/b.log") const { return folder->filePath(QLatin1String(name)); }
    static QByteArray header() { return "header\n"; }

    std::unique_ptr<QTemporaryDir> folder;

private slots:
    void init() { folder = std::make_unique<QTemporaryDir>(); }
    void cleanup() { folder.reset(); }
};

void TestLogFile::record() {
    const QByteArray text = fileText({1'700'000'000'123, "tile 2", {QtWarningMsg, "default", "oh"}});
    const QRegularExpression form(
        "^(\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}) ([+-]\\d\\d:\\d\\d)  warning   tile 2       "
        "oh\n$");
    const auto match = form.match(QString::fromUtf8(text));
    QVERIFY2(match.hasMatch(), text.constData());
    // The clock's time and how far it is from UTC belong together.
    const QDateTime time =
        QDateTime::fromString(match.captured(1).replace(' ', 'T') + match.captured(2), Qt::ISODateWithMs);
    QCOMPARE(time.toMSecsSinceEpoch(), qint64(1'700'000'000'123));
    QCOMPARE(QDateTime::fromMSecsSinceEpoch(1'700'000'000'123).time().toString("HH:mm:ss.zzz"),
             match.captured(1).mid(11));
    QVERIFY(fileText({0, "main", {QtDebugMsg, "qt.qpa", "a"}}).endsWith("  qt.qpa: a\n"));
}

void TestLogFile::levelsAreOneWide_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("debug") << int(QtDebugMsg) << QByteArray("debug   ");
    QTest::newRow("info") << int(QtInfoMsg) << QByteArray("info    ");
    QTest::newRow("warning") << int(QtWarningMsg) << QByteArray("warning ");
    QTest::newRow("critical") << int(QtCriticalMsg) << QByteArray("critical");
    QTest::newRow("fatal") << int(QtFatalMsg) << QByteArray("fatal   ");
}

void TestLogFile::levelsAreOneWide() {
    QFETCH(int, type);
    QFETCH(QByteArray, name);
    const QByteArray text = fileText({0, "main", {QtMsgType(type), {}, "x"}});
    QCOMPARE(text.mid(32), name + "  main         x\n");
}

void TestLogFile::furtherLinesAreIndented() {
    QVERIFY(fileText({0, "main", {QtDebugMsg, {}, "a\nb\r\n2026-11-22\n"}})
                .endsWith("  a\n    b\n    2026-11-22\n"));
    QVERIFY(fileText({0, "main", {QtDebugMsg, {}, "a\n\n"}}).endsWith("  a\n"));
}

/// As a serial line may have it.
void TestLogFile::garbageBreaksNothing() {
    QString text =
        QStringLiteral("a\r\x1b[2J\x7f\tb") + QChar(0) + QChar(0x85) + QChar(0x2028) + QChar(0xd800);
    const QByteArray written = fileText({0, "main", {QtDebugMsg, {}, text}});
    QCOMPARE(written.count('\n'), 1);
    QVERIFY2(written.contains("a\\x0d\\x1b[2J\\x7f\tb\\x00\\x85\\u2028"), written.constData());
    QCOMPARE(QString::fromUtf8(written).toUtf8(), written);
    QVERIFY(fileText({0, "main", {QtDebugMsg, {}, QString::fromUtf8("相机 é")}}).contains("相机 é"));
}

void TestLogFile::longTextsAreCut() {
    QCOMPARE(shortText(QString(kLongestText, 'x')).size(), kLongestText);
    QCOMPARE(shortText(QString(kLongestText + 1, 'x')), QString(kLongestText, 'x') + " ... (4001 letters)");
}

void TestLogFile::namesOfOlderFiles() {
    QCOMPARE(LogFile::nameOf("/a/bivista.log", 0), QStringLiteral("/a/bivista.log"));
    QCOMPARE(LogFile::nameOf("/a/bivista.log", 1), QStringLiteral("/a/bivista.1.log"));
    QCOMPARE(LogFile::nameOf("/a.b/station.3.txt", 4), QStringLiteral("/a.b/station.3.4.txt"));
    QCOMPARE(LogFile::nameOf("/a.b/log", 2), QStringLiteral("/a.b/log.2"));
}

void TestLogFile::folderIsMade() {
    LogFile log(file("deep/down/b.log"), header);
    QVERIFY(!QFileInfo::exists(file("deep")));
    QCOMPARE(log.append("a\n"), QString());
    QCOMPARE(read(file("deep/down/b.log")), QByteArray("header\na\n"));
}

void TestLogFile::everyFileBeginsWithTheHeader() {
    LogFile log(file(), header, {1000, 3});
    for (int i = 0; i < 25; ++i)
        QCOMPARE(log.append(line(i)), QString());
    for (int age = 0; age < 3; ++age) {
        const QByteArray text = read(LogFile::nameOf(file(), age));
        QVERIFY2(text.startsWith("header\n"), text.constData());
        QCOMPARE(text.count("header"), 1);
    }
}

void TestLogFile::eachStartHasItsHeader() {
    QCOMPARE(LogFile(file(), header).append("a\n"), QString());
    LogFile second(file(), [] { return QByteArray("another\n"); });
    QCOMPARE(second.append("b\n"), QString());
    QCOMPARE(second.append("c\n"), QString());
    QCOMPARE(read(file()), QByteArray("header\na\nanother\nb\nc\n"));
}

void TestLogFile::rotates() {
    LogFile log(file(), [] { return QByteArray(); }, {1000, 5});
    for (int i = 0; i < 35; ++i)
        QCOMPARE(log.append(line(i)), QString());
    QByteArray all;
    for (int age = 4; age >= 0; --age) {
        const QByteArray text = read(LogFile::nameOf(file(), age));
        QCOMPARE(text.size(), age == 4 ? 0 : age == 0 ? 500 : 1000);
        all += text;
    }
    QByteArray expected;
    for (int i = 0; i < 35; ++i)
        expected += line(i);
    QCOMPARE(all, expected);
}

void TestLogFile::oldestGoes() {
    LogFile log(file(), [] { return QByteArray(); }, {1000, 5});
    for (int i = 0; i < 105; ++i)
        QCOMPARE(log.append(line(i)), QString());
    const QStringList names = QFileInfo(file()).dir().entryList(QDir::Files, QDir::Name);
    QCOMPARE(names, (QStringList{"b.1.log", "b.2.log", "b.3.log", "b.4.log", "b.log"}));
    QVERIFY(read(LogFile::nameOf(file(), 4)).startsWith("000060"));
    QVERIFY(read(file()).startsWith("000100"));
}

void TestLogFile::removedFileIsMadeAgain() {
    LogFile log(file(), header);
    QCOMPARE(log.append("a\n"), QString());
    QVERIFY(QFile::remove(file()));
    QCOMPARE(log.append("b\n"), QString());
    QCOMPARE(read(file()), QByteArray("header\nb\n"));
    QVERIFY(QFileInfo(file()).dir().removeRecursively());
    QCOMPARE(log.append("c\n"), QString());
    QCOMPARE(read(file()), QByteArray("header\nc\n"));
}

/// A working folder that is moved away, or whose disk is gone, is not made anew by the log.
void TestLogFile::removedFolderAboveStaysAway() {
    LogFile log(file("station/log/b.log"), header);
    QCOMPARE(log.append("a\n"), QString());
    QVERIFY(QDir(file("station")).removeRecursively());
    QVERIFY(!log.append("b\n").isEmpty());
    QVERIFY(!QFileInfo::exists(file("station")));
    QVERIFY(QDir().mkdir(file("station")));
    QCOMPARE(log.append("c\n"), QString());
    QCOMPARE(read(file("station/log/b.log")), QByteArray("header\nc\n"));
}

/// As a program that was killed leaves it.
void TestLogFile::tornLineGetsItsEnd() {
    QCOMPARE(platform::appendLines(file("b.log"), "torn"), QString());
    QCOMPARE(LogFile(file("b.log"), header).append("a\n"), QString());
    QCOMPARE(read(file("b.log")), QByteArray("torn\nheader\na\n"));
}

void TestLogFile::twoWritersShareAFile() {
    LogFile first(file(), [] { return QByteArray(); }, {1000, 3});
    LogFile second(file(), [] { return QByteArray(); }, {1000, 3});
    for (int i = 0; i < 24; i += 2) {
        QCOMPARE(first.append(line(i)), QString());
        QCOMPARE(second.append(line(i + 1)), QString());
    }
    QByteArray expected;
    for (int i = 0; i < 24; ++i)
        expected += line(i);
    QCOMPARE(read(LogFile::nameOf(file(), 2)) + read(LogFile::nameOf(file(), 1)) + read(file()), expected);
}

/// By a folder in the place of the next: as where somebody keeps the file open on Windows.
void TestLogFile::fileThatCannotMoveGrowsOn() {
    LogFile log(file(), [] { return QByteArray(); }, {1000, 2});
    QVERIFY(QDir().mkpath(LogFile::nameOf(file(), 1) + "/occupied"));
    for (int i = 0; i < 20; ++i)
        QCOMPARE(log.append(line(i)), QString());
    QCOMPARE(read(file()).size(), 2000);
    QVERIFY(!log.append(line(20)).isEmpty());
    QCOMPARE(read(file()).size(), 2000);
    QVERIFY(QDir(LogFile::nameOf(file(), 1)).removeRecursively());
    QCOMPARE(log.append(line(20)), QString());
    QCOMPARE(read(file()), line(20));
    QCOMPARE(read(LogFile::nameOf(file(), 1)).size(), 2000);
}

/// However often the last step is tried, older files move on once.
void TestLogFile::failedStepLosesNothing() {
    LogFile log(file(), [] { return QByteArray(); }, {1000, 4});
    for (int i = 0; i < 30; ++i)
        QCOMPARE(log.append(line(i)), QString());
    // b.1 becomes b.3 by hand, and something that does not move takes its place.
    QVERIFY(QFile::rename(LogFile::nameOf(file(), 2), LogFile::nameOf(file(), 3)));
    QVERIFY(QFile::rename(LogFile::nameOf(file(), 1), LogFile::nameOf(file(), 2)));
    QVERIFY(QDir().mkpath(LogFile::nameOf(file(), 1) + "/occupied"));
    QVERIFY(QFile::rename(LogFile::nameOf(file(), 3), LogFile::nameOf(file(), 3) + ".kept"));
    for (int i = 30; i < 35; ++i)
        QCOMPARE(log.append(line(i)), QString());
    QVERIFY(QFileInfo::exists(LogFile::nameOf(file(), 3)));
    QVERIFY(read(LogFile::nameOf(file(), 3)).startsWith("000010"));
}

void TestLogFile::folderInTheWayIsTold() {
    QVERIFY(QDir().mkpath(file()));
    LogFile log(file(), header);
    QVERIFY(!log.append("a\n").isEmpty());
    QVERIFY(QDir().rmdir(file()));
    QCOMPARE(log.append("a\n"), QString());
}

/// Nothing of what did not fit stays, and later all is written.
void TestLogFile::fullDisk() {
#ifdef HAS_SMALL_DISK
    SmallDisk disk(300'000);
    const QString name = disk.path() + QStringLiteral("/logs/b.log");
    LogFile log(name, header);
    QCOMPARE(log.append("a\n"), QString());
    disk.fill();
    const QByteArray many = line(1).repeated(1000);
    const QString problem = log.append(many);
    QVERIFY(!problem.isEmpty());
    QCOMPARE(read(name), QByteArray("header\na\n"));
    disk.makeRoom();
    QCOMPARE(log.append(many), QString());
    QCOMPARE(read(name), "header\na\n" + many);
#else
    QSKIP("No disk here that gets full");
#endif
}

void TestLogFile::readOnlyFolder() {
#ifdef HAS_SMALL_DISK
    SmallDisk disk(300'000);
    if (!disk.setReadOnly(true))
        QSKIP("This user may write everywhere");
    const QString name = disk.path() + QStringLiteral("/logs/b.log");
    LogFile log(name, header);
    // Why there is no folder, and not that there is none.
    const QString problem = log.append("a\n");
    QVERIFY2(problem == qt_error_string(EROFS) || problem == qt_error_string(EACCES), qPrintable(problem));
    QVERIFY(disk.setReadOnly(false));
    QCOMPARE(log.append("a\n"), QString());
    QCOMPARE(read(name), QByteArray("header\na\n"));
#else
    QSKIP("No disk here that is read-only");
#endif
}

int main(int argc, char* argv[]) {
#ifdef HAS_SMALL_DISK
    SmallDisk::useOwnMounts();
#endif
    QCoreApplication application(argc, argv);
    TestLogFile test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_logfile.moc"
