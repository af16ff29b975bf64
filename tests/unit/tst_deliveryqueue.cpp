// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <condition_variable>
#include <thread>
#include <vector>

#include "control/deliveryqueue.h"

using Kind = DeliveryQueue::Entry::Kind;

namespace {

QByteArray numbered(int number) {
    return QByteArray::number(number);
}

}  // namespace

/// What waits between the reader of a serial line and the GUI thread.
class TestDeliveryQueue : public QObject {
    Q_OBJECT

private slots:
    void keepsDeliveriesApartAndInOrder();
    void wakesForOneEntryAtATime();
    void dropsTheNewestOfTooMany();
    void lossesAreForgottenWhenAllIsWorkedOff();
    void newsKeepTheirPlace();
    void newsGiveWayToNewer();
    void takesADeliveryBesideTheTurns();
    void passedTurnComesAgain();
    void closedQueueIsSilent();
    void losesNothingBetweenThreads();
};

void TestDeliveryQueue::keepsDeliveriesApartAndInOrder() {
    DeliveryQueue queue([] {});
    QVERIFY(queue.isEmpty());
    QCOMPARE(queue.nextSize(), 0);
    queue.put("TRIGGER");
    queue.put("");
    queue.put("GAIN 1");
    QVERIFY(!queue.isEmpty());
    QCOMPARE(queue.nextSize(), 7);
    const auto first = queue.next();
    QVERIFY(first);
    QCOMPARE(first->kind, Kind::Delivery);
    QCOMPARE(first->bytes, QByteArray("TRIGGER"));
    QCOMPARE(queue.nextSize(), 6);
    QCOMPARE(queue.next()->bytes, QByteArray("GAIN 1"));
    QVERIFY(queue.isEmpty());
    QVERIFY(!queue.next());
}

void TestDeliveryQueue::wakesForOneEntryAtATime() {
    int woken = 0;
    DeliveryQueue queue([&] { ++woken; });
    queue.put("1");
    queue.put("2");
    queue.put("3");
    QCOMPARE(woken, 1);
    queue.next();
    QCOMPARE(woken, 2);
    queue.put("4");
    QCOMPARE(woken, 2);
    queue.next();
    queue.next();
    QCOMPARE(woken, 4);
    queue.next();
    QCOMPARE(woken, 4);
    queue.put("5");
    QCOMPARE(woken, 5);
    queue.wakeIfWaiting();
    QCOMPARE(woken, 5);
}

void TestDeliveryQueue::dropsTheNewestOfTooMany() {
    DeliveryQueue queue([] {});
    for (int i = 0; i < 1000; ++i)
        queue.put(numbered(i));
    QCOMPARE(queue.lost(), 0);
    for (int i = 1000; i < 1500; ++i)
        queue.put(numbered(i));
    QCOMPARE(queue.lost(), 500);
    QCOMPARE(queue.received(), 1000ULL);
    QCOMPARE(queue.next()->bytes, numbered(0));
    QCOMPARE(*queue.takeDelivery(), numbered(1));
    queue.put(numbered(1500));
    queue.put(numbered(1501));
    queue.put(numbered(1502));
    QCOMPARE(queue.lost(), 501);
    for (int i = 2; i < 1000; ++i)
        QCOMPARE(queue.next()->bytes, numbered(i));
    QCOMPARE(queue.next()->bytes, numbered(1500));
    QCOMPARE(queue.next()->bytes, numbered(1501));
    QVERIFY(!queue.next());
}

void TestDeliveryQueue::lossesAreForgottenWhenAllIsWorkedOff() {
    DeliveryQueue queue([] {});
    for (int i = 0; i < 1003; ++i)
        queue.put(numbered(i));
    while (queue.next()) {
    }
    QCOMPARE(queue.lost(), 3);
    queue.put("next");
    QCOMPARE(queue.lost(), 0);
}

void TestDeliveryQueue::newsKeepTheirPlace() {
    int woken = 0;
    DeliveryQueue queue([&] { ++woken; });
    queue.put("before");
    queue.putLost(QStringLiteral("gone"));
    queue.putBack();
    queue.put("after");
    QCOMPARE(queue.next()->bytes, QByteArray("before"));
    const auto news = queue.next();
    QCOMPARE(news->kind, Kind::Back);
    QCOMPARE(news->problem, QStringLiteral("gone"));
    QCOMPARE(queue.next()->bytes, QByteArray("after"));
    queue.putLost(QStringLiteral("gone"));
    QCOMPARE(woken, 4);
    QCOMPARE(queue.nextSize(), 0);
    QVERIFY(!queue.isEmpty());
    const auto lost = queue.next();
    QCOMPARE(lost->kind, Kind::Lost);
    QCOMPARE(lost->problem, QStringLiteral("gone"));
    queue.putBack();
    QCOMPARE(queue.next()->problem, QString());
}

/// A line that comes and goes for a night, while nobody looks.
void TestDeliveryQueue::newsGiveWayToNewer() {
    DeliveryQueue queue([] {});
    for (int i = 0; i < 1200; ++i) {
        queue.put(numbered(i));
        queue.putLost(QString::number(i));
        queue.putBack();
        queue.putLost(QString::number(i) + QLatin1Char('!'));
    }
    int entries = 0;
    std::optional<DeliveryQueue::Entry> last;
    while (auto entry = queue.next()) {
        last = std::move(entry);
        ++entries;
    }
    QCOMPARE(entries, 2000);
    QCOMPARE(last->problem, QStringLiteral("1199!"));
}

void TestDeliveryQueue::takesADeliveryBesideTheTurns() {
    int woken = 0;
    DeliveryQueue queue([&] { ++woken; });
    QVERIFY(!queue.takeDelivery());
    queue.put("1");
    queue.putBack();
    QCOMPARE(*queue.takeDelivery(), QByteArray("1"));
    QVERIFY(!queue.takeDelivery());
    QCOMPARE(queue.next()->kind, Kind::Back);
    QCOMPARE(woken, 1);
}

void TestDeliveryQueue::passedTurnComesAgain() {
    int woken = 0;
    DeliveryQueue queue([&] { ++woken; });
    queue.put("1");
    queue.passTurn();
    QCOMPARE(woken, 1);
    queue.wakeIfWaiting();
    queue.wakeIfWaiting();
    QCOMPARE(woken, 2);
    QCOMPARE(queue.next()->bytes, QByteArray("1"));
    queue.wakeIfWaiting();
    QCOMPARE(woken, 2);
}

void TestDeliveryQueue::closedQueueIsSilent() {
    int woken = 0;
    DeliveryQueue queue([&] { ++woken; });
    queue.put("1");
    queue.putLost(QStringLiteral("gone"));
    queue.put("2");
    QCOMPARE(queue.close(), 2);
    QCOMPARE(queue.close(), 0);
    QVERIFY(!queue.next());
    queue.put("2");
    queue.putLost(QStringLiteral("gone"));
    queue.putBack();
    QVERIFY(queue.isEmpty());
    QVERIFY(!queue.takeDelivery());
    QCOMPARE(woken, 1);
}

/// One brings, one takes when it is woken: each delivery comes once and in order, and no waking is missed.
void TestDeliveryQueue::losesNothingBetweenThreads() {
    constexpr int kDeliveries = 20000;
    std::mutex mutex;
    std::condition_variable wakened;
    int turns = 0;
    DeliveryQueue queue([&] {
        const std::lock_guard<std::mutex> lock(mutex);
        ++turns;
        wakened.notify_one();
    });
    std::vector<QByteArray> taken;
    std::thread reader([&] {
        for (int i = 0; i < kDeliveries; ++i) {
            queue.put(numbered(i));
            if (i % 500 == 0) {
                while (!queue.isEmpty())
                    std::this_thread::yield();
            }
        }
        queue.putBack();
    });
    bool isOver = false;
    while (!isOver) {
        {
            std::unique_lock<std::mutex> lock(mutex);
            if (!wakened.wait_for(lock, std::chrono::seconds(20), [&] { return turns > 0; }))
                break;
            --turns;
        }
        if (auto entry = queue.next()) {
            isOver = entry->kind == Kind::Back;
            if (!isOver)
                taken.push_back(std::move(entry->bytes));
        }
    }
    reader.join();
    QVERIFY(isOver);
    QCOMPARE(queue.lost(), 0);
    QCOMPARE(taken.size(), size_t(kDeliveries));
    for (int i = 0; i < kDeliveries; ++i)
        QCOMPARE(taken[static_cast<size_t>(i)], numbered(i));
}

QTEST_GUILESS_MAIN(TestDeliveryQueue)
#include "tst_deliveryqueue.moc"
