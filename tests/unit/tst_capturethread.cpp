#include <QBuffer>
#include <QSignalSpy>
#include <QSemaphore>
#include <QtTest>
#include <cstring>

#include "camera/capturethread.h"
#include "camera/kvcap2.h"
#include "support/recordingcamera.h"
#include "support/workingfolder.h"

namespace {

constexpr int kWait = 5000;  // ms, limit of every wait

/// What `captured` brought, with the buffers freed and the pixels kept.
struct Frame {
    int id;
    QImage image;
    quint64 timestamp;
    bool pixelsLieInBuffer;
};

}  // namespace

/// The capture thread against a recording camera library and against image files.
class TestCaptureThread : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void startsIdle();
    void callsInOrderOnItsOwnThread();
    void monochromeFrame();
    void colourFrame();
    void colourKeyIsReadOncePerRun();
    void timestampIsTakenAfterTheFrame();
    void pauseAndResumeKeepTheThread();
    void stopWhileAQueryIsUnderWay();
    void stopWhileIdle();
    void failedQueriesAreSilentAndRepeated();
    void noSizeNoQuery_data();
    void noSizeNoQuery();
    void shortBufferIsNoFrame();
    void oddWidthIsPacked();
    void paddedRowsAreSeenAsSuch();
    void demoShowsTheFileOfItsTile();
    void demoRowsAreTakenAsPacked();
    void demoWithoutFileSendsEmptyFrames();
    void demoWithTornFileGoesOn();
    void demoCallsNoLibrary();
    void framesComeInOrder();
    void withoutALimitEveryFrameIsSent();
    void limitHoldsUntilFramesAreLookedAt();
    void deliveredIsSaidOnce();

private:
    CaptureThread* makeThread();
    void receive(CaptureThread* thread);
    bool waitForFrames(int count);
    void stop(CaptureThread* thread);

    QScopedPointer<WorkingFolder> folder;
    QObject owner;  // stands for the window: receives on the test's thread
    QVector<Frame> frames;
};

void TestCaptureThread::init() {
    folder.reset(new WorkingFolder);
    frames.clear();
    recording::reset(2);
}

void TestCaptureThread::cleanup() {
    recording::releaseQueries();
    const auto threads = owner.findChildren<CaptureThread*>();
    for (CaptureThread* thread : threads)
        stop(thread);
    QCoreApplication::sendPostedEvents(&owner, QEvent::MetaCall);
    qDeleteAll(threads);
    folder.reset();
}

CaptureThread* TestCaptureThread::makeThread() {
    auto* thread = new CaptureThread(&owner);
    thread->settingsFile = QDir::current().filePath(QStringLiteral("setting.ini"));
    receive(thread);
    return thread;
}

void TestCaptureThread::receive(CaptureThread* thread) {
    connect(thread, &CaptureThread::captured, &owner,
            [this](int id, const QImage& image, unsigned char* buffer, quint64 timestamp) {
                frames.append({id, image.copy(), timestamp, image.isNull() || image.constBits() == buffer});
                delete[] buffer;
            });
}

bool TestCaptureThread::waitForFrames(int count) {
    return QTest::qWaitFor([&] { return frames.size() >= count; }, kWait);
}

void TestCaptureThread::stop(CaptureThread* thread) {
    thread->stopCapturing();
    QVERIFY(thread->wait(kWait));
}

void TestCaptureThread::startsIdle() {
    CaptureThread* thread = makeThread();
    QVERIFY(!thread->isRunning());
    QCOMPARE(thread->parent(), &owner);
    thread->start();
    QTRY_VERIFY(thread->isRunning());
    stop(thread);
    QVERIFY(recording::calls().isEmpty());
}

void TestCaptureThread::callsInOrderOnItsOwnThread() {
    CaptureThread* thread = makeThread();
    thread->cameraIndex = 1;
    thread->start();
    thread->startCapturing();
    QVERIFY(waitForFrames(2));
    stop(thread);
    const auto calls = recording::calls();
    const QStringList round{QStringLiteral("CameraGetImageSize(1)"),
                            QStringLiteral("CameraGetImageBufferSize(1, 2)"),
                            QStringLiteral("CameraQueryImage(1, 2)")};
    QVERIFY(calls.size() >= 6);
    for (int i = 0; i < calls.size(); ++i) {
        QCOMPARE(calls[i].text(), round[i % 3]);
        QVERIFY(!calls[i].onGuiThread);
    }
}

void TestCaptureThread::monochromeFrame() {
    CaptureThread* thread = makeThread();
    thread->tileIndex = 3;
    thread->cameraIndex = 1;
    thread->start();
    thread->startCapturing();
    QVERIFY(waitForFrames(1));
    const Frame& frame = frames.first();
    QCOMPARE(frame.id, 3);
    QCOMPARE(frame.image.format(), QImage::Format_Grayscale8);
    QCOMPARE(frame.image.size(), QSize(64, 48));
    QCOMPARE(qGray(frame.image.pixel(63, 47)), 80);
    QVERIFY(frame.pixelsLieInBuffer);
}

void TestCaptureThread::colourFrame() {
    WorkingFolder::setKey(QStringLiteral("File/Color"), 1);
    CaptureThread* thread = makeThread();
    thread->start();
    thread->startCapturing();
    QVERIFY(waitForFrames(1));
    QCOMPARE(frames.first().image.format(), QImage::Format_RGB888);
    QCOMPARE(frames.first().image.pixel(63, 47), qRgb(40, 40, 40));
    QCOMPARE(recording::callsOf(QStringLiteral("CameraGetImageBufferSize")).first().value,
             QStringLiteral("4"));
    QCOMPARE(recording::callsOf(QStringLiteral("CameraQueryImage")).first().value, QStringLiteral("4"));
}

void TestCaptureThread::colourKeyIsReadOncePerRun() {
    CaptureThread* thread = makeThread();
    thread->start();
    thread->startCapturing();
    QVERIFY(waitForFrames(1));
    WorkingFolder::setKey(QStringLiteral("File/Color"), 1);
    const int before = frames.size();
    QVERIFY(waitForFrames(before + 3));
    QCOMPARE(frames.last().image.format(), QImage::Format_Grayscale8);
}

void TestCaptureThread::timestampIsTakenAfterTheFrame() {
    recording::Camera camera;
    camera.queryDelay = 40;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    const auto before = static_cast<quint64>(QDateTime::currentMSecsSinceEpoch());
    thread->start();
    thread->startCapturing();
    QVERIFY(waitForFrames(1));
    QVERIFY2(frames.first().timestamp >= before + 40, "stamped before the query was over");
    QVERIFY(frames.first().timestamp <= static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
}

void TestCaptureThread::pauseAndResumeKeepTheThread() {
    CaptureThread* thread = makeThread();
    QSignalSpy started(thread, &QThread::started);
    thread->start();
    thread->startCapturing();
    QVERIFY(waitForFrames(1));
    thread->pauseCapturing();
    // One query may still be under way; after it no other one begins.
    QTRY_COMPARE(recording::queriesUnderWay(), 0);
    const auto settled = [] {
        const int count = recording::callsOf(QStringLiteral("CameraQueryImage")).size();
        QTest::qWait(50);  // several idle rounds: absence of a call has no signal to wait for
        return recording::callsOf(QStringLiteral("CameraQueryImage")).size() == count;
    };
    QVERIFY(QTest::qWaitFor(settled, kWait));
    const int paused = frames.size();
    QVERIFY(thread->isRunning());
    thread->start();  // as the stream action does
    thread->startCapturing();
    QVERIFY(waitForFrames(paused + 2));
    QCOMPARE(started.count(), 1);
}

void TestCaptureThread::stopWhileAQueryIsUnderWay() {
    recording::Camera camera;
    camera.holdQueries = true;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    thread->start();
    thread->startCapturing();
    QTRY_COMPARE(recording::queriesUnderWay(), 1);
    thread->stopCapturing();
    recording::releaseQueries();
    QVERIFY(thread->wait(kWait));
    QCoreApplication::sendPostedEvents(&owner, QEvent::MetaCall);
    QCOMPARE(frames.size(), 0);
    QCOMPARE(recording::callsOf(QStringLiteral("CameraQueryImage")).size(), 1);
}

void TestCaptureThread::stopWhileIdle() {
    CaptureThread* thread = makeThread();
    thread->start();
    stop(thread);
    QVERIFY(thread->isFinished());
}

void TestCaptureThread::failedQueriesAreSilentAndRepeated() {
    recording::Camera camera;
    camera.queryStatus = 7;
    camera.queryDelay = 0;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    thread->start();
    thread->startCapturing();
    QTRY_VERIFY(recording::callsOf(QStringLiteral("CameraQueryImage")).size() > 20);
    QCOMPARE(frames.size(), 0);
    camera.queryStatus = 0;
    recording::setCamera(0, camera);
    QVERIFY(waitForFrames(1));  // the picture is back by itself
}

void TestCaptureThread::noSizeNoQuery_data() {
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("extra");
    QTest::addColumn<int>("status");
    QTest::newRow("errors everywhere") << 64 << 48 << 0 << 3;
    QTest::newRow("no width") << 0 << 48 << 0 << 0;
    QTest::newRow("negative height") << 64 << -48 << 9999 << 0;
    QTest::newRow("no length") << 64 << 48 << -64 * 48 << 0;
    QTest::newRow("negative length") << 64 << 48 << -64 * 48 - 5 << 0;
}

void TestCaptureThread::noSizeNoQuery() {
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(int, extra);
    QFETCH(int, status);
    recording::Camera camera;
    camera.width = width;
    camera.height = height;
    camera.extraLength = extra;
    camera.status = status;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    thread->start();
    thread->startCapturing();
    QTRY_VERIFY(recording::callsOf(QStringLiteral("CameraGetImageSize")).size() > 5);
    QVERIFY(recording::callsOf(QStringLiteral("CameraQueryImage")).isEmpty());
    recording::setCamera(0, recording::Camera());
    QVERIFY(waitForFrames(1));
}

void TestCaptureThread::shortBufferIsNoFrame() {
    recording::Camera camera;
    camera.extraLength = -1;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    thread->start();
    thread->startCapturing();
    QTRY_VERIFY(recording::callsOf(QStringLiteral("CameraQueryImage")).size() > 3);
    QCOMPARE(frames.size(), 0);
}

void TestCaptureThread::oddWidthIsPacked() {
    recording::Camera camera;
    camera.width = 61;
    camera.height = 3;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    thread->start();
    thread->startCapturing();
    QVERIFY(waitForFrames(1));
    QCOMPARE(frames.first().image.size(), QSize(61, 3));
    QCOMPARE(qGray(frames.first().image.pixel(60, 2)), 40);
}

void TestCaptureThread::paddedRowsAreSeenAsSuch() {
    recording::Camera camera;
    camera.width = 61;
    camera.height = 3;
    camera.extraLength = 3 * 3;  // 64 bytes a row
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    int bytesPerLine = 0;
    connect(
        thread, &CaptureThread::captured, thread,
        [&](int, const QImage& image, unsigned char*, quint64) { bytesPerLine = image.bytesPerLine(); },
        Qt::DirectConnection);
    thread->start();
    thread->startCapturing();
    QVERIFY(waitForFrames(1));
    stop(thread);
    QCOMPARE(bytesPerLine, 64);
}

void TestCaptureThread::demoShowsTheFileOfItsTile() {
    QImage picture(40, 20, QImage::Format_RGB888);
    picture.fill(QColor(200, 200, 200));
    QVERIFY(picture.save(QStringLiteral("2.jpg"), "JPG", 100));
    CaptureThread* thread = makeThread();
    thread->demo = true;
    thread->tileIndex = 2;
    thread->start();
    thread->startCapturing();
    QVERIFY(waitForFrames(3));
    QCOMPARE(frames.first().id, 2);
    QCOMPARE(frames.first().image.size(), QSize(40, 20));
    QCOMPARE(frames.first().image.format(), QImage::Format_Grayscale8);
    QCOMPARE(qGray(frames.first().image.pixel(39, 19)), 200);
    QVERIFY(frames.first().pixelsLieInBuffer);
    // No more than five a second.
    QVERIFY(frames[2].timestamp - frames[0].timestamp >= 400);
}

void TestCaptureThread::demoRowsAreTakenAsPacked() {
    // 5 px a row are padded to 8 bytes in the converted picture; of those bytes the first 5 x 4 are sent as
    // if packed.
    QImage picture(5, 4, QImage::Format_Grayscale8);
    for (int y = 0; y < 4; ++y)
        std::memset(picture.scanLine(y), 30 + 60 * y, 5);
    QVERIFY(picture.save(QStringLiteral("0.jpg"), "JPG", 100));
    const QImage decoded = QImage(QStringLiteral("0.jpg")).convertToFormat(QImage::Format_Grayscale8);
    CaptureThread* thread = makeThread();
    thread->demo = true;
    thread->start();
    thread->startCapturing();
    QVERIFY(waitForFrames(1));
    const QImage& sent = frames.first().image;
    QCOMPARE(sent.size(), QSize(5, 4));
    for (int i = 0; i < 20; ++i) {
        if (i % decoded.bytesPerLine() >= 5)
            continue;  // padding: what is in it is nobody's business
        QCOMPARE(int(sent.constScanLine(i / 5)[i % 5]), int(decoded.constBits()[i]));
    }
}

void TestCaptureThread::demoWithoutFileSendsEmptyFrames() {
    CaptureThread* thread = makeThread();
    thread->demo = true;
    thread->tileIndex = 1;
    thread->start();
    thread->startCapturing();
    QVERIFY(waitForFrames(2));
    QVERIFY(frames.first().image.isNull());
    QCOMPARE(frames.first().id, 1);
}

void TestCaptureThread::demoWithTornFileGoesOn() {
    QImage picture(200, 200, QImage::Format_RGB888);
    picture.fill(Qt::white);
    QBuffer jpeg;
    QVERIFY(jpeg.open(QIODevice::WriteOnly) && picture.save(&jpeg, "JPG"));
    QVERIFY(WorkingFolder::write(QStringLiteral("0.jpg"), jpeg.data().left(jpeg.data().size() / 3)));
    CaptureThread* thread = makeThread();
    thread->demo = true;
    thread->start();
    thread->startCapturing();
    QVERIFY(waitForFrames(2));
}

void TestCaptureThread::demoCallsNoLibrary() {
    CaptureThread* thread = makeThread();
    thread->demo = true;
    thread->start();
    thread->startCapturing();
    QVERIFY(waitForFrames(2));
    stop(thread);
    QVERIFY(recording::calls().isEmpty());
}

void TestCaptureThread::framesComeInOrder() {
    recording::Camera camera;
    // Slow enough for a receiver under a sanitizer: an event loop that is fed faster than it works never
    // returns.
    camera.queryDelay = 3;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    thread->start();
    thread->startCapturing();
    QVERIFY(waitForFrames(50));
    for (int i = 1; i < frames.size(); ++i)
        QVERIFY(frames[i].timestamp >= frames[i - 1].timestamp);
}

/// A receiver on the thread itself, whose owner looks at no events: no frame may be missing.
void TestCaptureThread::withoutALimitEveryFrameIsSent() {
    recording::Camera camera;
    camera.width = 4000;
    camera.height = 3000;
    camera.queryDelay = 0;
    recording::reset({camera});
    CaptureThread thread(nullptr);
    thread.settingsFile = QDir::current().filePath(QStringLiteral("setting.ini"));
    QSemaphore sent;
    connect(
        &thread, &CaptureThread::captured, &thread,
        [&](int, const QImage&, const unsigned char* buffer, quint64) {
            delete[] buffer;
            sent.release();
        },
        Qt::DirectConnection);
    thread.start();
    thread.startCapturing();
    const bool isEnough = sent.tryAcquire(20, kWait);  // 240 MB, one after the other
    stop(&thread);
    QVERIFY(isEnough);
}

/// As the window uses it: what nobody has looked at stays below the limit, and then frames flow again.
void TestCaptureThread::limitHoldsUntilFramesAreLookedAt() {
    recording::Camera camera;
    camera.width = 1000;
    camera.height = 1000;
    camera.queryDelay = 0;
    recording::reset({camera});
    auto* thread = new CaptureThread(&owner);
    thread->settingsFile = QDir::current().filePath(QStringLiteral("setting.ini"));
    thread->limitUnderWay(5000000);
    receive(thread);
    thread->start();
    thread->startCapturing();
    // The library is asked on and on while nothing is delivered.
    QElapsedTimer timer;
    timer.start();
    while (recording::callsOf(QStringLiteral("CameraQueryImage")).size() < 50 && timer.elapsed() < kWait)
        QThread::yieldCurrentThread();
    QVERIFY(recording::callsOf(QStringLiteral("CameraQueryImage")).size() >= 50);
    thread->pauseCapturing();
    QCOMPARE(frames.size(), 0);
    QVERIFY(thread->isMoreUnderWay());
    QTRY_VERIFY_WITH_TIMEOUT(!thread->isMoreUnderWay(), kWait);
    QVERIFY2(frames.size() >= 5 && frames.size() <= 6, qPrintable(QString::number(frames.size())));
    thread->startCapturing();
    QVERIFY(waitForFrames(20));
    stop(thread);
}

void TestCaptureThread::deliveredIsSaidOnce() {
    auto* thread = new CaptureThread(&owner);
    thread->settingsFile = QDir::current().filePath(QStringLiteral("setting.ini"));
    thread->limitUnderWay(1 << 20);
    QVector<bool> said;
    connect(thread, &CaptureThread::captured, &owner,
            [&](int, const QImage&, const unsigned char* buffer, quint64) {
                said.append(thread->takeDelivered(buffer));
                said.append(thread->takeDelivered(buffer));
                delete[] buffer;
            });
    auto* byHand = new unsigned char[4];
    emit thread->captured(0, QImage(byHand, 2, 2, 2, QImage::Format_Grayscale8), byHand, 0);
    const QVector<bool> saidByHand = std::exchange(said, {});
    thread->start();
    thread->startCapturing();
    const bool hasCome = QTest::qWaitFor([&] { return said.size() >= 2; }, kWait);
    stop(thread);
    QCoreApplication::sendPostedEvents(&owner, QEvent::MetaCall);  // none comes after this function
    QCOMPARE(saidByHand, (QVector<bool>{false, false}));
    QVERIFY(hasCome);
    QVERIFY(said[0]);
    QVERIFY(!said[1]);
}

QTEST_MAIN(TestCaptureThread)
#include "tst_capturethread.moc"
