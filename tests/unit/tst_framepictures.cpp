// SPDX-License-Identifier: Apache-2.0
#include <QPixmap>
#include <QSet>
#include <QtTest>
#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "live/framepictures.h"
#include "support/noiseframe.h"
#include "support/somecorrections.h"

namespace {

/// Corners as cameras a few degrees off see them, each tile and each `variant` a little otherwise.
Correction calibrated(QSize size, int tileCount, int variant = 0) {
    Correction correction;
    const double w = size.width();
    const double h = size.height();
    for (int tile = 0; tile < tileCount; ++tile) {
        const double off = 0.01 * tile + 0.02 * variant;
        const QVector<QPointF> src{{(0.12 + off) * w, 0.10 * h},
                                   {0.91 * w, (0.14 - off) * h},
                                   {0.09 * w, (0.88 - off) * h},
                                   {(0.94 - off) * w, 0.83 * h}};
        const auto dst = rectangle(src[TopLeft].x(), src[TopLeft].y(), (0.90 - off) * w, (0.85 - off) * h);
        if (!correction.take(tile, calibrationOf(src, dst), size))
            qFatal("no maps");
    }
    return correction;
}

/// Pixel for pixel, as on the screen.
bool isSame(const QImage& picture, const QImage& wanted) {
    if (picture.isNull() || wanted.isNull())
        return picture.isNull() && wanted.isNull();
    const QImage shown = QPixmap::fromImage(picture).toImage();
    if (shown.size() != wanted.size() || shown.format() != wanted.format())
        return false;
    for (int y = 0; y < shown.height(); ++y) {
        if (std::memcmp(shown.constScanLine(y), wanted.constScanLine(y), size_t(shown.width()) * 4) != 0)
            return false;
    }
    return true;
}

QImage shownPlain(const QImage& frame) {
    return QPixmap::fromImage(frame).toImage();
}

/// What the plain way makes of a frame.
QImage shownCorrected(const QImage& frame, const Correction& correction, int tile, int tileCount,
                      int layoutMode) {
    return QPixmap::fromImage(correctedPicture(frame, correction, tile, tileCount, layoutMode)).toImage();
}

/// Where a picture's pixels are and which picture it is: an allocator may give the same place twice.
using Identity = QPair<const uchar*, qint64>;

Identity identityOf(const QImage& picture) {
    return {picture.constBits(), picture.cacheKey() >> 32};
}

constexpr QSize kSize(97, 61);
constexpr QImage::Format kFormat = QImage::Format_Grayscale8;

}  // namespace

/// The pictures that tiles show, against the plain way, and the memory that they are made in.
class TestFramePictures : public QObject {
    Q_OBJECT

private slots:
    void plainIsThePixmap_data() { shapes(); }
    void plainIsThePixmap();
    void correctedIsThePixmap_data();
    void correctedIsThePixmap();
    void cropBeyondThePicture_data() { shapes(); }
    void cropBeyondThePicture();
    void randomGeometries_data() { shapes(); }
    void randomGeometries();
    void anotherTransformIsSeen();
    void withoutCorners_data() { shapes(); }
    void withoutCorners();
    void withoutMaps_data() { shapes(); }
    void withoutMaps();
    void framesOfAnotherSize_data() { shapes(); }
    void framesOfAnotherSize();
    void nullFrame();
    void oddFormats_data();
    void oddFormats();
    void oddFormatsOfFourBytes();
    void changesAreSeen_data() { shapes(); }
    void changesAreSeen();
    void newMapsAfterTheOldAreGone_data() { shapes(); }
    void newMapsAfterTheOldAreGone();
    void tilesOfOneMaker();
    void pictureOutlivesTheFrame_data() { shapes(); }
    void pictureOutlivesTheFrame();
    void twoPicturesAreEnough_data();
    void twoPicturesAreEnough();
    void keptPicturesStay_data();
    void keptPicturesStay();
    void poolGivesWhatIsAskedFor();
    void poolGivesNothingThatIsShared();
    void poolUsesAFreePictureAgain();
    void poolKeepsAtMostFour();
    void poolAfterShortMemory();

private:
    static void shapes();
    static QImage::Format format() {
        return QTest::currentDataTag()[0] == 'g' ? QImage::Format_Grayscale8 : QImage::Format_RGB888;
    }
};

void TestFramePictures::shapes() {
    QTest::addColumn<int>("padding");
    for (const char* kind : {"grey", "colour"}) {
        for (const int padding : {0, 1, 5})
            QTest::newRow((QByteArray(kind) + ", padded by " + QByteArray::number(padding)).constData())
                << padding;
    }
}

void TestFramePictures::plainIsThePixmap() {
    QFETCH(int, padding);
    FramePictures pictures;
    for (const QSize size : {QSize(64, 48), QSize(97, 61), QSize(1, 1), QSize(61, 3), QSize(1, 200)}) {
        for (uint64_t seed = 1; seed <= 3; ++seed) {
            const NoiseFrame frame(size, format(), padding, seed);
            const QImage picture = pictures.plain(frame.image);
            QCOMPARE(picture.format(), format());
            QVERIFY(isSame(picture, shownPlain(frame.image)));
        }
    }
}

void TestFramePictures::correctedIsThePixmap_data() {
    QTest::addColumn<int>("padding");
    QTest::addColumn<int>("tileCount");
    QTest::addColumn<int>("layoutMode");
    for (const char* kind : {"grey", "colour"}) {
        for (const int padding : {0, 3}) {
            const auto add = [&](const char* layout, int tileCount, int layoutMode) {
                const auto name = QByteArray(kind) + ", padded by " + QByteArray::number(padding) + ", ";
                QTest::newRow((name + layout).constData()) << padding << tileCount << layoutMode;
            };
            add("one tile", 1, 1);
            add("a row of three", 3, 1);
            add("a row of four", 4, 1);
            add("a grid", 4, 0);
        }
    }
}

void TestFramePictures::correctedIsThePixmap() {
    QFETCH(int, padding);
    QFETCH(int, tileCount);
    QFETCH(int, layoutMode);
    const Correction correction = calibrated(kSize, tileCount);
    std::array<FramePictures, 4> pictures;
    for (uint64_t seed = 1; seed <= 3; ++seed) {
        for (int tile = 0; tile < tileCount; ++tile) {
            const NoiseFrame frame(kSize, format(), padding, seed);
            const QImage picture =
                pictures[size_t(tile)].corrected(frame.image, correction, tile, tileCount, layoutMode);
            QCOMPARE(picture.format(), format());
            QVERIFY(picture.size() != kSize);  // it is cut
            QVERIFY(isSame(picture, shownCorrected(frame.image, correction, tile, tileCount, layoutMode)));
        }
    }
}

void TestFramePictures::cropBeyondThePicture() {
    QFETCH(int, padding);
    FramePictures pictures;
    const NoiseFrame frame(kSize, format(), padding, 1);
    for (const auto& corners :
         {rectangle(-30, -20, 300, 200), rectangle(50, 40, 500, 300), rectangle(500, 10, 900, 40),
          rectangle(-1e300, qQNaN(), 1e300, qInf()), rectangle(96, 60, 97, 61)}) {
        for (const int layoutMode : {0, 1}) {
            Correction correction = calibrated(kSize, 4);
            correction.dstCorners[1] = corners;
            const QImage picture = pictures.corrected(frame.image, correction, 1, 4, layoutMode);
            QVERIFY(isSame(picture, shownCorrected(frame.image, correction, 1, 4, layoutMode)));
        }
    }
}

/// Whatever the corners: the fast way makes the plain way's pixels, and most of these crops reach past the
/// maps.
void TestFramePictures::randomGeometries() {
    QFETCH(int, padding);
    int beyond = 0;
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        cv::RNG random(seed);
        const auto near = [&](double value, double by) { return value + random.uniform(-by, by); };
        const double w = kSize.width();
        const double h = kSize.height();
        Correction correction;
        for (int tile = 0; tile < 4; ++tile) {
            const QVector<QPointF> src{{near(0.2 * w, 12), near(0.2 * h, 8)},
                                       {near(0.8 * w, 12), near(0.2 * h, 8)},
                                       {near(0.2 * w, 12), near(0.8 * h, 8)},
                                       {near(0.8 * w, 12), near(0.8 * h, 8)}};
            Calibration calibration;
            calibration.cornerSrc = matOf(src);
            calibration.cornerDst =
                matOf(rectangle(near(0.1 * w, 30), near(0.1 * h, 20), near(1.1 * w, 40), near(1.1 * h, 30)));
            calibration.transform = cv::getPerspectiveTransform(calibration.cornerSrc, calibration.cornerDst);
            QVERIFY(correction.take(tile, calibration, kSize));
        }
        const NoiseFrame frame(kSize, format(), padding, seed);
        const NoiseFrame other({70, 80}, format(), padding, seed);
        for (const int layoutMode : {0, 1}) {
            for (int tile = 0; tile < 4; ++tile) {
                FramePictures pictures;
                const QImage picture = pictures.corrected(frame.image, correction, tile, 4, layoutMode);
                QCOMPARE(picture.format(), format());
                QVERIFY(isSame(picture, shownCorrected(frame.image, correction, tile, 4, layoutMode)));
                QVERIFY(isSame(pictures.corrected(other.image, correction, tile, 4, layoutMode),
                               shownCorrected(other.image, correction, tile, 4, layoutMode)));
                const QRect crop = cropOf(correction, tile, 4, layoutMode, kSize, kSize);
                QCOMPARE(picture.size(), crop.size());
                beyond += QRect(QPoint(), kSize).contains(crop) ? 0 : 1;
            }
        }
    }
    QVERIFY2(beyond > 80, qPrintable(QString::number(beyond)));
}

/// What lies beyond the maps comes from the transform, also where the maps are the same.
void TestFramePictures::anotherTransformIsSeen() {
    FramePictures pictures;
    const NoiseFrame frame(kSize, QImage::Format_Grayscale8, 0, 1);
    Correction correction = calibrated(kSize, 2);
    correction.dstCorners[0] = rectangle(10, 10, 130, 40);
    const QImage before = pictures.corrected(frame.image, correction, 0, 2, 1);
    QCOMPARE(before.width(), 130);
    correction.transforms[0] = (cv::Mat_<double>(3, 3) << 1, 0, 60, 0, 1, 0, 0, 0, 1);
    const QImage after = pictures.corrected(frame.image, correction, 0, 2, 1);
    QVERIFY(isSame(after, shownCorrected(frame.image, correction, 0, 2, 1)));
    QVERIFY(!isSame(after, QPixmap::fromImage(before).toImage()));
}

void TestFramePictures::withoutCorners() {
    QFETCH(int, padding);
    FramePictures pictures;
    const NoiseFrame frame(kSize, format(), padding, 1);
    Correction correction = calibrated(kSize, 3);
    correction.dstCorners[2].clear();
    const QImage picture = pictures.corrected(frame.image, correction, 1, 3, 1);
    QCOMPARE(picture.size(), kSize);
    QVERIFY(isSame(picture, shownCorrected(frame.image, correction, 1, 3, 1)));
    // The grid needs four tiles.
    QVERIFY(isSame(pictures.corrected(frame.image, correction, 1, 3, 0),
                   shownCorrected(frame.image, correction, 1, 3, 0)));
}

void TestFramePictures::withoutMaps() {
    QFETCH(int, padding);
    FramePictures pictures;
    const NoiseFrame frame(kSize, format(), padding, 1);
    Correction correction = calibrated(kSize, 1);
    QVERIFY(isSame(pictures.corrected(frame.image, Correction(), 0, 1, 1), shownPlain(frame.image)));
    correction.mapY[0] = cv::Mat();
    QVERIFY(isSame(pictures.corrected(frame.image, correction, 0, 1, 1), shownPlain(frame.image)));
    correction.mapX[0] = cv::Mat();
    QVERIFY(isSame(pictures.corrected(frame.image, correction, 0, 1, 1), shownPlain(frame.image)));
}

void TestFramePictures::framesOfAnotherSize() {
    QFETCH(int, padding);
    FramePictures pictures;
    const Correction correction = calibrated(kSize, 1);
    for (const QSize size : {QSize(200, 150), kSize, QSize(30, 20), QSize(kSize.width(), 20), kSize,
                             QSize(kSize.height(), kSize.width()), QSize(1, 1), kSize}) {
        const NoiseFrame frame(size, format(), padding, 1);
        QVERIFY(isSame(pictures.corrected(frame.image, correction, 0, 1, 1),
                       shownCorrected(frame.image, correction, 0, 1, 1)));
    }
}

void TestFramePictures::nullFrame() {
    FramePictures pictures;
    const Correction correction = calibrated(kSize, 1);
    QVERIFY(pictures.plain(QImage()).isNull());
    QVERIFY(pictures.corrected(QImage(), correction, 0, 1, 1).isNull());
    QVERIFY(pictures.corrected(QImage(), Correction(), 0, 1, 1).isNull());
    // It leaves nothing behind.
    const NoiseFrame frame(kSize, QImage::Format_RGB888, 0, 1);
    QVERIFY(isSame(pictures.corrected(frame.image, correction, 0, 1, 1),
                   shownCorrected(frame.image, correction, 0, 1, 1)));
}

void TestFramePictures::oddFormats_data() {
    QTest::addColumn<QImage::Format>("format");
    QTest::newRow("indexed") << QImage::Format_Indexed8;
    QTest::newRow("two colours") << QImage::Format_Mono;
    QTest::newRow("16 bit") << QImage::Format_RGB16;
}

void TestFramePictures::oddFormats() {
    QFETCH(QImage::Format, format);
    FramePictures pictures;
    const NoiseFrame noise(kSize, QImage::Format_RGB888, 0, 1);
    const QImage frame = noise.image.convertToFormat(format);
    QVERIFY(isSame(pictures.plain(frame), shownPlain(frame)));
    QVERIFY(isSame(pictures.corrected(frame, Correction(), 0, 1, 1), shownPlain(frame)));
    const Correction correction = calibrated(kSize, 1);
    QVERIFY(
        isSame(pictures.corrected(frame, correction, 0, 1, 1), shownCorrected(frame, correction, 0, 1, 1)));
    // The next ordinary one is right again.
    QVERIFY(isSame(pictures.corrected(noise.image, correction, 0, 1, 1),
                   shownCorrected(noise.image, correction, 0, 1, 1)));
}

/// Four bytes a pixel are read as three, whose rows are too short for a picture of the format.
void TestFramePictures::oddFormatsOfFourBytes() {
    FramePictures pictures;
    const NoiseFrame noise(kSize, QImage::Format_RGB888, 0, 1);
    for (const auto format : {QImage::Format_RGB32, QImage::Format_ARGB32}) {
        const QImage frame = noise.image.convertToFormat(format);
        QVERIFY(isSame(pictures.plain(frame), shownPlain(frame)));
        QVERIFY(isSame(pictures.corrected(frame, Correction(), 0, 1, 1), shownPlain(frame)));
    }
    const Correction correction = calibrated(kSize, 1);
    QVERIFY(
        !pictures.corrected(noise.image.convertToFormat(QImage::Format_RGB32), correction, 0, 1, 1).isNull());
}

/// Whatever the table was made for: another frame, other maps or another crop never get it.
void TestFramePictures::changesAreSeen() {
    QFETCH(int, padding);
    FramePictures pictures;
    uint64_t seed = 0;
    const auto isRight = [&](const Correction& correction, int tile, int tileCount, int layoutMode,
                             QImage::Format frameFormat, int framePadding, QSize size = kSize) {
        // Twice: made anew, and used again.
        for (int i = 0; i < 2; ++i) {
            const NoiseFrame frame(size, frameFormat, framePadding, ++seed);
            const QImage picture = pictures.corrected(frame.image, correction, tile, tileCount, layoutMode);
            // The plain way, whose pictures are nobody else's, is for frames that do not fit the maps.
            const auto& map = correction.mapX[size_t(tile)];
            const bool isQuick = map.empty() || QSize(map.cols, map.rows) == size;
            if (picture.isDetached() == isQuick || picture.format() != frameFormat ||
                !isSame(picture, shownCorrected(frame.image, correction, tile, tileCount, layoutMode)))
                return false;
        }
        return true;
    };
    Correction correction = calibrated(kSize, 4);
    const Correction other = calibrated(kSize, 4, 1);
    const auto otherFormat =
        format() == QImage::Format_RGB888 ? QImage::Format_Grayscale8 : QImage::Format_RGB888;
    QVERIFY(isRight(correction, 1, 4, 1, format(), padding));
    QVERIFY(isRight(correction, 1, 4, 0, format(), padding));             // layout
    QVERIFY(isRight(correction, 1, 2, 1, format(), padding));             // its last tile is cut otherwise
    QVERIFY(isRight(correction, 2, 4, 1, format(), padding));             // tile
    QVERIFY(isRight(other, 2, 4, 1, format(), padding));                  // maps and crop
    QVERIFY(isRight(correction, 2, 4, 1, format(), padding));             // back
    QVERIFY(isRight(correction, 2, 4, 1, otherFormat, padding));          // format
    QVERIFY(isRight(correction, 2, 4, 1, format(), padding + 2));         // distance of the rows
    QVERIFY(isRight(correction, 2, 4, 1, format(), padding, {120, 80}));  // size
    QVERIFY(isRight(correction, 2, 4, 1, format(), padding));
    // One thing at a time.
    correction.mapX[2] = other.mapX[2];
    QVERIFY(isRight(correction, 2, 4, 1, format(), padding));
    correction.mapY[2] = other.mapY[2];
    QVERIFY(isRight(correction, 2, 4, 1, format(), padding));
    correction.dstCorners[2] = rectangle(20, 15, 80, 50);
    QVERIFY(isRight(correction, 2, 4, 1, format(), padding));
    correction.dstCorners[0].clear();
    QVERIFY(isRight(correction, 2, 4, 1, format(), padding));
    correction.mapX[2] = cv::Mat();
    QVERIFY(isRight(correction, 2, 4, 1, format(), padding));
    // Maps and frame that fit each other, of a new size.
    correction = calibrated({120, 80}, 4);
    QVERIFY(isRight(correction, 2, 4, 1, format(), padding, {120, 80}));
}

/// New maps may lie where the old ones did.
void TestFramePictures::newMapsAfterTheOldAreGone() {
    QFETCH(int, padding);
    FramePictures pictures;
    const NoiseFrame frame(kSize, format(), padding, 1);
    Correction correction;
    for (int i = 0; i < 30; ++i) {
        correction = Correction();
        correction = calibrated(kSize, 1, i % 3);
        correction.dstCorners[0].clear();  // the crop is the same
        QVERIFY(isSame(pictures.corrected(frame.image, correction, 0, 1, 1),
                       shownCorrected(frame.image, correction, 0, 1, 1)));
    }
}

/// One maker serves one tile; with several it is slow, not wrong.
void TestFramePictures::tilesOfOneMaker() {
    FramePictures pictures;
    const Correction correction = calibrated(kSize, 4);
    const NoiseFrame frame(kSize, QImage::Format_RGB888, 0, 1);
    for (int i = 0; i < 8; ++i)
        QVERIFY(isSame(pictures.corrected(frame.image, correction, i % 4, 4, 0),
                       shownCorrected(frame.image, correction, i % 4, 4, 0)));
}

void TestFramePictures::pictureOutlivesTheFrame() {
    QFETCH(int, padding);
    FramePictures pictures;
    const Correction correction = calibrated(kSize, 1);
    auto frame = std::make_unique<NoiseFrame>(kSize, format(), padding, 1);
    const QImage wantedPlain = shownPlain(frame->image);
    const QImage wantedCorrected = shownCorrected(frame->image, correction, 0, 1, 1);
    const QImage plain = pictures.plain(frame->image);
    const QImage corrected = pictures.corrected(frame->image, correction, 0, 1, 1);
    std::memset(frame->block.get(), 0, size_t(frame->image.sizeInBytes()));
    frame.reset();
    QVERIFY(isSame(plain, wantedPlain));
    QVERIFY(isSame(corrected, wantedCorrected));
}

void TestFramePictures::twoPicturesAreEnough_data() {
    QTest::addColumn<bool>("isCorrected");
    for (const char* kind : {"grey", "colour"}) {
        QTest::newRow((QByteArray(kind) + ", plain").constData()) << false;
        QTest::newRow((QByteArray(kind) + ", corrected").constData()) << true;
    }
}

/// One is shown, one is written.
void TestFramePictures::twoPicturesAreEnough() {
    QFETCH(bool, isCorrected);
    FramePictures pictures;
    const Correction correction = calibrated(kSize, 1);
    const NoiseFrame frame(kSize, format(), 0, 1);
    QPixmap shown;
    QSet<Identity> used;
    for (int i = 0; i < 25; ++i) {
        QImage picture =
            isCorrected ? pictures.corrected(frame.image, correction, 0, 1, 1) : pictures.plain(frame.image);
        if (i >= 5)
            used.insert(identityOf(picture));
        shown = QPixmap::fromImage(std::move(picture), Qt::NoFormatConversion);
    }
    QVERIFY2(used.size() <= 2, qPrintable(QString::number(used.size())));
}

void TestFramePictures::keptPicturesStay_data() {
    QTest::addColumn<bool>("isCorrected");
    QTest::addColumn<bool>("asPixmap");
    for (const bool isCorrected : {false, true}) {
        for (const bool asPixmap : {false, true}) {
            const auto name = QByteArray(isCorrected ? "corrected" : "plain") + ", kept as a " +
                              (asPixmap ? "pixmap" : "picture");
            QTest::newRow(name.constData()) << isCorrected << asPixmap;
        }
    }
}

void TestFramePictures::keptPicturesStay() {
    QFETCH(bool, isCorrected);
    QFETCH(bool, asPixmap);
    FramePictures pictures;
    const Correction correction = calibrated(kSize, 1);
    struct Kept {
        QImage image;
        QPixmap pixmap;
        QImage wanted;
    };
    std::vector<Kept> kept;
    QPixmap shown;
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        const NoiseFrame frame(kSize, QImage::Format_RGB888, 0, seed);
        const QImage picture =
            isCorrected ? pictures.corrected(frame.image, correction, 0, 1, 1) : pictures.plain(frame.image);
        shown = QPixmap::fromImage(picture, Qt::NoFormatConversion);
        // More at a time than there is room for in between, and some of them given back.
        if (seed % 3 == 0) {
            const QImage wanted =
                isCorrected ? shownCorrected(frame.image, correction, 0, 1, 1) : shownPlain(frame.image);
            kept.push_back({asPixmap ? QImage() : picture, asPixmap ? shown : QPixmap(), wanted});
        }
        if (seed == 20)
            kept.erase(kept.begin(), kept.begin() + 3);
        for (const Kept& one : kept)
            QVERIFY(isSame(asPixmap ? one.pixmap.toImage() : one.image, one.wanted));
    }
    QVERIFY(kept.size() > 4);
}

void TestFramePictures::poolGivesWhatIsAskedFor() {
    PicturePool pool;
    for (const auto format : {QImage::Format_Grayscale8, QImage::Format_RGB888, QImage::Format_Grayscale8}) {
        for (const QSize size : {QSize(10, 20), QSize(20, 10), QSize(1, 1), QSize(10, 20)}) {
            const QImage& picture = pool.take(size, format);
            QCOMPARE(picture.size(), size);
            QCOMPARE(picture.format(), format);
            QVERIFY(picture.isDetached());
        }
    }
    QVERIFY(pool.take(QSize(), kFormat).isNull());
}

void TestFramePictures::poolGivesNothingThatIsShared() {
    PicturePool pool;
    std::vector<QImage> shared;
    for (int i = 0; i < 10; ++i) {
        QImage& picture = pool.take({8, 8}, kFormat);
        QVERIFY(picture.isDetached());
        for (const QImage& other : shared)
            QVERIFY(picture.constBits() != other.constBits());
        picture.fill(i);
        shared.push_back(picture);
    }
    for (int i = 0; i < 10; ++i)
        QCOMPARE(shared[size_t(i)].pixel(7, 7), qRgb(i, i, i));
}

void TestFramePictures::poolUsesAFreePictureAgain() {
    PicturePool pool;
    const Identity first = identityOf(pool.take({8, 8}, kFormat));
    QCOMPARE(identityOf(pool.take({8, 8}, kFormat)), first);
    QImage shared = pool.take({8, 8}, kFormat);
    const Identity second = identityOf(pool.take({8, 8}, kFormat));
    QVERIFY(second != first);
    // A busy one of another size does not stand in the way, nor does a free one.
    const QImage small = pool.take({4, 4}, kFormat);
    QVERIFY(identityOf(small) != first);
    shared = QImage();
    QCOMPARE(identityOf(pool.take({8, 8}, kFormat)), first);
}

void TestFramePictures::poolKeepsAtMostFour() {
    PicturePool pool;
    std::vector<QImage> shared;
    for (int i = 0; i < 10; ++i)
        shared.push_back(pool.take({8, 8}, kFormat));
    // One that the pool keeps is shared with it.
    const auto isKept = [](const QImage& picture) { return !picture.isDetached(); };
    QCOMPARE(std::count_if(shared.begin(), shared.end(), isKept), 4);
}

/// Pictures that could not be had do not take the places of those that can.
void TestFramePictures::poolAfterShortMemory() {
    PicturePool pool;
    for (int i = 0; i < 5; ++i)
        QVERIFY(pool.take({INT_MAX, 1}, kFormat).isNull());  // wider than any picture can be
    const QImage shown = pool.take({8, 8}, kFormat);
    const QImage next = pool.take({8, 8}, kFormat);
    QVERIFY(!shown.isNull() && !next.isNull());
    QVERIFY(!shown.isDetached());
    QVERIFY(!next.isDetached());
}

QTEST_MAIN(TestFramePictures)
#include "tst_framepictures.moc"
