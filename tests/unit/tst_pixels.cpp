#include <QRgb>
#include <QtTest>
#include <memory>
#include <vector>

#include "platform/pixels.h"

/// The loops for one kind of processor.
class TestPixels : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void unpacked_data();
    void unpacked();
    void everyPixelAtTheEnds();
    void samePixelManyTimes();
};

void TestPixels::initTestCase() {
    if (!platform::hasUnpackRgbRuns())
        QSKIP("This processor has no such loop");
}

void TestPixels::unpacked_data() {
    QTest::addColumn<int>("behindFrom");  // bytes
    QTest::addColumn<int>("behindTo");    // px
    for (const int behindFrom : {0, 1, 3, 4, 15, 16, 40}) {
        for (const int behindTo : {0, 1, 2, 3, 4, 9})
            QTest::addRow("%d and %d", behindFrom, behindTo) << behindFrom << behindTo;
    }
}

/// In memory that ends where it is said to end (sanitizers watch it), and in the middle of other memory: what
/// lies behind the ends is not touched.
void TestPixels::unpacked() {
    QFETCH(int, behindFrom);
    QFETCH(int, behindTo);
    constexpr uint32_t kUntouched = 0x01020304U;
    constexpr int kBeyond = 32;
    for (int count = 0; count <= 70; ++count) {
        const size_t bytes = size_t(count) * 3 + size_t(behindFrom);
        const auto from = std::make_unique<unsigned char[]>(bytes);
        for (size_t i = 0; i < bytes; ++i)
            from[i] = uchar(i * 37 + 5);
        const size_t writable = size_t(count + behindTo);
        const auto exact = std::make_unique<uint32_t[]>(writable);
        std::vector<uint32_t> larger(writable + kBeyond, kUntouched);
        for (uint32_t* to : {exact.get(), larger.data()}) {
            const platform::PixelRun run{0, count};
            platform::unpackRgbRuns(from.get(), from.get() + bytes, &run, &run + 1, to, to + writable);
            for (int i = 0; i < count; ++i)
                QCOMPARE(to[i], qRgb(from[size_t(i) * 3], from[size_t(i) * 3 + 1], from[size_t(i) * 3 + 2]));
        }
        for (size_t i = writable; i < larger.size(); ++i)
            QCOMPARE(larger[i], kUntouched);
    }
}

/// Run after run into one row, as frames are corrected: a run's surplus is the next one's place.
void TestPixels::everyPixelAtTheEnds() {
    constexpr int kWidth = 64;
    const auto from = std::make_unique<unsigned char[]>(kWidth * 3);
    for (int i = 0; i < kWidth * 3; ++i)
        from[size_t(i)] = uchar(i * 11);
    for (int length = 1; length <= 9; ++length) {
        const auto to = std::make_unique<uint32_t[]>(kWidth);
        std::vector<platform::PixelRun> runs;
        for (int x = 0; x < kWidth; x += length)
            runs.push_back({x * 3, std::min(length, kWidth - x)});
        platform::unpackRgbRuns(from.get(), from.get() + kWidth * 3, runs.data(), runs.data() + runs.size(),
                                to.get(), to.get() + kWidth);
        for (size_t x = 0; x < kWidth; ++x)
            QCOMPARE(to[x], qRgb(from[x * 3], from[x * 3 + 1], from[x * 3 + 2]));
    }
}

/// As where the border is replicated, between runs of the other kind.
void TestPixels::samePixelManyTimes() {
    constexpr int kWidth = 21;
    const auto from = std::make_unique<unsigned char[]>(kWidth * 3);
    for (int i = 0; i < kWidth * 3; ++i)
        from[size_t(i)] = uchar(200 - i * 3);
    const std::vector<platform::PixelRun> runs{{0, -3}, {3, 5}, {60, -7}, {0, 2}, {57, -4}};
    std::vector<size_t> wanted;  // px of the picture
    for (const platform::PixelRun& run : runs) {
        for (int i = 0; i < std::abs(run.length); ++i)
            wanted.push_back(size_t(run.offset) / 3 + (run.length > 0 ? size_t(i) : 0));
    }
    QCOMPARE(wanted.size(), size_t(kWidth));
    const auto to = std::make_unique<uint32_t[]>(kWidth);
    platform::unpackRgbRuns(from.get(), from.get() + kWidth * 3, runs.data(), runs.data() + runs.size(),
                            to.get(), to.get() + kWidth);
    for (size_t x = 0; x < kWidth; ++x) {
        const unsigned char* pixel = from.get() + wanted[x] * 3;
        QCOMPARE(to[x], qRgb(pixel[0], pixel[1], pixel[2]));
    }
}

QTEST_APPLESS_MAIN(TestPixels)
#include "tst_pixels.moc"
