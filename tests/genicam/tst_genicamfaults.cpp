// SPDX-License-Identifier: Apache-2.0
// What goes wrong with cameras, by the library's operations alone: each camera is a process that is killed,
// frozen, started again and made to talk nonsense, while others run.
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <random>

#include "camera/kvcap2.h"
#include "cameraoperations.h"
#include "fakecameras.h"
#include "privatenetwork.h"
#include "scene.h"

using namespace operations;

namespace {

constexpr int kTimeout = 300;   // ms, of queries
constexpr int kBack = 15000;    // ms until a camera is there again: Aravis may still hold a dead one
constexpr int kOpens = 20000;   // ms until one that answers is open, on a busy machine
constexpr int kSlack = 1500;    // ms that a busy machine takes for nothing
constexpr int kAnswer = 100;    // ms that a parameter call may take
constexpr int kSteps = 500;     // ms that one of several steps may take
constexpr int kGap = 1200;      // ms between frames of a camera that nothing happens to
constexpr int kGone = -7;       // no camera there
constexpr int kNoAnswer = -11;  // none in time

enum Camera { Victim, Second, Third, Lossy, Held, Odd, kCameras };

}  // namespace

class GenicamFaultsTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void othersRunOn_data();
    void othersRunOn();
    void callsAnswerAtEveryMomentOfAFreeze();
    void callsOnADeadCameraAnswerAtOnce();
    void valuesAreSetAgain();
    void lossIsCountedAndToldOnce();
    void heldByAnotherIsTakenOverLater();
    void anotherDoesNotGetOurs();
    void closesWithinASecond_data();
    void closesWithinASecond();
    void maybeKilledWhileItOpens();
    void oddCamera_data();
    void oddCamera();
    void slowCameraStreamsSoon();
    void whatOthersLeftIsUndone();
    void writesWhatIsLockedUnsaid();
    void lossOfControlAgainAndAgain();

private:
    void startOdd(const QStringList& options);
    QString writeXml(const QString& name, const QByteArray& text);
    bool isBack(int camera) {
        return becomes([&] { return CameraSetMirrorX(camera, false) == 0; }, kBack) &&
               deliversWithin(camera, kBack);
    }

    QTemporaryDir folder_;
    FakeCameras fakes_{kCameras, {"--width", "320", "--height", "240", "--rate", "40"}};
    std::unique_ptr<Log> log_;
};

void GenicamFaultsTest::initTestCase() {
    QVERIFY(folder_.isValid());
    QVERIFY(QDir::setCurrent(folder_.path()));
    log_ = std::make_unique<Log>();
    fakes_.setOptions(Lossy, {"--loss", "0.01"});
    for (const int camera : {Victim, Second, Third, Lossy, Held})
        QCOMPARE(fakes_.start(camera), QString());
    QCOMPARE(fakes_.writeConfiguration(folder_.path(), {"PacketSize=4000"}), QString());
    int32_t count = 0;
    QCOMPARE(CameraGetCount(&count), 0);
    QCOMPARE(count, int(kCameras));
    for (const int camera : {Victim, Second, Third}) {
        CameraInit(camera);
        QCOMPARE(CameraSetTimeout(camera, kTimeout), 0);
    }
}

void GenicamFaultsTest::cleanupTestCase() {
    for (int camera = 0; camera < kCameras; ++camera)
        CameraFree(camera);
    int32_t count = 0;
    QCOMPARE(CameraGetCount(&count), 0);
    QCOMPARE(count, int(kCameras));
    log_.reset();
    QDir::setCurrent(QDir::rootPath());
}

/// Whatever came before: the three run.
void GenicamFaultsTest::init() {
    for (const int camera : {Victim, Second, Third}) {
        CameraInit(camera);
        QCOMPARE(CameraSetTimeout(camera, kTimeout), 0);
        QVERIFY2(isBack(camera), qPrintable(log_->text()));
    }
    log_->clear();
}

/// What a test that failed has left.
void GenicamFaultsTest::cleanup() {
    fakes_.thaw(Victim);
    if (QTest::currentTestFailed())
        fakes_.restart(Victim);
}

void GenicamFaultsTest::startOdd(const QStringList& options) {
    CameraFree(Odd);
    fakes_.kill(Odd);
    fakes_.setOptions(Odd, options);
    QCOMPARE(fakes_.start(Odd), QString());
}

QString GenicamFaultsTest::writeXml(const QString& name, const QByteArray& text) {
    QFile file(folder_.filePath(name));
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size() ? file.fileName() : QString();
}

void GenicamFaultsTest::othersRunOn_data() {
    QTest::addColumn<QString>("fault");
    for (const char* fault : {"killed", "frozen", "switched off and on"})
        QTest::newRow(fault) << fault;
}

void GenicamFaultsTest::othersRunOn() {
    QFETCH(QString, fault);
    Watcher victim(Victim);
    Watcher second(Second);
    Watcher third(Third);
    QVERIFY(becomes([&] { return victim.frames() > 5 && second.frames() > 5 && third.frames() > 5; }, kBack));
    second.reset();
    third.reset();
    const int before = second.frames();
    const Clock::time_point begin = Clock::now();
    if (fault == "killed")
        fakes_.kill(Victim);
    else if (fault == "frozen")
        fakes_.freeze(Victim);
    else
        QCOMPARE(fakes_.restart(Victim), QString());
    if (fault != "switched off and on") {
        QVERIFY(becomes([&] { return log_->count({"FAKE0001", "has gone"}) == 1; }, 3000));
        QTRY_VERIFY_WITH_TIMEOUT(since(begin) > 2500, 3000);
        // A query of it that fails has waited, or Bivista's thread would run hot.
        const int failures = victim.failures();
        QVERIFY(failures > 0);
        QVERIFY2(failures <= 2500 / kTimeout + 5, qPrintable(QString::number(failures)));
        QVERIFY(victim.quickestFailure() >= kTimeout - 5);
    }
    if (fault == "killed")
        QCOMPARE(fakes_.start(Victim), QString());
    else if (fault == "frozen")
        fakes_.thaw(Victim);
    const int frames = victim.frames();
    QVERIFY2(becomes([&] { return victim.frames() > frames + 5; }, kBack), qPrintable(log_->text()));
    QVERIFY(becomes([&] { return log_->count({"FAKE0001", "is back"}) >= 1; }, 5000));
    QVERIFY(victim.slowest() <= kTimeout + 2 * kSlack);
    for (Watcher* other : {&second, &third}) {
        QCOMPARE(other->failures(), 0);
        QVERIFY2(other->longestGap() <= kGap, qPrintable(QString::number(other->longestGap())));
    }
    // 40 a second are sent; a busy machine shows some of them.
    QVERIFY(second.frames() - before >= since(begin) / 100);
    for (Watcher* one : {&victim, &second, &third}) {
        one->stop();
        QCOMPARE(one->torn(), 0);
    }
    QCOMPARE(log_->count("FAKE0002"), 0);
    QCOMPARE(log_->count("FAKE0003"), 0);
}

void GenicamFaultsTest::callsAnswerAtEveryMomentOfAFreeze() {
    fakes_.freeze(Victim);
    const Clock::time_point begin = Clock::now();
    int longest = 0;
    int longestSet = 0;
    for (int value = 0; since(begin) < 3500; ++value) {
        int32_t gain = 0;
        Clock::time_point call = Clock::now();
        const int32_t status = CameraGetGain(Victim, &gain);
        longest = std::max(longest, since(call));
        QVERIFY2(status == 0 || status == kGone || status == kNoAnswer, qPrintable(QString::number(status)));
        call = Clock::now();
        CameraSetExposure(Victim, 500 + value % 100);
        if (value % 7 == 0)
            CameraSetSnapMode(Victim, 1);
        longestSet = std::max(longestSet, since(call));
        // While it is not yet known that it has gone each call waits its time; afterwards none does.
        if (since(begin) > 1500) {
            QCOMPARE(status, kGone);
            QTest::qWait(20);
        }
    }
    QVERIFY2(longest <= kAnswer + kSlack, qPrintable(QString::number(longest)));
    QVERIFY2(longestSet <= kAnswer + kSteps + kSlack, qPrintable(QString::number(longestSet)));
    fakes_.thaw(Victim);
    QVERIFY2(isBack(Victim), qPrintable(log_->text()));
}

void GenicamFaultsTest::callsOnADeadCameraAnswerAtOnce() {
    fakes_.kill(Victim);
    const Clock::time_point begin = Clock::now();
    // Also in the first second, in which nobody can know.
    int longest = 0;
    QVERIFY(becomes(
        [&] {
            longest = std::max(longest, getAll(Victim).longest);
            return log_->count({"FAKE0001", "has gone"}) == 1;
        },
        3000 + kSlack));
    QVERIFY2(longest <= kAnswer + kSlack, qPrintable(QString::number(longest)));
    for (int i = 0; i < 5; ++i) {
        const Sweep sweep = getAll(Victim);
        QVERIFY2(sweep.elapsed < 1000, qPrintable(QString::number(sweep.elapsed)));
        // The time-out, and what the modes were.
        QCOMPARE(sweep.good, 2);
        QTest::qWait(100);
    }
    QVERIFY(since(begin) < 10000);
    QCOMPARE(fakes_.start(Victim), QString());
    QVERIFY2(isBack(Victim), qPrintable(log_->text()));
    QVERIFY(getAll(Victim).good > 10);
}

void GenicamFaultsTest::valuesAreSetAgain() {
    const auto isSet = [] {
        int32_t gain = 0, exposure = 0, mode = 0, width = 0, height = 0;
        bool mirror = false;
        return CameraGetGain(Victim, &gain) == 0 && gain == 32 && CameraGetExposure(Victim, &exposure) == 0 &&
               exposure == 700 && CameraGetMirrorX(Victim, &mirror) == 0 && mirror &&
               CameraGetSnapMode(Victim, &mode) == 0 && mode == kSnapTriggered &&
               CameraGetImageSize(Victim, &width, &height) == 0 && width == 160 && height == 120;
    };
    int32_t width = 0;
    int32_t height = 0;
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetGain(Victim, 32), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetExposure(Victim, 700), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetMirrorX(Victim, true), 0, kOpens);
    QCOMPARE(CameraGetResolution(Victim, 1, &width, &height), 0);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetResolution(Victim, 1, width, height), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetSnapMode(Victim, kSnapTriggered), 0, kOpens);
    QTRY_VERIFY_WITH_TIMEOUT(isSet(), kOpens);
    QCOMPARE(fakes_.restart(Victim), QString());
    QVERIFY(becomes([&] { return log_->count({"FAKE0001", "is back"}) == 1; }, kBack));
    QTRY_VERIFY_WITH_TIMEOUT(isSet(), kOpens);
    // And it does what it says: a shot gives one frame, of that size, and there is no other.
    QCOMPARE(query(Victim).status != 0, true);
    QTRY_COMPARE_WITH_TIMEOUT(CameraTriggerShot(Victim), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(query(Victim).size, QSize(160, 120), kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetSnapMode(Victim, kSnapContinuous), 0, kOpens);
    QCOMPARE(CameraGetResolution(Victim, 0, &width, &height), 0);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetResolution(Victim, 0, width, height), 0, kOpens);
}

void GenicamFaultsTest::lossIsCountedAndToldOnce() {
    CameraInit(Lossy);
    QVERIFY(deliversWithin(Lossy, kOpens));
    Watcher watcher(Lossy);
    QVERIFY2(becomes(
                 [&] {
                     return log_->count({"FAKE0004", "frames were incomplete"}) == 1;
                 },
                 kOpens),
             qPrintable(log_->text()));
    const int frames = watcher.frames();
    QVERIFY(becomes([&] { return watcher.frames() > frames + 40; }, kOpens));
    watcher.stop();
    QCOMPARE(watcher.torn(), 0);
    QCOMPARE(log_->count({"FAKE0004", "frames were incomplete"}), 1);
    QCOMPARE(CameraFree(Lossy), 0);
}

void GenicamFaultsTest::heldByAnotherIsTakenOverLater() {
    QProcess holder;
    holder.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    holder.start(QStringLiteral(CAMERA_PROBE), {"hold", fakes_.address(Held)});
    QVERIFY(holder.waitForReadyRead(kBack));
    QCOMPARE(holder.readLine().trimmed(), QByteArray("held"));
    QVERIFY(CameraInit(Held) != 0);
    QVERIFY2(becomes(
                 [&] {
                     return log_->count({"FAKE0005", "held by another program"}) +
                                log_->count({fakes_.address(Held), "held by another program"}) ==
                            1;
                 },
                 kOpens),
             qPrintable(log_->text()));
    QVERIFY(query(Held).status != 0);
    holder.kill();  // no farewell: it stays held for its heartbeat
    QVERIFY(holder.waitForFinished(kBack));
    QVERIFY2(deliversWithin(Held, kBack), qPrintable(log_->text()));
    QCOMPARE(CameraFree(Held), 0);
}

void GenicamFaultsTest::anotherDoesNotGetOurs() {
    Watcher watcher(Second);
    QVERIFY(becomes([&] { return watcher.frames() > 5; }, kBack));
    watcher.reset();
    QProcess other;
    other.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    other.start(QStringLiteral(CAMERA_PROBE), {"open", fakes_.address(Second)});
    QVERIFY(other.waitForFinished(kBack));
    QVERIFY2(other.exitCode() != 0, other.readAllStandardOutput().constData());
    watcher.stop();
    QCOMPARE(watcher.failures(), 0);
    QVERIFY(watcher.longestGap() <= kGap + kSlack);
    QCOMPARE(log_->count("FAKE0002"), 0);
}

void GenicamFaultsTest::closesWithinASecond_data() {
    QTest::addColumn<QString>("state");
    QTest::addColumn<bool>("isQueried");
    for (const char* state : {"healthy", "just frozen", "frozen", "dead"}) {
        for (const bool isQueried : {false, true})
            QTest::addRow("%s%s", state, isQueried ? ", queried" : "") << state << isQueried;
    }
}

void GenicamFaultsTest::closesWithinASecond() {
    QFETCH(QString, state);
    QFETCH(bool, isQueried);
    std::atomic<int> status{1};
    std::thread asking;
    if (state == "dead")
        fakes_.kill(Victim);
    else if (state != "healthy")
        fakes_.freeze(Victim);
    if (state == "dead" || state == "frozen")
        QVERIFY(becomes([&] { return query(Victim).status == kGone; }, 3000));
    QCOMPARE(CameraSetTimeout(Victim, 20000), 0);
    if (isQueried) {
        asking = std::thread([&] {
            int result = 0;
            while (result == 0)
                result = query(Victim).status;
            status = result;
        });
        QTest::qWait(50);
    }
    const Clock::time_point begin = Clock::now();
    const int32_t freed = CameraFree(Victim);
    const int elapsed = since(begin);
    const bool hasEnded = !isQueried || becomes([&] { return status != 1; }, 1000);
    if (state == "dead")
        fakes_.start(Victim);
    else
        fakes_.thaw(Victim);
    if (asking.joinable())
        asking.join();
    QCOMPARE(freed, 0);
    QVERIFY2(elapsed <= 1000 + kSlack, qPrintable(QString::number(elapsed)));
    QVERIFY(hasEnded);
    if (isQueried)
        QCOMPARE(status.load(), -2);
    int32_t gain = 0;
    QCOMPARE(CameraGetGain(Victim, &gain), -2);
    // init() opens it again, and waits for its frames.
}

void GenicamFaultsTest::maybeKilledWhileItOpens() {
    std::mt19937 random(7);
    CameraFree(Victim);
    for (int i = 0; i < 6; ++i) {
        QCOMPARE(fakes_.restart(Victim), QString());
        std::thread opening([] { CameraInit(Victim); });
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 60000));
        fakes_.kill(Victim);
        opening.join();
        const Clock::time_point begin = Clock::now();
        QCOMPARE(CameraFree(Victim), 0);
        QVERIFY(since(begin) <= 1000 + kSlack);
    }
    QCOMPARE(fakes_.start(Victim), QString());
    CameraInit(Victim);
    CameraSetTimeout(Victim, kTimeout);
    QVERIFY2(deliversWithin(Victim, 2 * kBack), qPrintable(log_->text()));
}

void GenicamFaultsTest::oddCamera_data() {
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QString>("line");  // of the log; empty: it serves all the same
    const QByteArray head =
        "<?xml version=\"1.0\"?><RegisterDescription ModelName=\"m\" VendorName=\"v\" "
        "xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">";
    QTest::newRow("size 0") << QStringList{"--garbage-size", "0"} << QByteArray() << "0 x 240 px";
    QTest::newRow("size 2^31") << QStringList{"--garbage-size", "2147483648"} << QByteArray()
                               << "2147483648 x 240 px";
    QTest::newRow("frames of another size")
        << QStringList{"--sent-width", "160"} << QByteArray() << "of another size or pixel format";
    QTest::newRow("torn description") << QStringList() << head + "<Category Name=\"Root\"><pFeat"
                                      << "cannot be used";
    QTest::newRow("empty description") << QStringList() << QByteArray(" ") << "cannot be used";
    QTest::newRow("description of nothing") << QStringList() << head + "</RegisterDescription>"
                                            << "cannot be used";
    QTest::newRow("no description") << QStringList() << QByteArray("\x7f\x45LF\0\1\2\xff\xff", 9)
                                    << "cannot be used";
    QTest::newRow("does not start") << QStringList{"--refuses", "start"} << QByteArray()
                                    << "cannot be used: it does not start";
    QTest::newRow("frames of 0 bytes") << QStringList{"--payload", "0"} << QByteArray()
                                       << "cannot be used: it says that a frame of 320 x 240 px has 0 bytes";
    QTest::newRow("the basics only") << QStringList{"--features", "bare"} << QByteArray() << QString();
}

void GenicamFaultsTest::oddCamera() {
    QFETCH(QStringList, options);
    QFETCH(QByteArray, xml);
    QFETCH(QString, line);
    if (!xml.isEmpty())
        options += {"--xml-file", writeXml("odd.xml", xml)};
    startOdd(options);
    const Clock::time_point begin = Clock::now();
    const int32_t opened = CameraInit(Odd);
    QVERIFY(since(begin) <= 1000 + kSlack);
    if (line.isEmpty()) {
        QVERIFY(deliversWithin(Odd, kOpens));
        QCOMPARE(query(Odd).isTorn(), false);
        double gamma = 0;
        QVERIFY(CameraGetGamma(Odd, &gamma) != 0);
        QVERIFY(CameraSetGain(Odd, 32) != 0);
        QVERIFY(CameraSetSnapMode(Odd, 2) != 0);
        QCOMPARE(log_->count("FAKE0006") + log_->count(fakes_.address(Odd)), 0);
    } else {
        CameraSetTimeout(Odd, 100);
        QVERIFY2(becomes(
                     [&] {
                         query(Odd);
                         return log_->count(line) == 1;
                     },
                     kOpens),
                 qPrintable(log_->text()));
        QVERIFY(query(Odd).status != 0);
        QVERIFY(getAll(Odd).elapsed < 1000 + kSlack);
        // Once each: what comes again and again is no news.
        const Clock::time_point told = Clock::now();
        QTRY_VERIFY_WITH_TIMEOUT(since(told) > 1200, 2000);
        QCOMPARE(log_->count(line), 1);
        if (!line.startsWith("of another"))
            QVERIFY(opened != 0);
    }
    QCOMPARE(CameraFree(Odd), 0);
}

void GenicamFaultsTest::slowCameraStreamsSoon() {
    startOdd({"--slow-answers", "60"});
    const Clock::time_point begin = Clock::now();
    CameraInit(Odd);
    CameraSetTimeout(Odd, kTimeout);
    QVERIFY2(deliversWithin(Odd, 2000 + kSlack), qPrintable(QString::number(since(begin))));
    Watcher watcher(Odd);
    const Sweep sweep = getAll(Odd);
    QVERIFY2(sweep.longest <= kAnswer + kSlack, qPrintable(QString::number(sweep.longest)));
    int32_t gain = 0;
    int32_t status = 0;
    const auto answers = [&] {
        status = CameraGetGain(Odd, &gain);
        return status == 0;
    };
    QVERIFY2(becomes(answers, kOpens), qPrintable(QStringLiteral("status %1, ").arg(status) + log_->text()));
    watcher.stop();
    QCOMPARE(log_->count("has gone"), 0);
    QCOMPARE(CameraFree(Odd), 0);
}

void GenicamFaultsTest::whatOthersLeftIsUndone() {
    startOdd({"--left-behind"});
    CameraInit(Odd);
    QVERIFY2(deliversWithin(Odd, kOpens), qPrintable(log_->text()));
    // And the trigger that is ours is the one that is used.
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetSnapMode(Odd, kSnapTriggered), 0, kOpens);
    CameraSetTimeout(Odd, kTimeout);
    QVERIFY(query(Odd).status != 0);
    QTRY_COMPARE_WITH_TIMEOUT(CameraTriggerShot(Odd), 0, kOpens);
    QVERIFY(deliversWithin(Odd, kOpens));
    QCOMPARE(CameraFree(Odd), 0);
}

void GenicamFaultsTest::writesWhatIsLockedUnsaid() {
    startOdd({"--silent-lock"});
    CameraInit(Odd);
    QVERIFY(deliversWithin(Odd, kOpens));
    for (const bool on : {true, false, true}) {
        bool now = !on;
        QTRY_COMPARE_WITH_TIMEOUT(CameraSetMirrorX(Odd, on), 0, kOpens);
        QTRY_COMPARE_WITH_TIMEOUT(CameraGetMirrorX(Odd, &now), 0, kOpens);
        QCOMPARE(now, on);
        QVERIFY(deliversWithin(Odd, kOpens));
    }
    QCOMPARE(CameraFree(Odd), 0);
}

/// Control is lost in the midst of whatever the keeper does.
void GenicamFaultsTest::lossOfControlAgainAndAgain() {
    std::mt19937 random(11);
    Watcher watcher(Victim);
    std::atomic<bool> isDone{false};
    std::thread sweeping([&] {
        for (unsigned i = 0; !isDone; ++i) {
            int32_t width = 0;
            int32_t height = 0;
            const int mode = static_cast<int>(i % 3);
            if (CameraGetResolution(Victim, mode, &width, &height) == 0)
                CameraSetResolution(Victim, mode, width, height);
            CameraSetMirrorX(Victim, i % 2 == 0);
            CameraSetSnapMode(Victim, i % 4 == 0 ? kSnapTriggered : kSnapContinuous);
            CameraTriggerShot(Victim);
            getAll(Victim);
        }
    });
    const Clock::time_point begin = Clock::now();
    QString trouble;
    while (since(begin) < 9000 && trouble.isEmpty()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(300 + random() % 700));
        if (random() % 3 == 0) {
            fakes_.freeze(Victim);
            std::this_thread::sleep_for(std::chrono::milliseconds(1200));
            fakes_.thaw(Victim);
        } else {
            trouble = fakes_.restart(Victim);
        }
    }
    isDone = true;
    sweeping.join();
    QCOMPARE(trouble, QString());
    watcher.stop();
    QCOMPARE(watcher.torn(), 0);
    QVERIFY(log_->count({"FAKE0001", "has gone"}) > 1);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetSnapMode(Victim, kSnapContinuous), 0, kBack);
    int32_t width = 0;
    int32_t height = 0;
    QCOMPARE(CameraGetResolution(Victim, 0, &width, &height), 0);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetResolution(Victim, 0, width, height), 0, kOpens);
}

CAMERA_TEST_MAIN(GenicamFaultsTest)
#include "tst_genicamfaults.moc"
