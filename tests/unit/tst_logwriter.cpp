// SPDX-License-Identifier: Apache-2.0
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "app/logwriter.h"

using std::chrono::milliseconds;

namespace {

/// A disk as a test wants it: it takes, refuses, or does not answer.
class Disk {
public:
    LogWriter::Append append() {
        return [this](const QByteArray& lines) {
            std::unique_lock<std::mutex> lock(mutex);
            ++calls;
            changed.notify_all();
            changed.wait_for(lock, std::chrono::seconds(20), [this] { return !isStuck; });
            if (!refusal.isEmpty())
                return refusal;
            content += lines;
            changed.notify_all();
            return QString();
        };
    }
    void stick(bool isOn) {
        const std::lock_guard<std::mutex> lock(mutex);
        isStuck = isOn;
        changed.notify_all();
    }
    void refuse(const QString& problem) {
        const std::lock_guard<std::mutex> lock(mutex);
        refusal = problem;
    }
    QByteArray written() {
        const std::lock_guard<std::mutex> lock(mutex);
        return content;
    }
    int tries() {
        const std::lock_guard<std::mutex> lock(mutex);
        return calls;
    }
    /// Until it was asked so often.
    bool waitForTries(int count) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(20), [&] { return calls >= count; });
    }
    bool waitFor(const QByteArray& text) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(20), [&] { return content.contains(text); });
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    QByteArray content;
    QString refusal;
    int calls = 0;
    bool isStuck = false;
};

LogRecord said(const QString& text, QtMsgType type = QtDebugMsg) {
    return {1'700'000'000'000, "main", {type, {}, text}};
}

/// The last words of the lines.
QStringList words(const QByteArray& content) {
    QStringList result;
    const auto lines = content.split('\n');
    for (const QByteArray& line : lines) {
        if (!line.isEmpty())
            result.append(QString::fromUtf8(line.mid(line.lastIndexOf("  ") + 2)));
    }
    return result;
}

}  // namespace

/// The queue of the log's file and its thread.
class TestLogWriter : public QObject {
    Q_OBJECT

private slots:
    void init() { disk = std::make_shared<Disk>(); }
    void writesInOrder();
    void warningIsWrittenAtOnce();
    void debugWaitsForMore();
    void endWritesAll();
    void nothingIsTakenAfterTheEnd();
    void flushWaitsForTheDisk();
    void slowDiskKeepsNobodyWaiting();
    void tooManyAreCounted();
    void tooLongAreCounted();
    void stuckDiskDoesNotKeepTheEnd();
    void outageIsToldAndOver();
    void endTriesOnceMore();
    void largeQueueIsWrittenInPieces();
    void anyThread();

private:
    std::unique_ptr<LogWriter> writer(const LogWriter::Limits& limits) {
        // The disk outlives a thread that it keeps.
        return std::make_unique<LogWriter>(
            QStringLiteral("log"),
            [kept = disk, append = disk->append()](const QByteArray& lines) { return append(lines); },
            limits);
    }
    static LogWriter::Limits patient() {
        LogWriter::Limits limits;
        limits.pause = limits.again = std::chrono::hours(1);
        return limits;
    }

    std::shared_ptr<Disk> disk;
};

void TestLogWriter::writesInOrder() {
    LogWriter::Limits limits;
    limits.pause = milliseconds(1);
    const auto log = writer(limits);
    QStringList expected;
    for (int i = 0; i < 500; ++i) {
        log->add(said(QString::number(i)));
        expected.append(QString::number(i));
    }
    QVERIFY(log->finish(std::chrono::seconds(20)));
    QCOMPARE(words(disk->written()), expected);
}

void TestLogWriter::warningIsWrittenAtOnce() {
    const auto log = writer(patient());
    log->add(said("before"));
    log->add(said("oh", QtWarningMsg));
    QVERIFY(disk->waitFor("oh\n"));
    QCOMPARE(words(disk->written()), (QStringList{"before", "oh"}));
    log->add(said("again", QtCriticalMsg));
    QVERIFY(disk->waitFor("again\n"));
}

void TestLogWriter::debugWaitsForMore() {
    LogWriter::Limits limits;
    limits.pause = milliseconds(2000);  // longer than a busy machine keeps this thread from saying them all
    const auto log = writer(limits);
    for (int i = 0; i < 100; ++i)
        log->add(said("x", i % 2 == 0 ? QtDebugMsg : QtInfoMsg));
    QVERIFY(disk->waitForTries(1));
    QTRY_COMPARE(words(disk->written()).size(), 100);
    QCOMPARE(disk->tries(), 1);
}

void TestLogWriter::endWritesAll() {
    {
        const auto log = writer(patient());
        log->add(said("a"));
        log->add(said("b"));
    }
    QCOMPARE(words(disk->written()), (QStringList{"a", "b"}));
}

void TestLogWriter::nothingIsTakenAfterTheEnd() {
    const auto log = writer(patient());
    log->add(said("a"));
    QVERIFY(log->finish(std::chrono::seconds(20)));
    log->add(said("b", QtWarningMsg));
    QVERIFY(log->finish(std::chrono::seconds(20)));
    QCOMPARE(words(disk->written()), QStringList{"a"});
}

void TestLogWriter::flushWaitsForTheDisk() {
    const auto log = writer(patient());
    QVERIFY(log->flush(std::chrono::seconds(20)));
    log->add(said("a"));
    QVERIFY(log->flush(std::chrono::seconds(20)));
    QCOMPARE(words(disk->written()), QStringList{"a"});
    disk->stick(true);
    log->add(said("b"));
    QVERIFY(!log->flush(milliseconds(50)));
    disk->stick(false);
    QVERIFY(log->flush(std::chrono::seconds(20)));
    log->add(said("c"));
    QVERIFY(log->finish(std::chrono::seconds(20)));
    QCOMPARE(words(disk->written()), (QStringList{"a", "b", "c"}));
}

void TestLogWriter::slowDiskKeepsNobodyWaiting() {
    const auto log = writer(LogWriter::Limits());
    disk->stick(true);
    log->add(said("first", QtWarningMsg));
    QVERIFY(disk->waitForTries(1));
    // While the disk is in the middle of it. One that waited would wait for 20 s.
    QElapsedTimer time;
    time.start();
    for (int i = 0; i < 1000; ++i)
        log->add(said("more", QtWarningMsg));
    QVERIFY2(time.elapsed() < 5000, qPrintable(QString::number(time.elapsed())));
    QVERIFY(disk->written().isEmpty());
    disk->stick(false);
    QVERIFY(log->finish(std::chrono::seconds(20)));
    QCOMPARE(words(disk->written()).size(), 1001);
}

void TestLogWriter::tooManyAreCounted() {
    LogWriter::Limits limits = patient();
    limits.records = 10;
    const auto log = writer(limits);
    disk->stick(true);
    log->add(said("0", QtWarningMsg));
    QVERIFY(disk->waitForTries(1));
    QStringList expected{"0"};
    for (int i = 1; i < 50; ++i) {
        log->add(said(QString::number(i)));
        if (i < 10)
            expected.append(QString::number(i));
    }
    disk->stick(false);
    QVERIFY(disk->waitFor("0\n"));
    QTRY_VERIFY(disk->written().contains("lost here"));
    log->add(said("after"));
    QVERIFY(log->finish(std::chrono::seconds(20)));
    expected << "40 lines of the log were lost here"
             << "after";
    QCOMPARE(words(disk->written()), expected);
}

void TestLogWriter::tooLongAreCounted() {
    LogWriter::Limits limits = patient();
    limits.letters = 10'000;
    const auto log = writer(limits);
    disk->stick(true);
    log->add(said("0", QtWarningMsg));
    QVERIFY(disk->waitForTries(1));
    for (int i = 0; i < 10; ++i)
        log->add(said(QString(1'000'000, 'x')));
    disk->stick(false);
    QVERIFY(log->finish(std::chrono::seconds(20)));
    QCOMPARE(disk->written().count("(1000000 letters)"), 3);
    QVERIFY(disk->written().contains("7 lines of the log were lost here"));
}

void TestLogWriter::stuckDiskDoesNotKeepTheEnd() {
    auto log = writer(LogWriter::Limits());
    disk->stick(true);
    log->add(said("a", QtWarningMsg));
    QVERIFY(disk->waitForTries(1));
    QElapsedTimer time;
    time.start();
    // Whoever waits for it, and how often: it is one limit.
    QVERIFY(!log->flush(milliseconds(500)));
    QVERIFY(!log->finish(LogWriter::kLongestEnd));
    log.reset();
    // Twice would be twice as long, and a busy machine takes its time.
    QVERIFY2(time.elapsed() < 2 * LogWriter::kLongestEnd.count(),
             qPrintable(QString::number(time.elapsed())));
    disk->stick(false);
    QVERIFY(disk->waitFor("a\n"));
}

void TestLogWriter::outageIsToldAndOver() {
    LogWriter::Limits limits;
    limits.pause = limits.again = milliseconds(20);
    const auto log = writer(limits);
    disk->refuse("No space left on device");
    // Once, however often it is tried; the other when it is over.
    QTest::ignoreMessage(QtWarningMsg, "log cannot be written: No space left on device");
    QTest::ignoreMessage(QtWarningMsg, "log is written again");
    log->add(said("a"));
    QVERIFY(disk->waitForTries(4));
    disk->refuse({});
    QVERIFY(disk->waitFor("a\n"));
    log->add(said("b"));
    QVERIFY(disk->waitFor("b\n"));
    QCOMPARE(words(disk->written()), (QStringList{"a", "b"}));
}

void TestLogWriter::endTriesOnceMore() {
    LogWriter::Limits limits = patient();
    limits.pause = milliseconds(1);
    disk->refuse("No space left on device");
    QTest::ignoreMessage(QtWarningMsg, "log cannot be written: No space left on device");
    const auto log = writer(limits);
    log->add(said("a"));
    QVERIFY(disk->waitForTries(1));
    disk->refuse({});
    QVERIFY(log->finish(std::chrono::seconds(20)));
    QCOMPARE(words(disk->written()), QStringList{"a"});
}

/// No piece is larger than a file may be.
void TestLogWriter::largeQueueIsWrittenInPieces() {
    int largest = 0;
    qint64 all = 0;
    {
        LogWriter log(
            QStringLiteral("log"),
            [&](const QByteArray& lines) {
                largest = std::max(largest, lines.size());
                all += lines.size();
                return QString();
            },
            patient());
        for (int i = 0; i < 900; ++i)
            log.add(said(QString(kLongestText, QChar(0x2028))));
        QVERIFY(log.finish(std::chrono::seconds(20)));
    }
    QVERIFY(all > 900LL * kLongestText * 6);
    QVERIFY2(largest < LogWriter::kBatch + 6 * kLongestText + 1000, qPrintable(QString::number(largest)));
}

void TestLogWriter::anyThread() {
    constexpr int kThreads = 4;
    constexpr int kLines = 1000;
    const auto log = writer(LogWriter::Limits());
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&log, i] {
            for (int k = 0; k < kLines; ++k)
                log->add(said(QString::number(i), k % 10 == 0 ? QtWarningMsg : QtDebugMsg));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    QVERIFY(log->finish(std::chrono::seconds(20)));
    const QStringList all = words(disk->written());
    for (int i = 0; i < kThreads; ++i)
        QCOMPARE(all.count(QString::number(i)), kLines);
}

QTEST_GUILESS_MAIN(TestLogWriter)
#include "tst_logwriter.moc"
