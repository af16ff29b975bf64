#include <QtTest>
#include <cstring>
#include <limits>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "calibration/runtable.h"

namespace {

/// A frame in a block of exactly its size, so that a sanitizer sees a byte too far. `padding` bytes follow
/// each row but the last.
struct Frame {
    Frame(QSize size, QImage::Format format, int padding, uint64_t seed) {
        const int channels = format == QImage::Format_Grayscale8 ? 1 : 3;
        const int stride = size.width() * channels + padding;
        const size_t bytes = size_t(stride) * size_t(size.height());
        block = std::make_unique<uchar[]>(bytes);
        cv::Mat all(1, int(bytes), CV_8U, block.get());
        cv::RNG(seed).fill(all, cv::RNG::UNIFORM, 0, 256);
        image = QImage(block.get(), size.width(), size.height(), stride, format);
        pixels = cv::Mat(size.height(), size.width(), channels == 1 ? CV_8UC1 : CV_8UC3, block.get(),
                         size_t(stride));
    }
    std::unique_ptr<uchar[]> block;
    QImage image;
    cv::Mat pixels;
};

/// What the table has to make: remap, crop, pixmap format.
QImage expected(const Frame& frame, const cv::Mat& mapX, const cv::Mat& mapY, const QRect& crop) {
    cv::Mat remapped;
    cv::remap(frame.pixels, remapped, mapX, mapY, cv::INTER_NEAREST, cv::BORDER_REPLICATE, cv::Scalar(0));
    QImage picture(crop.size(), QImage::Format_RGB32);
    for (int y = 0; y < crop.height(); ++y) {
        for (int x = 0; x < crop.width(); ++x) {
            const uchar* pixel = remapped.ptr(crop.y() + y, crop.x() + x);
            const bool isGrey = remapped.channels() == 1;
            picture.setPixel(
                x, y, isGrey ? qRgb(pixel[0], pixel[0], pixel[0]) : qRgb(pixel[0], pixel[1], pixel[2]));
        }
    }
    return picture;
}

/// Both ways of working.
void compare(const Frame& frame, const cv::Mat& mapX, const cv::Mat& mapY, const QRect& crop,
             double* meanRun = nullptr) {
    const RunTable table(mapX, mapY, crop, RunTable::Shape::of(frame.image));
    QVERIFY(table.serves(RunTable::Shape::of(frame.image)));
    QCOMPARE(table.pictureSize(), crop.size());
    const QImage wanted = expected(frame, mapX, mapY, crop);
    for (const auto code : {RunTable::Code::Best, RunTable::Code::Portable}) {
        // Nothing behind the picture is written either.
        std::vector<QRgb> block(size_t(crop.width()) * size_t(crop.height()), qRgb(1, 2, 3));
        QImage target(reinterpret_cast<uchar*>(block.data()), crop.width(), crop.height(), crop.width() * 4,
                      QImage::Format_RGB32);
        table.apply(frame.image, target, code);
        QCOMPARE(target, wanted);
        for (const QRgb pixel : block)
            QCOMPARE(qAlpha(pixel), 255);  // a comparison of RGB32 pictures leaves this out
    }
    if (meanRun)
        *meanRun = table.meanRun();
}

struct Maps {
    explicit Maps(QSize size)
        : x(size.height(), size.width(), CV_32FC1), y(size.height(), size.width(), CV_32FC1) {}
    template <typename Place>
    Maps(QSize size, Place place) : Maps(size) {
        for (int r = 0; r < x.rows; ++r) {
            for (int c = 0; c < x.cols; ++c) {
                const cv::Point2f from = place(c, r);
                x.at<float>(r, c) = from.x;
                y.at<float>(r, c) = from.y;
            }
        }
    }
    cv::Mat x;
    cv::Mat y;
};

Maps turned(QSize size, double degrees, double scale) {
    const double radians = degrees * CV_PI / 180;
    const double cosine = std::cos(radians) / scale;
    const double sine = std::sin(radians) / scale;
    const double middleX = size.width() / 2.0;
    const double middleY = size.height() / 2.0;
    return Maps(size, [=](int c, int r) {
        const double dx = c - middleX;
        const double dy = r - middleY;
        return cv::Point2f(float(middleX + cosine * dx - sine * dy),
                           float(middleY + sine * dx + cosine * dy));
    });
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
    const Frame frame(size, format(), padding, 1);
    const Maps maps(size, [](int c, int r) { return cv::Point2f(float(c), float(r)); });
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
    const Frame frame(size, format(), padding, 2);
    const Maps maps = turned(size, degrees, scale);
    compare(frame, maps.x, maps.y, {11, 7, 130, 80});
}

void TestRunTable::randomMaps() {
    QFETCH(int, padding);
    for (uint64_t seed = 1; seed <= 20; ++seed) {
        cv::RNG random(seed);
        const QSize size(random.uniform(1, 90), random.uniform(1, 60));
        const Frame frame(size, format(), padding, seed);
        Maps maps(size);
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
    const Frame frame(size, format(), padding, 3);
    cv::RNG random(4);
    for (const bool isDense : {true, false}) {
        const Maps maps(size, [&](int c, int r) {
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
    const Frame frame(size, format(), padding, 5);
    const Maps plain(size, [](int c, int r) { return cv::Point2f(float(c) + 0.5F, float(r) - 0.5F); });
    compare(frame, plain.x, plain.y, {QPoint(), size});
    const Maps stretched(size,
                         [](int c, int r) { return cv::Point2f(float(c) * 0.25F, float(r) * 0.5F + 0.25F); });
    compare(frame, stretched.x, stretched.y, {QPoint(), size});
}

/// One pixel all over, as beyond the corner of a frame: runs of the same pixel.
void TestRunTable::constantMaps() {
    QFETCH(int, padding);
    const QSize size(64, 20);
    const Frame frame(size, format(), padding, 6);
    for (const cv::Point2f from : {cv::Point2f(0, 0), cv::Point2f(63, 19), cv::Point2f(-5, 90)}) {
        const Maps maps(size, [&](int, int) { return from; });
        compare(frame, maps.x, maps.y, {QPoint(), size});
    }
    // Half in the picture, half beyond each edge.
    const Maps beside(size, [](int c, int r) { return cv::Point2f(float(c) - 32, float(r) + 10); });
    compare(frame, beside.x, beside.y, {QPoint(), size});
    const Maps other(size, [](int c, int r) { return cv::Point2f(float(c) + 32, float(r) - 10); });
    compare(frame, other.x, other.y, {QPoint(), size});
}

void TestRunTable::mapsOfAnotherSize() {
    QFETCH(int, padding);
    const Frame frame({50, 40}, format(), padding, 7);
    for (const QSize size : {QSize(80, 20), QSize(30, 70), QSize(3, 3)}) {
        const Maps maps(size, [](int c, int r) { return cv::Point2f(float(c) * 0.9F, float(r) * 1.1F); });
        compare(frame, maps.x, maps.y, {QPoint(), size});
    }
}

void TestRunTable::cropEdges() {
    QFETCH(int, padding);
    const QSize size(60, 31);
    const Frame frame(size, format(), padding, 8);
    const Maps maps = turned(size, 2, 1.02);
    for (const QRect crop : {QRect(0, 0, 1, 1), QRect(59, 30, 1, 1), QRect(0, 30, 60, 1), QRect(59, 0, 1, 31),
                             QRect(0, 0, 60, 31), QRect(7, 5, 17, 3), QRect(43, 14, 17, 17)})
        compare(frame, maps.x, maps.y, crop);
}

/// Whatever is left over when several pixels are taken at a time.
void TestRunTable::anyWidth() {
    QFETCH(int, padding);
    for (int width = 1; width <= 140; ++width) {
        const Frame frame({width, 3}, format(), padding, uint64_t(width));
        const Maps maps({width, 3}, [](int c, int r) { return cv::Point2f(float(c), float(r)); });
        compare(frame, maps.x, maps.y, {0, 0, width, 3});
        if (QTest::currentTestFailed())
            return;
    }
}

void TestRunTable::servesOnlyItsShape() {
    const QSize size(20, 10);
    const Frame frame(size, QImage::Format_Grayscale8, 0, 1);
    const Maps maps = turned(size, 1, 1);
    const RunTable table(maps.x, maps.y, {0, 0, 20, 10}, RunTable::Shape::of(frame.image));
    QVERIFY(table.serves(RunTable::Shape::of(frame.image)));
    for (const Frame& other :
         {Frame({20, 11}, QImage::Format_Grayscale8, 0, 1), Frame({21, 10}, QImage::Format_Grayscale8, 0, 1),
          Frame(size, QImage::Format_Grayscale8, 4, 1), Frame(size, QImage::Format_RGB888, 0, 1)})
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
    const Maps maps = turned({20, 10}, 1, 1);
    const RunTable::Shape shape{size, bytesPerLine, format};
    QVERIFY(!RunTable(maps.x, maps.y, crop, shape).serves(shape));
}

QTEST_APPLESS_MAIN(TestRunTable)
#include "tst_runtable.moc"
