// SPDX-License-Identifier: Apache-2.0
#include <QSignalSpy>
#include <QtTest>
#include <atomic>
#include <thread>
#include <vector>

#include "live/frameinbox.h"

namespace {

/// A frame of one row whose pixels and time stamp are `number`.
Frame frameOf(int number) {
    auto* block = new unsigned char[4];
    std::fill_n(block, 4, static_cast<unsigned char>(number));
    return {QImage(block, 4, 1, 4, QImage::Format_Grayscale8), block, static_cast<quint64>(number)};
}

}  // namespace

/// Where capture threads hand over their frames.
class TestFrameInbox : public QObject {
    Q_OBJECT

private slots:
    void keepsTheNewestOfEachTile();
    void isEmptyOnceTaken();
    void saysOnceThatItIsFilled();
    void forgetsTheOldestOfManyOvertaken();
    void losesNothingBetweenThreads();
};

void TestFrameInbox::keepsTheNewestOfEachTile() {
    FrameInbox inbox;
    inbox.put(0, frameOf(1));
    inbox.put(3, frameOf(2));
    inbox.put(0, frameOf(3));
    inbox.put(0, frameOf(4));
    const auto deliveries = inbox.take();
    QVERIFY(deliveries[0].newest);
    QCOMPARE(deliveries[0].newest->timestamp, quint64(4));
    QCOMPARE(qGray(deliveries[0].newest->image.pixel(3, 0)), 4);
    QCOMPARE(deliveries[0].overtaken, (QVector<quint64>{1, 3}));
    QVERIFY(!deliveries[1].newest);
    QVERIFY(!deliveries[2].newest);
    QVERIFY(deliveries[3].newest);
    QCOMPARE(deliveries[3].newest->timestamp, quint64(2));
    QVERIFY(deliveries[3].overtaken.isEmpty());
}

void TestFrameInbox::isEmptyOnceTaken() {
    FrameInbox inbox;
    QVERIFY(!inbox.holds(2));
    inbox.put(2, frameOf(1));
    inbox.put(2, frameOf(2));
    QVERIFY(inbox.holds(2));
    QVERIFY(!inbox.holds(1));
    inbox.take();
    QVERIFY(!inbox.holds(2));
    const auto again = inbox.take();
    QVERIFY(!again[2].newest);
    QVERIFY(again[2].overtaken.isEmpty());
}

void TestFrameInbox::saysOnceThatItIsFilled() {
    FrameInbox inbox;
    QSignalSpy filled(&inbox, &FrameInbox::filled);
    inbox.put(0, frameOf(1));
    inbox.put(0, frameOf(2));
    inbox.put(1, frameOf(3));
    QCOMPARE(filled.count(), 1);
    inbox.take();
    QCOMPARE(filled.count(), 1);
    inbox.put(1, frameOf(4));
    QCOMPARE(filled.count(), 2);
}

/// Nobody takes them for a day, say.
void TestFrameInbox::forgetsTheOldestOfManyOvertaken() {
    FrameInbox inbox;
    for (int i = 0; i < 5000; ++i)
        inbox.put(0, frameOf(i));
    const auto deliveries = inbox.take();
    QCOMPARE(deliveries[0].newest->timestamp, quint64(4999));
    QCOMPARE(deliveries[0].overtaken.size(), 1000);
    QCOMPARE(deliveries[0].overtaken.first(), quint64(3999));
    QCOMPARE(deliveries[0].overtaken.last(), quint64(4998));
}

/// Four threads bring, one takes: each frame comes once, in its tile's order. What is not freed, or freed
/// twice, is the sanitizers' find.
void TestFrameInbox::losesNothingBetweenThreads() {
    constexpr int kFrames = 2000;
    FrameInbox inbox;
    std::atomic<int> signalled{0};
    connect(
        &inbox, &FrameInbox::filled, &inbox, [&] { ++signalled; }, Qt::DirectConnection);
    std::array<QVector<quint64>, 4> came;
    const auto take = [&] {
        const auto deliveries = inbox.take();
        for (size_t tile = 0; tile < 4; ++tile) {
            came[tile] += deliveries[tile].overtaken;
            if (deliveries[tile].newest)
                came[tile].append(deliveries[tile].newest->timestamp);
        }
    };
    std::atomic<int> running{4};
    std::vector<std::thread> threads;
    for (int tile = 0; tile < 4; ++tile) {
        threads.emplace_back([&inbox, &running, tile] {
            for (int i = 0; i < kFrames; ++i) {
                inbox.put(tile, frameOf(i));
                if (i % 100 == 0)
                    std::this_thread::yield();
            }
            --running;
        });
    }
    int takings = 0;
    while (running > 0) {
        take();
        ++takings;
    }
    for (std::thread& thread : threads)
        thread.join();
    take();
    for (const auto& stamps : came) {
        // More than a thousand between two takings are not told.
        QVERIFY(stamps.size() <= kFrames);
        QVERIFY(std::is_sorted(stamps.begin(), stamps.end()));
        QVERIFY(std::adjacent_find(stamps.begin(), stamps.end()) == stamps.end());
        QCOMPARE(stamps.last(), quint64(kFrames - 1));
    }
    QVERIFY(signalled > 0);
    QVERIFY(signalled <= takings + 1);
}

QTEST_GUILESS_MAIN(TestFrameInbox)
#include "tst_frameinbox.moc"
