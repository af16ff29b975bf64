// SPDX-License-Identifier: Apache-2.0
// One camera's keeper by itself: what calls get that come too early, too late or while something fails.
#include <QtTest>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "fakecameras.h"
#include "keeper.h"
#include "privatenetwork.h"

using namespace kvgen;

namespace {

constexpr auto kLimit = std::chrono::seconds(60);
const QStringList kSmall{"--width", "320", "--height", "240", "--rate", "40"};

}  // namespace

class KeeperTest : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void knowsNothingBeforeItIsOpen();
    void whatItLacksIsNotWanted();
    void refusesAllWhenItHasEnded();
    void endsWhileCallsWait();
    void survivesWhatIsThrown();
    void pictureOfAnotherSizeIsNotTaken();

private:
    Keeper::Place place() {
        Keeper::Place result;
        result.found.address = fakes_->address(0).toLatin1();
        result.found.name = result.found.address;
        result.configuration.packetSize = 4000;
        result.tellSerial = [](const QByteArray&) {};
        result.owner = [] { return QByteArray("FAKE0001"); };
        return result;
    }
    std::shared_ptr<Keeper> start(const Keeper::Place& place) {
        keeper_ = Keeper::start(place, {}, nullptr);
        return keeper_;
    }
    static TimePoint limit() { return Clock::now() + kLimit; }
    /// Until a frame comes.
    Status query(int room = 320 * 240) {
        std::vector<uint8_t> pixels(static_cast<size_t>(std::max(room, 1)));
        int32_t length = room;
        return keeper_->query(pixels.data(), length, 1);
    }

    std::unique_ptr<FakeCameras> fakes_;
    std::shared_ptr<Keeper> keeper_;
};

void KeeperTest::init() {
    fakes_ = std::make_unique<FakeCameras>(1, kSmall);
    QCOMPARE(fakes_->start(), QString());
}

void KeeperTest::cleanup() {
    if (keeper_) {
        keeper_->end();
        QVERIFY(keeper_->waitUntilEnded(limit()));
    }
    keeper_.reset();
    fakes_.reset();
}

void KeeperTest::knowsNothingBeforeItIsOpen() {
    fakes_->kill(0);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("is not there \\(no answer from "));
    start(place());
    QVERIFY(!keeper_->waitUntilOpen(limit()));
    QSize size;
    QVector<QSize> sizes;
    std::optional<double> value;
    QCOMPARE(keeper_->frameSize(size), Status::Disconnected);
    QCOMPARE(keeper_->modes(sizes), Status::Disconnected);
    QCOMPARE(keeper_->get(Parameter::Gain, value), Status::Disconnected);
    QVERIFY(!value);
    QCOMPARE(keeper_->shoot(), Status::Disconnected);
    QCOMPARE(keeper_->setMode(0), Status::Disconnected);
    // What is wanted meanwhile is set when it is there.
    QCOMPARE(keeper_->set(Parameter::Gain, 64), Status::Disconnected);
    QCOMPARE(keeper_->setTimeout(20000), Status::Ok);
    QCOMPARE(fakes_->start(0), QString());
    QCOMPARE(query(), Status::Ok);
    QTRY_COMPARE_WITH_TIMEOUT(keeper_->get(Parameter::Gain, value), Status::Ok, 20000);
    QCOMPARE(value.value_or(0), 64.0);
}

/// Also where that was not known when it was wanted.
void KeeperTest::whatItLacksIsNotWanted() {
    fakes_->kill(0);
    fakes_->setOptions(0, {"--features", "bare,exposure"});
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("is not there \\(no answer from "));
    start(place());
    QVERIFY(!keeper_->waitUntilOpen(limit()));
    QCOMPARE(keeper_->setTimeout(20000), Status::Ok);
    for (const Parameter parameter : {Parameter::SnapMode, Parameter::Gain, Parameter::MirrorX})
        QCOMPARE(keeper_->set(parameter, 2), Status::Disconnected);
    QCOMPARE(keeper_->set(Parameter::Exposure, 500), Status::Disconnected);
    QCOMPARE(fakes_->start(0), QString());
    QCOMPARE(query(), Status::Ok);
    std::optional<double> value;
    QTRY_COMPARE_WITH_TIMEOUT(keeper_->get(Parameter::Exposure, value), Status::Ok, 20000);
    QCOMPARE(value.value_or(0), 500.0);
    for (const Parameter parameter : {Parameter::SnapMode, Parameter::Gain, Parameter::MirrorX}) {
        QTRY_COMPARE_WITH_TIMEOUT(keeper_->get(parameter, value), Status::Unsupported, 20000);
        QTRY_COMPARE_WITH_TIMEOUT(keeper_->set(parameter, 2), Status::Unsupported, 20000);
    }
}

void KeeperTest::refusesAllWhenItHasEnded() {
    start(place());
    QVERIFY(keeper_->waitUntilOpen(limit()));
    keeper_->end();
    QVERIFY(keeper_->waitUntilEnded(limit()));
    QSize size;
    QVector<QSize> sizes;
    std::optional<double> value;
    int timeout = 0;
    QCOMPARE(query(), Status::NotOpen);
    QCOMPARE(keeper_->frameSize(size), Status::NotOpen);
    QCOMPARE(keeper_->modes(sizes), Status::NotOpen);
    QCOMPARE(keeper_->timeout(timeout), Status::NotOpen);
    QCOMPARE(keeper_->setTimeout(100), Status::NotOpen);
    QCOMPARE(keeper_->get(Parameter::Gain, value), Status::NotOpen);
    QCOMPARE(keeper_->set(Parameter::Gain, 32), Status::NotOpen);
    QCOMPARE(keeper_->setMode(0), Status::NotOpen);
    QCOMPARE(keeper_->shoot(), Status::NotOpen);
    QCOMPARE(keeper_->load(1), Status::NotOpen);
    QCOMPARE(keeper_->save(1), Status::NotOpen);
    // It has been given back: the next one has it at once.
    start(place());
    QVERIFY(keeper_->waitUntilOpen(limit()));
}

/// None of them keeps the end back, or is kept by it.
void KeeperTest::endsWhileCallsWait() {
    Keeper::Place slow = place();
    slow.answerWithin = 60000;
    start(slow);
    QVERIFY(keeper_->waitUntilOpen(limit()));
    QCOMPARE(keeper_->setTimeout(60000), Status::Ok);
    fakes_->freeze(0);
    std::atomic<int> statusOfQuery{1};
    std::atomic<int> statusOfCall{1};
    std::thread asking([&] {
        Status status = Status::Ok;
        while (status == Status::Ok)
            status = query();
        statusOfQuery = static_cast<int>(status);
    });
    std::thread setting([&] { statusOfCall = static_cast<int>(keeper_->set(Parameter::Exposure, 500)); });
    QTest::qWait(50);
    const TimePoint begin = Clock::now();
    keeper_->end();
    asking.join();
    setting.join();
    const auto elapsed = Clock::now() - begin;
    fakes_->thaw(0);
    QCOMPARE(statusOfQuery.load(), static_cast<int>(Status::NotOpen));
    // Before the end the camera may have been missed.
    QVERIFY2(statusOfCall == static_cast<int>(Status::NotOpen) ||
                 statusOfCall == static_cast<int>(Status::Disconnected) || statusOfCall == 0,
             qPrintable(QString::number(statusOfCall)));
    QVERIFY(elapsed < std::chrono::seconds(50));
}

/// Whatever it is, the camera is taken back.
void KeeperTest::survivesWhatIsThrown() {
    // The keeper may outlive this function.
    const auto told = std::make_shared<std::atomic<int>>(0);
    Keeper::Place throwing = place();
    throwing.tellSerial = [told](const QByteArray&) {
        if (++*told < 3)
            throw std::runtime_error("out of something");
    };
    start(throwing);
    QCOMPARE(keeper_->setTimeout(60000), Status::Ok);
    QCOMPARE(query(), Status::Ok);
    QVERIFY(*told >= 3);
}

void KeeperTest::pictureOfAnotherSizeIsNotTaken() {
    // Just opened, the keeper is busy with what it finds out about the camera.
    Keeper::Place slow = place();
    slow.answerWithin = 60000;
    start(slow);
    QVERIFY(keeper_->waitUntilOpen(limit()));
    QCOMPARE(keeper_->setTimeout(20000), Status::Ok);
    QCOMPARE(query(320 * 240 - 1), Status::BufferTooSmall);
    QCOMPARE(query(), Status::Ok);
    QCOMPARE(keeper_->setMode(99), Status::BadArgument);
    QCOMPARE(query(), Status::Ok);
}

CAMERA_TEST_MAIN(KeeperTest)
#include "tst_keeper.moc"
