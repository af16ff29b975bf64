// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "calibration/smoothtable.h"
#include "support/noiseframe.h"
#include "support/somecorrections.h"

namespace {

using Shape = SmoothTable::Shape;

/// Nothing follows its last pixel.
struct Frame : NoiseFrame {
    Frame(QSize size, QImage::Format format, int padding, uint64_t seed)
        : NoiseFrame(size, format, padding, seed, false) {}
};

/// Both ways of working, with the library's; the table's mean run.
double compare(const Frame& frame, const PartMaps& maps) {
    cv::Mat wanted;
    cv::remap(frame.pixels, wanted, maps.x, maps.y, cv::INTER_LINEAR, cv::BORDER_REPLICATE, cv::Scalar(0));
    const SmoothTable table(maps, Shape::of(frame.image));
    [&] {
        QVERIFY(table.serves(Shape::of(frame.image)));
        QCOMPARE(table.pictureSize(), QSize(maps.x.cols, maps.x.rows));
        const int bytes = maps.x.cols * frame.pixels.channels();
        for (const auto code : {SmoothTable::Code::Best, SmoothTable::Code::Portable}) {
            for (const int padding : {0, 7}) {
                // In a block that ends with the picture, so that a sanitizer sees a byte too far.
                const int stride = bytes + padding;
                const auto block = std::make_unique<uchar[]>(size_t(stride) * size_t(maps.x.rows));
                QImage target(block.get(), maps.x.cols, maps.x.rows, stride, frame.image.format());
                table.apply(frame.image, target, code);
                for (int y = 0; y < maps.x.rows; ++y)
                    QVERIFY(std::memcmp(block.get() + y * stride, wanted.ptr(y), size_t(bytes)) == 0);
            }
        }
    }();
    return table.meanRun();
}

}  // namespace

/// The compiled form of maps for smooth correction, against the library's remap.
class TestSmoothTable : public QObject {
    Q_OBJECT

private slots:
    void isBilinear_data() { shapes(); }
    void isBilinear();
    void identity_data() { shapes(); }
    void identity();
    void turnedAndScaled_data();
    void turnedAndScaled();
    void everyFraction_data() { shapes(); }
    void everyFraction();
    void randomMaps_data() { shapes(); }
    void randomMaps();
    void farOutAndNoNumbers_data() { shapes(); }
    void farOutAndNoNumbers();
    void beyondTheFrame_data() { shapes(); }
    void beyondTheFrame();
    void mapsOfAnotherSize_data() { shapes(); }
    void mapsOfAnotherSize();
    void anyWidth_data() { shapes(); }
    void anyWidth();
    void manyBands_data() { shapes(); }
    void manyBands();
    void servesOnlyItsShape();
    void impossibleShapes_data();
    void impossibleShapes();

private:
    static void shapes();
    static QImage::Format format() {
        return QTest::currentDataTag()[0] == 'g' ? QImage::Format_Grayscale8 : QImage::Format_RGB888;
    }
};

void TestSmoothTable::shapes() {
    QTest::addColumn<int>("padding");
    for (const char* kind : {"grey", "colour"}) {
        for (const int padding : {0, 1, 5})
            QTest::newRow((QByteArray(kind) + ", padded by " + QByteArray::number(padding)).constData())
                << padding;
    }
}

/// By plain arithmetic, without the library: a place is known to 1/64 px, a pixel is rounded.
void TestSmoothTable::isBilinear() {
    QFETCH(int, padding);
    const QSize size(90, 60);
    const Frame frame(size, format(), padding, 9);
    const PartMaps maps = turned(size, 4, 1.03);
    const SmoothTable table(maps, Shape::of(frame.image));
    QImage target(table.pictureSize(), frame.image.format());
    table.apply(frame.image, target);
    const int channels = frame.pixels.channels();
    int inside = 0;
    for (int r = 0; r < size.height(); ++r) {
        for (int c = 0; c < size.width(); ++c) {
            const double x = qBound(0.0, double(maps.x.at<float>(r, c)), size.width() - 1.0);
            const double y = qBound(0.0, double(maps.y.at<float>(r, c)), size.height() - 1.0);
            const int left = std::min(int(x), size.width() - 2);
            const int top = std::min(int(y), size.height() - 2);
            const double right = x - left;
            const double below = y - top;
            for (int channel = 0; channel < channels; ++channel) {
                const auto at = [&](int dx, int dy) {
                    return double(frame.pixels.ptr(top + dy, left + dx)[channel]);
                };
                const double upper = (1 - right) * at(0, 0) + right * at(1, 0);
                const double lower = (1 - right) * at(0, 1) + right * at(1, 1);
                const double wanted = (1 - below) * upper + below * lower;
                const double most = (std::abs(at(1, 0) - at(0, 0)) + std::abs(at(1, 1) - at(0, 1)) +
                                     std::abs(lower - upper)) /
                                        64 +
                                    0.51;
                QVERIFY(std::abs(target.constScanLine(r)[c * channels + channel] - wanted) <= most);
            }
            inside += x > 0 && y > 0 && x < size.width() - 1 && y < size.height() - 1 ? 1 : 0;
        }
    }
    QVERIFY(inside > 4000);
}

/// Pixels that lie on the frame's own come as they are.
void TestSmoothTable::identity() {
    QFETCH(int, padding);
    const QSize size(97, 41);
    const Frame frame(size, format(), padding, 1);
    const PartMaps maps = mapsOf(size, [](int c, int r) { return cv::Point2f(float(c), float(r)); });
    // The last pixel of a row has none to the right: it is a run of its own.
    QCOMPARE(compare(frame, maps), 97.0 / 2);
    const SmoothTable table(maps, Shape::of(frame.image));
    QImage target(size, frame.image.format());
    table.apply(frame.image, target);
    QCOMPARE(target, frame.image);
}

void TestSmoothTable::turnedAndScaled_data() {
    QTest::addColumn<double>("degrees");
    QTest::addColumn<double>("scale");
    for (const char* kind : {"grey", "colour"}) {
        for (const double degrees : {0.0, 0.4, -3.0, 20.0, 45.0, 90.0, 180.0, 270.0}) {
            for (const double scale : {1.0, 0.5, 1.37, 3.0}) {
                const auto name =
                    QStringLiteral("%1 %2 degrees x %3").arg(QLatin1String(kind)).arg(degrees).arg(scale);
                QTest::newRow(name.toLatin1().constData()) << degrees << scale;
            }
        }
    }
}

void TestSmoothTable::turnedAndScaled() {
    QFETCH(double, degrees);
    QFETCH(double, scale);
    const QSize size(157, 93);
    const double meanRun = compare(Frame(size, format(), 3, 2), turned(size, degrees, scale));
    // Both forms are tried: runs, and pixel by pixel.
    if (degrees == 0.4 && scale == 1.0)
        QVERIFY(meanRun > 20);
    if (degrees == 90)
        QCOMPARE(meanRun, 0.0);
}

/// Places in quarters of what the library tells apart: however it rounds, also half way.
void TestSmoothTable::everyFraction() {
    QFETCH(int, padding);
    const QSize size(256, 130);
    const Frame frame(size, format(), padding, 5);
    compare(frame, mapsOf(size, [](int c, int r) {
                return cv::Point2f(float(c) + float(c % 128) / 128, float(r) + float(r % 128) / 128);
            }));
    compare(frame, mapsOf(size, [](int c, int r) {
                return cv::Point2f(float(c % 128) / 128 + 100, float(r % 128) / 128 + 60);
            }));
}

void TestSmoothTable::randomMaps() {
    QFETCH(int, padding);
    for (uint64_t seed = 1; seed <= 20; ++seed) {
        cv::RNG random(seed);
        const QSize size(random.uniform(2, 90), random.uniform(2, 60));
        const Frame frame(size, format(), padding, seed);
        PartMaps maps = mapsOf(size, [&](int, int) {
            return cv::Point2f(random.uniform(-20.0F, float(size.width()) + 20),
                               random.uniform(-20.0F, float(size.height()) + 20));
        });
        // Also pieces that make runs, with other fractions from pixel to pixel.
        for (int r = 0; r < size.height(); r += int(seed % 2) + 1) {
            for (int c = 1; c < size.width(); ++c) {
                if (random.uniform(0, 30) > 0) {
                    maps.x.at<float>(r, c) =
                        std::floor(maps.x.at<float>(r, c - 1)) + 1 + random.uniform(0.0F, 0.98F);
                    maps.y.at<float>(r, c) =
                        std::floor(maps.y.at<float>(r, c - 1)) + random.uniform(0.0F, 0.98F);
                }
            }
        }
        compare(frame, maps);
        if (QTest::currentTestFailed())
            return;
    }
}

void TestSmoothTable::farOutAndNoNumbers() {
    QFETCH(int, padding);
    const float infinity = std::numeric_limits<float>::infinity();
    const std::vector<float> odd{std::numeric_limits<float>::quiet_NaN(),
                                 infinity,
                                 -infinity,
                                 1e30F,
                                 -1e30F,
                                 2.2e9F,
                                 -2.2e9F,
                                 32766.5F,
                                 32767.5F,
                                 32768,
                                 40000,
                                 -32768.5F,
                                 -40000,
                                 -0.0F,
                                 1e-30F,
                                 -0.5F,
                                 -0.99F};
    const QSize size(70, 33);
    const Frame frame(size, format(), padding, 3);
    cv::RNG random(4);
    for (const bool isDense : {true, false}) {
        compare(frame, mapsOf(size, [&](int c, int r) {
                    cv::Point2f from{float(c), float(r)};
                    if (random.uniform(0, isDense ? 2 : 30) == 0)
                        from.x = odd[size_t(random.uniform(0, int(odd.size())))];
                    if (random.uniform(0, isDense ? 2 : 30) == 0)
                        from.y = odd[size_t(random.uniform(0, int(odd.size())))];
                    return from;
                }));
    }
}

/// The border goes on there, from whichever fraction of the last pixel.
void TestSmoothTable::beyondTheFrame() {
    QFETCH(int, padding);
    const QSize size(64, 40);
    const Frame frame(size, format(), padding, 6);
    for (const float dx : {-90.0F, -32.3F, -0.4F, 0.0F, 0.6F, 31.7F, 90.0F}) {
        for (const float dy : {-90.0F, -10.2F, 0.3F, 20.5F, 90.0F})
            compare(frame,
                    mapsOf(size, [=](int c, int r) { return cv::Point2f(float(c) + dx, float(r) + dy); }));
    }
}

void TestSmoothTable::mapsOfAnotherSize() {
    QFETCH(int, padding);
    const Frame frame({50, 40}, format(), padding, 7);
    for (const QSize size : {QSize(80, 20), QSize(30, 70), QSize(3, 3), QSize(1, 1)})
        compare(frame,
                mapsOf(size, [](int c, int r) { return cv::Point2f(float(c) * 0.9F, float(r) * 1.1F); }));
}

/// Whatever is left over when several pixels are made at a time.
void TestSmoothTable::anyWidth() {
    QFETCH(int, padding);
    for (int width = 2; width <= 140; ++width) {
        const Frame frame({width, 3}, format(), padding, uint64_t(width));
        compare(frame, mapsOf({width, 3},
                              [](int c, int r) { return cv::Point2f(float(c) + 0.3F, float(r) + 0.7F); }));
        if (QTest::currentTestFailed())
            return;
    }
}

/// High enough to be made by several threads; narrow enough that one's surplus would reach into the next's.
void TestSmoothTable::manyBands() {
    QFETCH(int, padding);
    for (const QSize size : {QSize(9, 2000), QSize(61, 1000)}) {
        const Frame frame(size, format(), padding, 8);
        for (int i = 0; i < 5; ++i)
            compare(frame, mapsOf(size, [=](int c, int r) {
                        return cv::Point2f(float(c) + 0.1F * float(i), float(r) + 0.4F);
                    }));
    }
}

void TestSmoothTable::servesOnlyItsShape() {
    const QSize size(20, 10);
    const Frame frame(size, QImage::Format_Grayscale8, 0, 1);
    const SmoothTable table(turned(size, 1, 1), Shape::of(frame.image));
    QVERIFY(table.serves(Shape::of(frame.image)));
    for (const Frame& other :
         {Frame({20, 11}, QImage::Format_Grayscale8, 0, 1), Frame({21, 10}, QImage::Format_Grayscale8, 0, 1),
          Frame(size, QImage::Format_Grayscale8, 4, 1), Frame(size, QImage::Format_RGB888, 0, 1)})
        QVERIFY(!table.serves(Shape::of(other.image)));
    QVERIFY(!SmoothTable().serves(Shape::of(frame.image)));
    QVERIFY(!SmoothTable().serves({}));
    QVERIFY(!SmoothTable(PartMaps(), Shape::of(frame.image)).serves(Shape::of(frame.image)));
}

void TestSmoothTable::impossibleShapes_data() {
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("bytesPerLine");
    QTest::addColumn<QImage::Format>("format");
    QTest::newRow("empty") << QSize(0, 0) << 0 << QImage::Format_Grayscale8;
    QTest::newRow("negative") << QSize(-4, 10) << 4 << QImage::Format_Grayscale8;
    QTest::newRow("one column") << QSize(1, 10) << 4 << QImage::Format_Grayscale8;
    QTest::newRow("one row") << QSize(10, 1) << 12 << QImage::Format_Grayscale8;
    QTest::newRow("another format") << QSize(20, 10) << 80 << QImage::Format_RGB32;
    QTest::newRow("too wide") << QSize(40000, 2) << 40000 << QImage::Format_Grayscale8;
    QTest::newRow("too high") << QSize(2, 40000) << 4 << QImage::Format_Grayscale8;
    QTest::newRow("more than an offset can say") << QSize(32000, 32000) << 96000 << QImage::Format_RGB888;
    QTest::newRow("rows shorter than their pixels") << QSize(20, 10) << 40 << QImage::Format_RGB888;
}

void TestSmoothTable::impossibleShapes() {
    QFETCH(QSize, size);
    QFETCH(int, bytesPerLine);
    QFETCH(QImage::Format, format);
    const Shape shape{size, bytesPerLine, format};
    QVERIFY(!SmoothTable(turned({20, 10}, 1, 1), shape).serves(shape));
}

QTEST_GUILESS_MAIN(TestSmoothTable)
#include "tst_smoothtable.moc"
