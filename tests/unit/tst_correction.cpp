#include <QtTest>
#include <opencv2/imgproc.hpp>

#include "calibration/calibrationfile.h"
#include "calibration/cornerlists.h"
#include "calibration/correction.h"
#include "calibration/correctionmaps.h"
#include "support/workingfolder.h"

namespace {

QVector<QPointF> rectangle(double left, double top, double right, double bottom) {
    return {{left, top}, {right, top}, {left, bottom}, {right, bottom}};
}

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
    QTest::newRow("grey") << QSize(320, 240) << false;
    QTest::newRow("colour") << QSize(320, 240) << true;
    QTest::newRow("odd grey") << QSize(317, 203) << false;
    QTest::newRow("odd colour") << QSize(317, 203) << true;
}

void TestCorrection::pictureIsRemapAndCrop() {
    QFETCH(QSize, size);
    QFETCH(bool, colour);
    const QImage frame = noise(size, colour ? QImage::Format_RGB888 : QImage::Format_Grayscale8);
    const Correction correction = oneTile(size);
    const QImage picture = correctedPicture(frame, correction, 0, 1, 1);

    cv::Mat mat(frame.height(), frame.width(), colour ? CV_8UC3 : CV_8UC1,
                const_cast<uchar*>(frame.constBits()), size_t(frame.bytesPerLine()));
    cv::Mat expected;
    cv::remap(mat, expected, correction.mapX[0], correction.mapY[0], cv::INTER_NEAREST, cv::BORDER_REPLICATE);
    const int width = int(size.width() - correction.dstCorners[0][TopLeft].x());
    QCOMPARE(picture.format(), frame.format());
    QCOMPARE(picture.size(), QSize(width, size.height()));
    for (int y = 0; y < picture.height(); ++y)
        QVERIFY(std::memcmp(picture.constScanLine(y), expected.ptr(y), size_t(width) * (colour ? 3 : 1)) ==
                0);
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
