// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <opencv2/imgproc.hpp>

#include "calibration/calibrationfile.h"
#include "calibration/cornerlists.h"
#include "calibration/correction.h"
#include "calibration/correctionmaps.h"
#include "support/somecorrections.h"
#include "support/workingfolder.h"

namespace {

/// A mild perspective as a camera a few degrees off sees it.
cv::Mat mildTransform(float width, float height) {
    const cv::Point2f src[4] = {{0.12F * width, 0.10F * height},
                                {0.91F * width, 0.14F * height},
                                {0.09F * width, 0.88F * height},
                                {0.94F * width, 0.83F * height}};
    const cv::Point2f dst[4] = {{0.12F * width, 0.10F * height},
                                {0.90F * width, 0.10F * height},
                                {0.12F * width, 0.85F * height},
                                {0.90F * width, 0.85F * height}};
    return cv::getPerspectiveTransform(src, dst);
}

QImage noise(QSize size, QImage::Format format) {
    QImage image(size, format);
    cv::RNG random(42);
    for (int y = 0; y < image.height(); ++y) {
        cv::Mat row(1, image.width() * image.depth() / 8, CV_8U, image.scanLine(y));
        random.fill(row, cv::RNG::UNIFORM, 0, 256);
    }
    return image;
}

Correction oneTile(QSize size) {
    Correction correction;
    correction.transforms[0] = mildTransform(float(size.width()), float(size.height()));
    buildCorrectionMaps(correction.transforms[0], size, correction.mapX[0], correction.mapY[0]);
    correction.dstCorners[0] =
        rectangle(0.12 * size.width(), 0.10 * size.height(), 0.90 * size.width(), 0.85 * size.height());
    return correction;
}

QByteArray calibrationXml(const cv::Mat& transform, const cv::Mat& src, const cv::Mat& dst) {
    cv::FileStorage storage(".xml", cv::FileStorage::WRITE | cv::FileStorage::MEMORY);
    storage << "calibrate" << transform << "corner_src" << src << "corner_dst" << dst;
    return QByteArray::fromStdString(storage.releaseAndGetString());
}

}  // namespace

/// Correction maps, crop geometry, the corrected picture and the calibration file.
class TestCorrection : public QObject {
    Q_OBJECT

private slots:
    void mapsAreTheInverseTransform();
    void impossibleMaps_data();
    void impossibleMaps();
    void inverseBeyondFloats();
    void rowOfOneKeepsBothEdges();
    void rowGeometry();
    void gridGeometry();
    void geometryNeedsCorners();
    void absurdCornersAreHarmless();
    void pictureIsRemapAndCrop_data();
    void pictureIsRemapAndCrop();
    void seamsStayWhereTheCropReachesPast_data();
    void seamsStayWhereTheCropReachesPast();
    void beyondTheMapsIsTheSameTransform_data();
    void beyondTheMapsIsTheSameTransform();
    void cropThatIsNoUse_data();
    void cropThatIsNoUse();
    void partWithoutATransform();
    void takenOrNothing_data();
    void takenOrNothing();
    void pictureOutlivesEverything();
    void oddInputsGiveAPicture_data();
    void oddInputsGiveAPicture();
    void cornersFindTheirTile_data();
    void cornersFindTheirTile();
    void calibrationFileOfPlainOpenCv();
    void anyCutOrNulIsSurvived();
    void brokenCalibrationIsMissing_data();
    void brokenCalibrationIsMissing();
};

void TestCorrection::mapsAreTheInverseTransform() {
    const cv::Mat transform = mildTransform(320, 200);
    cv::Mat mapX;
    cv::Mat mapY;
    QVERIFY(buildCorrectionMaps(transform, {320, 200}, mapX, mapY));
    QCOMPARE(mapX.type(), CV_32FC1);
    QCOMPARE(mapY.type(), CV_32FC1);
    QCOMPARE(mapX.rows, 200);
    QCOMPARE(mapX.cols, 320);
    // Carrying a source place forward through the transform must lead back to the pixel.
    for (const QPoint pixel :
         {QPoint(0, 0), QPoint(319, 0), QPoint(160, 100), QPoint(7, 193), QPoint(319, 199)}) {
        const cv::Mat place = (cv::Mat_<double>(3, 1) << double(mapX.at<float>(pixel.y(), pixel.x())),
                               double(mapY.at<float>(pixel.y(), pixel.x())), 1.0);
        const cv::Mat back = transform * place;
        QVERIFY(std::abs(back.at<double>(0) / back.at<double>(2) - pixel.x()) < 0.01);
        QVERIFY(std::abs(back.at<double>(1) / back.at<double>(2) - pixel.y()) < 0.01);
    }
}

void TestCorrection::impossibleMaps_data() {
    QTest::addColumn<QSize>("size");
    QTest::addColumn<bool>("singular");
    QTest::newRow("singular") << QSize(64, 48) << true;
    QTest::newRow("no width") << QSize(0, 48) << false;
    QTest::newRow("negative") << QSize(-2560, -1440) << false;
    QTest::newRow("wider than a remap can address") << QSize(40000, 10) << false;
    QTest::newRow("more memory than there is") << QSize(30000, 30000) << false;
}

void TestCorrection::impossibleMaps() {
    QFETCH(QSize, size);
    QFETCH(bool, singular);
    cv::Mat mapX(2, 2, CV_32F);
    cv::Mat mapY(2, 2, CV_32F);
    const cv::Mat transform = singular ? cv::Mat(cv::Mat::zeros(3, 3, CV_64F)) : mildTransform(64, 48);
    QVERIFY(!buildCorrectionMaps(transform, size, mapX, mapY));
    QVERIFY(mapX.empty());
    QVERIFY(mapY.empty());
}

void TestCorrection::inverseBeyondFloats() {
    const cv::Mat transform = (cv::Mat_<double>(3, 3) << 1e-60, 0, 0, 0, 1e-60, 0, 0, 0, 1);
    cv::Mat mapX;
    cv::Mat mapY;
    QVERIFY(!buildCorrectionMaps(transform, {64, 48}, mapX, mapY));
    QVERIFY(mapX.empty() && mapY.empty());
}

void TestCorrection::rowOfOneKeepsBothEdges() {
    CornerTable corners;
    corners[0] = rectangle(100.9, 50.2, 500.7, 300.0);
    const auto geometry = computeCropGeometry(corners, 1, 1, {640, 480});
    QVERIFY(geometry);
    QCOMPARE(cropRectangle(*geometry, corners, 1, 0), QRect(0, 0, 539, 480));  // int(640 - 100.9)
}

void TestCorrection::rowGeometry() {
    CornerTable corners;
    corners[0] = rectangle(100.9, 50.7, 500.7, 300.0);
    corners[1] = rectangle(80.5, 62.9, 380.1, 310.0);
    corners[2] = rectangle(90.2, 41.3, 590.9, 290.0);
    const auto geometry = computeCropGeometry(corners, 3, 1, {640, 480});
    QVERIFY(geometry);
    // topMin 41 (tile 2), topMax 62 (tile 1)
    QCOMPARE(geometry->rowHeight, 41 - 62 + 480);
    QCOMPARE(cropRectangle(*geometry, corners, 1, 0), QRect(0, 9, 500, 459));
    QCOMPARE(cropRectangle(*geometry, corners, 1, 1), QRect(80, 21, 299, 459));
    QCOMPARE(cropRectangle(*geometry, corners, 1, 2), QRect(90, 0, 549, 459));
}

void TestCorrection::gridGeometry() {
    CornerTable corners;
    corners[0] = rectangle(100, 90, 500.5, 390.5);
    corners[1] = rectangle(120.9, 95, 520, 385.2);
    corners[2] = rectangle(110, 70.7, 490.9, 370);
    corners[3] = rectangle(130.1, 65, 530, 365);
    const auto geometry = computeCropGeometry(corners, 4, 0, {640, 480});
    QVERIFY(geometry);
    QCOMPARE(geometry->cropLeft, 490);
    QCOMPARE(geometry->cropRight, 509);  // int(640 - 130.1)
    QCOMPARE(geometry->cropTop, 385);
    QCOMPARE(geometry->cropBottom, 409);  // int(480 - 70.7)
    QCOMPARE(cropRectangle(*geometry, corners, 0, 0), QRect(10, 5, 490, 385));
    QCOMPARE(cropRectangle(*geometry, corners, 0, 1), QRect(120, 0, 509, 385));
    QCOMPARE(cropRectangle(*geometry, corners, 0, 2), QRect(0, 70, 490, 409));
    QCOMPARE(cropRectangle(*geometry, corners, 0, 3), QRect(130, 65, 509, 409));
}

void TestCorrection::geometryNeedsCorners() {
    CornerTable corners;
    corners[0] = corners[1] = corners[2] = rectangle(10, 10, 50, 50);
    QVERIFY(computeCropGeometry(corners, 3, 1, {64, 64}));
    QVERIFY(!computeCropGeometry(corners, 4, 1, {64, 64}));
    QVERIFY(!computeCropGeometry(corners, 3, 0, {64, 64}));  // the grid needs all four
    QVERIFY(!computeCropGeometry(corners, 4, 0, {64, 64}));
    QVERIFY(!computeCropGeometry(corners, 0, 1, {64, 64}));
    corners[1].removeLast();
    QVERIFY(!computeCropGeometry(corners, 3, 1, {64, 64}));
}

void TestCorrection::absurdCornersAreHarmless() {
    constexpr qint64 kFarthest = std::numeric_limits<int>::max() / 3 * 2 + 480;
    CornerTable corners;
    corners[0] = rectangle(-1e300, qQNaN(), 1e300, qInf());
    corners[1] = corners[2] = corners[3] = rectangle(1e18, -1e18, qQNaN(), qInf());
    for (const int layoutMode : {0, 1}) {
        const auto geometry = computeCropGeometry(corners, 4, layoutMode, {640, 480});
        QVERIFY(geometry);
        for (int tile = 0; tile < 4; ++tile) {
            // Far out, but numbers that can still be added up.
            const QRect crop = cropRectangle(*geometry, corners, layoutMode, tile);
            for (const int value : {crop.x(), crop.y(), crop.width(), crop.height()})
                QVERIFY2(std::abs(qint64{value}) <= kFarthest, qPrintable(QString::number(value)));
        }
    }
}

void TestCorrection::pictureIsRemapAndCrop_data() {
    QTest::addColumn<QSize>("size");
    QTest::addColumn<bool>("colour");
    QTest::addColumn<bool>("smooth");
    for (const bool smooth : {false, true}) {
        const char* way = smooth ? "smooth" : "nearest";
        QTest::addRow("grey, %s", way) << QSize(320, 240) << false << smooth;
        QTest::addRow("colour, %s", way) << QSize(320, 240) << true << smooth;
        QTest::addRow("odd grey, %s", way) << QSize(317, 203) << false << smooth;
        QTest::addRow("odd colour, %s", way) << QSize(317, 203) << true << smooth;
    }
}

void TestCorrection::pictureIsRemapAndCrop() {
    QFETCH(QSize, size);
    QFETCH(bool, colour);
    QFETCH(bool, smooth);
    const QImage frame = noise(size, colour ? QImage::Format_RGB888 : QImage::Format_Grayscale8);
    Correction correction = oneTile(size);
    QVERIFY(!correction.isSmooth);
    correction.isSmooth = smooth;
    const QImage picture = correctedPicture(frame, correction, 0, 1, 1);

    cv::Mat mat(frame.height(), frame.width(), colour ? CV_8UC3 : CV_8UC1,
                const_cast<uchar*>(frame.constBits()), size_t(frame.bytesPerLine()));
    cv::Mat expected;
    cv::remap(mat, expected, correction.mapX[0], correction.mapY[0],
              smooth ? cv::INTER_LINEAR : cv::INTER_NEAREST, cv::BORDER_REPLICATE);
    const int width = int(size.width() - correction.dstCorners[0][TopLeft].x());
    QCOMPARE(picture.format(), frame.format());
    QCOMPARE(picture.size(), QSize(width, size.height()));
    for (int y = 0; y < picture.height(); ++y)
        QVERIFY(std::memcmp(picture.constScanLine(y), expected.ptr(y), size_t(width) * (colour ? 3 : 1)) ==
                0);
}

void TestCorrection::seamsStayWhereTheCropReachesPast_data() {
    QTest::addColumn<bool>("colour");
    QTest::addColumn<int>("layoutMode");
    QTest::addColumn<QSize>("frame");
    for (const bool colour : {false, true}) {
        for (const int layoutMode : {0, 1}) {
            for (const QSize frame : {QSize(100, 80), QSize(90, 75)})
                QTest::addRow("%s, %s, frames %d px wide", colour ? "colour" : "grey",
                              layoutMode == 0 ? "grid" : "row", frame.width())
                    << colour << layoutMode << frame;
        }
    }
}

/// Cameras that are only shifted, so that the place of every pixel can be counted: each tile has the width
/// that the arrangement reckons with, and shows at every place what was taken there.
void TestCorrection::seamsStayWhereTheCropReachesPast() {
    QFETCH(bool, colour);
    QFETCH(int, layoutMode);
    QFETCH(QSize, frame);
    const QSize maps(100, 80);
    const QPoint shifts[] = {{30, 25}, {-20, 12}, {24, -30}, {-15, -18}};
    const QRect marked[] = {{20, 15, 75, 55}, {25, 8, 70, 60}, {12, 22, 80, 54}, {22, 26, 70, 50}};
    Correction correction;
    for (int i = 0; i < 4; ++i) {
        const QPoint shift = shifts[i];
        correction.transforms[i] = (cv::Mat_<double>(3, 3) << 1, 0, shift.x(), 0, 1, shift.y(), 0, 0, 1);
        QVERIFY(buildCorrectionMaps(correction.transforms[i], maps, correction.mapX[i], correction.mapY[i]));
        const QRect to = marked[i].translated(shift);
        correction.dstCorners[i] = rectangle(to.x(), to.y(), to.x() + to.width(), to.y() + to.height());
    }
    const auto geometry = computeCropGeometry(correction.dstCorners, 4, layoutMode, frame);
    QVERIFY(geometry);
    int beyond = 0;
    for (int i = 0; i < 4; ++i) {
        const QImage image = noise(frame, colour ? QImage::Format_RGB888 : QImage::Format_Grayscale8);
        const QRect crop = cropRectangle(*geometry, correction.dstCorners, layoutMode, i);
        beyond += QRect(QPoint(), maps).contains(crop) ? 0 : 1;
        const QImage picture = correctedPicture(image, correction, i, 4, layoutMode);
        QCOMPARE(picture.format(), image.format());
        QCOMPARE(picture.size(), crop.size());
        for (int y = 0; y < crop.height(); ++y) {
            for (int x = 0; x < crop.width(); ++x) {
                const QPoint from = crop.topLeft() + QPoint(x, y) - shifts[i];
                // Beyond the frame its border goes on.
                const QPoint seen(qBound(0, from.x(), frame.width() - 1),
                                  qBound(0, from.y(), frame.height() - 1));
                QCOMPARE(picture.pixel(x, y), image.pixel(seen));
            }
        }
    }
    QVERIFY(beyond >= 2);
}

void TestCorrection::beyondTheMapsIsTheSameTransform_data() {
    QTest::addColumn<bool>("colour");
    QTest::newRow("grey") << false;
    QTest::newRow("colour") << true;
}

void TestCorrection::beyondTheMapsIsTheSameTransform() {
    QFETCH(bool, colour);
    cv::RNG random(7);
    int beyond = 0;
    for (int trial = 0; trial < 60; ++trial) {
        const QSize size(random.uniform(20, 140), random.uniform(20, 110));
        Correction correction = oneTile(size);
        const QRect to(random.uniform(-30, size.width()), random.uniform(-30, size.height()),
                       random.uniform(10, 150), random.uniform(10, 150));
        correction.dstCorners[0] = correction.dstCorners[1] =
            rectangle(to.x(), to.y(), to.x() + to.width(), to.y() + to.height());
        correction.dstCorners[1] = rectangle(5, random.uniform(-40, 40), 50 + random.uniform(0, 50), 70);
        // Tile 0 of a row of two ends at its right edge, wherever that is.
        const auto geometry = computeCropGeometry(correction.dstCorners, 2, 1, size);
        const QRect crop = cropRectangle(*geometry, correction.dstCorners, 1, 0);
        const QRect whole(QPoint(), size);
        const QImage frame = noise(size, colour ? QImage::Format_RGB888 : QImage::Format_Grayscale8);
        const QImage picture = correctedPicture(frame, correction, 0, 2, 1);
        if (!crop.isValid() || !crop.intersects(whole))
            continue;
        QCOMPARE(picture.size(), crop.size());
        beyond += whole.contains(crop) ? 0 : 1;

        cv::Mat inverse = correction.transforms[0].inv(cv::DECOMP_LU);
        inverse.convertTo(inverse, CV_32F);
        cv::Mat places(crop.height(), crop.width(), CV_32FC2);
        for (int y = 0; y < places.rows; ++y) {
            for (int x = 0; x < places.cols; ++x)
                places.at<cv::Vec2f>(y, x) = {float(crop.x() + x), float(crop.y() + y)};
        }
        cv::perspectiveTransform(places, places, inverse);
        std::vector<cv::Mat> channels;
        cv::split(places, channels);
        const cv::Mat mat(frame.height(), frame.width(), colour ? CV_8UC3 : CV_8UC1,
                          const_cast<uchar*>(frame.constBits()), size_t(frame.bytesPerLine()));
        cv::Mat inside;
        cv::Mat all;
        cv::remap(mat, inside, correction.mapX[0], correction.mapY[0], cv::INTER_NEAREST,
                  cv::BORDER_REPLICATE);
        cv::remap(mat, all, channels[0], channels[1], cv::INTER_NEAREST, cv::BORDER_REPLICATE);
        const size_t bytes = colour ? 3 : 1;
        for (int y = 0; y < crop.height(); ++y) {
            for (int x = 0; x < crop.width(); ++x) {
                const QPoint at = crop.topLeft() + QPoint(x, y);
                const uchar* wanted = whole.contains(at) ? inside.ptr(at.y(), at.x()) : all.ptr(y, x);
                QVERIFY(std::memcmp(picture.constScanLine(y) + size_t(x) * bytes, wanted, bytes) == 0);
            }
        }
    }
    QVERIFY2(beyond >= 20, qPrintable(QString::number(beyond)));
}

void TestCorrection::cropThatIsNoUse_data() {
    QTest::addColumn<QVector<QPointF>>("corners");
    QTest::newRow("right of the picture") << rectangle(64, 10, 120, 40);
    QTest::newRow("left of the picture") << rectangle(-90, 10, -1, 40);
    QTest::newRow("no width") << rectangle(30, 10, 30, 40);
    QTest::newRow("turned round") << rectangle(50, 10, 10, 40);
    QTest::newRow("more than memory") << rectangle(10, 10, 1e9, 40);
    QTest::newRow("far larger than the picture") << rectangle(10, 10, 400, 40);
    QTest::newRow("wider than a remap can address") << rectangle(10, 10, 40000, 40);
}

void TestCorrection::cropThatIsNoUse() {
    QFETCH(QVector<QPointF>, corners);
    Correction correction = oneTile({64, 48});
    correction.dstCorners[1] = corners;
    correction.dstCorners[2] = correction.dstCorners[0];
    correction.transforms[1] = correction.transforms[0];
    correction.mapX[1] = correction.mapX[0];
    correction.mapY[1] = correction.mapY[0];
    const QImage frame = noise({64, 48}, QImage::Format_Grayscale8);
    correction.dstCorners[0] = rectangle(10, 10, 50, 40);
    Correction uncut = correction;
    uncut.dstCorners[0].clear();
    QCOMPARE(correctedPicture(frame, correction, 1, 3, 1), correctedPicture(frame, uncut, 1, 3, 1));
    QCOMPARE(correctedPicture(frame, correction, 1, 3, 1).size(), QSize(64, 48));
}

/// Maps alone say nothing about what lies beyond them: their edges are repeated.
void TestCorrection::partWithoutATransform() {
    const Correction correction = oneTile({64, 48});
    for (const cv::Mat& transform : {cv::Mat(), cv::Mat(cv::Mat::zeros(3, 3, CV_64F))}) {
        const PartMaps maps = partMaps(transform, correction.mapX[0], correction.mapY[0], {-5, 40, 80, 20});
        QCOMPARE(maps.x.size(), cv::Size(80, 20));
        QCOMPARE(maps.y.size(), cv::Size(80, 20));
        for (int y = 0; y < 20; ++y) {
            for (int x = 0; x < 80; ++x) {
                const int column = qBound(0, x - 5, 63);
                const int row = qMin(y + 40, 47);
                QCOMPARE(maps.x.at<float>(y, x), correction.mapX[0].at<float>(row, column));
                QCOMPARE(maps.y.at<float>(y, x), correction.mapY[0].at<float>(row, column));
            }
        }
    }
}

void TestCorrection::takenOrNothing_data() {
    QTest::addColumn<QSize>("size");
    QTest::addColumn<bool>("singular");
    QTest::addColumn<bool>("taken");
    QTest::newRow("good") << QSize(64, 48) << false << true;
    QTest::newRow("singular") << QSize(64, 48) << true << false;
    QTest::newRow("no size") << QSize(0, 0) << false << false;
    QTest::newRow("too wide") << QSize(40000, 48) << false << false;
}

/// A tile whose maps cannot be built keeps what it had.
void TestCorrection::takenOrNothing() {
    QFETCH(QSize, size);
    QFETCH(bool, singular);
    QFETCH(bool, taken);
    const Correction before = oneTile({64, 48});
    Correction correction = before;
    Calibration calibration;
    calibration.transform = singular ? cv::Mat(cv::Mat::zeros(3, 3, CV_64F)) : mildTransform(64, 40);
    calibration.cornerSrc = calibration.cornerDst = (cv::Mat_<float>(4, 2) << 1, 2, 3, 4, 5, 6, 7, 8);
    QCOMPARE(correction.take(0, calibration, size), taken);
    QCOMPARE(correction.mapX[0].data != before.mapX[0].data, taken);
    QCOMPARE(correction.mapY[0].data != before.mapY[0].data, taken);
    QCOMPARE(correction.transforms[0].data != before.transforms[0].data, taken);
    QCOMPARE(correction.dstCorners[0] != before.dstCorners[0], taken);
    QVERIFY(!correction.mapX[0].empty() && !correction.mapY[0].empty());
}

void TestCorrection::pictureOutlivesEverything() {
    QImage picture;
    {
        const Correction correction = oneTile({64, 48});
        const QImage frame = noise({64, 48}, QImage::Format_Grayscale8);
        picture = correctedPicture(frame, correction, 0, 1, 1);
    }
    const QImage copy = picture.copy();  // reads every pixel: a dangling one is the sanitizer's find
    QCOMPARE(copy.size(), picture.size());
}

void TestCorrection::oddInputsGiveAPicture_data() {
    QTest::addColumn<QSize>("frame");
    QTest::addColumn<bool>("maps");
    QTest::addColumn<QVector<QPointF>>("corners");
    QTest::addColumn<QSize>("expected");
    const auto good = rectangle(10, 10, 50, 40);
    QTest::newRow("empty frame") << QSize(0, 0) << true << good << QSize(0, 0);
    QTest::newRow("no maps") << QSize(64, 48) << false << good << QSize(64, 48);
    QTest::newRow("no corners") << QSize(64, 48) << true << QVector<QPointF>() << QSize(64, 48);
    QTest::newRow("frame larger than the maps") << QSize(200, 150) << true << good << QSize(64, 48);
    QTest::newRow("frame smaller than the maps") << QSize(30, 20) << true << good << QSize(20, 20);
    QTest::newRow("crop beside the picture")
        << QSize(64, 48) << true << rectangle(500, 10, 900, 40) << QSize(64, 48);
    QTest::newRow("not a number") << QSize(64, 48) << true << rectangle(qQNaN(), qQNaN(), qInf(), 1e300)
                                  << QSize(64, 48);
}

void TestCorrection::oddInputsGiveAPicture() {
    QFETCH(QSize, frame);
    QFETCH(bool, maps);
    QFETCH(QVector<QPointF>, corners);
    QFETCH(QSize, expected);
    Correction correction;
    if (maps)
        correction = oneTile({64, 48});
    correction.dstCorners[0] = corners;
    const QImage image = frame.isEmpty() ? QImage() : noise(frame, QImage::Format_Grayscale8);
    const QImage picture = correctedPicture(image, correction, 0, 1, 1);
    QCOMPARE(picture.size(), expected);
    (void)picture.copy();
}

void TestCorrection::cornersFindTheirTile_data() {
    QTest::addColumn<QPointF>("point");
    QTest::addColumn<int>("layoutMode");
    QTest::addColumn<int>("tile");
    QTest::addColumn<QPointF>("local");
    QTest::newRow("grid, tile 1") << QPointF(700, 100) << 0 << 1 << QPointF(60, 100);
    QTest::newRow("grid, the middle is tile 3") << QPointF(640, 480) << 0 << 3 << QPointF(0, 0);
    QTest::newRow("grid, just before the middle") << QPointF(639.5, 479.9) << 0 << 0 << QPointF(639.5, 479.9);
    QTest::newRow("grid, tile 2") << QPointF(5, 481) << 0 << 2 << QPointF(5, 1);
    QTest::newRow("grid, far out") << QPointF(9999, 9999) << 0 << 3 << QPointF(9359, 9519);
    QTest::newRow("row, tile 2") << QPointF(1280, 7) << 1 << 2 << QPointF(0, 7);
    QTest::newRow("row, far down") << QPointF(1, 9999) << 1 << 0 << QPointF(1, 9999);
    QTest::newRow("row, left of all") << QPointF(-3, 0) << 1 << 0 << QPointF(-3, 0);
    QTest::newRow("row, the last") << QPointF(2559.5, 0) << 2 << 3 << QPointF(639.5, 0);
    QTest::newRow("grid, no number") << QPointF(qQNaN(), 5) << 0 << -1 << QPointF();
    QTest::newRow("row, no number") << QPointF(qQNaN(), 5) << 1 << -1 << QPointF();
    QTest::newRow("row, no number below") << QPointF(5, qQNaN()) << 1 << -1 << QPointF();
    QTest::newRow("grid, no number below") << QPointF(5, qQNaN()) << 0 << -1 << QPointF();
    QTest::newRow("row, beyond") << QPointF(2560, 0) << 1 << -1 << QPointF();
}

void TestCorrection::cornersFindTheirTile() {
    QFETCH(QPointF, point);
    QFETCH(int, layoutMode);
    QFETCH(int, tile);
    QFETCH(QPointF, local);
    const auto assigned = assignCorner(point, {640, 480}, layoutMode);
    QCOMPARE(assigned ? assigned->tile : -1, tile);
    if (assigned)
        QCOMPARE(assigned->point, local);
}

void TestCorrection::calibrationFileOfPlainOpenCv() {
    const WorkingFolder folder;
    const cv::Mat transform = mildTransform(64, 48);
    const cv::Mat src = (cv::Mat_<float>(4, 2) << 1, 2, 3, 4, 5, 6, 7, 8.5);
    const cv::Mat dst = (cv::Mat_<float>(4, 2) << 9, 10, 11, 12, 13, 14, 15, 16.25);
    {
        cv::FileStorage storage("Cal2.xml", cv::FileStorage::WRITE);
        storage << "calibrate" << transform << "corner_src" << src << "corner_dst" << dst;
    }
    QCOMPARE(calibrationFileName(2), QStringLiteral("Cal2.xml"));
    const auto calibration = readCalibration(QStringLiteral("Cal2.xml"));
    QVERIFY(calibration);
    QCOMPARE(cv::norm(calibration->transform, transform, cv::NORM_INF), 0.0);
    QCOMPARE(cv::norm(calibration->cornerSrc, src, cv::NORM_INF), 0.0);
    QCOMPARE(cv::norm(calibration->cornerDst, dst, cv::NORM_INF), 0.0);
    QVERIFY(!readCalibration(QStringLiteral("Cal3.xml")));
}

void TestCorrection::anyCutOrNulIsSurvived() {
    const WorkingFolder folder;
    const cv::Mat corners = (cv::Mat_<float>(4, 2) << 1, 2, 3, 4, 5, 6, 7, 8);
    const QByteArray good = calibrationXml(mildTransform(64, 48), corners, corners);
    const QtMessageHandler handler =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    int accepted = 0;
    for (int i = 0; i < good.trimmed().size(); ++i) {
        QByteArray holed = good;
        holed[i] = '\0';
        for (const QByteArray& bytes : {good.left(i), holed}) {
            WorkingFolder::write(QStringLiteral("Cal0.xml"), bytes);
            accepted += readCalibration(QStringLiteral("Cal0.xml")) ? 1 : 0;
        }
    }
    qInstallMessageHandler(handler);
    QCOMPARE(accepted, 0);
}

void TestCorrection::brokenCalibrationIsMissing_data() {
    const cv::Mat transform = mildTransform(64, 48);
    const cv::Mat corners = (cv::Mat_<float>(4, 2) << 1, 2, 3, 4, 5, 6, 7, 8);
    const QByteArray good = calibrationXml(transform, corners, corners);
    cv::Mat notFinite = transform.clone();
    notFinite.at<double>(1, 1) = std::numeric_limits<double>::quiet_NaN();

    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("torn") << good.left(good.size() / 2);
    QTest::newRow("binary") << QByteArray("\x00\xff\x00\x13PNG", 8);
    QTest::newRow("foreign XML") << QByteArray("<?xml version=\"1.0\"?><html><body/></html>");
    QTest::newRow("text") << QByteArray("hello\n");
    QTest::newRow("YAML") << QByteArray("%YAML:1.0\n---\ncalibrate: 3\n");
    QTest::newRow("no corners") << calibrationXml(transform, cv::Mat(), cv::Mat());
    QTest::newRow("wrong shape") << calibrationXml(cv::Mat::eye(2, 3, CV_64F), corners, corners);
    QTest::newRow("singular") << calibrationXml(cv::Mat::zeros(3, 3, CV_64F), corners, corners);
    QTest::newRow("not finite") << calibrationXml(notFinite, corners, corners);
    QTest::newRow("numbers for matrices")
        << QByteArray("<?xml version=\"1.0\"?><opencv_storage><calibrate>7</calibrate></opencv_storage>");
    // The sanitizers end the test if as much memory as this says is asked for.
    QTest::newRow("as large as no memory")
        << QByteArray(good).replace("<rows>3</rows>", "<rows>2147483647</rows>");
    QTest::newRow("as large as no memory, another way")
        << QByteArray(good).replace("<rows>3</rows>", "<sizes>2147483647 64</sizes>");
    QTest::newRow("deeply nested") << QByteArray("<?xml version=\"1.0\"?><opencv_storage>") +
                                          QByteArray("<a>").repeated(5000) +
                                          QByteArray("</a>").repeated(5000) + "</opencv_storage>";
    const cv::Mat farOut = (cv::Mat_<double>(4, 2) << 1, 2, 1e300, 4, 5, 6, 7, 8);
    QTest::newRow("not finite as a float") << calibrationXml(transform, farOut, corners);
    QTest::newRow("larger than any") << QByteArray(2 * 1024 * 1024, ' ');
}

void TestCorrection::brokenCalibrationIsMissing() {
    QFETCH(QByteArray, content);
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal0.xml"), content));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("Cal0.xml")));
    QVERIFY(!readCalibration(QStringLiteral("Cal0.xml")));
    QCOMPARE(WorkingFolder::read(QStringLiteral("Cal0.xml")), content);
}

QTEST_GUILESS_MAIN(TestCorrection)
#include "tst_correction.moc"
