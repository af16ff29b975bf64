// SPDX-License-Identifier: Apache-2.0
// Callers and a worker double: who waits how long for whom.

#include <QtTest>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "commandqueue.h"

using namespace std::chrono_literals;
using kvgen::Clock;
using kvgen::CommandQueue;
using kvgen::Status;

namespace {

constexpr CommandQueue::Duration kLong = 5s;
constexpr CommandQueue::Duration kShort = 50ms;

/// Serves until it goes.
class Worker {
public:
    explicit Worker(CommandQueue& queue)
        : queue_(queue), thread_([this] {
              while (!isDone_)
                  queue_.serve(Clock::now() + 5s);
          }) {}
    ~Worker() {
        isDone_ = true;
        queue_.wake();
        thread_.join();
    }

private:
    CommandQueue& queue_;
    std::atomic<bool> isDone_{false};
    std::thread thread_;
};

/// A command that is stuck until it is let go.
struct Stuck {
    std::promise<void> begun;
    std::promise<void> go;
    CommandQueue::Work work() {
        return [this] {
            begun.set_value();
            go.get_future().wait();
            return Status::Ok;
        };
    }
};

}  // namespace

class CommandQueueTest : public QObject {
    Q_OBJECT

private slots:
    void answersCome();
    void refusalComesAtOnce();
    void refusalEndsWaiting();
    void refusalReachesAllThatWait();
    void commandThatHasNotBegunIsWithdrawn();
    void stuckWorkerCostsNobodyTime();
    void occupiedCountsAsStuck();
    void progressDoesNotProlong();
    void lateIsDoneWhereTheWorkerGetsOn();
    void lateIsDroppedWhereTheWorkerIsStuck();
    void exceptionIsAFailure();
};

void CommandQueueTest::answersCome() {
    CommandQueue queue;
    const Worker worker(queue);
    std::vector<std::thread> callers;
    std::atomic<int> sum{0};
    for (int i = 0; i < 4; ++i) {
        callers.emplace_back([&] {
            for (int k = 0; k < 100; ++k) {
                // Commands run one after the other, so this needs no atomic.
                if (queue.call([] { return Status::WrongMode; }, kLong) == Status::WrongMode)
                    ++sum;
            }
        });
    }
    for (std::thread& caller : callers)
        caller.join();
    QCOMPARE(sum.load(), 400);
}

void CommandQueueTest::refusalComesAtOnce() {
    CommandQueue queue;  // nobody serves
    queue.refuse(Status::Disconnected);
    QCOMPARE(queue.call([] { return Status::Ok; }, kLong), Status::Disconnected);
    queue.refuse(Status::Ok);
    QCOMPARE(queue.call([] { return Status::Ok; }, kShort), Status::NoAnswer);
}

void CommandQueueTest::refusalEndsWaiting() {
    CommandQueue queue;
    const Worker worker(queue);
    Stuck stuck;
    auto first = std::async(std::launch::async, [&] { return queue.call(stuck.work(), kLong); });
    stuck.begun.get_future().wait();
    auto second =
        std::async(std::launch::async, [&] { return queue.call([] { return Status::Ok; }, kLong); });
    queue.refuse(Status::NotOpen);
    QCOMPARE(second.get(), Status::NotOpen);
    stuck.go.set_value();
    QCOMPARE(first.get(), Status::Ok);  // it had begun
}

void CommandQueueTest::refusalReachesAllThatWait() {
    CommandQueue queue;
    constexpr int kCallers = 8;
    std::atomic<int> callers{0};
    std::vector<std::future<Status>> answers;
    for (int i = 0; i < kCallers; ++i) {
        answers.push_back(std::async(std::launch::async, [&] {
            ++callers;
            return queue.call([] { return Status::Ok; }, kLong);
        }));
    }
    while (callers < kCallers)
        std::this_thread::yield();
    // Most of them wait by now; nobody who comes later would find anything else.
    queue.refuse(Status::Disconnected);
    for (auto& answer : answers)
        QCOMPARE(answer.get(), Status::Disconnected);
}

void CommandQueueTest::commandThatHasNotBegunIsWithdrawn() {
    CommandQueue queue;
    bool hasRun = false;
    const auto work = [&hasRun] {
        hasRun = true;
        return Status::Ok;
    };
    QCOMPARE(queue.call(work, kShort), Status::NoAnswer);
    QVERIFY(!queue.serve(Clock::now()));
    QVERIFY(!hasRun);
}

void CommandQueueTest::stuckWorkerCostsNobodyTime() {
    CommandQueue queue;
    const Worker worker(queue);
    Stuck stuck;
    QCOMPARE(queue.call(stuck.work(), kShort), Status::NoAnswer);
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 200; ++i)
        QCOMPARE(queue.call([] { return Status::Ok; }, kShort), Status::NoAnswer);
    QVERIFY2(timer.elapsed() < 200 * 50 / 2, qPrintable(QString::number(timer.elapsed())));
    stuck.go.set_value();
    QTRY_COMPARE(queue.call([] { return Status::Ok; }, kShort), Status::Ok);
}

void CommandQueueTest::occupiedCountsAsStuck() {
    CommandQueue queue;
    QElapsedTimer timer;
    timer.start();
    const CommandQueue::Occupied occupied(queue);
    // From its beginning on it has as long as a command.
    QCOMPARE(queue.call([] { return Status::Ok; }, kShort), Status::NoAnswer);
    QVERIFY(timer.elapsed() >= 50);
    timer.start();
    for (int i = 0; i < 200; ++i)
        QCOMPARE(queue.call([] { return Status::Ok; }, kShort), Status::NoAnswer);
    QVERIFY(timer.elapsed() < 200 * 50 / 2);
}

/// A caller waits no longer, whatever the worker does; what has begun is done.
void CommandQueueTest::progressDoesNotProlong() {
    CommandQueue queue;
    std::atomic<bool> isEnough{false};
    std::atomic<bool> isDone{false};
    const Worker worker(queue);
    const auto work = [&] {
        while (!isEnough) {
            queue.progress();
            std::this_thread::yield();
        }
        isDone = true;
        return Status::Ok;
    };
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(queue.call(work, kShort), Status::NoAnswer);
    QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
    QVERIFY(!isDone);
    isEnough = true;
    QTRY_VERIFY(isDone);
}

void CommandQueueTest::lateIsDoneWhereTheWorkerGetsOn() {
    CommandQueue queue;
    std::atomic<bool> isEnough{false};
    std::atomic<int> done{0};
    const Worker worker(queue);
    const auto work = [&] {
        while (!isEnough) {
            queue.progress();
            std::this_thread::yield();
        }
        return Status::Ok;
    };
    const auto next = [&] {
        ++done;
        return Status::Ok;
    };
    QCOMPARE(queue.call(work, kShort), Status::NoAnswer);
    QCOMPARE(queue.call(next, kShort, CommandQueue::Late::Dropped), Status::NoAnswer);
    QCOMPARE(queue.call(next, kShort, CommandQueue::Late::Done), Status::NoAnswer);
    isEnough = true;
    QCOMPARE(queue.call([] { return Status::Ok; }, kLong), Status::Ok);
    QCOMPARE(done.load(), 1);
}

void CommandQueueTest::lateIsDroppedWhereTheWorkerIsStuck() {
    CommandQueue queue;
    std::atomic<int> done{0};
    const Worker worker(queue);
    Stuck stuck;
    QCOMPARE(queue.call(stuck.work(), kShort), Status::NoAnswer);
    const auto next = [&] {
        ++done;
        return Status::Ok;
    };
    QCOMPARE(queue.call(next, 10ms, CommandQueue::Late::Done), Status::NoAnswer);
    stuck.go.set_value();
    QTRY_COMPARE(queue.call([] { return Status::Ok; }, kShort), Status::Ok);
    QCOMPARE(done.load(), 0);
}

void CommandQueueTest::exceptionIsAFailure() {
    CommandQueue queue;
    const Worker worker(queue);
    QCOMPARE(queue.call([]() -> Status { throw std::bad_alloc(); }, kLong), Status::DeviceFailure);
    QCOMPARE(queue.call([] { return Status::Ok; }, kLong), Status::Ok);
}

QTEST_APPLESS_MAIN(CommandQueueTest)

#include "tst_commandqueue.moc"
