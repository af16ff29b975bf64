// SPDX-License-Identifier: Apache-2.0
#include <QDir>
#include <QImage>
#include <QtTest>
#include <atomic>
#include <memory>

#include "control/picturefile.h"
#include "control/pictureworker.h"
#include "platform/files.h"
#include "support/diskcalls.h"
#include "support/fulldisk.h"
#include "support/slowdisk.h"
#include "support/workingfolder.h"

namespace {

constexpr int kWait = 10000;  // ms, limit of every wait
constexpr int kAll = PictureWorker::kMostWaiting + 1;

QImage grey(int value, QSize size = {40, 30}) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(qRgb(value, value, value));
    return image;
}

QString name(int number) {
    return QStringLiteral("./%1.bmp").arg(number);
}

int greyOf(const QString& fileName) {
    const QImage image(fileName);
    return image.isNull() ? -1 : qGray(image.pixel(0, 0));
}

bool isHeld() {
    return QTest::qWaitFor([] { return diskcalls::HeldNames::waiting() == 1; }, kWait);
}

QStringList written() {
    return QDir().entryList({QStringLiteral("*.bmp")}, QDir::Files, QDir::Name);
}

/// The signal comes on the worker's thread, which QSignalSpy is not made for. `count` outlives the worker.
void countWritten(const PictureWorker& worker, std::atomic<int>& count) {
    QObject::connect(
        &worker, &PictureWorker::written, &worker, [&count] { ++count; }, Qt::DirectConnection);
}

void ignoreFailure() {
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written: .+")));
}

}  // namespace

/// Pictures written beside the GUI thread, on a disk that takes its time.
class TestPictureWorker : public QObject {
    Q_OBJECT

private slots:
    void cleanup();
    void writesWhatIsWrittenAtOnce_data();
    void writesWhatIsWrittenAtOnce();
    void keepsTheOrder();
    void waitsForRoomWhenFull();
    void waitsForAll();
    void writesAllBeforeItGoes();
    void endsWithNothingToDo();
    void laterOfOneNameWins();
    void tellsWhatBecameOfEach();
    void fullDiskInBetween();
    void picturesOfOthersAreCopied();
    void refusesWhatIsNoPicture();
    void manyFromAFastHand();
};

void TestPictureWorker::cleanup() {
    QVERIFY(QTest::qWaitFor([] { return platform::syncsUnderWay() == 0; }, kWait));
}

void TestPictureWorker::writesWhatIsWrittenAtOnce_data() {
    QTest::addColumn<QString>("suffix");
    for (const char* suffix : {"bmp", "jpg", "png"})
        QTest::newRow(suffix) << QString::fromLatin1(suffix);
}

void TestPictureWorker::writesWhatIsWrittenAtOnce() {
    QFETCH(QString, suffix);
    const WorkingFolder folder;
    QImage picture(200, 100, QImage::Format_RGB32);
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            picture.setPixel(x, y, qRgb(x, x * y % 256, y));
    }
    for (const int quality : {20, 90}) {
        QCOMPARE(writePicture(picture, QStringLiteral("./now.") + suffix, quality), QString());
        PictureWorker worker;
        QVERIFY(worker.add(picture, QStringLiteral("./later.") + suffix, quality));
        worker.waitForAll();
        const QByteArray later = WorkingFolder::read(QStringLiteral("later.") + suffix);
        QVERIFY(!later.isEmpty());
        QCOMPARE(later, WorkingFolder::read(QStringLiteral("now.") + suffix));
    }
}

void TestPictureWorker::keepsTheOrder() {
    const WorkingFolder folder;
    std::atomic<int> told{0};
    PictureWorker worker;
    countWritten(worker, told);
    const diskcalls::HeldNames held;
    // All are taken although the first one is not yet written.
    for (int i = 0; i < kAll; ++i)
        QVERIFY(worker.add(grey(i), name(i), 75));
    for (int i = 0; i < kAll; ++i) {
        QVERIFY(isHeld());
        QCOMPARE(written().size(), i);
        diskcalls::HeldNames::letThrough(1);
        QTRY_COMPARE_WITH_TIMEOUT(told.load(), i + 1, kWait);
        QCOMPARE(greyOf(name(i)), i);
    }
    const auto results = worker.takeResults();
    QCOMPARE(results.size(), kAll);
    for (int i = 0; i < kAll; ++i) {
        QCOMPARE(results[i].fileName, name(i));
        QCOMPARE(results[i].problem, QString());
    }
    QVERIFY(worker.takeResults().isEmpty());
}

void TestPictureWorker::waitsForRoomWhenFull() {
    const WorkingFolder folder;
    PictureWorker worker;
    const diskcalls::HeldNames held;
    for (int i = 0; i < kAll - 1; ++i)
        QVERIFY(worker.add(grey(i), name(i), 75));
    QVERIFY(isHeld());
    worker.waitForRoom();  // there is some
    QVERIFY(worker.add(grey(kAll - 1), name(kAll - 1), 75));
    {
        const SlowDisk slow(1);
        worker.waitForRoom();
        QVERIFY(slow.isOver);
        QVERIFY(QFile::exists(name(0)));
        QVERIFY(worker.add(grey(kAll), name(kAll), 75));
    }
    {
        const SlowDisk slow(1);
        QVERIFY(worker.add(grey(kAll + 1), name(kAll + 1), 75));  // waits by itself, too
        QVERIFY(slow.isOver);
        QVERIFY(QFile::exists(name(1)));
    }
    QCOMPARE(written().size(), 2);
    diskcalls::HeldNames::letThrough(kAll);
    worker.waitForAll();
    QCOMPARE(written().size(), kAll + 2);
}

void TestPictureWorker::waitsForAll() {
    const WorkingFolder folder;
    PictureWorker worker;
    worker.waitForAll();  // nothing at all
    const diskcalls::HeldNames held;
    QVERIFY(worker.add(grey(0), name(0), 75));
    QVERIFY(worker.add(grey(1), name(1), 75));
    const SlowDisk slow(2);
    worker.waitForAll();
    QVERIFY(slow.isOver);
    QCOMPARE(written().size(), 2);
    QCOMPARE(worker.takeResults().size(), 2);
}

void TestPictureWorker::writesAllBeforeItGoes() {
    const WorkingFolder folder;
    const diskcalls::HeldNames held;
    auto worker = std::make_unique<PictureWorker>();
    for (int i = 0; i < kAll; ++i)
        QVERIFY(worker->add(grey(i), name(i), 75));
    QVERIFY(isHeld());
    const SlowDisk slow(kAll);
    worker.reset();
    QVERIFY(slow.isOver);
    for (int i = 0; i < kAll; ++i)
        QCOMPARE(greyOf(name(i)), i);
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden).size(), kAll);
}

void TestPictureWorker::endsWithNothingToDo() {
    const WorkingFolder folder;
    PictureWorker unused;
    PictureWorker used;
    QVERIFY(used.add(grey(1), name(1), 75));
    used.waitForAll();
    QVERIFY(used.add(grey(2), name(2), 75));  // it goes on
    used.waitForAll();
    QCOMPARE(written().size(), 2);
}

void TestPictureWorker::laterOfOneNameWins() {
    const WorkingFolder folder;
    PictureWorker worker;
    for (int i = 0; i < 40; ++i)
        QVERIFY(worker.add(grey(i), name(0), 75));
    worker.waitForAll();
    QCOMPARE(written().size(), 1);
    QCOMPARE(greyOf(name(0)), 39);
}

void TestPictureWorker::tellsWhatBecameOfEach() {
    const WorkingFolder folder;
    std::atomic<int> told{0};
    PictureWorker worker;
    countWritten(worker, told);
    const QString gone = QStringLiteral("./gone/1.bmp");
    ignoreFailure();
    QVERIFY(worker.add(grey(0), name(0), 75));
    QVERIFY(worker.add(grey(1), gone, 75));
    QVERIFY(worker.add(grey(2), name(2), 75));
    QTRY_COMPARE_WITH_TIMEOUT(told.load(), 3, kWait);
    const auto results = worker.takeResults();
    QCOMPARE(results.size(), 3);
    QCOMPARE(results[0].problem, QString());
    QCOMPARE(results[1].fileName, gone);
    ignoreFailure();
    QCOMPARE(results[1].problem, writePicture(grey(1), gone, 75));
    QVERIFY(!results[1].problem.isEmpty());
    QCOMPARE(results[2].problem, QString());
    QCOMPARE(written().size(), 2);
}

/// Full for one picture; those before and after it are whole.
void TestPictureWorker::fullDiskInBetween() {
    const WorkingFolder folder;
    std::atomic<int> told{0};
    PictureWorker worker;
    countWritten(worker, told);
    const diskcalls::HeldNames held;
    QVERIFY(worker.add(grey(0), name(0), 75));
    QVERIFY(isHeld());  // its bytes are there
    {
        const FullDisk full(1000);
        ignoreFailure();
        QVERIFY(worker.add(grey(1), name(1), 75));
        diskcalls::HeldNames::letThrough(1);
        QTRY_COMPARE_WITH_TIMEOUT(told.load(), 2, kWait);
    }
    QVERIFY(worker.add(grey(2), name(2), 75));
    diskcalls::HeldNames::letThrough(1);
    worker.waitForAll();
    const auto results = worker.takeResults();
    QCOMPARE(results.size(), 3);
    QCOMPARE(results[0].problem, QString());
    QCOMPARE(results[1].problem, QStringLiteral("File too large"));
    QCOMPARE(results[2].problem, QString());
    QCOMPARE(greyOf(name(0)), 0);
    QCOMPARE(greyOf(name(2)), 2);
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden).size(), 2);
}

/// As the picture of a tile, which is painted over when nobody seems to have it any more.
void TestPictureWorker::picturesOfOthersAreCopied() {
    const WorkingFolder folder;
    PictureWorker worker;
    const diskcalls::HeldNames held;
    QVERIFY(worker.add(grey(0), name(0), 75));
    QVERIFY(isHeld());
    QImage shared = grey(1);
    const uchar* pixels = shared.constBits();
    QVERIFY(worker.add(shared, name(1), 75));
    QVERIFY(shared.isDetached());
    shared.fill(qRgb(200, 200, 200));
    QCOMPARE(shared.constBits(), pixels);
    diskcalls::HeldNames::letThrough(2);
    worker.waitForAll();
    QCOMPARE(greyOf(name(1)), 1);
}

void TestPictureWorker::refusesWhatIsNoPicture() {
    const WorkingFolder folder;
    PictureWorker worker;
    QVERIFY(!worker.add({}, name(0), 75));
    worker.waitForAll();
    QVERIFY(worker.takeResults().isEmpty());
    QVERIFY(written().isEmpty());
}

void TestPictureWorker::manyFromAFastHand() {
    const WorkingFolder folder;
    constexpr int kMany = 200;
    int results = 0;
    {
        PictureWorker worker;
        connect(&worker, &PictureWorker::written, this, [&] { results += worker.takeResults().size(); });
        for (int i = 0; i < kMany; ++i) {
            QVERIFY(worker.add(grey(i), name(i), 75));
            QCoreApplication::processEvents();
        }
        QTRY_COMPARE_WITH_TIMEOUT(results, kMany, kWait);
    }
    QCOMPARE(written().size(), kMany);
    for (int i = 0; i < kMany; ++i)
        QCOMPARE(greyOf(name(i)), i);
}

QTEST_GUILESS_MAIN(TestPictureWorker)
#include "tst_pictureworker.moc"
