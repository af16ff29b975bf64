// SPDX-License-Identifier: Apache-2.0
// What the library watches a camera for, by its operations alone: limits of every call, who has control,
// whether frames come, and what is still true after a change.
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/types.h>

#include <csignal>
#include <memory>

#include "camera/kvcap2.h"
#include "cameraoperations.h"
#include "fakecameras.h"
#include "privatenetwork.h"

using namespace operations;

namespace {

constexpr int kBack = 15000;   // ms until a camera is there again
constexpr int kOpens = 20000;  // ms until one that answers is open, on a busy machine
constexpr int kAnswer = 100;   // ms that a call may take
constexpr int kSlack = 700;    // ms that a busy machine takes for nothing

enum Camera { First, Second, Third, Shaped, Taken, kCameras };

}  // namespace

class GenicamWatchingTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void callsThatMakeAStreamAnswerInTime_data();
    void callsThatMakeAStreamAnswerInTime();
    void frozenCameraGoesOnce();
    void darknessIsTold();
    void anotherProgramsCameraIsToldHeld_data();
    void anotherProgramsCameraIsToldHeld();
    void queryOfAnotherShapeFails();
    void lostShotsAreTold();
    void frozenOnesEndTogether();

private:
    QTemporaryDir folder_;
    FakeCameras fakes_{kCameras, {"--width", "320", "--height", "240", "--rate", "40"}};
    std::unique_ptr<Log> log_;
};

void GenicamWatchingTest::initTestCase() {
    QVERIFY(folder_.isValid());
    QVERIFY(QDir::setCurrent(folder_.path()));
    log_ = std::make_unique<Log>();
    QCOMPARE(fakes_.start(), QString());
    QCOMPARE(fakes_.writeConfiguration(folder_.path(), {"PacketSize=4000", "Regions=160x80, 80x160"}),
             QString());
    int32_t count = 0;
    QCOMPARE(CameraGetCount(&count), 0);
    QCOMPARE(count, int(kCameras));
}

void GenicamWatchingTest::cleanupTestCase() {
    for (int camera = 0; camera < kCameras; ++camera)
        CameraFree(camera);
    log_.reset();
    QDir::setCurrent(QDir::rootPath());
}

void GenicamWatchingTest::init() {
    for (const int camera : {First, Second, Third, Shaped}) {
        CameraInit(camera);
        QCOMPARE(CameraSetTimeout(camera, 300), 0);
        QTRY_COMPARE_WITH_TIMEOUT(CameraSetSnapMode(camera, kSnapContinuous), 0, kBack);
        QVERIFY2(deliversWithin(camera, kBack), qPrintable(log_->text()));
    }
    log_->clear();
}

void GenicamWatchingTest::callsThatMakeAStreamAnswerInTime_data() {
    QTest::addColumn<QString>("call");
    QTest::addColumn<bool>("isKilled");
    for (const char* call : {"snap mode", "resolution", "save", "load"}) {
        QTest::addRow("%s, frozen", call) << call << false;
        QTest::addRow("%s, killed", call) << call << true;
    }
}

/// Also in the second in which nobody can know that it has gone.
void GenicamWatchingTest::callsThatMakeAStreamAnswerInTime() {
    QFETCH(QString, call);
    QFETCH(bool, isKilled);
    int32_t width = 0;
    int32_t height = 0;
    QCOMPARE(CameraGetResolution(First, 1, &width, &height), 0);
    if (isKilled)
        fakes_.kill(First);
    else
        fakes_.freeze(First);
    const Clock::time_point begin = Clock::now();
    int32_t status = 0;
    if (call == "snap mode")
        status = CameraSetSnapMode(First, kSnapTriggered);
    else if (call == "resolution")
        status = CameraSetResolution(First, 1, width, height);
    else if (call == "save")
        status = CameraSaveParameter(First, 1);
    else
        status = CameraLoadParameter(First, 1);
    const int elapsed = since(begin);
    if (!isKilled) {
        // A query looks after it, too, while the keeper waits for an answer.
        const bool isTold = becomes(
            [&] {
                query(First);
                return log_->count({"FAKE0001", "has gone"}) == 1;
            },
            6000);
        fakes_.thaw(First);
        QVERIFY(isTold);
    } else {
        QCOMPARE(fakes_.start(First), QString());
    }
    QVERIFY(status != 0);
    QVERIFY2(elapsed <= kAnswer + kSlack, qPrintable(QString::number(elapsed)));
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetSnapMode(First, kSnapContinuous), 0, kBack);
    QCOMPARE(CameraGetResolution(First, 0, &width, &height), 0);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetResolution(First, 0, width, height), 0, kBack);
    QVERIFY2(deliversWithin(First, kBack), qPrintable(log_->text()));
}

/// Whatever it is asked meanwhile, a step that times out is no sign of life.
void GenicamWatchingTest::frozenCameraGoesOnce() {
    fakes_.freeze(Second);
    const Clock::time_point begin = Clock::now();
    int slow = 0;
    for (int i = 0; since(begin) < 7000; ++i) {
        const Clock::time_point call = Clock::now();
        CameraTriggerShot(Second);
        CameraSetSnapMode(Second, i % 2 == 0 ? kSnapTriggered : kSnapContinuous);
        slow += since(begin) > 2000 && since(call) > kAnswer ? 1 : 0;
        QTest::qWait(10);
    }
    fakes_.thaw(Second);
    QVERIFY(slow < 2);
    QVERIFY2(log_->count({"FAKE0002", "has gone"}) == 1, qPrintable(log_->text()));
    QVERIFY2(becomes(
                 [&] {
                     return log_->count({"FAKE0002", "is back"}) == 1;
                 },
                 kBack),
             qPrintable(log_->text()));
}

void GenicamWatchingTest::darknessIsTold() {
    CameraFree(Third);
    fakes_.kill(Third);
    fakes_.setOptions(Third, {"--no-frames"});
    QCOMPARE(fakes_.start(Third), QString());
    CameraInit(Third);
    QVERIFY2(becomes(
                 [&] {
                     return log_->count({"FAKE0003", "sends no frames"}) == 1;
                 },
                 kOpens),
             qPrintable(log_->text()));
    QTest::qWait(4000);
    QCOMPARE(log_->count({"FAKE0003", "sends no frames"}), 1);
    QCOMPARE(log_->count({"FAKE0003", "has gone"}), 0);
    CameraFree(Third);
    fakes_.kill(Third);
    fakes_.setOptions(Third, {});
    QCOMPARE(fakes_.start(Third), QString());
}

void GenicamWatchingTest::anotherProgramsCameraIsToldHeld_data() {
    QTest::addColumn<QString>("master");
    QTest::newRow("by a camera that does not tell by whom") << "untold";
    QTest::newRow("by one that tells") << "told";
    QTest::newRow("by one that would tell, and says nothing") << "nothing";
}

/// Our program stands still for longer than a heartbeat, as a suspended computer does.
void GenicamWatchingTest::anotherProgramsCameraIsToldHeld() {
    QFETCH(QString, master);
    CameraFree(Taken);
    fakes_.setOptions(Taken, {"--tells-master", master});
    QCOMPARE(fakes_.restart(Taken), QString());
    QProcess ours;
    ours.setProcessChannelMode(QProcess::SeparateChannels);
    ours.start(QStringLiteral(CAMERA_PROBE),
               {"follow", "[Library]\nAddresses=" + fakes_.address(Taken) + '\n'});
    QVERIFY(ours.waitForReadyRead(kBack));
    ::kill(static_cast<pid_t>(ours.processId()), SIGSTOP);
    QTest::qWait(4000);
    QProcess other;
    other.start(QStringLiteral(CAMERA_PROBE), {"hold", fakes_.address(Taken)});
    const bool isHeld = other.waitForReadyRead(kBack);
    ::kill(static_cast<pid_t>(ours.processId()), SIGCONT);
    QVERIFY(isHeld);
    QByteArray log;
    const auto count = [&](const char* text) {
        ours.waitForReadyRead(10);
        log += ours.readAllStandardError();
        return log.count(text);
    };
    QVERIFY2(becomes([&] { return count("held by another program") == 1; }, kBack), log.constData());
    // Right after the pause it may have been missed for a moment.
    const int before = count("is back");
    const Clock::time_point begin = Clock::now();
    becomes([&] { return count("is back") > before || since(begin) > 5000; }, 6000);
    QVERIFY2(count("is back") == before && count("has gone") <= 1, log.constData());
    QCOMPARE(count("held by another program"), 1);
    other.kill();
    QVERIFY(other.waitForFinished(kBack));
    QVERIFY2(becomes([&] { return count("is back") == before + 1; }, 2 * kBack), log.constData());
    ours.terminate();
    QVERIFY(ours.waitForFinished(kBack));
}

/// As many bytes may be another shape.
void GenicamWatchingTest::queryOfAnotherShapeFails() {
    int32_t count = 0;
    QVector<QSize> sizes;
    QCOMPARE(CameraGetResolutionCount(Shaped, &count), 0);
    for (int mode = 0; mode < count; ++mode) {
        int32_t width = 0;
        int32_t height = 0;
        QCOMPARE(CameraGetResolution(Shaped, mode, &width, &height), 0);
        sizes.append({width, height});
    }
    const int wide = sizes.indexOf({160, 80});
    const int tall = sizes.indexOf({80, 160});
    QVERIFY(wide >= 0 && tall >= 0);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetSnapMode(Shaped, kSnapTriggered), 0, kOpens);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetResolution(Shaped, wide, 160, 80), 0, kOpens);
    QCOMPARE(CameraSetTimeout(Shaped, 5000), 0);
    std::atomic<int> status{1};
    std::thread asking([&] { status = query(Shaped).status; });
    QTest::qWait(300);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetResolution(Shaped, tall, 80, 160), 0, kOpens);
    CameraTriggerShot(Shaped);
    asking.join();
    QVERIFY(status != 0);
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetResolution(Shaped, 0, 320, 240), 0, kOpens);
}

void GenicamWatchingTest::lostShotsAreTold() {
    QTRY_COMPARE_WITH_TIMEOUT(CameraSetSnapMode(Shaped, kSnapTriggered), 0, kOpens);
    for (int i = 0; i < 30; ++i) {
        CameraTriggerShot(Shaped);
        QTest::qWait(30);
    }
    QVERIFY2(becomes(
                 [&] {
                     return log_->count({"FAKE0004", "shots"}) == 1;
                 },
                 3000),
             qPrintable(log_->text()));
}

void GenicamWatchingTest::frozenOnesEndTogether() {
    for (const int camera : {First, Second, Third, Shaped})
        fakes_.freeze(camera);
    becomes([&] { return log_->count("has gone") == 4; }, 4000);
    const Clock::time_point begin = Clock::now();
    for (const int camera : {First, Second, Third, Shaped})
        QCOMPARE(CameraFree(camera), 0);
    const int elapsed = since(begin);
    for (const int camera : {First, Second, Third, Shaped})
        fakes_.thaw(camera);
    QVERIFY2(elapsed < 900 + 3 * 200 + 2 * kSlack, qPrintable(QString::number(elapsed)));
}

CAMERA_TEST_MAIN(GenicamWatchingTest)
#include "tst_genicamwatching.moc"
