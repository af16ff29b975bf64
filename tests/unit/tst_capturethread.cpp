// SPDX-License-Identifier: Apache-2.0
#include <QBuffer>
#include <QSignalSpy>
#include <QSemaphore>
#include <QtTest>
#include <cstring>
#include <limits>

#include "camera/capturethread.h"
#include "camera/demoframe.h"
#include "camera/kvcap2.h"
#include "support/recordingcamera.h"
#include "support/workingfolder.h"
#include "support/captureowner.h"

/// The capture thread against a recording camera library and against image files.
class TestCaptureThread : public QObject, private CaptureOwner {
    Q_OBJECT

private slots:
    void init() { setUp(); }
    void cleanup() { tearDown(); }
    void startsIdle();
    void callsInOrderOnItsOwnThread();
    void monochromeFrame();
    void colourFrame();
    void colourStaysForTheRun();
    void timestampIsTakenAfterTheFrame();
    void pauseAndResumeKeepTheThread();
    void stopWhileAQueryIsUnderWay();
    void stopWhileIdle();
    void noSizeNoQuery_data();
    void noSizeNoQuery();
    void sizeWithoutSenseIsNoFrame_data();
    void sizeWithoutSenseIsNoFrame();
    void shortBufferIsNoFrame();
    void shorterThanAnnouncedIsNoFrame();
    void paddingOfTheLastRowMayBeMissing();
    void streamAfterTheEndStartsNothing();
    void oddWidthIsPacked();
    void paddedRowsAreSeenAsSuch();
    void demoShowsTheFileOfItsTile();
    void demoRowsAreTakenAsPacked();
    void demoWithoutFileSendsEmptyFrames();
    void demoWithTornFileGoesOn();
    void demoPictureLargerThanAnyFrameIsNone();
    void demoCallsNoLibrary();
    void framesComeInOrder();
    void everyFrameIsSent();
};

void TestCaptureThread::startsIdle() {
    CaptureThread* thread = makeThread({0, 1, false});
    QVERIFY(!thread->isRunning());
    QCOMPARE(thread->parent(), &owner);
    // By the number of the camera, not of the tile.
    for (const char* line : {"thread run 1", "term thread 1", "exit capture"})
        QTest::ignoreMessage(QtDebugMsg, line);
    thread->start();
    QTRY_VERIFY(thread->isRunning());
    stop(thread);
    QVERIFY(recording::calls().isEmpty());
}

void TestCaptureThread::callsInOrderOnItsOwnThread() {
    CaptureThread* thread = makeThread({0, 1, false});
    thread->stream(false);
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
    CaptureThread* thread = makeThread({3, 1, false});
    thread->stream(false);
    QVERIFY(waitForFrames(1));
    const Frame& frame = frames.first();
    QCOMPARE(frame.id, 3);
    QCOMPARE(frame.image.format(), QImage::Format_Grayscale8);
    QCOMPARE(frame.image.size(), QSize(64, 48));
    QCOMPARE(qGray(frame.image.pixel(63, 47)), 80);
    QVERIFY(frame.pixelsLieInBuffer);
}

void TestCaptureThread::colourFrame() {
    CaptureThread* thread = makeThread();
    thread->stream(true);
    QVERIFY(waitForFrames(1));
    QCOMPARE(frames.first().image.format(), QImage::Format_RGB888);
    QCOMPARE(frames.first().image.pixel(63, 47), qRgb(40, 40, 40));
    QCOMPARE(recording::callsOf(QStringLiteral("CameraGetImageBufferSize")).first().value,
             QStringLiteral("4"));
    QCOMPARE(recording::callsOf(QStringLiteral("CameraQueryImage")).first().value, QStringLiteral("4"));
}

void TestCaptureThread::colourStaysForTheRun() {
    CaptureThread* thread = makeThread();
    thread->stream(false);
    QVERIFY(waitForFrames(1));
    thread->stream(true);
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
    thread->stream(false);
    QVERIFY(waitForFrames(1));
    QVERIFY2(frames.first().timestamp >= before + 40, "stamped before the query was over");
    QVERIFY(frames.first().timestamp <= static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
}

void TestCaptureThread::pauseAndResumeKeepTheThread() {
    CaptureThread* thread = makeThread();
    QSignalSpy started(thread, &QThread::started);
    thread->stream(false);
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
    thread->stream(false);  // as the stream action does
    QVERIFY(waitForFrames(paused + 2));
    QCOMPARE(started.count(), 1);
}

void TestCaptureThread::stopWhileAQueryIsUnderWay() {
    recording::Camera camera;
    camera.holdQueries = true;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    thread->stream(false);
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

void TestCaptureThread::streamAfterTheEndStartsNothing() {
    CaptureThread* thread = makeThread();
    QSignalSpy started(thread, &QThread::started);
    thread->stream(false);
    stop(thread);
    thread->stream(false);
    QVERIFY(!thread->isRunning());
    QVERIFY(!thread->isCapturing());
    QCOMPARE(started.count(), 1);
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
    thread->stream(false);
    QTRY_VERIFY(recording::callsOf(QStringLiteral("CameraGetImageSize")).size() > 5);
    QVERIFY(recording::callsOf(QStringLiteral("CameraQueryImage")).isEmpty());
    recording::setCamera(0, recording::Camera());
    QVERIFY(waitForFrames(1));
}

void TestCaptureThread::sizeWithoutSenseIsNoFrame_data() {
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<bool>("inColour");
    constexpr int kBiggest = std::numeric_limits<int32_t>::max();
    for (const bool inColour : {false, true}) {
        const char* kind = inColour ? "colour" : "grey";
        QTest::addRow("biggest, %s", kind) << kBiggest << kBiggest << inColour;
        QTest::addRow("biggest width, %s", kind) << kBiggest << 1 << inColour;
        QTest::addRow("biggest height, %s", kind) << 1 << kBiggest << inColour;
        // Products that are small again in 32 bits.
        QTest::addRow("area, %s", kind) << 65536 + 32 << 65536 << inColour;
        QTest::addRow("row, %s", kind) << 0x55555556 << 3 << inColour;
    }
}

/// The length is that of a small frame: nothing lies where such a size would have its rows.
void TestCaptureThread::sizeWithoutSenseIsNoFrame() {
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(bool, inColour);
    recording::Camera camera;
    camera.width = width;
    camera.height = height;
    camera.length = 3072;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    thread->stream(inColour);
    QTRY_VERIFY(recording::callsOf(QStringLiteral("CameraQueryImage")).size() > 3);
    QCOMPARE(frames.size(), 0);
}

void TestCaptureThread::shortBufferIsNoFrame() {
    recording::Camera camera;
    camera.extraLength = -1;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    thread->stream(false);
    QTRY_VERIFY(recording::callsOf(QStringLiteral("CameraQueryImage")).size() > 3);
    QCOMPARE(frames.size(), 0);
}

/// A query that spans a switch to a smaller size says that it wrote less.
void TestCaptureThread::shorterThanAnnouncedIsNoFrame() {
    recording::Camera camera;
    camera.missing = 1;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    thread->stream(false);
    QTRY_VERIFY(recording::callsOf(QStringLiteral("CameraQueryImage")).size() > 3);
    QCOMPARE(frames.size(), 0);
    camera.missing = 0;
    recording::setCamera(0, camera);
    QVERIFY(waitForFrames(1));
}

/// What a library pads the last row with does not have to be there.
void TestCaptureThread::paddingOfTheLastRowMayBeMissing() {
    recording::Camera camera;
    camera.width = 61;
    camera.height = 3;
    camera.extraLength = 3 * 3;
    camera.missing = 3;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    thread->stream(false);
    QVERIFY(waitForFrames(1));
    QCOMPARE(qGray(frames.first().image.pixel(60, 2)), 40);
}

void TestCaptureThread::oddWidthIsPacked() {
    recording::Camera camera;
    camera.width = 61;
    camera.height = 3;
    recording::reset({camera});
    CaptureThread* thread = makeThread();
    thread->stream(false);
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
    thread->stream(false);
    QVERIFY(waitForFrames(1));
    stop(thread);
    QCOMPARE(bytesPerLine, 64);
}

void TestCaptureThread::demoShowsTheFileOfItsTile() {
    QImage picture(40, 20, QImage::Format_RGB888);
    picture.fill(QColor(200, 200, 200));
    QVERIFY(picture.save(QStringLiteral("2.jpg"), "JPG", 100));
    CaptureThread* thread = makeThread({2, 0, true});
    thread->stream(false);
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
    CaptureThread* thread = makeThread({0, 0, true});
    thread->stream(false);
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
    // Those of other tiles serve it as little as none at all.
    for (const char* file : {"0.jpg", "1.jpg"}) {
        QImage picture(40, 20, QImage::Format_Grayscale8);
        picture.fill(200);
        QVERIFY(picture.save(QLatin1String(file), "JPG"));
    }
    CaptureThread* thread = makeThread({2, 0, true});
    thread->stream(false);
    QVERIFY(waitForFrames(3));
    for (int i = 0; i < 3; ++i) {
        QVERIFY(frames[i].image.isNull());
        QCOMPARE(frames[i].id, 2);
    }
    // No more than five a second.
    QVERIFY(frames[2].timestamp - frames[0].timestamp >= 400);
}

void TestCaptureThread::demoWithTornFileGoesOn() {
    QImage picture(200, 200, QImage::Format_RGB888);
    picture.fill(Qt::white);
    QBuffer jpeg;
    QVERIFY(jpeg.open(QIODevice::WriteOnly) && picture.save(&jpeg, "JPG"));
    QVERIFY(WorkingFolder::write(QStringLiteral("0.jpg"), jpeg.data().left(jpeg.data().size() / 3)));
    CaptureThread* thread = makeThread({0, 0, true});
    thread->stream(false);
    QVERIFY(waitForFrames(2));
}

void TestCaptureThread::demoPictureLargerThanAnyFrameIsNone() {
    // A few KiB on the disk; as frames, 160 MiB and one row more.
    QImage picture(16384, 10241, QImage::Format_Mono);
    picture.fill(0);
    QVERIFY(picture.save(QStringLiteral("0.jpg"), "PNG"));
    const DemoFrame none = readDemoFrame(QStringLiteral("0.jpg"), QImage::Format_Grayscale8);
    QVERIFY(none.image.isNull());
    QVERIFY(none.block);
    QVERIFY(picture.copy(0, 0, 16384, 10240).save(QStringLiteral("0.jpg"), "PNG"));
    const DemoFrame largest = readDemoFrame(QStringLiteral("0.jpg"), QImage::Format_Grayscale8);
    QCOMPARE(largest.image.size(), QSize(16384, 10240));
    QCOMPARE(largest.image.constBits(), largest.block.get());
}

void TestCaptureThread::demoCallsNoLibrary() {
    CaptureThread* thread = makeThread({0, 0, true});
    thread->stream(false);
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
    thread->stream(false);
    QVERIFY(waitForFrames(50));
    for (int i = 1; i < frames.size(); ++i)
        QVERIFY(frames[i].timestamp >= frames[i - 1].timestamp);
}

/// A receiver on the thread itself, whose owner looks at no events: no frame may be missing.
void TestCaptureThread::everyFrameIsSent() {
    recording::Camera camera;
    camera.width = 4000;
    camera.height = 3000;
    camera.queryDelay = 0;
    recording::reset({camera});
    CaptureThread thread({}, nullptr);
    QSemaphore sent;
    connect(
        &thread, &CaptureThread::captured, &thread,
        [&](int, const QImage&, const unsigned char* buffer, quint64) {
            delete[] buffer;
            sent.release();
        },
        Qt::DirectConnection);
    thread.stream(false);
    const bool isEnough = sent.tryAcquire(20, kWait);  // 240 MB, one after the other
    stop(&thread);
    QVERIFY(isEnough);
}

QTEST_MAIN(TestCaptureThread)
#include "tst_capturethread.moc"
