// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <limits>

#include "calibration/correctionmaps.h"
#include "live/framepictures.h"
#include "support/noiseframe.h"
#include "support/somecorrections.h"

namespace {

constexpr QSize kSize(97, 61);

cv::Mat matrix(std::initializer_list<double> values, int columns = 3) {
    return cv::Mat(std::vector<double>(values), true).reshape(1, int(values.size()) / columns);
}

/// Moves by 20 px to the right and 10 down.
cv::Mat moving() {
    return matrix({1, 0, 20, 0, 1, 10, 0, 0, 1});
}

}  // namespace

Q_DECLARE_METATYPE(cv::Mat)

/// What correction does where it cannot: with transforms that are none, with sizes that are none, with maps
/// that do not fit each other.
class TestUncorrectable : public QObject {
    Q_OBJECT

private slots:
    void noMapsOfSuchATransform_data();
    void noMapsOfSuchATransform();
    void noMapsOfSuchASize_data();
    void noMapsOfSuchASize();
    void placesBeyondAreReckoned();
    void placesBeyondAreTheBordersWithoutATransform();
    void mapsThatDoNotFitLeaveTheFrame_data();
    void mapsThatDoNotFitLeaveTheFrame();
    void unknownFormatStaysAsItIs();
};

void TestUncorrectable::noMapsOfSuchATransform_data() {
    QTest::addColumn<cv::Mat>("transform");
    QTest::newRow("none") << cv::Mat();
    QTest::newRow("onto a line") << matrix({1, 0, 0, 2, 0, 0, 0, 0, 1});
    QTest::newRow("all zero") << matrix({0, 0, 0, 0, 0, 0, 0, 0, 0});
    QTest::newRow("no numbers") << matrix({std::numeric_limits<double>::quiet_NaN(), 0, 0, 0, 1, 0, 0, 0, 1});
    QTest::newRow("too small for single precision") << matrix({1e-45, 0, 0, 0, 1e-45, 0, 0, 0, 1});
    QTest::newRow("not square") << matrix({1, 0, 0, 0, 1, 0});
}

/// The maps of before are gone, too: nothing is corrected by those of another transform.
void TestUncorrectable::noMapsOfSuchATransform() {
    QFETCH(cv::Mat, transform);
    cv::Mat x;
    cv::Mat y;
    QVERIFY(buildCorrectionMaps(moving(), kSize, x, y));
    QVERIFY(!buildCorrectionMaps(transform, kSize, x, y));
    QVERIFY(x.empty() && y.empty());
}

void TestUncorrectable::noMapsOfSuchASize_data() {
    QTest::addColumn<QSize>("size");
    QTest::newRow("none") << QSize();
    QTest::newRow("no width") << QSize(0, 100);
    QTest::newRow("no height") << QSize(100, 0);
    QTest::newRow("too wide") << QSize(kMaxMapSide + 1, 1);
    QTest::newRow("too high") << QSize(1, kMaxMapSide + 1);
    QTest::newRow("too many px") << QSize(kMaxMapSide, kMaxMapSide);
}

void TestUncorrectable::noMapsOfSuchASize() {
    QFETCH(QSize, size);
    cv::Mat x;
    cv::Mat y;
    QVERIFY(buildCorrectionMaps(moving(), kSize, x, y));
    QVERIFY(!buildCorrectionMaps(moving(), size, x, y));
    QVERIFY(x.empty() && y.empty());
}

/// A part that reaches past the maps on every side gets the same places as larger maps would have.
void TestUncorrectable::placesBeyondAreReckoned() {
    cv::Mat x;
    cv::Mat y;
    QVERIFY(buildCorrectionMaps(moving(), kSize, x, y));
    const QRect part = QRect(QPoint(), kSize).adjusted(-3, -4, 5, 6);
    const PartMaps maps = partMaps(moving(), x, y, part);
    QCOMPARE(QSize(maps.x.cols, maps.x.rows), part.size());
    for (int r = 0; r < part.height(); ++r) {
        for (int c = 0; c < part.width(); ++c) {
            QCOMPARE(maps.x.at<float>(r, c), float(part.x() + c - 20));
            QCOMPARE(maps.y.at<float>(r, c), float(part.y() + r - 10));
        }
    }
}

void TestUncorrectable::placesBeyondAreTheBordersWithoutATransform() {
    cv::Mat x;
    cv::Mat y;
    QVERIFY(buildCorrectionMaps(moving(), kSize, x, y));
    const QRect part = QRect(QPoint(), kSize).adjusted(-3, -4, 5, 6);
    const PartMaps maps = partMaps(cv::Mat(), x, y, part);
    QCOMPARE(QSize(maps.x.cols, maps.x.rows), part.size());
    for (int r = 0; r < part.height(); ++r) {
        for (int c = 0; c < part.width(); ++c) {
            QCOMPARE(maps.x.at<float>(r, c), float(qBound(0, part.x() + c, kSize.width() - 1) - 20));
            QCOMPARE(maps.y.at<float>(r, c), float(qBound(0, part.y() + r, kSize.height() - 1) - 10));
        }
    }
}

void TestUncorrectable::mapsThatDoNotFitLeaveTheFrame_data() {
    QTest::addColumn<bool>("isSmooth");
    QTest::addColumn<int>("rows");  // of the map of y
    for (const bool isSmooth : {false, true}) {
        for (const int rows : {1, kSize.height() - 1})
            QTest::addRow("%s, %d rows", isSmooth ? "smooth" : "nearest", rows) << isSmooth << rows;
    }
}

/// Nothing is thrown, by the fast way and by the plain one; again and again, as frames come.
void TestUncorrectable::mapsThatDoNotFitLeaveTheFrame() {
    QFETCH(bool, isSmooth);
    QFETCH(int, rows);
    Correction correction;
    correction.isSmooth = isSmooth;
    correction.transforms[0] = moving();
    QVERIFY(buildCorrectionMaps(moving(), kSize, correction.mapX[0], correction.mapY[0]));
    correction.mapY[0] = correction.mapY[0].rowRange(0, rows);
    const NoiseFrame frame(kSize, QImage::Format_Grayscale8, 0, 1);
    FramePictures pictures;
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(pictures.corrected(frame.image, correction, 0, 1, 1), frame.image);
        QCOMPARE(correctedPicture(frame.image, correction, 0, 1, 1), frame.image);
    }
}

/// No camera sends such frames; what is shown are their own pixels.
void TestUncorrectable::unknownFormatStaysAsItIs() {
    QImage frame(kSize, QImage::Format_RGB16);
    frame.fill(QColor(10, 200, 90));
    FramePictures pictures;
    QCOMPARE(pictures.plain(frame).constBits(), frame.constBits());
    QVERIFY(pictures.plain(QImage()).isNull());
}

QTEST_MAIN(TestUncorrectable)
#include "tst_uncorrectable.moc"
