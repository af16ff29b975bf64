// SPDX-License-Identifier: Apache-2.0
#include <QElapsedTimer>
#include <array>
#include <atomic>
#include <memory>
#include <vector>

#include "live/framerate.h"
#include "live/tile.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"
#include "support/heldstream.h"

namespace {

/// The grey of the one picture in the folder, which is gone then; -1 if there is another number of them.
int takeSavedGrey() {
    const auto files = QDir().entryList({QStringLiteral("*.png")});
    const int grey = files.size() == 1 ? qGray(QImage(files.first()).pixel(0, 0)) : -1;
    for (const QString& file : files)
        QFile::remove(file);
    return grey;
}

}  // namespace

/// Frames that come faster than the window looks at them.
class TestWaiting : public QObject {
    Q_OBJECT

private slots:
    void onlyTheNewestIsShown();
    void everyTileGetsItsNewest();
    void supersededFramesCount();
    void droppedFramesDoNotCount_data();
    void droppedFramesDoNotCount();
    void directFrameIsShownAtOnce();
    void directFrameWhereAQueuedOneWas();
    void handSentFrameIsShownAtOnce();
    void handSentFrameOvertakesTheQueue();
    void savedIsTheNewest_data();
    void savedIsTheNewest();
    void frozenPictureStands();
    void frozenTileSaysWhatItShows();
    void heldIsTheNewest();
    void withoutPainting_data();
    void withoutPainting();
    void endWhileFramesWait_data();
    void endWhileFramesWait();
};

/// Of the frames that came while the GUI thread was blocked.
void TestWaiting::onlyTheNewestIsShown() {
    Stream stream;
    QVERIFY(stream.start());
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        QVERIFY(stream.settle());
        const quint64 before = stream.shown();
        const int sentBefore = stream.sent;
        stream.delivered = 0;
        stream.seen.clear();
        stream.flow(5);
        QVERIFY(waitBlocked([&] { return stream.sent >= sentBefore + 15; }));
        QVERIFY(stream.hold());
        const int count = stream.sent - sentBefore;
        QCOMPARE(stream.shown(), before);
        QTRY_COMPARE_WITH_TIMEOUT(stream.delivered, count, kWait);
        QVERIFY(stream.settle());
        stream.note();
        if (stream.shown() == before)
            continue;  // all were too old
        QVERIFY(stream.seen == QVector<quint64>({before, stream.newest}) ||
                stream.seen == QVector<quint64>({stream.newest}));
        return;
    }
    QFAIL("No frame was ever shown");
}

void TestWaiting::everyTileGetsItsNewest() {
    recording::reset(2);
    std::array<std::atomic<quint64>, 2> newest{};
    std::array<std::atomic<int>, 2> sent{};
    WindowUnderTest window;
    const auto release = qScopeGuard([] { recording::releaseQueries(); });  // or the window never ends
    window.start();
    const auto threads = window->findChildren<CaptureThread*>();
    for (const CaptureThread* thread : threads) {
        const auto tile = static_cast<size_t>(thread->tileIndex());
        connect(
            thread, &CaptureThread::captured, window.get(),
            [&, tile](int, const QImage&, const unsigned char*, quint64 timestamp) {
                newest[tile] = timestamp;
                ++sent[tile];
            },
            Qt::DirectConnection);
    }
    QVERIFY(window.waitForTiles(2));
    const auto shown = [&](int tile) { return window.tiles()[tile]->data(kTimestampOfTile).toULongLong(); };
    bool isCurrent = false;
    for (int attempt = 0; attempt < kAttempts && !isCurrent; ++attempt) {
        recording::reset(2);
        const int before[] = {sent[0], sent[1]};
        QVERIFY(waitBlocked([&] { return sent[0] > before[0] + 10 && sent[1] > before[1] + 10; }));
        for (int i = 0; i < 2; ++i) {
            recording::Camera camera;
            camera.holdQueries = true;
            recording::setCamera(i, camera);
        }
        QVERIFY(waitBlocked([] { return recording::queriesUnderWay() == 2; }));
        const quint64 before0 = shown(0);
        const quint64 before1 = shown(1);
        QTest::qWait(100);
        QVERIFY(shown(0) == before0 || shown(0) == newest[0]);
        QVERIFY(shown(1) == before1 || shown(1) == newest[1]);
        isCurrent = shown(0) == newest[0] && shown(1) == newest[1];
        recording::releaseQueries();
    }
    QVERIFY(isCurrent);
}

void TestWaiting::supersededFramesCount() {
    Stream stream;
    QVERIFY(stream.start());
    const auto rate = [&] {
        stream.window->updateFps();
        return stream.window.rightText().section(QLatin1Char(' '), 3, 3).toDouble();
    };
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        QVERIFY(stream.settle());
        const double before = rate();
        const int sentBefore = stream.sent;
        const quint64 first = now();
        stream.flow(5);
        QVERIFY(waitBlocked([&] { return stream.sent >= sentBefore + 10; }));
        QVERIFY(stream.hold());
        const int count = stream.sent - sentBefore;
        QCoreApplication::sendPostedEvents();
        if (isStale(now(), first))
            continue;  // those that are too old do not count
        const double wanted = before == 0.0 ? count : 0.4 * count + 0.6 * before;
        const double after = rate();
        QVERIFY2(qAbs(after - wanted) < 0.02, qPrintable(QStringLiteral("%1 %2").arg(after).arg(wanted)));
        return;
    }
    QFAIL("The frames were always too old");
}

void TestWaiting::droppedFramesDoNotCount_data() {
    QTest::addColumn<bool>("isSecondOver");
    QTest::newRow("in the same second") << false;
    QTest::newRow("when it has been counted already") << true;
}

/// One that has been delivered in time, but grew too old while it waited, and another one follows.
void TestWaiting::droppedFramesDoNotCount() {
    QFETCH(bool, isSecondOver);
    Stream stream;
    QVERIFY(stream.start());
    const auto rate = [&] {
        stream.window->updateFps();
        return stream.window.rightText().section(QLatin1Char(' '), 3, 3).toDouble();
    };
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        QVERIFY(stream.settle());
        double before = rate();
        stream.window.sendFrame(0, kOtherGrey);
        QVERIFY(stream.sendOne());
        QCoreApplication::sendPostedEvents();
        const quint64 waiting = stream.newest;
        if (isStale(now(), waiting))
            continue;  // it may have been dropped at once
        if (isSecondOver)
            before = rate();
        QVERIFY(stream.sendOne());
        QVERIFY(waitBlocked([&] { return isStale(now(), waiting); }));
        // Would save what is shown; nothing is selected.
        stream.window.action("actionSave_Single")->trigger();
        QCOMPARE(stream.grey(), kOtherGrey);
        const int count = isSecondOver ? 0 : 1;
        const double wanted = before == 0.0 ? count : 0.4 * count + 0.6 * before;
        const double after = rate();
        QVERIFY2(qAbs(after - wanted) < 0.02, qPrintable(QStringLiteral("%1 %2").arg(after).arg(wanted)));
        return;
    }
    QFAIL("The frames were always too old");
}

/// The one that waits is older and does not come back.
void TestWaiting::directFrameIsShownAtOnce() {
    Stream stream;
    QVERIFY(stream.start());
    int waiting = 0;
    int shown = 0;
    QVERIFY(stream.withWaitingFrame([&] {
        waiting = stream.grey();
        stream.window.sendFrame(0, 99);
        shown = stream.grey();
    }));
    QCOMPARE(waiting, kOtherGrey);
    QCOMPARE(shown, 99);
    QVERIFY(stream.settle());
    QCOMPARE(stream.grey(), 99);
    // The next one of the camera does.
    for (int i = 0; i < kAttempts && stream.grey() != kCameraGrey; ++i) {
        QVERIFY(stream.sendOne());
        QVERIFY(stream.settle());
    }
    QCOMPARE(stream.grey(), kCameraGrey);
}

/// An allocator gives the block of a frame that is gone to the next who wants one of its size.
void TestWaiting::directFrameWhereAQueuedOneWas() {
    constexpr int kSide = 31;  // few others want blocks of this size
    constexpr size_t kBytes = kSide * kSide;
    Stream stream({kSide, kSide});
    QVERIFY(stream.start());
    std::vector<std::unique_ptr<unsigned char[]>> blocks;  // kept, so that those that are free run out
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        QVERIFY(stream.sendOne());
        QVERIFY(stream.settle());
        for (int i = 0; i < 20; ++i) {
            auto block = std::make_unique<unsigned char[]>(kBytes);
            if (block.get() != stream.newestBuffer) {
                blocks.push_back(std::move(block));
                continue;
            }
            std::fill_n(block.get(), kBytes, static_cast<unsigned char>(kOtherGrey));
            const QImage image(block.get(), kSide, kSide, kSide, QImage::Format_Grayscale8);
            stream.window->process(0, image, block.release(), now());
            QCOMPARE(stream.grey(), kOtherGrey);
            return;
        }
    }
    QSKIP("This allocator gives no block twice");
}

void TestWaiting::handSentFrameIsShownAtOnce() {
    Stream stream;
    QVERIFY(stream.start());
    stream.emitByHand(99);
    QCOMPARE(stream.grey(), 99);
    int shown = 0;
    QVERIFY(stream.withWaitingFrame([&] {
        stream.emitByHand(77);
        shown = stream.grey();
    }));
    QCOMPARE(shown, 77);
    QVERIFY(stream.settle());
    QCOMPARE(stream.grey(), 77);
}

void TestWaiting::handSentFrameOvertakesTheQueue() {
    Stream stream;
    QVERIFY(stream.start());
    QVERIFY(stream.sendOne());
    stream.emitByHand(99);
    QCOMPARE(stream.grey(), 99);
    // The camera's frames go on.
    QVERIFY(stream.settle());
    for (int i = 0; i < kAttempts && stream.grey() != kCameraGrey; ++i) {
        QVERIFY(stream.sendOne());
        QVERIFY(stream.settle());
    }
    QCOMPARE(stream.grey(), kCameraGrey);
}

void TestWaiting::savedIsTheNewest_data() {
    QTest::addColumn<int>("way");
    QTest::newRow("save") << 0;
    QTest::newRow("scanned") << 1;
    QTest::newRow("by name") << 2;
    QTest::newRow("single tile") << 3;
}

void TestWaiting::savedIsTheNewest() {
    QFETCH(int, way);
    Stream stream;
    QVERIFY(stream.start());
    stream.window.tiles().first()->setFlag(QGraphicsItem::ItemIsSelectable);
    stream.window.tiles().first()->setSelected(way == 3);
    int waiting = 0;
    int saved = 0;
    QVERIFY(stream.withWaitingFrame([&] {
        waiting = stream.grey();
        if (way == 0)
            stream.window.action("action_Save")->trigger();
        else if (way == 1)
            stream.window->saveScanned(QStringLiteral("code"));
        else if (way == 2)
            stream.window->saveImageByName(QStringLiteral("name"));
        else
            stream.window.action("actionSave_Single")->trigger();
        saved = takeSavedGrey();
    }));
    QCOMPARE(waiting, kOtherGrey);
    QCOMPARE(saved, kCameraGrey);
}

void TestWaiting::frozenPictureStands() {
    Stream stream;
    QVERIFY(stream.start());
    stream.window.sendFrame(0, 99);
    stream.window.action("actionFreeze")->trigger();
    const int deliveredBefore = stream.delivered;
    stream.flow(5);
    QTRY_VERIFY_WITH_TIMEOUT(stream.delivered >= deliveredBefore + 20, kWait);
    QCOMPARE(stream.grey(), 99);
    QVERIFY(stream.hold());
    QVERIFY(stream.settle());
    QCOMPARE(stream.grey(), 99);
    stream.window.action("actionFreeze")->trigger();
    QCOMPARE(stream.grey(), 99);  // until the next frame
    stream.flow(5);
    QTRY_COMPARE_WITH_TIMEOUT(stream.grey(), kCameraGrey, kWait);
}

void TestWaiting::frozenTileSaysWhatItShows() {
    Stream stream;
    QVERIFY(stream.start());
    stream.window.sendFrame(0, 99);
    const quint64 shown = stream.shown();
    stream.window.action("actionFreeze")->trigger();
    QVERIFY(waitBlocked([&] { return now() > shown; }));
    stream.window.sendFrame(0, 77);
    QCOMPARE(stream.grey(), 99);
    QCOMPARE(stream.shown(), shown);
    stream.window.action("action_Save")->trigger();
    QCOMPARE(stream.grey(), 77);
    QVERIFY(stream.shown() > shown);
}

void TestWaiting::heldIsTheNewest() {
    Stream stream;
    QVERIFY(stream.start());
    stream.window.sendFrame(0, 1);
    stream.window.action("actionFreeze")->trigger();
    // One is held, a newer one waits.
    int standing = 0;
    int shown = 0;
    int saved = 0;
    QVERIFY(stream.withWaitingFrame([&] {
        standing = stream.grey();
        stream.window.action("action_Save")->trigger();
        shown = stream.grey();
        saved = takeSavedGrey();
    }));
    QVERIFY(standing == 1 || standing == kCameraGrey);  // what the attempt before has saved
    QCOMPARE(shown, kCameraGrey);
    QCOMPARE(saved, kCameraGrey);
    // One has waited, a newer one is held.
    QVERIFY(stream.withWaitingFrame([&] { stream.window.sendFrame(0, 77); }));
    QVERIFY(stream.settle());
    QCOMPARE(stream.grey(), kCameraGrey);
    stream.window.action("action_Save")->trigger();
    QCOMPARE(stream.grey(), 77);
    QCOMPARE(takeSavedGrey(), 77);
}

void TestWaiting::withoutPainting_data() {
    QTest::addColumn<QString>("state");
    QTest::newRow("hidden") << QStringLiteral("hidden");
    QTest::newRow("minimised") << QStringLiteral("minimised");
    QTest::newRow("tile out of view") << QStringLiteral("out of view");
}

/// Nobody paints, yet the tiles have what is saved and what is seen when the window is back.
void TestWaiting::withoutPainting() {
    QFETCH(QString, state);
    Stream stream;
    QVERIFY(stream.start());
    if (state == QLatin1String("hidden"))
        stream.window->hide();
    else if (state == QLatin1String("minimised"))
        stream.window->showMinimized();
    else
        stream.window.view()->scene()->setSceneRect(100000, 100000, 10, 10);
    QVERIFY(stream.settle());
    stream.flow(10);
    QTRY_VERIFY_WITH_TIMEOUT(stream.shown() == stream.newest, kWait);
    double pace = 0;  // pictures per second
    for (int attempt = 0; attempt < 10 && pace < 10; ++attempt) {
        stream.seen.clear();
        stream.paintings = 0;
        QElapsedTimer time;
        time.start();
        QTest::qWait(1000);
        pace = 1000.0 * stream.seen.size() / double(time.elapsed());
        // Some platforms paint what is minimised.
        if (stream.paintings == 0)
            QVERIFY2(pace <= 60, qPrintable(QString::number(pace)));
        else
            QCOMPARE(state, QStringLiteral("minimised"));
    }
    QVERIFY2(pace >= 10, qPrintable(QString::number(pace)));
    QVERIFY(stream.hold());
}

void TestWaiting::endWhileFramesWait_data() {
    QTest::addColumn<bool>("isClosed");
    QTest::addColumn<bool>("isHandled");
    QTest::newRow("closed") << true << false;
    QTest::newRow("closed, and events handled") << true << true;
    QTest::newRow("destroyed without closing") << false << false;
}

/// Blocks that are not freed, and those that are freed twice, are the sanitizer's find.
void TestWaiting::endWhileFramesWait() {
    QFETCH(bool, isClosed);
    QFETCH(bool, isHandled);
    const WorkingFolder folder;
    const BoxAnswerer answerer;
    recording::reset(2);
    std::atomic<int> sent{0};
    auto window = std::make_unique<MainWindow>(nullptr);
    window->show();
    const auto threads = window->findChildren<CaptureThread*>();
    QCOMPARE(threads.size(), 2);
    int delivered = 0;
    for (CaptureThread* thread : threads) {
        connect(thread, &CaptureThread::captured, window.get(), [&] { ++delivered; });
        connect(
            thread, &CaptureThread::captured, window.get(), [&] { ++sent; }, Qt::DirectConnection);
    }
    QTRY_VERIFY_WITH_TIMEOUT(delivered > 20, kWait);
    int before = sent;
    QVERIFY(waitBlocked([&] { return sent > before + 10; }));
    QCoreApplication::sendPostedEvents();  // these wait,
    before = sent;
    QVERIFY(waitBlocked([&] { return sent > before + 10; }));  // and these are in the queue
    if (isClosed)
        QVERIFY(window->close());
    if (isHandled)
        QCoreApplication::processEvents();
    window.reset();
    QCOMPARE(recording::callsOf(QStringLiteral("CameraFree")).size(), 2);
    QCOMPARE(recording::queriesUnderWay(), 0);
}

QTEST_MAIN(TestWaiting)
#include "tst_waiting.moc"
