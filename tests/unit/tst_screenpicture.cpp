// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <opencv2/core.hpp>
#include <vector>

#include "live/screenpicture.h"
#include "support/exactmean.h"

namespace {

using Loops = const platform::BoxLoops*;

/// Like letters, lines of one and two pixels and noise: what a mean has the most to do with.
cv::Mat fineTexture(QSize size, int channels, uint64_t seed) {
    cv::RNG random(seed);
    cv::Mat all(size.height(), size.width(), CV_8UC(channels));
    random.fill(all, cv::RNG::UNIFORM, 0, 256);
    const auto ink = [&random] {
        return cv::Scalar(random.uniform(0, 256), random.uniform(0, 256), random.uniform(0, 256), 255);
    };
    const auto area = [&all](int x, int y, int w, int h) {
        return all(cv::Rect(x, y, w, h) & cv::Rect(0, 0, all.cols, all.rows));
    };
    for (int top = 0; top < all.rows; top += 24) {
        for (int left = 0; left < all.cols; left += 24) {
            const int kind = random.uniform(0, 4);
            if (kind == 0)
                continue;  // noise
            area(left, top, 24, 24).setTo(ink());
            if (kind == 1) {
                for (int x = 0; x < 24; x += 3)
                    area(left + x, top, random.uniform(1, 3), 24).setTo(ink());
            } else if (kind == 2) {
                for (int y = 0; y < 24; y += 3)
                    area(left, top + y, 24, random.uniform(1, 3)).setTo(ink());
            } else {
                for (int stroke = 0; stroke < 40; ++stroke) {
                    const bool isFlat = random.uniform(0, 2) != 0;
                    const int thick = random.uniform(1, 3);
                    area(left + random.uniform(0, 22), top + random.uniform(0, 22), isFlat ? 4 : thick,
                         isFlat ? thick : 4)
                        .setTo(ink());
                }
            }
        }
    }
    return all;
}

cv::Mat smooth(QSize size, int channels) {
    cv::Mat all(size.height(), size.width(), CV_8UC(channels));
    for (int y = 0; y < all.rows; ++y) {
        for (int i = 0; i < all.cols * channels; ++i)
            all.ptr(y)[i] = uchar(std::lround(
                127.5 + 127.5 * std::sin(0.031 * (i / channels) + i % channels) * std::cos(0.023 * y)));
    }
    return all;
}

/// A picture in a block of exactly its size, so that a sanitizer sees a byte too far. `padding` bytes follow
/// each row but the last.
struct Picture {
    static int channelsOf(QImage::Format format) {
        return format == QImage::Format_Grayscale8 ? 1 : format == QImage::Format_RGB888 ? 3 : 4;
    }

    Picture(const cv::Mat& pixels, QImage::Format format, int padding) {
        const int row = pixels.cols * pixels.channels();
        const int stride = row + padding;
        block = std::make_unique<uchar[]>(size_t(stride) * size_t(pixels.rows - 1) + size_t(row));
        for (int y = 0; y < pixels.rows; ++y)
            std::copy_n(pixels.ptr(y), row, block.get() + ptrdiff_t(stride) * y);
        image = QImage(block.get(), pixels.cols, pixels.rows, stride, format);
    }

    std::unique_ptr<uchar[]> block;
    QImage image;
};

QRgb nearestAt(const QImage& picture, const Placement& placement, QPoint pixel) {
    const double x = std::floor((pixel.x() + 0.5 - placement.origin.x()) / placement.scale + 1e-9);
    const double y = std::floor((pixel.y() + 0.5 - placement.origin.y()) / placement.scale + 1e-9);
    return picture.pixel(std::clamp(int(x), 0, picture.width() - 1),
                         std::clamp(int(y), 0, picture.height() - 1));
}

/// The device pixels whose centres lie in the picture; at least one, that of its middle.
QRect shownPart(QSize size, const Placement& placement) {
    const auto pixel = [](double edge) { return int(std::ceil(edge - 0.5 - 1e-6)); };
    const QPointF from = placement.origin;
    const QPointF to = from + QPointF(size.width(), size.height()) * placement.scale;
    const QRect part(QPoint(pixel(from.x()), pixel(from.y())), QPoint(pixel(to.x()) - 1, pixel(to.y()) - 1));
    const QPointF middle = (from + to) / 2;
    const QPoint one(int(std::floor(middle.x())), int(std::floor(middle.y())));
    return {QPoint(std::min(part.left(), one.x()), std::min(part.top(), one.y())),
            QPoint(std::max(part.right(), one.x()), std::max(part.bottom(), one.y()))};
}

QRect partOf(const QRect& whole, cv::RNG& random) {
    const int left = random.uniform(whole.left(), whole.right() + 1);
    const int top = random.uniform(whole.top(), whole.bottom() + 1);
    return {QPoint(left, top),
            QPoint(random.uniform(left, whole.right() + 1), random.uniform(top, whole.bottom() + 1))};
}

const QImage::Format kFormats[] = {QImage::Format_Grayscale8, QImage::Format_RGB888, QImage::Format_RGB32};

/// What a random test is about; small enough for the slow way.
struct Case {
    Case(uint64_t seed, double leastScale, double mostScale, bool isSmooth = false) : random(seed) {
        const QImage::Format format = kFormats[random.uniform(0, 3)];
        const bool isTiny = random.uniform(0, 4) == 0;
        const QSize size(random.uniform(1, isTiny ? 6 : 140), random.uniform(1, isTiny ? 6 : 90));
        placement.scale = std::exp(random.uniform(std::log(leastScale), std::log(mostScale)));
        placement.origin = {random.uniform(-60.0, 60.0), random.uniform(-60.0, 60.0)};
        if (random.uniform(0, 4) == 0)
            placement.origin = {std::round(placement.origin.x()), std::round(placement.origin.y())};
        const int channels = Picture::channelsOf(format);
        // RGB32 rows lie at multiples of four bytes.
        const int padding = channels == 4 ? 4 * random.uniform(0, 3) : random.uniform(0, 6);
        picture = std::make_unique<Picture>(
            isSmooth ? smooth(size, channels) : fineTexture(size, channels, seed + 1), format, padding);
        part = shownPart(size, placement);
        // No more than a screen would show.
        part &= QRect(partOf(part, random).topLeft(), QSize(200, 150));
        if (random.uniform(0, 2) != 0)
            part = partOf(part, random);
    }
    QByteArray text(uint64_t seed) const {
        return QStringLiteral("seed %1: %2 x %3, format %4, scale %5, origin %6 %7, part %8 %9 %10 %11")
            .arg(seed)
            .arg(image().width())
            .arg(image().height())
            .arg(int(image().format()))
            .arg(placement.scale, 0, 'g', 17)
            .arg(placement.origin.x(), 0, 'g', 17)
            .arg(placement.origin.y(), 0, 'g', 17)
            .arg(part.x())
            .arg(part.y())
            .arg(part.width())
            .arg(part.height())
            .toUtf8();
    }
    const QImage& image() const { return picture->image; }

    cv::RNG random;
    Placement placement;
    std::unique_ptr<Picture> picture;
    QRect part;
};

struct Difference {
    double most = 0;
    double squares = 0;
    int count = 0;
    double psnr() const { return 10 * std::log10(255.0 * 255.0 * count / std::max(squares, 1e-9)); }
};

Difference differenceFromMeans(const QImage& shown, const QImage& picture, const Placement& placement,
                               const QRect& part) {
    const QImage plain = picture.convertToFormat(QImage::Format_RGB32);
    const double side = 1 / placement.scale;
    Difference difference;
    for (int y = 0; y < part.height(); ++y) {
        for (int x = 0; x < part.width(); ++x) {
            const QPointF corner =
                (QPointF(part.topLeft() + QPoint(x, y)) - placement.origin) / placement.scale;
            const auto exact = meanOver(plain, {corner, QSizeF(side, side)});
            const QRgb colour = shown.pixel(x, y);
            for (const double off :
                 {qRed(colour) - exact[0], qGreen(colour) - exact[1], qBlue(colour) - exact[2]}) {
                difference.most = std::max(difference.most, std::abs(off));
                difference.squares += off * off;
                ++difference.count;
            }
        }
    }
    return difference;
}

}  // namespace

/// What a screen shows of a picture.
class TestScreenPicture : public QObject {
    Q_OBJECT

private slots:
    void means_data();
    void means();
    void fineTextures_data();
    void fineTextures();
    void smoothPictures();
    void nearest();
    void aHairBesideTheEdge();
    void aHairBesideScaleOne_data();
    void aHairBesideScaleOne();
    void sameSize_data();
    void sameSize();
    void everyLoopTheSame();
    void constantStaysConstant();
    void hardlySmallerStaysConstant();
    void partsAreOfOnePicture();
    void followed();
    void followedOnlyByItsOwn();
    void memoryUsedAgain();
    void otherThingsInTheSamePart();
    void nothingToShow();
    void otherFormats();
    void besideThePicture();
};

/// By hand: a row of four pixels at half its size, half a pixel off, and cut by both borders.
void TestScreenPicture::means_data() {
    QTest::addColumn<double>("origin");
    QTest::addColumn<QVector<int>>("wanted");
    QTest::newRow("in step") << 0.0 << QVector<int>{50, 150};
    QTest::newRow("half a device pixel right") << 0.5 << QVector<int>{0, 100, 200};
    QTest::newRow("a quarter right") << 0.25 << QVector<int>{33, 125, 200};
}

void TestScreenPicture::means() {
    QFETCH(double, origin);
    QFETCH(QVector<int>, wanted);
    const cv::Mat pixels = (cv::Mat_<uchar>(1, 4) << 0, 100, 100, 200);
    const Picture picture(pixels, QImage::Format_Grayscale8, 0);
    ScreenPicture screen;
    const QImage& shown = screen.of(picture.image, {0.5, {origin, 0}}, QRect(0, 0, wanted.size(), 1));
    QCOMPARE(shown.format(), QImage::Format_RGB32);
    for (int x = 0; x < wanted.size(); ++x)
        QVERIFY2(std::abs(qRed(shown.pixel(x, 0)) - wanted[x]) <= 1, qPrintable(QString::number(x)));
}

void TestScreenPicture::fineTextures_data() {
    QTest::addColumn<int>("format");
    QTest::addColumn<double>("scale");
    for (const QImage::Format format : kFormats) {
        for (const double scale : {0.04, 0.1, 0.2, 0.37, 0.45, 0.54, 0.8, 0.97})
            QTest::addRow("%d bytes at %g", Picture::channelsOf(format), scale) << int(format) << scale;
    }
}

/// The measure of what the screen has to reach is 28 dB; nearest pixels have 12.
void TestScreenPicture::fineTextures() {
    QFETCH(int, format);
    QFETCH(double, scale);
    const auto kind = QImage::Format(format);
    const Picture picture(fineTexture({401, 233}, Picture::channelsOf(kind), 7), kind,
                          kind == QImage::Format_RGB32 ? 0 : 3);
    for (const QPointF origin : {QPointF(0, 0), QPointF(0.31, -0.77), QPointF(-1203.5, 88.125)}) {
        const Placement placement{scale, origin};
        const QRect part = shownPart(picture.image.size(), placement);
        ScreenPicture screen;
        const Difference difference =
            differenceFromMeans(screen.of(picture.image, placement, part), picture.image, placement, part);
        QVERIFY2(difference.psnr() > 50, qPrintable(QString::number(difference.psnr())));
        QVERIFY2(difference.most < 3.5, qPrintable(QString::number(difference.most)));
    }
}

void TestScreenPicture::smoothPictures() {
    for (uint64_t seed = 0; seed < 120; ++seed) {
        const Case some(seed, 0.001, 0.999, true);
        ScreenPicture screen;
        const QImage& shown = screen.of(some.image(), some.placement, some.part);
        QCOMPARE(shown.size(), some.part.size());
        const Difference difference = differenceFromMeans(shown, some.image(), some.placement, some.part);
        QVERIFY2(difference.most <= 1.5, some.text(seed) + " off by " + QByteArray::number(difference.most));
    }
}

void TestScreenPicture::nearest() {
    for (uint64_t seed = 0; seed < 180; ++seed) {
        const Case some(seed, 1, seed % 2 ? 3 : 100);
        ScreenPicture screen;
        const QImage& shown = screen.of(some.image(), some.placement, some.part);
        QCOMPARE(shown.size(), some.part.size());
        for (int y = 0; y < some.part.height(); ++y) {
            for (int x = 0; x < some.part.width(); ++x) {
                QVERIFY2(shown.pixel(x, y) ==
                             nearestAt(some.image(), some.placement, some.part.topLeft() + QPoint(x, y)),
                         some.text(seed));
            }
        }
    }
}

/// Where rounding puts centres beside the edges that they lie on, every pixel is seen all the same.
void TestScreenPicture::aHairBesideTheEdge() {
    const Picture picture(fineTexture({9, 7}, 3, 1), QImage::Format_RGB888, 0);
    for (const double off : {-1e-7, 0.0, 1e-7}) {
        ScreenPicture screen;
        const double origin = 3.5 + off;
        QCOMPARE(screen.of(picture.image, {1.0, {origin, origin}}, QRect(3, 3, 9, 7)),
                 picture.image.convertToFormat(QImage::Format_RGB32));
    }
}

void TestScreenPicture::aHairBesideScaleOne_data() {
    QTest::addColumn<double>("scale");
    QTest::newRow("below by rounding") << 1 - 2.2e-16;
    QTest::newRow("below") << 1 - 5e-10;
    QTest::newRow("above by rounding") << 1 + 4e-16;
    QTest::newRow("above") << 1 + 5e-10;
}

/// Zooming out and in again ends there, and there is nothing to take a mean of.
void TestScreenPicture::aHairBesideScaleOne() {
    QFETCH(double, scale);
    for (const QPointF origin : {QPointF(0, 0), QPointF(3.3, -7.81), QPointF(-40.5, 17.999)}) {
        const Picture picture(fineTexture({61, 43}, 3, 1), QImage::Format_RGB888, 0);
        const Picture other(fineTexture({61, 43}, 3, 2), QImage::Format_RGB888, 0);
        const QRect part = shownPart(picture.image.size(), {1.0, origin});
        ScreenPicture screen;
        QCOMPARE(screen.of(picture.image, {scale, origin}, part),
                 picture.image.convertToFormat(QImage::Format_RGB32));
        for (const int rows : {0, 20, 43})
            screen.follow(other.image, rows);
        QVERIFY(screen.isOf(other.image));
        QCOMPARE(screen.image(), other.image.convertToFormat(QImage::Format_RGB32));
    }
}

void TestScreenPicture::sameSize_data() {
    QTest::addColumn<int>("format");
    for (const QImage::Format format : kFormats)
        QTest::addRow("%d bytes", Picture::channelsOf(format)) << int(format);
}

void TestScreenPicture::sameSize() {
    QFETCH(int, format);
    const auto kind = QImage::Format(format);
    for (int width = 1; width < 70; ++width) {
        const Picture picture(fineTexture({width, 3}, Picture::channelsOf(kind), 5), kind, 0);
        for (const Loops loops : platform::everyBoxLoops()) {
            ScreenPicture screen(*loops);
            QCOMPARE(screen.of(picture.image, {1.0, {-40, 17}}, QRect(-40, 17, width, 3)),
                     picture.image.convertToFormat(QImage::Format_RGB32));
        }
    }
}

void TestScreenPicture::everyLoopTheSame() {
    QVERIFY(!platform::everyBoxLoops().empty());
    QCOMPARE(platform::everyBoxLoops().front(), &platform::boxLoops());
    for (uint64_t seed = 0; seed < 250; ++seed) {
        const Case some(seed, 0.03, 1.5);
        QImage first;
        for (const Loops loops : platform::everyBoxLoops()) {
            ScreenPicture screen(*loops);
            const QImage shown = screen.of(some.image(), some.placement, some.part);
            if (first.isNull())
                first = shown;
            QVERIFY2(shown == first, some.text(seed) + ' ' + loops->name);
            // The comparison of images leaves out what RGB32 does not use.
            for (int y = 0; y < shown.height(); ++y) {
                const auto* row = reinterpret_cast<const uint32_t*>(shown.constScanLine(y));
                QVERIFY2(
                    std::all_of(row, row + shown.width(), [](uint32_t pixel) { return pixel >> 24 == 0xff; }),
                    some.text(seed) + ' ' + loops->name);
            }
        }
    }
}

void TestScreenPicture::constantStaysConstant() {
    for (uint64_t seed = 0; seed < 250; ++seed) {
        Case some(seed, 0.001, 1.2);
        const int level = int(seed % 5 == 0 ? 255 : seed % 5 == 1 ? 0 : some.random.uniform(0, 256));
        std::fill_n(some.picture->block.get(),
                    some.image().bytesPerLine() * (some.image().height() - 1) +
                        some.image().width() * some.image().depth() / 8,
                    uchar(level));
        for (const Loops loops : platform::everyBoxLoops()) {
            ScreenPicture screen(*loops);
            const QImage& shown = screen.of(some.image(), some.placement, some.part);
            for (int y = 0; y < shown.height(); ++y) {
                for (int x = 0; x < shown.width(); ++x)
                    QVERIFY2(shown.pixel(x, y) == qRgb(level, level, level), some.text(seed));
            }
        }
    }
}

/// Where one row or column counts nearly all, all, or nearly nothing.
void TestScreenPicture::hardlySmallerStaysConstant() {
    const Picture picture(cv::Mat(20, 40, CV_8UC3, cv::Scalar::all(255)), QImage::Format_RGB888, 0);
    const QRect part(2, 2, 35, 15);
    QImage white(part.size(), QImage::Format_RGB32);
    white.fill(Qt::white);
    for (int step = 0; step < 512; ++step) {
        for (const Loops loops : platform::everyBoxLoops()) {
            ScreenPicture screen(*loops);
            QCOMPARE(screen.of(picture.image, {0.9999, {step / 512.0, 1 - step / 512.0}}, part), white);
        }
    }
}

/// So that no seam shows where a part ends.
void TestScreenPicture::partsAreOfOnePicture() {
    for (uint64_t seed = 0; seed < 180; ++seed) {
        Case some(seed, 0.02, 4);
        const QRect whole = shownPart(some.image().size(), some.placement);
        if (whole.width() > 300 || whole.height() > 300)
            continue;
        ScreenPicture all;
        const QImage& shown = all.of(some.image(), some.placement, whole);
        ScreenPicture screen;
        for (int i = 0; i < 4; ++i) {
            const QRect part = partOf(whole, some.random);
            QVERIFY2(screen.of(some.image(), some.placement, part) ==
                         shown.copy(part.translated(-whole.topLeft())),
                     some.text(seed));
        }
    }
}

/// The rows that are not ready yet hold something else while the others are looked at.
void TestScreenPicture::followed() {
    for (uint64_t seed = 0; seed < 180; ++seed) {
        Case some(seed, 0.02, 4);
        ScreenPicture screen;
        screen.of(some.image(), some.placement, some.part);
        const Picture other(
            fineTexture(some.image().size(), Picture::channelsOf(some.image().format()), seed + 9),
            some.image().format(), some.image().format() == QImage::Format_RGB32 ? 0 : 1);
        ScreenPicture fresh;
        const QImage& wanted = fresh.of(other.image, some.placement, some.part);
        // Not a copy(), which reads what follows the last row too.
        QImage picture(some.image().size(), some.image().format());
        picture.fill(Qt::gray);
        uchar* const bits = picture.bits();
        screen.follow(picture, 0);
        int rows = 0;
        while (rows < picture.height()) {
            const int more = std::min(picture.height() - rows, 1 + int(some.random() % 20));
            for (const int end = rows + more; rows < end; ++rows)
                std::memcpy(bits + qptrdiff(rows) * picture.bytesPerLine(), other.image.constScanLine(rows),
                            size_t(picture.width()) * size_t(picture.depth() / 8));
            screen.follow(picture, rows);
        }
        QVERIFY2(screen.isOf(picture), some.text(seed));
        QVERIFY2(screen.image() == wanted, some.text(seed));
        // Half of another one is none, and the first is not what is kept any more.
        screen.follow(other.image, 0);
        QVERIFY2(!screen.isOf(picture) && !screen.isOf(other.image), some.text(seed));
    }
}

void TestScreenPicture::followedOnlyByItsOwn() {
    const Picture picture(fineTexture({60, 40}, 1, 1), QImage::Format_Grayscale8, 0);
    const Picture larger(fineTexture({61, 40}, 1, 2), QImage::Format_Grayscale8, 0);
    const Picture coloured(fineTexture({60, 40}, 3, 2), QImage::Format_RGB888, 0);
    ScreenPicture screen;
    screen.follow(picture.image, 0);
    screen.follow(picture.image, 40);
    QVERIFY(!screen.isOf(picture.image) && screen.image().isNull());
    const QImage before = screen.of(picture.image, {0.5, {}}, QRect(0, 0, 30, 20)).copy();
    for (const QImage& other : {larger.image, coloured.image, QImage()}) {
        screen.follow(other, 0);
        screen.follow(other, 40);
        QVERIFY(!screen.isOf(other));
    }
    QCOMPARE(screen.image(), before);
    // A picture that was written since is another one.
    QImage written = picture.image.copy();
    screen.follow(written, 0);
    screen.follow(written, 40);
    QVERIFY(screen.isOf(written));
    QVERIFY(screen.isOf(QImage(written)));
    written.bits()[0] ^= 1;
    QVERIFY(!screen.isOf(written));
    // What is made the usual way is nobody's.
    screen.follow(written, 0);
    screen.follow(written, 40);
    screen.of(picture.image, {0.5, {}}, QRect(0, 0, 30, 20));
    QVERIFY(!screen.isOf(written));
}

void TestScreenPicture::memoryUsedAgain() {
    const Picture picture(fineTexture({60, 40}, 1, 1), QImage::Format_Grayscale8, 0);
    const Picture other(fineTexture({60, 40}, 1, 2), QImage::Format_Grayscale8, 0);
    const QRect part(0, 0, 30, 20);
    ScreenPicture screen;
    const uchar* memory = screen.of(picture.image, {0.5, {}}, part).constBits();
    QCOMPARE(screen.of(other.image, {0.5, {}}, part).constBits(), memory);
    QCOMPARE(screen.of(other.image, {0.5, {0.25, 0}}, part).constBits(), memory);
    // A copy that somebody holds keeps its pixels.
    const QImage held = screen.image();
    const QImage asItWas = held.copy();
    QVERIFY(screen.of(picture.image, {0.5, {}}, part).constBits() != held.constBits());
    QCOMPARE(held, asItWas);
}

void TestScreenPicture::otherThingsInTheSamePart() {
    const Picture grey(fineTexture({60, 40}, 1, 1), QImage::Format_Grayscale8, 0);
    const Picture larger(fineTexture({61, 40}, 1, 1), QImage::Format_Grayscale8, 0);
    const Picture higher(fineTexture({61, 41}, 1, 1), QImage::Format_Grayscale8, 5);
    const Picture coloured(fineTexture({61, 41}, 3, 1), QImage::Format_RGB888, 0);
    const QRect part(0, 0, 30, 20);
    ScreenPicture screen;
    for (const Picture* picture : {&grey, &larger, &higher, &coloured, &grey}) {
        for (const Placement& placement : {Placement{0.5, {}},
                                           {0.51, {}},
                                           {0.51, {0.25, 0}},
                                           {0.51, {0.25, 0.25}},
                                           {0.04, {}},
                                           {1.5, {}}}) {
            ScreenPicture fresh;
            QCOMPARE(screen.of(picture->image, placement, part), fresh.of(picture->image, placement, part));
        }
    }
}

void TestScreenPicture::nothingToShow() {
    const Picture picture(fineTexture({60, 40}, 1, 1), QImage::Format_Grayscale8, 0);
    const QRect part(0, 0, 30, 20);
    ScreenPicture screen;
    QVERIFY(screen.image().isNull());
    QVERIFY(screen.of(QImage(), {0.5, {}}, part).isNull());
    QVERIFY(screen.of(picture.image, {0.5, {}}, QRect()).isNull());
    QVERIFY(screen.of(picture.image, {0.0, {}}, part).isNull());
    QVERIFY(screen.of(picture.image, {-1.0, {}}, part).isNull());
    QVERIFY(screen.of(picture.image, {qQNaN(), {}}, part).isNull());
    QVERIFY(screen.of(picture.image, {0.5, {0, qInf()}}, part).isNull());
    QVERIFY(!screen.of(picture.image, {0.5, {}}, part).isNull());
    QVERIFY(screen.of(QImage(), {0.5, {}}, part).isNull());
    QVERIFY(screen.image().isNull());
}

void TestScreenPicture::otherFormats() {
    const Picture coloured(fineTexture({60, 40}, 4, 1), QImage::Format_RGB32, 0);
    const QRect part(0, 0, 30, 20);
    for (const QImage::Format format :
         {QImage::Format_RGB16, QImage::Format_Indexed8, QImage::Format_ARGB32_Premultiplied}) {
        const QImage picture = coloured.image.convertToFormat(format);
        ScreenPicture screen;
        ScreenPicture ready;
        const QImage plain = picture.convertToFormat(QImage::Format_RGB32);
        QCOMPARE(screen.of(picture, {0.5, {}}, part), ready.of(plain, {0.5, {}}, part));
    }
}

/// Not promised, but nothing outside of the picture may be read.
void TestScreenPicture::besideThePicture() {
    for (const QImage::Format format : kFormats) {
        const Picture picture(fineTexture({23, 17}, Picture::channelsOf(format), 3), format, 0);
        for (const double scale : {0.01, 0.2, 0.37, 0.9, 1.0, 2.5}) {
            for (const Loops loops : platform::everyBoxLoops()) {
                ScreenPicture screen(*loops);
                const QImage& shown =
                    screen.of(picture.image, {scale, {10.3, 8.8}}, QRect(-20, -30, 120, 110));
                QCOMPARE(shown.pixel(0, 0), picture.image.pixel(0, 0));
                QCOMPARE(shown.pixel(119, 109), picture.image.pixel(22, 16));
            }
        }
    }
}

QTEST_APPLESS_MAIN(TestScreenPicture)
#include "tst_screenpicture.moc"
