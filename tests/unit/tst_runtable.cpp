// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "calibration/runtable.h"
#include "support/noiseframe.h"
#include "support/somecorrections.h"

namespace {

/// Both into memory of exactly the picture's size and into a part of a larger picture, whose other pixels
/// stay.
void compare(const NoiseFrame& frame, const cv::Mat& mapX, const cv::Mat& mapY, const QRect& crop,
             double* meanRun = nullptr) {
    const RunTable table(mapX, mapY, crop, RunTable::Shape::of(frame.image));
    QVERIFY(table.serves(RunTable::Shape::of(frame.image)));
    QCOMPARE(table.pictureSize(), crop.size());
    cv::Mat remapped;
    cv::remap(frame.pixels, remapped, mapX, mapY, cv::INTER_NEAREST, cv::BORDER_REPLICATE, cv::Scalar(0));
    const size_t rowBytes = size_t(crop.width()) * remapped.elemSize();
    const size_t pixelOfCrop = size_t(crop.x()) * remapped.elemSize();
    for (const size_t between : {0, 1, 150}) {
        constexpr uchar kUntouched = 0xa5;
        const size_t stride = rowBytes + between;
        const size_t bytes = stride * size_t(crop.height()) - between;
        const auto block = std::make_unique<uchar[]>(bytes);
        std::memset(block.get(), kUntouched, bytes);
        QImage target(block.get(), crop.width(), crop.height(), int(stride), frame.image.format());
        table.apply(frame.image, target);
        QCOMPARE(static_cast<const uchar*>(target.constBits()), static_cast<const uchar*>(block.get()));
        for (size_t y = 0; y < size_t(crop.height()); ++y) {
            const uchar* line = block.get() + y * stride;
            QVERIFY(std::memcmp(line, remapped.ptr(crop.y() + int(y)) + pixelOfCrop, rowBytes) == 0);
            if (y + 1 < size_t(crop.height()))
                QVERIFY(std::all_of(line + rowBytes, line + stride,
                                    [](uchar byte) { return byte == kUntouched; }));
        }
    }
    if (meanRun)
        *meanRun = table.meanRun();
}

}  // namespace

/// The compiled form of maps and crop, against the library's remap.
class TestRunTable : public QObject {
    Q_OBJECT

private slots:
    void identity_data() { shapes(); }
    void identity();
    void turnedAndScaled_data();
    void turnedAndScaled();
    void randomMaps_data() { shapes(); }
    void randomMaps();
    void farOutAndNoNumbers_data() { shapes(); }
    void farOutAndNoNumbers();
    void halves_data() { shapes(); }
    void halves();
    void constantMaps_data() { shapes(); }
    void constantMaps();
    void mapsOfAnotherSize_data() { shapes(); }
    void mapsOfAnotherSize();
    void cropEdges_data() { shapes(); }
    void cropEdges();
    void anyWidth_data() { shapes(); }
    void anyWidth();
    void servesOnlyItsShape();
    void impossibleShapes_data();
    void impossibleShapes();

private:
    static void shapes();
    static QImage::Format format() {
        return QTest::currentDataTag()[0] == 'g' ? QImage::Format_Grayscale8 : QImage::Format_RGB888;
    }
};

void TestRunTable::shapes() {
    QTest::addColumn<int>("padding");
    for (const char* kind : {"grey", "colour"}) {
        for (const int padding : {0, 1, 5})
            QTest::newRow((QByteArray(kind) + ", padded by " + QByteArray::number(padding)).constData())
                << padding;
    }
}

void TestRunTable::identity() {
    QFETCH(int, padding);
    const QSize size(97, 41);
    const NoiseFrame frame(size, format(), padding, 1);
    const PartMaps maps = mapsOf(size, [](int c, int r) { return cv::Point2f(float(c), float(r)); });
    double meanRun = 0;
    compare(frame, maps.x, maps.y, {QPoint(), size}, &meanRun);
    QCOMPARE(meanRun, 97.0);  // a run ends with its row, also where the rows of the frame follow each other
}

void TestRunTable::turnedAndScaled_data() {
    QTest::addColumn<int>("padding");
    QTest::addColumn<double>("degrees");
    QTest::addColumn<double>("scale");
    for (const char* kind : {"grey", "colour"}) {
        for (const double degrees : {0.0, 0.4, -3.0, 20.0, 45.0, 90.0, 180.0, 270.0}) {
            for (const double scale : {1.0, 0.5, 1.37, 3.0}) {
                const auto name =
                    QStringLiteral("%1 %2 degrees x %3").arg(QLatin1String(kind)).arg(degrees).arg(scale);
                QTest::newRow(name.toLatin1().constData()) << 3 << degrees << scale;
            }
        }
    }
}

void TestRunTable::turnedAndScaled() {
    QFETCH(int, padding);
    QFETCH(double, degrees);
    QFETCH(double, scale);
    const QSize size(157, 93);
    const NoiseFrame frame(size, format(), padding, 2);
    const PartMaps maps = turned(size, degrees, scale);
    compare(frame, maps.x, maps.y, {11, 7, 130, 80});
}

void TestRunTable::randomMaps() {
    QFETCH(int, padding);
    for (uint64_t seed = 1; seed <= 20; ++seed) {
        cv::RNG random(seed);
        const QSize size(random.uniform(1, 90), random.uniform(1, 60));
        const NoiseFrame frame(size, format(), padding, seed);
        PartMaps maps = mapsOf(size, [](int, int) { return cv::Point2f(); });
        random.fill(maps.x, cv::RNG::UNIFORM, -20.0, size.width() + 20.0);
        random.fill(maps.y, cv::RNG::UNIFORM, -20.0, size.height() + 20.0);
        // Also pieces that make runs.
        for (int r = 0; r < size.height(); r += 2) {
            for (int c = 1; c < size.width(); ++c) {
                if (random.uniform(0, 10) > 0) {
                    maps.x.at<float>(r, c) = maps.x.at<float>(r, c - 1) + 1;
                    maps.y.at<float>(r, c) = maps.y.at<float>(r, c - 1);
                }
            }
        }
        compare(frame, maps.x, maps.y, {QPoint(), size});
        if (QTest::currentTestFailed())
            return;
    }
}

void TestRunTable::farOutAndNoNumbers() {
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
                                 -0.51F};
    const QSize size(70, 33);
    const NoiseFrame frame(size, format(), padding, 3);
    cv::RNG random(4);
    for (const bool isDense : {true, false}) {
        const PartMaps maps = mapsOf(size, [&](int c, int r) {
            cv::Point2f from{float(c), float(r)};
            if (random.uniform(0, isDense ? 2 : 30) == 0)
                from.x = odd[size_t(random.uniform(0, int(odd.size())))];
            if (random.uniform(0, isDense ? 2 : 30) == 0)
                from.y = odd[size_t(random.uniform(0, int(odd.size())))];
            return from;
        });
        compare(frame, maps.x, maps.y, {QPoint(), size});
    }
}

/// Half way between two pixels: whatever way the library rounds.
void TestRunTable::halves() {
    QFETCH(int, padding);
    const QSize size(120, 50);
    const NoiseFrame frame(size, format(), padding, 5);
    const PartMaps plain =
        mapsOf(size, [](int c, int r) { return cv::Point2f(float(c) + 0.5F, float(r) - 0.5F); });
    compare(frame, plain.x, plain.y, {QPoint(), size});
    const PartMaps stretched =
        mapsOf(size, [](int c, int r) { return cv::Point2f(float(c) * 0.25F, float(r) * 0.5F + 0.25F); });
    compare(frame, stretched.x, stretched.y, {QPoint(), size});
}

/// One pixel all over, as beyond the corner of a frame: runs of the same pixel.
void TestRunTable::constantMaps() {
    QFETCH(int, padding);
    const QSize size(64, 20);
    const NoiseFrame frame(size, format(), padding, 6);
    for (const cv::Point2f from : {cv::Point2f(0, 0), cv::Point2f(63, 19), cv::Point2f(-5, 90)}) {
        const PartMaps maps = mapsOf(size, [&](int, int) { return from; });
        compare(frame, maps.x, maps.y, {QPoint(), size});
    }
    // Half in the picture, half beyond each edge.
    const PartMaps beside =
        mapsOf(size, [](int c, int r) { return cv::Point2f(float(c) - 32, float(r) + 10); });
    compare(frame, beside.x, beside.y, {QPoint(), size});
    const PartMaps other =
        mapsOf(size, [](int c, int r) { return cv::Point2f(float(c) + 32, float(r) - 10); });
    compare(frame, other.x, other.y, {QPoint(), size});
}

void TestRunTable::mapsOfAnotherSize() {
    QFETCH(int, padding);
    const NoiseFrame frame({50, 40}, format(), padding, 7);
    for (const QSize size : {QSize(80, 20), QSize(30, 70), QSize(3, 3)}) {
        const PartMaps maps =
            mapsOf(size, [](int c, int r) { return cv::Point2f(float(c) * 0.9F, float(r) * 1.1F); });
        compare(frame, maps.x, maps.y, {QPoint(), size});
    }
}

void TestRunTable::cropEdges() {
    QFETCH(int, padding);
    const QSize size(60, 31);
    const NoiseFrame frame(size, format(), padding, 8);
    const PartMaps maps = turned(size, 2, 1.02);
    for (const QRect crop : {QRect(0, 0, 1, 1), QRect(59, 30, 1, 1), QRect(0, 30, 60, 1), QRect(59, 0, 1, 31),
                             QRect(0, 0, 60, 31), QRect(7, 5, 17, 3), QRect(43, 14, 17, 17)})
        compare(frame, maps.x, maps.y, crop);
}

/// Whatever is left over when several pixels are taken at a time.
void TestRunTable::anyWidth() {
    QFETCH(int, padding);
    for (int width = 1; width <= 140; ++width) {
        const NoiseFrame frame({width, 3}, format(), padding, uint64_t(width));
        const PartMaps maps =
            mapsOf({width, 3}, [](int c, int r) { return cv::Point2f(float(c), float(r)); });
        compare(frame, maps.x, maps.y, {0, 0, width, 3});
        if (QTest::currentTestFailed())
            return;
    }
}

void TestRunTable::servesOnlyItsShape() {
    const QSize size(20, 10);
    const NoiseFrame frame(size, QImage::Format_Grayscale8, 0, 1);
    const PartMaps maps = turned(size, 1, 1);
    const RunTable table(maps.x, maps.y, {0, 0, 20, 10}, RunTable::Shape::of(frame.image));
    QVERIFY(table.serves(RunTable::Shape::of(frame.image)));
    for (const NoiseFrame& other :
         {NoiseFrame({20, 11}, QImage::Format_Grayscale8, 0, 1),
          NoiseFrame({21, 10}, QImage::Format_Grayscale8, 0, 1),
          NoiseFrame(size, QImage::Format_Grayscale8, 4, 1), NoiseFrame(size, QImage::Format_RGB888, 0, 1)})
        QVERIFY(!table.serves(RunTable::Shape::of(other.image)));
    QVERIFY(!RunTable().serves(RunTable::Shape::of(frame.image)));
    QVERIFY(!RunTable().serves({}));
}

void TestRunTable::impossibleShapes_data() {
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("bytesPerLine");
    QTest::addColumn<QImage::Format>("format");
    QTest::addColumn<QRect>("crop");
    const QRect whole(0, 0, 20, 10);
    QTest::newRow("empty") << QSize(0, 0) << 0 << QImage::Format_Grayscale8 << whole;
    QTest::newRow("negative") << QSize(-4, 10) << 4 << QImage::Format_Grayscale8 << whole;
    QTest::newRow("another format") << QSize(20, 10) << 80 << QImage::Format_RGB32 << whole;
    QTest::newRow("too wide") << QSize(40000, 2) << 40000 << QImage::Format_Grayscale8 << whole;
    QTest::newRow("more than an offset can say")
        << QSize(32000, 32000) << 96000 << QImage::Format_RGB888 << whole;
    QTest::newRow("rows shorter than their pixels") << QSize(20, 10) << 40 << QImage::Format_RGB888 << whole;
    QTest::newRow("crop outside") << QSize(20, 10) << 20 << QImage::Format_Grayscale8 << QRect(5, 5, 20, 10);
    QTest::newRow("no crop") << QSize(20, 10) << 20 << QImage::Format_Grayscale8 << QRect();
}

void TestRunTable::impossibleShapes() {
    QFETCH(QSize, size);
    QFETCH(int, bytesPerLine);
    QFETCH(QImage::Format, format);
    QFETCH(QRect, crop);
    const PartMaps maps = turned({20, 10}, 1, 1);
    const RunTable::Shape shape{size, bytesPerLine, format};
    QVERIFY(!RunTable(maps.x, maps.y, crop, shape).serves(shape));
}

QTEST_APPLESS_MAIN(TestRunTable)
#include "tst_runtable.moc"
