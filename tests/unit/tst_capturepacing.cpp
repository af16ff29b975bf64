// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <ctime>

#include "camera/capturethread.h"
#include "camera/kvcap2.h"
#include "support/recordingcamera.h"
#include "support/captureowner.h"

namespace {

constexpr int kFull = 800;  // ms for 150 tries: at full speed they take a few, with the waits in between 1200
constexpr int kTriesOfSpeed = 5;  // a busy PC may keep the thread from running for as long as that

}  // namespace

/// How often the capture thread asks a camera that does not deliver.
class TestCapturePacing : public QObject, private CaptureOwner {
    Q_OBJECT

private slots:
    void init() { setUp(); }
    void cleanup() { tearDown(); }
    void idleThreadRests();
    void failedQueriesAreSilentAndRepeated();
    void refusalsForEverLeaveTheProcessorToOthers_data();
    void refusalsForEverLeaveTheProcessorToOthers();
    void aFrameBringsFullSpeed();
    void timeOutsAreRepeatedAtOnce();
    void pauseBringsFullSpeed();
    void stopIsSeenBetweenSlowTries();
};

/// A paused program leaves the processor to others.
void TestCapturePacing::idleThreadRests() {
#ifdef Q_OS_UNIX
    CaptureThread* thread = makeThread();
    thread->start();
    QTRY_VERIFY(thread->isRunning());
    // Processor time of the whole process, which does nothing else.
    const std::clock_t before = std::clock();
    QTest::qWait(500);
    const double seconds = double(std::clock() - before) / CLOCKS_PER_SEC;
    stop(thread);
    QVERIFY2(seconds < 0.15, qPrintable(QString::number(seconds)));
#else
    QSKIP("Processor time is not told apart from the time here");
#endif
}

void TestCapturePacing::failedQueriesAreSilentAndRepeated() {
    recording::Camera camera;
    camera.queryStatus = 7;
    camera.queryDelay = 0;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    thread->stream(false);
    QTRY_VERIFY(recording::callsOf(QStringLiteral("CameraQueryImage")).size() > 20);
    QCOMPARE(frames.size(), 0);
    camera.queryStatus = 0;
    recording::setCamera(0, camera);
    QVERIFY(waitForFrames(1));  // the picture is back by itself
}

void TestCapturePacing::refusalsForEverLeaveTheProcessorToOthers_data() {
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("queryStatus");
    QTest::addColumn<int>("extra");
    QTest::addColumn<int>("missing");
    QTest::newRow("no query") << 0 << 7 << 0 << 0;
    QTest::newRow("no size") << 7 << 7 << 0 << 0;
    QTest::newRow("no length") << 0 << 0 << -64 * 48 << 0;
    QTest::newRow("short buffer") << 0 << 0 << -1 << 0;
    QTest::newRow("short frame") << 0 << 0 << 0 << 1;
}

void TestCapturePacing::refusalsForEverLeaveTheProcessorToOthers() {
    QFETCH(int, status);
    QFETCH(int, queryStatus);
    recording::Camera camera;
    camera.status = status;
    camera.queryStatus = queryStatus;
    camera.queryDelay = 0;
    QFETCH(int, extra);
    camera.extraLength = extra;
    QFETCH(int, missing);
    camera.missing = missing;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    thread->stream(false);
    QTRY_VERIFY(sizeQuestions() >= 200);
    // Without waits they are tens of thousands a second; with the right ones 550 at first, and more after
    // each that a busy PC has kept waiting: it is not busy in every second.
    int tries = 0;
    for (int second = 0; second < 8; ++second) {
        const int before = sizeQuestions();
        QTest::qWait(1000);  // what does not happen has no signal
        tries = sizeQuestions() - before;
        if (tries < 3000)
            break;
    }
    QVERIFY2(tries < 3000, qPrintable(QString::number(tries)));
    QCOMPARE(frames.size(), 0);
    recording::setCamera(0, recording::Camera());
    QVERIFY(waitForFrames(1));
}

void TestCapturePacing::aFrameBringsFullSpeed() {
    recording::reset({refusingCamera()});
    CaptureThread* thread = makeThread();
    // A single frame, before the next try.
    connect(
        thread, &CaptureThread::captured, thread,
        [](int, const QImage&, unsigned char*, quint64) {
            recording::setCamera(0, refusingCamera());
            recording::forgetCalls();
        },
        Qt::DirectConnection);
    thread->stream(false);
    QElapsedTimer timer;
    for (int tries = 0; tries < kTriesOfSpeed && (tries == 0 || timer.elapsed() >= kFull); ++tries) {
        QVERIFY(waitForSlowTries());
        frames.clear();
        recording::Camera well;
        well.queryDelay = 0;
        recording::setCamera(0, well);
        QVERIFY(waitForFrames(1));
        timer.start();
        QTRY_VERIFY(sizeQuestions() >= 150);
        QCOMPARE(frames.size(), 1);
    }
    QVERIFY2(timer.elapsed() < kFull, qPrintable(QString::number(timer.elapsed())));
}

void TestCapturePacing::pauseBringsFullSpeed() {
    recording::reset({refusingCamera()});
    CaptureThread* thread = makeThread();
    thread->stream(false);
    const auto settled = [] {
        const int count = sizeQuestions();
        QTest::qWait(150);  // longer than the longest wait between tries
        return sizeQuestions() == count;
    };
    QElapsedTimer timer;
    for (int tries = 0; tries < kTriesOfSpeed && (tries == 0 || timer.elapsed() >= kFull); ++tries) {
        QVERIFY(waitForSlowTries());
        thread->pauseCapturing();
        QVERIFY(QTest::qWaitFor(settled, kWait));
        recording::forgetCalls();
        timer.start();
        thread->stream(false);
        QTRY_VERIFY(sizeQuestions() >= 150);
    }
    QVERIFY2(timer.elapsed() < kFull, qPrintable(QString::number(timer.elapsed())));
}

/// Nearly all of the time a query is under way: nothing comes between one and the next.
void TestCapturePacing::timeOutsAreRepeatedAtOnce() {
    recording::reset({refusingCamera()});
    CaptureThread* thread = makeThread();
    thread->stream(false);
    QVERIFY(waitForSlowTries());
    recording::Camera camera = refusingCamera();
    camera.queryDelay = 5;
    recording::setCamera(0, camera);
    QTRY_COMPARE(recording::queriesUnderWay(), 1);
    int found = 0;
    for (int tries = 0; tries < kTriesOfSpeed && found <= 140; ++tries) {
        found = 0;
        for (int i = 0; i < 200; ++i) {
            QThread::msleep(2);
            found += recording::queriesUnderWay();
        }
    }
    QVERIFY2(found > 140, qPrintable(QString::number(found)));
}

void TestCapturePacing::stopIsSeenBetweenSlowTries() {
    recording::reset({refusingCamera()});
    CaptureThread* thread = makeThread();
    thread->stream(false);
    QVERIFY(waitForSlowTries());
    QElapsedTimer timer;
    timer.start();
    stop(thread);
    QVERIFY2(timer.elapsed() < 600,
             qPrintable(QString::number(timer.elapsed())));  // what a closing window gives
}

QTEST_MAIN(TestCapturePacing)
#include "tst_capturepacing.moc"
