// SPDX-License-Identifier: Apache-2.0
// SimulatorCases: configuration, scene and ground truth, noise.

#include "simulatorcases.h"

#include <QCryptographicHash>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <vector>

#include "cameraframes.h"

namespace {

QStringList* warnings = nullptr;

/// Collects what the library complains about.
class Complaints {
public:
    Complaints() {
        warnings = &lines_;
        previous_ = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext&, const QString& line) { warnings->append(line); });
    }
    ~Complaints() {
        qInstallMessageHandler(previous_);
        warnings = nullptr;
    }
    Complaints(const Complaints&) = delete;
    Complaints& operator=(const Complaints&) = delete;
    bool mention(const char* text) const { return !lines_.filter(QLatin1String(text)).isEmpty(); }
    int count() const { return lines_.size(); }

private:
    QStringList lines_;
    QtMessageHandler previous_ = nullptr;
};

QJsonObject readTruth() {
    QFile file(QStringLiteral("truth.json"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

cv::Point2d pointOf(const QJsonValue& value) {
    return {value.toArray().at(0).toDouble(), value.toArray().at(1).toDouble()};
}

/// Corner 0 top-left, 1 top-right, 2 bottom-left, 3 bottom-right, in the scene.
cv::Point2d sceneCorner(const QJsonObject& truth, int camera, int corner) {
    return pointOf(truth["cameras"].toArray().at(camera)["sceneCorners"].toArray().at(corner));
}

cv::Point2d mappedBy(const QJsonArray& homography, cv::Point2d p) {
    double v[3];
    for (int row = 0; row < 3; ++row) {
        const QJsonArray r = homography.at(row).toArray();
        v[row] = r.at(0).toDouble() * p.x + r.at(1).toDouble() * p.y + r.at(2).toDouble();
    }
    return {v[0] / v[2], v[1] / v[2]};
}

/// How far the crossing next to `place` is from it, px.
double distanceToCrossing(const cv::Mat& frame, cv::Point2d place) {
    // From a little beside, so that a search that does not move shows.
    std::vector<cv::Point2f> found{
        cv::Point2f(static_cast<float>(place.x + 1.5), static_cast<float>(place.y - 1.5))};
    cv::cornerSubPix(frame, found, cv::Size(5, 5), cv::Size(-1, -1),
                     cv::TermCriteria(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 100, 0.001));
    return std::hypot(found[0].x - place.x, found[0].y - place.y);
}

}  // namespace

// ----------------------------------------------------------------------------------------------------
// Configuration

void SimulatorCases::isFourCamerasByDefault() {
    const Complaints complaints;
    QCOMPARE(cameraCount(), 4);
    for (int32_t camera = 0; camera < 4; ++camera) {
        QCOMPARE(CameraInit(camera), 0);
        QCOMPARE(sizeOf(camera), QSize(2560, 1440));
        QCOMPARE(serialOf(camera), QByteArray("KV250000000") + QByteArray::number(camera + 1));
    }
    const QVector<QSize> expected{{2560, 1440}, {1920, 1080}, {1280, 720}, {640, 480}, {1001, 601}};
    int32_t modes = 0;
    QCOMPARE(CameraGetResolutionCount(0, &modes), 0);
    QCOMPARE(modes, expected.size());
    for (int32_t mode = 0; mode < modes; ++mode) {
        int32_t width = 0;
        int32_t height = 0;
        QCOMPARE(CameraGetResolution(0, mode, &width, &height), 0);
        QCOMPARE(QSize(width, height), expected[mode]);
    }
    // Well exposed: bright paper that is not burnt out, and black that is there.
    const cv::Mat frame = frameOf(0);
    QVERIFY(meanOf(frame) > 150 && meanOf(frame) < 215);
    QVERIFY(cv::countNonZero(frame == 255) < static_cast<int>(frame.total() / 100));
    QVERIFY(smallestOf(frame) < 30);
    QCOMPARE(complaints.count(), 0);
    // Nothing is written that nobody asked for.
    QCOMPARE(QDir().entryList(QDir::Files), QStringList());
}

void SimulatorCases::readsTheFile() {
    QCOMPARE(cameraCount(), 2);
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraInit(1), 0);
    QCOMPARE(sizeOf(0), QSize(320, 200));
    QCOMPARE(sizeOf(1), QSize(100, 50));
    QCOMPARE(serialOf(0), QByteArray("KV2500000001"));
    QCOMPARE(serialOf(1), QByteArray("LEFT"));
    // Read once: a file that changes later does not matter.
    QVERIFY(QFile::remove(QStringLiteral("kvcap2.ini")));
    QCOMPARE(cameraCount(), 2);
}

void SimulatorCases::variablesOverrideTheFile() {
    QCOMPARE(cameraCount(), 3);
    for (int32_t camera = 0; camera < 3; ++camera)
        QCOMPARE(CameraInit(camera), 0);
    QCOMPARE(serialOf(1), QByteArray("FROMENV"));
    // A variable for all cameras is stronger than the file's section for one.
    QCOMPARE(sizeOf(2), QSize(64, 48));
}

void SimulatorCases::readsAnotherFile() {
    QCOMPARE(cameraCount(), 2);
}

void SimulatorCases::complainsAboutBadValues() {
    const Complaints complaints;
    QCOMPARE(cameraCount(), 4);
    for (const char* key : {"Count =", "Rate =", "Modes =", "Arrangement =", "Moving =", "Serial =", "Raet",
                            "Phase =", "Jitter ="})
        QVERIFY2(complaints.mention(key), key);
    QCOMPARE(complaints.count(), 9);  // once each, not once a camera
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(sizeOf(0), QSize(2560, 1440));
    QCOMPARE(serialOf(0), QByteArray("KV2500000001"));
}

void SimulatorCases::absurdModesAreRefused() {
    for (int32_t i = 0; i < 4; ++i) {
        QCOMPARE(CameraInit(i), 0);
        QCOMPARE(sizeOf(i), QSize(2560, 1440));
    }
    QCOMPARE(CameraInit(4), 0);
    QCOMPARE(sizeOf(4), QSize(4096, 1));
}

void SimulatorCases::canHaveNoCamera() {
    QCOMPARE(cameraCount(), 0);
    QVERIFY(CameraInit(0) != 0);
    QVERIFY(CameraTriggerShot(0) != 0);
}

void SimulatorCases::canHaveEightCameras() {
    QCOMPARE(cameraCount(), 8);
    for (int32_t camera = 0; camera < 8; ++camera) {
        QCOMPARE(CameraInit(camera), 0);
        QVERIFY(!frameOf(camera).empty());
    }
    QVERIFY(CameraInit(8) != 0);
}

// ------------------------------------------------------------------------------------------ Scene and ground
// truth

void SimulatorCases::groundTruthJoinsTheRow() {
    QCOMPARE(cameraCount(), 5);
    const QJsonObject truth = readTruth();
    QCOMPARE(truth["format"].toString(), QStringLiteral("kvcap2-ground-truth"));
    QCOMPARE(truth["arrangement"].toString(), QStringLiteral("row"));
    QCOMPARE(truth["cameras"].toArray().size(), 5);
    for (int camera = 0; camera < 4; ++camera) {
        QCOMPARE(sceneCorner(truth, camera, 1), sceneCorner(truth, camera + 1, 0));
        QCOMPARE(sceneCorner(truth, camera, 3), sceneCorner(truth, camera + 1, 2));
        QCOMPARE(sceneCorner(truth, camera, 0).y, sceneCorner(truth, 0, 0).y);
    }
    const double cell = truth["scene"]["cell"].toDouble();
    for (int i = 0; i < 5; ++i) {
        const QJsonValue camera = truth["cameras"].toArray().at(i);
        const cv::Point2d size = sceneCorner(truth, i, 3) - sceneCorner(truth, i, 0);
        QCOMPARE(size.x, cell * camera["xCount"].toInt());
        QCOMPARE(size.y, cell * camera["yCount"].toInt());
        for (const QJsonValue mode : camera["modes"].toArray())
            QVERIFY(mode["cornersInside"].toBool());
    }
}

void SimulatorCases::groundTruthJoinsTheGrid() {
    QCOMPARE(cameraCount(), 4);
    const QJsonObject truth = readTruth();
    QCOMPARE(truth["arrangement"].toString(), QStringLiteral("grid"));
    const cv::Point2d middle = sceneCorner(truth, 0, 3);
    QCOMPARE(sceneCorner(truth, 1, 2), middle);
    QCOMPARE(sceneCorner(truth, 2, 1), middle);
    QCOMPARE(sceneCorner(truth, 3, 0), middle);
    for (const QJsonValue camera : truth["cameras"].toArray()) {
        for (const QJsonValue mode : camera["modes"].toArray())
            QVERIFY(mode["cornersInside"].toBool());
    }
}

void SimulatorCases::groundTruthAgreesWithPictures() {
    const int count = cameraCount();
    const QJsonObject truth = readTruth();
    const double cell = truth["scene"]["cell"].toDouble();
    double furthest = 0;
    for (int32_t i = 0; i < count; ++i) {
        QCOMPARE(CameraInit(i), 0);
        const QJsonValue camera = truth["cameras"].toArray().at(i);
        // The large ones; in the small ones a crossing is hardly larger than the search window.
        for (const int mode : {0, 1}) {
            const QJsonValue one = camera["modes"].toArray().at(mode);
            QCOMPARE(CameraSetResolution(i, mode, one["width"].toInt(), one["height"].toInt()), 0);
            const cv::Mat frame = frameOf(i);
            QVERIFY(!frame.empty());
            for (int corner = 0; corner < 4; ++corner)
                furthest = std::max(furthest,
                                    distanceToCrossing(frame, pointOf(one["corners"].toArray().at(corner))));
            // A crossing that is no corner, by way of the homography.
            const cv::Point2d crossing = sceneCorner(truth, i, 3) - cv::Point2d(cell, cell);
            furthest = std::max(furthest,
                                distanceToCrossing(frame, mappedBy(one["sceneToFrame"].toArray(), crossing)));
        }
        // Mirrored frames show the same crossings on the other side.
        const QJsonValue one = camera["modes"].toArray().at(1);
        QCOMPARE(CameraSetMirrorX(i, true), 0);
        const cv::Mat frame = frameOf(i);
        const cv::Point2d corner = pointOf(one["corners"].toArray().at(0));
        furthest = std::max(furthest, distanceToCrossing(frame, {frame.cols - 1 - corner.x, corner.y}));
    }
    qInfo("furthest crossing %.3f px off", furthest);
    QVERIFY2(furthest < 0.35, qPrintable(QString::number(furthest)));
}

void SimulatorCases::showsAPictureFile() {
    QImage picture(400, 200, QImage::Format_RGB32);
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            picture.setPixel(x, y, qRgb(x < 200 ? 200 : 20, y < 100 ? 180 : 40, 90));
    }
    QVERIFY(picture.save(QStringLiteral("quarters.png")));
    QCOMPARE(CameraInit(0), 0);
    const cv::Mat frame = frameOf(0, kFormatRgb24);
    const cv::Vec3b& topLeft = frame.at<cv::Vec3b>(60, 100);
    const cv::Vec3b& bottomRight = frame.at<cv::Vec3b>(120, 220);
    for (const auto& [found, expected] :
         {std::pair(topLeft, cv::Vec3b(200, 180, 90)), std::pair(bottomRight, cv::Vec3b(20, 40, 90))}) {
        for (int c = 0; c < 3; ++c)
            QVERIFY2(std::abs(found[c] - expected[c]) <= 2, qPrintable(QString::number(found[c])));
    }
}

void SimulatorCases::showsTheChartForAMissingPicture() {
    const Complaints complaints;
    QCOMPARE(CameraInit(0), 0);
    QVERIFY(complaints.mention("nowhere.png"));
    QVERIFY(spreadOf(frameOf(0)) > 20);
}

void SimulatorCases::moves() {
    QCOMPARE(CameraInit(0), 0);
    for (const int32_t format : {kFormatMono8, kFormatRgb24}) {
        const cv::Mat first = frameOf(0, format);
        const cv::Mat second = frameOf(0, format);
        cv::Mat difference;
        cv::absdiff(first.reshape(1), second.reshape(1), difference);
        const int changed = cv::countNonZero(difference > 30);
        // Digits and the runner, not the whole picture.
        QVERIFY2(changed > 20 && changed < static_cast<int>(difference.total() / 20),
                 qPrintable(QString::number(changed)));
    }
}

void SimulatorCases::standsStill() {
    QCOMPARE(CameraInit(0), 0);
    const cv::Mat first = frameOf(0);
    for (int i = 0; i < 7; ++i)
        QCOMPARE(differenceOf(first, frameOf(0)), 0.0);
}

// ------------------------------------------------------------------------------------------------------------
// Noise

void SimulatorCases::noiseHasItsStrength() {
    QCOMPARE(CameraInit(0), 0);
    cv::Mat first;
    cv::Mat second;
    frameOf(0).convertTo(first, CV_32F);
    frameOf(0).convertTo(second, CV_32F);
    // Two independent noises of deviation 4.
    const double deviation = spreadOf(first - second) / std::sqrt(2.0);
    QVERIFY2(std::abs(deviation - 4) < 0.4, qPrintable(QString::number(deviation)));
    // More gain, more noise.
    QCOMPARE(CameraSetGain(0, 64), 0);
    QCOMPARE(CameraSetExposure(0, 100), 0);
    frameOf(0).convertTo(first, CV_32F);
    frameOf(0).convertTo(second, CV_32F);
    QVERIFY(spreadOf(first - second) / std::sqrt(2.0) > 6);
}

void SimulatorCases::noiseComesBack() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraInit(1), 0);
    const cv::Mat first = frameOf(0);
    const cv::Mat second = frameOf(0);
    QVERIFY(differenceOf(first, second) > 0.5);
    QCOMPARE(CameraFree(0), 0);
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(differenceOf(frameOf(0), first), 0.0);
    QCOMPARE(differenceOf(frameOf(0), second), 0.0);
}

void SimulatorCases::printsAFrame() {
    QCOMPARE(CameraInit(0), 0);
    const cv::Mat frame = frameOf(0);
    QVERIFY(!frame.empty());
    const QByteArray bytes(reinterpret_cast<const char*>(frame.data), static_cast<int>(frame.total()));
    std::printf("frame:%s\n", QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex().constData());
}
