// SPDX-License-Identifier: Apache-2.0
#include <QPixmap>
#include <QtTest>
#include <array>
#include <memory>
#include <opencv2/imgproc.hpp>

#include "live/framepictures.h"
#include "support/noiseframe.h"
#include "support/somecorrections.h"

namespace {

/// Cameras a few degrees off, and turned by `degrees`; smooth.
Correction calibrated(QSize size, double degrees = 0) {
    Correction correction;
    correction.isSmooth = true;
    const double w = size.width();
    const double h = size.height();
    for (int tile = 0; tile < 4; ++tile) {
        const double off = 0.01 * tile;
        const QVector<QPointF> src{{(0.12 + off) * w, 0.10 * h},
                                   {0.91 * w, (0.14 - off) * h},
                                   {0.09 * w, (0.88 + off) * h},
                                   {(0.95 - off) * w, 0.86 * h}};
        const auto dst = rectangle(src[TopLeft].x(), src[TopLeft].y(), (0.90 - off) * w, (0.85 - off) * h);
        cv::Mat turn = cv::Mat::eye(3, 3, CV_64F);
        cv::getRotationMatrix2D({float(w) / 2, float(h) / 2}, degrees, 1).copyTo(turn.rowRange(0, 2));
        Calibration calibration = calibrationOf(src, dst);
        calibration.transform = calibration.transform * turn;
        if (!correction.take(tile, calibration, size))
            qFatal("no maps");
    }
    return correction;
}

QImage shown(const QImage& picture) {
    return QPixmap::fromImage(picture).toImage().convertToFormat(QImage::Format_RGB32);
}

/// What the plain way makes of a frame.
QImage plainly(const QImage& frame, const Correction& correction, int tile, int layoutMode = 0) {
    return shown(correctedPicture(frame, correction, tile, 4, layoutMode));
}

Correction nearest(Correction correction) {
    correction.isSmooth = false;
    return correction;
}

constexpr QSize kSize(97, 61);

}  // namespace

/// The pictures that tiles show while the correction is smooth, against the plain way.
class TestSmoothPictures : public QObject {
    Q_OBJECT

private slots:
    void pictureIsThePlainOne_data() { shapes(); }
    void pictureIsThePlainOne();
    void cropBeyondThePicture_data() { shapes(); }
    void cropBeyondThePicture();
    void framesOfAnotherSize_data() { shapes(); }
    void framesOfAnotherSize();
    void tinyFrames_data() { shapes(); }
    void tinyFrames();
    void oddFormats();
    void withoutMaps_data() { shapes(); }
    void withoutMaps();
    void switchedBetweenFrames_data() { shapes(); }
    void switchedBetweenFrames();
    void keptPicturesStay_data() { shapes(); }
    void keptPicturesStay();

private:
    static void shapes();
    static QImage::Format format() {
        return QTest::currentDataTag()[0] == 'g' ? QImage::Format_Grayscale8 : QImage::Format_RGB888;
    }
};

void TestSmoothPictures::shapes() {
    QTest::addColumn<int>("padding");
    for (const char* kind : {"grey", "colour"}) {
        for (const int padding : {0, 5})
            QTest::newRow((QByteArray(kind) + ", padded by " + QByteArray::number(padding)).constData())
                << padding;
    }
}

void TestSmoothPictures::pictureIsThePlainOne() {
    QFETCH(int, padding);
    for (const double degrees : {0.0, 3.0, 90.0, 180.0}) {
        const Correction correction = calibrated(kSize, degrees);
        std::array<FramePictures, 4> pictures;
        for (const int layoutMode : {0, 1}) {
            for (uint64_t seed = 1; seed <= 3; ++seed) {
                for (int tile = 0; tile < 4; ++tile) {
                    const NoiseFrame frame(kSize, format(), padding, seed);
                    const QImage picture =
                        shown(pictures[size_t(tile)].corrected(frame.image, correction, tile, 4, layoutMode));
                    QCOMPARE(picture, plainly(frame.image, correction, tile, layoutMode));
                    QVERIFY(picture != plainly(frame.image, nearest(correction), tile, layoutMode));
                }
            }
        }
    }
}

void TestSmoothPictures::cropBeyondThePicture() {
    QFETCH(int, padding);
    FramePictures pictures;
    const NoiseFrame frame(kSize, format(), padding, 1);
    int beyond = 0;
    for (const auto& corners : {rectangle(-30, -20, 120, 80), rectangle(50, 40, 180, 90),
                                rectangle(500, 10, 900, 40), rectangle(-1e300, qQNaN(), 1e300, qInf())}) {
        Correction correction = calibrated(kSize);
        for (auto& list : correction.dstCorners)
            list = corners;
        for (int tile = 0; tile < 4; ++tile) {
            for (const int layoutMode : {0, 1}) {
                QCOMPARE(shown(pictures.corrected(frame.image, correction, tile, 4, layoutMode)),
                         plainly(frame.image, correction, tile, layoutMode));
                const QRect crop = cropOf(correction, tile, 4, layoutMode, kSize, kSize);
                beyond += QRect(QPoint(), kSize).contains(crop) ? 0 : 1;
            }
        }
    }
    QVERIFY2(beyond >= 4, qPrintable(QString::number(beyond)));
}

void TestSmoothPictures::framesOfAnotherSize() {
    QFETCH(int, padding);
    FramePictures pictures;
    const Correction correction = calibrated(kSize);
    for (const QSize size : {QSize(200, 150), kSize, QSize(30, 20), QSize(kSize.width(), 20), QSize(1, 1),
                             kSize, QSize(kSize.height(), kSize.width())}) {
        const NoiseFrame frame(size, format(), padding, 1);
        const QImage picture = shown(pictures.corrected(frame.image, correction, 0, 4, 0));
        QCOMPARE(picture, plainly(frame.image, correction, 0));
        if (size.width() > 1)
            QVERIFY(picture != plainly(frame.image, nearest(correction), 0));
    }
}

/// Too small to have neighbours in both directions.
void TestSmoothPictures::tinyFrames() {
    QFETCH(int, padding);
    for (const QSize size : {QSize(1, 1), QSize(1, 50), QSize(50, 1), QSize(2, 2), QSize(3, 2)}) {
        FramePictures pictures;
        Correction correction = calibrated({60, 40});
        const cv::Mat transform = (cv::Mat_<double>(3, 3) << 1, 0, 0.3, 0, 1, 0.4, 0, 0, 1);
        correction.transforms[0] = transform;
        QVERIFY(buildCorrectionMaps(transform, size, correction.mapX[0], correction.mapY[0]));
        correction.dstCorners[0].clear();
        const NoiseFrame frame(size, format(), padding, 2);
        QCOMPARE(shown(pictures.corrected(frame.image, correction, 0, 4, 0)),
                 plainly(frame.image, correction, 0));
    }
}

void TestSmoothPictures::oddFormats() {
    FramePictures pictures;
    const Correction correction = calibrated(kSize);
    const NoiseFrame noise(kSize, QImage::Format_RGB888, 0, 1);
    for (const auto odd : {QImage::Format_Indexed8, QImage::Format_Mono, QImage::Format_RGB16}) {
        const QImage frame = noise.image.convertToFormat(odd);
        QCOMPARE(shown(pictures.corrected(frame, correction, 0, 4, 0)), plainly(frame, correction, 0));
        QCOMPARE(shown(pictures.corrected(noise.image, correction, 0, 4, 0)),
                 plainly(noise.image, correction, 0));
    }
    QVERIFY(pictures.corrected(QImage(), correction, 0, 4, 0).isNull());
}

/// As it came, however smooth.
void TestSmoothPictures::withoutMaps() {
    QFETCH(int, padding);
    FramePictures pictures;
    const NoiseFrame frame(kSize, format(), padding, 1);
    Correction correction;
    correction.isSmooth = true;
    QCOMPARE(shown(pictures.corrected(frame.image, correction, 0, 4, 0)), shown(frame.image));
    correction = calibrated(kSize);
    correction.mapY[0] = cv::Mat();
    QCOMPARE(shown(pictures.corrected(frame.image, correction, 0, 4, 0)), shown(frame.image));
}

/// Neither table is used for the other's pictures, nor for what it was not made for.
void TestSmoothPictures::switchedBetweenFrames() {
    QFETCH(int, padding);
    FramePictures pictures;
    const Correction correction = calibrated(kSize);
    const Correction other = calibrated(kSize, 2);
    const auto otherFormat =
        format() == QImage::Format_RGB888 ? QImage::Format_Grayscale8 : QImage::Format_RGB888;
    uint64_t seed = 0;
    for (const Correction& now :
         {correction, nearest(correction), correction, other, nearest(other), other}) {
        for (const auto frameFormat : {format(), otherFormat, format()}) {
            const NoiseFrame frame(kSize, frameFormat, padding, ++seed);
            for (int i = 0; i < 2; ++i)
                QCOMPARE(shown(pictures.corrected(frame.image, now, 1, 4, 0)), plainly(frame.image, now, 1));
        }
    }
}

/// What is shown or held is not overwritten by the next frames.
void TestSmoothPictures::keptPicturesStay() {
    QFETCH(int, padding);
    FramePictures pictures;
    const Correction correction = calibrated(kSize);
    QVector<QPair<QImage, QImage>> kept;
    for (uint64_t seed = 1; seed <= 10; ++seed) {
        auto frame = std::make_unique<NoiseFrame>(kSize, format(), padding, seed);
        const QImage wanted = plainly(frame->image, correction, 0);
        kept.append({pictures.corrected(frame->image, correction, 0, 4, 0), wanted});
        frame.reset();
        for (const auto& [picture, was] : qAsConst(kept))
            QCOMPARE(shown(picture), was);
    }
}

QTEST_MAIN(TestSmoothPictures)
#include "tst_smoothpictures.moc"
