// SPDX-License-Identifier: Apache-2.0
// Before Qt, whose "signals" is a name in it.
#include <arv.h>

#include <QtTest>

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "framequeue.h"
#include "streamedcamera.h"

using namespace kvgen;
using namespace std::chrono_literals;

namespace {

constexpr int kLimit = 20000;  // ms, of every wait
constexpr int kBuffers = 4;

/// A network of this process's own, with nothing but loopback. Where the system does not allow it, the test
/// makes do with the machine's.
void takeOwnNetwork() {
    if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
        return;
    const int control = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    qstrncpy(request.ifr_name, "lo", sizeof request.ifr_name);
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    ioctl(control, SIOCSIFFLAGS, &request);
    close(control);
}

int idOf(ArvBuffer* buffer) {
    return static_cast<int>(arv_buffer_get_frame_id(buffer));
}

/// 16 bits, and 0 is left out.
int idAfter(int id) {
    return id == 65535 ? 1 : id + 1;
}

/// The fake camera's picture is the same along every falling diagonal, and another in the next frame.
bool isWhole(ArvBuffer* buffer) {
    const auto frame = rawFrameOf(buffer);
    if (!frame || frame->layout != Layout::Mono)
        return false;
    for (int y = 1; y < frame->height; ++y) {
        const uint8_t* row = frame->data + static_cast<ptrdiff_t>(y) * frame->width;
        if (std::memcmp(row, row - frame->width + 1, static_cast<size_t>(frame->width) - 1) != 0)
            return false;
    }
    return true;
}

/// Takes all that waits and gives it back; the ids.
std::vector<int> drained(FrameQueue& queue) {
    std::vector<int> ids;
    while (ArvBuffer* buffer = queue.take(Clock::now())) {
        ids.push_back(idOf(buffer));
        queue.giveBack(buffer);
    }
    return ids;
}

bool areInARow(const std::vector<int>& ids) {
    for (size_t i = 1; i < ids.size(); ++i) {
        if (ids[i] != idAfter(ids[i - 1]))
            return false;
    }
    return true;
}

}  // namespace

/// Frames between Aravis's stream thread and who queries.
class TestFrameQueue : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void newestWaits();
    void triggeredOnesAllWait();
    void triggeredOnesDoNotStarveTheStream();
    void losesNothingAndPassesTheWrap();
    void aTakenFrameStaysAsItIs();
    void takesFramesThatAreOurs_data();
    void takesFramesThatAreOurs();
    void tooLargeOnesAreForeign();
    void incompleteOnesAreCounted();
    void understandsNoEmptyBuffer();
    void clearGivesUpWhatWaits();
    void leavingTriggeredModeKeepsTheNewest();
    void knowsWhenTheLastOneCame();
    void waitsUntilTheDeadline();
    void wakes();
    void wakesAll();
    void wakesWhoComesLater();
    void aFrameIsNoWake();
    void detachedOnesAreOnlyLetGo();
    void noFrameOfTheOldStream();
    void detachesFromUnderCallbacks();
    void doesWithoutAStream();
};

void TestFrameQueue::initTestCase() {
    arv_enable_interface("Fake");
    // Leaves the network alone.
    arv_disable_interface("GigEVision");
    arv_disable_interface("USB3Vision");
}

void TestFrameQueue::newestWaits() {
    FrameQueue queue;
    FakeCamera camera(queue);
    queue.attach(camera.stream(), camera.payload(), kBuffers);
    const int early = camera.missed();
    QTRY_VERIFY_WITH_TIMEOUT(queue.counts().good >= 10, kLimit);
    camera.stop();
    const FrameQueue::Counts counts = queue.counts();
    QCOMPARE(counts.overtaken, counts.good - 1);
    QCOMPARE(counts.foreign, uint64_t(0));
    QCOMPARE(counts.incomplete, uint64_t(0));
    ArvBuffer* buffer = queue.take(Clock::now());
    QVERIFY(buffer);
    QVERIFY(isWhole(buffer));
    const int newest = idOf(buffer);
    queue.giveBack(buffer);
    QVERIFY(!queue.take(Clock::now()));
    QCOMPARE(camera.fillable(), kBuffers);
    QCOMPARE(camera.missed(), early);
    // The next one that comes follows it, so it was the newest.
    queue.setKeepsAll(true);
    camera.start();
    buffer = queue.take(Clock::now() + std::chrono::milliseconds(kLimit));
    QVERIFY(buffer);
    QCOMPARE(idOf(buffer), idAfter(newest));
    queue.giveBack(buffer);
    queue.detach();
}

void TestFrameQueue::triggeredOnesAllWait() {
    FrameQueue queue;
    queue.setKeepsAll(true);
    FakeCamera camera(queue);
    queue.attach(camera.stream(), camera.payload(), kBuffers);
    const int early = camera.missed();
    // More than there were buffers.
    QTRY_VERIFY_WITH_TIMEOUT(queue.counts().good >= 8, kLimit);
    camera.stop();
    const auto came = std::min<size_t>(queue.counts().good, FrameQueue::kMostWaiting);
    const std::vector<int> ids = drained(queue);
    QCOMPARE(ids.size(), came);
    QVERIFY(areInARow(ids));
    QCOMPARE(camera.missed(), early);
    queue.detach();
}

void TestFrameQueue::triggeredOnesDoNotStarveTheStream() {
    FrameQueue queue;
    queue.setKeepsAll(true);
    FakeCamera camera(queue);
    queue.attach(camera.stream(), camera.payload(), kBuffers);
    const int early = camera.missed();
    QTRY_VERIFY_WITH_TIMEOUT(queue.counts().good >= 40, kLimit);
    camera.stop();
    QCOMPARE(camera.missed(), early);
    QVERIFY(camera.fillable() >= kBuffers / 2);
    const FrameQueue::Counts counts = queue.counts();
    QCOMPARE(counts.overtaken, counts.good - FrameQueue::kMostWaiting);
    const std::vector<int> ids = drained(queue);
    QCOMPARE(ids.size(), FrameQueue::kMostWaiting);
    QVERIFY(areInARow(ids));
    // The memory that they took is given up again.
    QCOMPARE(camera.fillable(), kBuffers);
    // The newest are those that were kept.
    camera.start();
    ArvBuffer* buffer = queue.take(Clock::now() + std::chrono::milliseconds(kLimit));
    QVERIFY(buffer);
    QCOMPARE(idOf(buffer), idAfter(ids.back()));
    queue.giveBack(buffer);
    queue.detach();
}

// The fake camera's ids begin a little before the wrap.
void TestFrameQueue::losesNothingAndPassesTheWrap() {
    FrameQueue queue;
    queue.setKeepsAll(true);
    FakeCamera camera(queue);
    queue.attach(camera.stream(), camera.payload(), kBuffers);
    std::vector<int> ids;
    std::thread taker([&] {
        while (ids.size() < 250) {
            ArvBuffer* buffer = queue.take(Clock::now() + std::chrono::milliseconds(kLimit));
            if (!buffer || !isWhole(buffer))
                break;
            ids.push_back(idOf(buffer));
            queue.giveBack(buffer);
        }
    });
    taker.join();
    queue.detach();
    QCOMPARE(ids.size(), size_t(250));
    QVERIFY(ids.back() < ids.front());
    // On a machine that holds the taker up for long, the oldest make room.
    if (queue.counts().overtaken == 0)
        QVERIFY(areInARow(ids));
}

void TestFrameQueue::aTakenFrameStaysAsItIs() {
    FrameQueue queue;
    FakeCamera camera(queue);
    queue.attach(camera.stream(), camera.payload(), kBuffers);
    const int early = camera.missed();
    ArvBuffer* buffer = queue.take(Clock::now() + std::chrono::milliseconds(kLimit));
    QVERIFY(buffer);
    const auto frame = rawFrameOf(buffer);
    QVERIFY(frame);
    QCOMPARE(frame->width, 64);
    QCOMPARE(frame->height, int(FakeCamera::kHeight));
    QCOMPARE(frame->padding, 0);
    const std::vector<uint8_t> before(frame->data, frame->data + frame->size);
    const int id = idOf(buffer);
    const uint64_t seen = queue.counts().good;
    QTRY_VERIFY_WITH_TIMEOUT(queue.counts().good >= seen + 20, kLimit);
    QVERIFY(std::equal(before.begin(), before.end(), frame->data));
    QCOMPARE(idOf(buffer), id);
    QCOMPARE(camera.missed(), early);
    queue.giveBack(buffer);
    queue.detach();
}

void TestFrameQueue::takesFramesThatAreOurs_data() {
    QTest::addColumn<uint>("format");
    QTest::addColumn<bool>("isOurs");
    QTest::newRow("Mono8") << uint(ARV_PIXEL_FORMAT_MONO_8) << true;
    QTest::newRow("RGB8") << uint(ARV_PIXEL_FORMAT_RGB_8_PACKED) << true;
    QTest::newRow("BayerGR8") << uint(ARV_PIXEL_FORMAT_BAYER_GR_8) << true;
    QTest::newRow("BayerBG8") << uint(ARV_PIXEL_FORMAT_BAYER_BG_8) << true;
    QTest::newRow("Mono16") << uint(ARV_PIXEL_FORMAT_MONO_16) << false;
}

void TestFrameQueue::takesFramesThatAreOurs() {
    QFETCH(uint, format);
    QFETCH(bool, isOurs);
    FrameQueue queue;
    FakeCamera camera(queue, 64, format);
    queue.attach(camera.stream(), camera.payload(), kBuffers);
    const auto count = [&] { return isOurs ? queue.counts().good : queue.counts().foreign; };
    // More than there are buffers, so they go back.
    QTRY_VERIFY_WITH_TIMEOUT(count() > 2 * kBuffers, kLimit);
    camera.stop();
    QCOMPARE(isOurs ? queue.counts().foreign : queue.counts().good, uint64_t(0));
    QVERIFY(queue.lastArrival() != TimePoint::min());
    ArvBuffer* buffer = queue.take(Clock::now());
    QCOMPARE(buffer != nullptr, isOurs);
    if (buffer)
        QVERIFY(rawFrameOf(buffer)->layout == layoutOf(format));
    queue.giveBack(buffer);
    QCOMPARE(camera.fillable(), kBuffers);
    queue.detach();
}

void TestFrameQueue::tooLargeOnesAreForeign() {
    FrameQueue queue;
    FakeCamera camera(queue);
    queue.attach(camera.stream(), camera.payload() - 1, kBuffers);
    QTRY_VERIFY_WITH_TIMEOUT(queue.counts().foreign > 2 * kBuffers, kLimit);
    QCOMPARE(queue.counts().good, uint64_t(0));
    QVERIFY(!queue.take(Clock::now()));
    queue.detach();
}

void TestFrameQueue::incompleteOnesAreCounted() {
    ArvGvFakeCamera* fake = nullptr;
    // Where the network is not this process's own, another fake camera may have the port.
    const auto runs = [&] {
        g_clear_object(&fake);
        fake = arv_gv_fake_camera_new("127.0.0.1", "LOSSY");
        return arv_gv_fake_camera_is_running(fake) != FALSE;
    };
    QTRY_VERIFY_WITH_TIMEOUT(runs(), kLimit);
    g_object_set(fake, "gvsp-lost-ratio", 0.3, nullptr);
    ArvFakeCamera* memory = arv_gv_fake_camera_get_fake_camera(fake);
    arv_fake_camera_write_register(memory, ARV_FAKE_CAMERA_REGISTER_ACQUISITION_FRAME_PERIOD_US, 10000);
    arv_enable_interface("GigEVision");
    GError* error = nullptr;
    ArvCamera* camera = arv_camera_new("127.0.0.1", &error);
    arv_disable_interface("GigEVision");
    QVERIFY2(camera, error ? error->message : "");
    arv_camera_set_region(camera, 0, 0, 64, FakeCamera::kHeight, nullptr);
    arv_camera_gv_set_packet_size(camera, 1400, nullptr);

    FrameQueue queue;
    ArvStream* stream = arv_camera_create_stream(camera, takeCallback, &queue, nullptr);
    QVERIFY(stream);
    g_object_set(stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size", 1 << 20,
                 "packet-resend", ARV_GV_STREAM_PACKET_RESEND_NEVER, "frame-retention", 20000, nullptr);
    queue.attach(stream, arv_camera_get_payload(camera, nullptr), 8);
    arv_camera_start_acquisition(camera, nullptr);
    const auto hasBoth = [&] { return queue.counts().incomplete >= 10 && queue.counts().good >= 3; };
    QTRY_VERIFY_WITH_TIMEOUT(hasBoth(), kLimit);
    ArvBuffer* buffer = queue.take(Clock::now() + std::chrono::milliseconds(kLimit));
    QVERIFY(buffer);
    QVERIFY(isWhole(buffer));
    queue.giveBack(buffer);
    QCOMPARE(queue.counts().foreign, uint64_t(0));
    arv_camera_stop_acquisition(camera, nullptr);
    queue.detach();
    g_clear_object(&stream);
    g_clear_object(&camera);
    g_clear_object(&fake);
}

void TestFrameQueue::understandsNoEmptyBuffer() {
    ArvBuffer* buffer = arv_buffer_new_allocate(64 * FakeCamera::kHeight);
    QVERIFY(!rawFrameOf(buffer));
    g_object_unref(buffer);
}

void TestFrameQueue::clearGivesUpWhatWaits() {
    FrameQueue queue;
    queue.setKeepsAll(true);
    FakeCamera camera(queue);
    queue.attach(camera.stream(), camera.payload(), kBuffers);
    QTRY_VERIFY_WITH_TIMEOUT(queue.counts().good >= 6, kLimit);
    camera.stop();
    const uint64_t overtaken = queue.counts().overtaken;
    queue.clear();
    QVERIFY(!queue.take(Clock::now()));
    QCOMPARE(queue.counts().overtaken, overtaken);
    QCOMPARE(camera.fillable(), kBuffers);
    queue.detach();
}

void TestFrameQueue::leavingTriggeredModeKeepsTheNewest() {
    FrameQueue queue;
    queue.setKeepsAll(true);
    FakeCamera camera(queue);
    queue.attach(camera.stream(), camera.payload(), kBuffers);
    QTRY_VERIFY_WITH_TIMEOUT(queue.counts().good >= 6, kLimit);
    camera.stop();
    queue.setKeepsAll(false);
    QCOMPARE(queue.counts().overtaken, queue.counts().good - 1);
    const std::vector<int> ids = drained(queue);
    QCOMPARE(ids.size(), size_t(1));
    queue.setKeepsAll(true);
    camera.start();
    ArvBuffer* buffer = queue.take(Clock::now() + std::chrono::milliseconds(kLimit));
    QVERIFY(buffer);
    QCOMPARE(idOf(buffer), idAfter(ids.front()));
    queue.giveBack(buffer);
    queue.detach();
}

void TestFrameQueue::knowsWhenTheLastOneCame() {
    FrameQueue queue;
    QVERIFY(queue.lastArrival() == TimePoint::min());
    FakeCamera camera(queue);
    const TimePoint before = Clock::now();
    queue.attach(camera.stream(), camera.payload(), kBuffers);
    QTRY_VERIFY_WITH_TIMEOUT(queue.counts().good >= 2, kLimit);
    camera.stop();
    const TimePoint arrival = queue.lastArrival();
    QVERIFY(arrival >= before);
    QVERIFY(arrival <= Clock::now());
    queue.detach();
    FakeCamera next(queue);
    next.stop();
    queue.attach(next.stream(), next.payload(), kBuffers);
    QVERIFY(queue.lastArrival() == TimePoint::min());
    queue.detach();
}

void TestFrameQueue::waitsUntilTheDeadline() {
    FrameQueue queue;
    const TimePoint deadline = Clock::now() + 60ms;
    QVERIFY(!queue.take(deadline));
    QVERIFY(Clock::now() >= deadline);
    QVERIFY(!queue.take(TimePoint::min()));
}

void TestFrameQueue::wakes() {
    FrameQueue queue;
    std::atomic<bool> ended{false};
    std::thread taker([&] {
        queue.take(TimePoint::max());
        ended = true;
    });
    queue.wake();
    QTRY_VERIFY_WITH_TIMEOUT(ended, kLimit);
    taker.join();
}

void TestFrameQueue::wakesAll() {
    FrameQueue queue;
    std::atomic<int> waiting{0};
    std::atomic<int> ended{0};
    std::vector<std::thread> takers;
    for (int i = 0; i < 3; ++i) {
        takers.emplace_back([&] {
            ++waiting;
            queue.take(Clock::now() + std::chrono::milliseconds(kLimit));
            ++ended;
        });
    }
    QTRY_COMPARE_WITH_TIMEOUT(waiting.load(), 3, kLimit);
    // Whoever is a step from waiting needs another one.
    const auto all = [&] {
        queue.wake();
        return ended == 3;
    };
    QTRY_VERIFY_WITH_TIMEOUT(all(), kLimit / 2);
    for (std::thread& taker : takers)
        taker.join();
}

void TestFrameQueue::wakesWhoComesLater() {
    FrameQueue queue;
    queue.wake();
    const TimePoint begin = Clock::now();
    QVERIFY(!queue.take(begin + std::chrono::milliseconds(kLimit)));
    QVERIFY(Clock::now() < begin + std::chrono::milliseconds(kLimit));
    // Once.
    const TimePoint deadline = Clock::now() + 30ms;
    QVERIFY(!queue.take(deadline));
    QVERIFY(Clock::now() >= deadline);
}

// What waits is handed out all the same.
void TestFrameQueue::aFrameIsNoWake() {
    FrameQueue queue;
    FakeCamera camera(queue);
    queue.attach(camera.stream(), camera.payload(), kBuffers);
    QTRY_VERIFY_WITH_TIMEOUT(queue.counts().good >= 1, kLimit);
    camera.stop();
    queue.wake();
    ArvBuffer* buffer = queue.take(Clock::now());
    QVERIFY(buffer);
    queue.giveBack(buffer);
    queue.detach();
}

void TestFrameQueue::detachedOnesAreOnlyLetGo() {
    FrameQueue queue;
    FakeCamera first(queue);
    queue.attach(first.stream(), first.payload(), kBuffers);
    ArvBuffer* buffer = queue.take(Clock::now() + std::chrono::milliseconds(kLimit));
    QVERIFY(buffer);
    queue.detach();
    QVERIFY(!queue.take(Clock::now()));
    first.stop();
    FakeCamera second(queue);
    second.stop();
    queue.attach(second.stream(), second.payload(), kBuffers);
    QCOMPARE(second.fillable(), kBuffers);
    // The pixels are the taker's as long as it has them.
    QVERIFY(isWhole(buffer));
    gpointer watched = buffer;
    g_object_add_weak_pointer(G_OBJECT(buffer), &watched);
    queue.giveBack(buffer);
    QVERIFY(!watched);
    QCOMPARE(second.fillable(), kBuffers);
    queue.detach();
}

// The old stream runs on, and so do its callbacks.
void TestFrameQueue::noFrameOfTheOldStream() {
    FrameQueue queue;
    queue.setKeepsAll(true);
    FakeCamera first(queue, 64);
    queue.attach(first.stream(), first.payload(), 16);
    QTRY_VERIFY_WITH_TIMEOUT(queue.counts().good >= 4, kLimit);
    FakeCamera second(queue, 128);
    queue.attach(second.stream(), second.payload(), kBuffers);
    for (int i = 0; i < 30; ++i) {
        ArvBuffer* buffer = queue.take(Clock::now() + std::chrono::milliseconds(kLimit));
        QVERIFY(buffer);
        QCOMPARE(rawFrameOf(buffer)->width, 128);
        QVERIFY(isWhole(buffer));
        queue.giveBack(buffer);
    }
    queue.detach();
    const uint64_t good = queue.counts().good;
    first.stop();
    second.stop();
    QCOMPARE(queue.counts().good, good);
    QVERIFY(!queue.take(Clock::now()));
}

void TestFrameQueue::detachesFromUnderCallbacks() {
    FrameQueue queue;
    std::atomic<bool> stops{false};
    std::atomic<int> taken{0};
    std::atomic<int> torn{0};
    std::thread taker([&] {
        while (!stops) {
            ArvBuffer* buffer = queue.take(Clock::now() + 50ms);
            if (!buffer)
                continue;
            ++taken;
            if (!isWhole(buffer))
                ++torn;
            queue.giveBack(buffer);
        }
    });
    bool all = true;
    for (int round = 0; round < 30 && all; ++round) {
        FakeCamera camera(queue, 64 + 4 * round);
        queue.setKeepsAll(round % 2 != 0);
        queue.attach(camera.stream(), camera.payload(), kBuffers);
        const int before = taken;
        all = QTest::qWaitFor([&] { return taken >= before + 3; }, kLimit);
        if (round % 3 == 0)
            queue.clear();
        // The stream runs, and ends after this.
        queue.detach();
    }
    stops = true;
    queue.wake();
    taker.join();
    QVERIFY(all);
    QCOMPARE(torn.load(), 0);
}

void TestFrameQueue::doesWithoutAStream() {
    FrameQueue queue;
    FrameQueue::callback(&queue, ARV_STREAM_CALLBACK_TYPE_BUFFER_DONE, nullptr);
    queue.clear();
    queue.setKeepsAll(true);
    queue.setKeepsAll(false);
    queue.detach();
    queue.giveBack(nullptr);
    ArvBuffer* buffer = arv_buffer_new_allocate(16);
    queue.giveBack(buffer);
    QCOMPARE(queue.counts().good, uint64_t(0));
}

int main(int argc, char** argv) {
    // Before there are threads.
    takeOwnNetwork();
    QCoreApplication app(argc, argv);
    TestFrameQueue test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_framequeue.moc"
