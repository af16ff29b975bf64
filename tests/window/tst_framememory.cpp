// SPDX-License-Identifier: Apache-2.0
#include <QDeadlineTimer>
#include <QScopeGuard>
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

namespace {

constexpr size_t kSmallest = 1 << 20;  // bytes of a block that counts as a frame's
constexpr size_t kHeader = 16;         // keeps the alignment

std::atomic<qint64> blocks{0};      // alive
std::atomic<qint64> mostBlocks{0};  // that were alive together

void* allocate(size_t size) noexcept {
    auto* memory = static_cast<unsigned char*>(std::malloc(size + kHeader));
    if (!memory)
        return nullptr;
    *reinterpret_cast<size_t*>(memory) = size;
    if (size >= kSmallest) {
        const qint64 now = ++blocks;
        qint64 most = mostBlocks;
        while (now > most && !mostBlocks.compare_exchange_weak(most, now)) {
        }
    }
    return memory + kHeader;
}

void release(void* pointer) noexcept {
    if (!pointer)
        return;
    auto* memory = static_cast<unsigned char*>(pointer) - kHeader;
    if (*reinterpret_cast<size_t*>(memory) >= kSmallest)
        --blocks;
    std::free(memory);
}

}  // namespace

// Everything in this program that is made by new[] is counted here: the blocks of frames are.
void* operator new[](size_t size) {
    void* memory = allocate(size);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete[](void* pointer) noexcept {
    release(pointer);
}
void operator delete[](void* pointer, size_t) noexcept {
    release(pointer);
}
void operator delete[](void* pointer, const std::nothrow_t&) noexcept {
    release(pointer);
}

/// How many blocks of frames there are, whatever keeps the window from looking at them.
class TestFrameMemory : public QObject {
    Q_OBJECT

private slots:
    void busyWindow_data();
    void busyWindow();
    void nothingIsLeft();
};

void TestFrameMemory::busyWindow_data() {
    QTest::addColumn<int>("extraLength");
    QTest::newRow("frames") << 0;
    QTest::newRow("a library that announces more than the pixels take") << 3 * 2000 * 1500;
}

/// A frame that is overtaken is freed at once, while the GUI thread handles no event.
void TestFrameMemory::busyWindow() {
    QFETCH(int, extraLength);
    recording::Camera camera;
    camera.width = 2000;
    camera.height = 1500;
    camera.extraLength = extraLength;
    camera.queryDelay = 1;
    camera.serial = "SN0";
    recording::Camera other = camera;
    other.serial = "SN1";
    recording::reset({camera, other});
    const auto release = qScopeGuard([] { recording::releaseQueries(); });
    WindowUnderTest window;
    window.start();
    QVERIFY(window.waitForTiles(2));
    for (int round = 0; round < 3; ++round) {
        mostBlocks = blocks.load();
        recording::forgetCalls();
        const QDeadlineTimer limit(kWait);
        while (recording::callsOf(QStringLiteral("CameraQueryImage")).size() < 60 && !limit.hasExpired())
            QThread::msleep(1);
        QVERIFY(!limit.hasExpired());
        // Of each tile: one being filled, one overtaken a moment ago, the newest, and one that the window
        // has looked at.
        QVERIFY2(mostBlocks <= 2 * 4, qPrintable(QString::number(mostBlocks)));
        const auto shown = [&] { return window.tiles().first()->data(0).toULongLong(); };
        const quint64 before = shown();
        QTRY_VERIFY_WITH_TIMEOUT(shown() > before, kWait);
    }
}

void TestFrameMemory::nothingIsLeft() {
    const qint64 before = blocks;
    recording::Camera camera;
    camera.width = 2000;
    camera.height = 1500;
    camera.queryDelay = 1;
    recording::reset({camera});
    {
        WindowUnderTest window;
        window.start();
        QVERIFY(window.waitForTiles(1));
        recording::forgetCalls();
        const QDeadlineTimer limit(kWait);
        while (recording::callsOf(QStringLiteral("CameraQueryImage")).size() < 10 && !limit.hasExpired())
            QThread::msleep(1);
        QVERIFY(blocks > before);
    }
    QCOMPARE(blocks.load(), before);
}

QTEST_MAIN(TestFrameMemory)
#include "tst_framememory.moc"
