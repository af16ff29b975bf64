// SPDX-License-Identifier: Apache-2.0
#include <QImage>
#include <QTemporaryFile>
#include <QtTest>
#include <atomic>

#include "app/logwriter.h"
#include "camera/askaside.h"
#include "control/picturefile.h"
#include "control/pictureworker.h"
#include "platform/files.h"
#include "platform/machine.h"
#include "platform/memory.h"
#include "support/shortage.h"
#include "support/workingfolder.h"

namespace {

QImage grey(int value) {
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(qRgb(value, value, value));
    return image;
}

LogRecord record(const QString& text) {
    return {0, "main", {QtWarningMsg, {}, text}};
}

}  // namespace

/// A machine that runs out of threads or memory, as one does that has run for months beside others.
class TestShortage : public QObject {
    Q_OBJECT

private slots:
    void noThreadForAQuestion();
    void noThreadForPictures();
    void noThreadForTheLog();
    void noThreadForTheDisk();
    void noMemoryForAPictureInTheQueue();
    void noMemoryForFrames();
    void whatIsNotThereHasNoFile();
};

void TestShortage::noThreadForAQuestion() {
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^No thread for a question: .+")));
    std::atomic<bool> isAsked{false};
    const auto question = [&] {
        isAsked = true;
        return 7;
    };
    {
        const shortage::Threads none;
        std::future<int> answer = askAside<int>(question);
        // Not under way: whoever waits for the answer would wait for ever.
        QVERIFY(!answer.valid());
        QVERIFY(!answerWithin(answer, 60000));
        QVERIFY(!isAsked);
    }
    std::future<int> answer = askAside<int>(question);
    QCOMPARE(answerWithin(answer, 60000).value_or(0), 7);
    QVERIFY(!answer.valid());
}

/// Whoever has the picture is told, and can write it himself; with threads again it goes on.
void TestShortage::noThreadForPictures() {
    const WorkingFolder folder;
    PictureWorker worker;
    {
        const shortage::Threads none;
        QVERIFY(!worker.add(grey(1), QStringLiteral("./1.bmp"), 75));
        worker.waitForAll();
        QVERIFY(!QFile::exists(QStringLiteral("1.bmp")));
        QVERIFY(worker.takeResults().isEmpty());
    }
    QVERIFY(worker.add(grey(2), QStringLiteral("./2.bmp"), 75));
    worker.waitForAll();
    QCOMPARE(worker.takeResults().size(), 1);
    QCOMPARE(qGray(QImage(QStringLiteral("2.bmp")).pixel(0, 0)), 2);
}

void TestShortage::noThreadForTheLog() {
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^a.log is not written: .+")));
    std::atomic<int> calls{0};
    const shortage::Threads none;
    LogWriter writer(QStringLiteral("a.log"), [&](const QByteArray&) {
        ++calls;
        return QString();
    });
    QVERIFY(!writer.problem().isEmpty());
    writer.add(record(QStringLiteral("nobody writes it")));
    // Nobody waits for a thread that is not there.
    QElapsedTimer timer;
    timer.start();
    writer.flush(std::chrono::minutes(2));
    writer.finish(std::chrono::minutes(2));
    QVERIFY(timer.elapsed() < 60000);
    QCOMPARE(calls.load(), 0);
}

/// The disk is left to itself, and nothing counts as under way.
void TestShortage::noThreadForTheDisk() {
    QTRY_COMPARE_WITH_TIMEOUT(platform::syncsUnderWay(), 0, 60000);  // those of the tests before
    QTemporaryFile file;
    QVERIFY(file.open());
    QVERIFY(file.write("content") > 0);
    {
        const shortage::Threads none;
        platform::startSync(file);
        QCOMPARE(platform::syncsUnderWay(), 0);
    }
    platform::startSync(file);
    QTRY_COMPARE_WITH_TIMEOUT(platform::syncsUnderWay(), 0, 60000);
}

void TestShortage::noMemoryForAPictureInTheQueue() {
    const WorkingFolder folder;
    PictureWorker worker;
    QVERIFY(worker.add(grey(1), QStringLiteral("./1.bmp"), 75));
    worker.waitForAll();
    const QImage picture = grey(2);
    const QString name = QStringLiteral("./2.bmp");
    const PictureWorker::Companion companion;
    bool isTaken = true;
    {
        const shortage::News none;
        isTaken = worker.add(picture, name, 75, companion);
    }
    QVERIFY(!isTaken);
    worker.waitForAll();
    QCOMPARE(worker.takeResults().size(), 1);
    QVERIFY(!QFile::exists(name));
}

void TestShortage::noMemoryForFrames() {
    QVERIFY(platform::takeZeroedMemory(size_t{1} << 62) == nullptr);
    const size_t size = 1 << 20;
    auto* memory = static_cast<char*>(platform::takeZeroedMemory(size));
    QVERIFY(memory);
    QVERIFY(std::all_of(memory, memory + size, [](char byte) { return byte == 0; }));
    platform::giveZeroedMemoryBack(memory, size);
}

void TestShortage::whatIsNotThereHasNoFile() {
    QCOMPARE(platform::fileOfLibrary(QStringLiteral("KVCap2"), "no_such_function"), QString());
    QVERIFY(!platform::processorName().isEmpty());
}

QTEST_GUILESS_MAIN(TestShortage)
#include "tst_shortage.moc"
