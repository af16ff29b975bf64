#include "simulatorcases.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <limits>
#include <thread>
#include <vector>

#include "camera/kvcap2.h"

namespace {

constexpr int kSlack = 10000;  // ms that a busy machine may be late

/// One frame as a matrix of 1 or 3 channels; empty if the query fails.
cv::Mat frameOf(int32_t camera, int32_t format = kFormatMono8) {
    int32_t width = 0;
    int32_t height = 0;
    if (CameraGetImageSize(camera, &width, &height) != 0)
        return {};
    cv::Mat frame(height, width, format == kFormatMono8 ? CV_8UC1 : CV_8UC3);
    auto length = static_cast<int32_t>(frame.total() * frame.elemSize());
    return CameraQueryImage(camera, frame.data, &length, format) == 0 ? frame : cv::Mat();
}

double meanOf(const cv::Mat& picture) {
    return cv::mean(picture.reshape(1))[0];
}

double spreadOf(const cv::Mat& picture) {
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(picture.reshape(1), mean, deviation);
    return deviation[0];
}

/// Mean difference of two pictures in grey levels.
double differenceOf(const cv::Mat& a, const cv::Mat& b) {
    cv::Mat difference;
    cv::absdiff(a, b, difference);
    return meanOf(difference);
}

double smallestOf(const cv::Mat& picture) {
    double low = 0;
    cv::minMaxLoc(picture.reshape(1), &low);
    return low;
}

QSize sizeOf(int32_t camera) {
    int32_t width = 0;
    int32_t height = 0;
    CameraGetImageSize(camera, &width, &height);
    return {width, height};
}

int32_t cameraCount() {
    int32_t count = -1;
    CameraGetCount(&count);
    return count;
}

QByteArray serialOf(int32_t camera) {
    QByteArray serial(kSerialNumberLength, 0);
    CameraReadSerialNumber(camera, serial.data(), kSerialNumberLength);
    return serial.left(static_cast<int>(qstrnlen(serial.constData(), kSerialNumberLength)));
}

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

/// Every operation on one camera with good arguments.
struct Operation {
    const char* name;
    std::function<int32_t(int32_t)> call;
};

std::vector<Operation> operations() {
    static int32_t number = 0;
    static int32_t other = 0;
    static double real = 0;
    static bool flag = false;
    static uint8_t frame[320 * 180 * 3];
    static char serial[kSerialNumberLength];
    return {
        {"CameraReadSerialNumber",
         [](int32_t i) { return CameraReadSerialNumber(i, serial, sizeof serial); }},
        {"CameraGetImageSize", [](int32_t i) { return CameraGetImageSize(i, &number, &other); }},
        {"CameraGetImageBufferSize",
         [](int32_t i) { return CameraGetImageBufferSize(i, &number, kFormatMono8); }},
        {"CameraQueryImage",
         [](int32_t i) {
             number = sizeof frame;
             return CameraQueryImage(i, frame, &number, kFormatMono8);
         }},
        {"CameraTriggerShot", [](int32_t i) { return CameraTriggerShot(i); }},
        {"CameraGetGamma", [](int32_t i) { return CameraGetGamma(i, &real); }},
        {"CameraSetGamma", [](int32_t i) { return CameraSetGamma(i, 1); }},
        {"CameraGetContrast", [](int32_t i) { return CameraGetContrast(i, &real); }},
        {"CameraSetContrast", [](int32_t i) { return CameraSetContrast(i, 1); }},
        {"CameraGetSaturation", [](int32_t i) { return CameraGetSaturation(i, &real); }},
        {"CameraSetSaturation", [](int32_t i) { return CameraSetSaturation(i, 1); }},
        {"CameraGetBlackLevel", [](int32_t i) { return CameraGetBlackLevel(i, &number); }},
        {"CameraSetBlackLevel", [](int32_t i) { return CameraSetBlackLevel(i, 0); }},
        {"CameraGetAdvancedGain", [](int32_t i) { return CameraGetAdvancedGain(i, &number); }},
        {"CameraSetAdvancedGain", [](int32_t i) { return CameraSetAdvancedGain(i, 0); }},
        {"CameraGetGain", [](int32_t i) { return CameraGetGain(i, &number); }},
        {"CameraSetGain", [](int32_t i) { return CameraSetGain(i, 16); }},
        {"CameraGetAGC", [](int32_t i) { return CameraGetAGC(i, &flag); }},
        {"CameraSetAGC", [](int32_t i) { return CameraSetAGC(i, false); }},
        {"CameraGetAEC", [](int32_t i) { return CameraGetAEC(i, &flag); }},
        {"CameraSetAEC", [](int32_t i) { return CameraSetAEC(i, false); }},
        {"CameraGetExposure", [](int32_t i) { return CameraGetExposure(i, &number); }},
        {"CameraSetExposure", [](int32_t i) { return CameraSetExposure(i, 1000); }},
        {"CameraGetAETarget", [](int32_t i) { return CameraGetAETarget(i, &number); }},
        {"CameraSetAETarget", [](int32_t i) { return CameraSetAETarget(i, 100); }},
        {"CameraGetTimeout", [](int32_t i) { return CameraGetTimeout(i, &number); }},
        {"CameraSetTimeout", [](int32_t i) { return CameraSetTimeout(i, 1000); }},
        {"CameraGetAntiFlicker", [](int32_t i) { return CameraGetAntiFlicker(i, &number); }},
        {"CameraSetAntiFlicker", [](int32_t i) { return CameraSetAntiFlicker(i, 0); }},
        {"CameraGetMirrorX", [](int32_t i) { return CameraGetMirrorX(i, &flag); }},
        {"CameraSetMirrorX", [](int32_t i) { return CameraSetMirrorX(i, false); }},
        {"CameraGetMirrorY", [](int32_t i) { return CameraGetMirrorY(i, &flag); }},
        {"CameraSetMirrorY", [](int32_t i) { return CameraSetMirrorY(i, false); }},
        {"CameraGetHighspeed", [](int32_t i) { return CameraGetHighspeed(i, &flag); }},
        {"CameraSetHighspeed", [](int32_t i) { return CameraSetHighspeed(i, false); }},
        {"CameraGetDelay", [](int32_t i) { return CameraGetDelay(i, &number); }},
        {"CameraSetDelay", [](int32_t i) { return CameraSetDelay(i, 0); }},
        {"CameraGetSnapMode", [](int32_t i) { return CameraGetSnapMode(i, &number); }},
        {"CameraSetSnapMode", [](int32_t i) { return CameraSetSnapMode(i, kSnapContinuous); }},
        {"CameraGetResolutionCount", [](int32_t i) { return CameraGetResolutionCount(i, &number); }},
        {"CameraGetResolution", [](int32_t i) { return CameraGetResolution(i, 0, &number, &other); }},
        {"CameraSetResolution", [](int32_t i) { return CameraSetResolution(i, 0, 320, 180); }},
        {"CameraLoadParameter", [](int32_t i) { return CameraLoadParameter(i, 0); }},
        {"CameraSaveParameter", [](int32_t i) { return CameraSaveParameter(i, 0); }},
    };
}

/// Milliseconds that so many frames take.
qint64 timeFor(int frames, int32_t camera = 0) {
    QElapsedTimer timer;
    frameOf(camera);  // makes the pictures ready
    timer.start();
    for (int i = 0; i < frames; ++i) {
        if (frameOf(camera).empty())
            return -1;
    }
    return timer.elapsed();
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
    for (const char* key : {"Count =", "Rate =", "Modes =", "Arrangement =", "Moving =", "Serial =", "Raet"})
        QVERIFY2(complaints.mention(key), key);
    QCOMPARE(complaints.count(), 7);  // once each, not once a camera
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(sizeOf(0), QSize(2560, 1440));
    QCOMPARE(serialOf(0), QByteArray("KV2500000001"));
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

// -------------------------------------------------------------------------------------------------------
// Parameters

void SimulatorCases::outOfRangeIsBroughtIntoRange_data() {
    constexpr int32_t kLow = std::numeric_limits<int32_t>::min();
    constexpr int32_t kHigh = std::numeric_limits<int32_t>::max();
    QTest::addColumn<QString>("name");
    QTest::addColumn<double>("value");
    QTest::addColumn<double>("expected");
    const auto row = [](const char* name, double value, double expected) {
        QTest::addRow("%s %g", name, value) << name << value << expected;
    };
    row("Gamma", -1, 0.1);
    row("Gamma", 1e300, 10);
    row("Gamma", std::numeric_limits<double>::infinity(), 10);
    row("Contrast", -0.5, 0);
    row("Saturation", 11, 10);
    row("BlackLevel", kLow, 0);
    row("BlackLevel", 256, 255);
    row("AdvancedGain", 4, 3);
    row("Gain", -1, 0);
    row("Gain", 5000, 255);
    row("Exposure", 0, 1);
    row("Exposure", kHigh, 80000);
    row("AETarget", 300, 255);
    row("Timeout", -1, 0);
    row("Delay", -100, 0);
}

void SimulatorCases::outOfRangeIsBroughtIntoRange() {
    QFETCH(QString, name);
    QFETCH(double, value);
    QFETCH(double, expected);
    QCOMPARE(CameraInit(0), 0);
    double real = -1;
    int32_t number = -1;
    const auto whole = [value] { return static_cast<int32_t>(value); };
    const QHash<QString, std::function<int32_t()>> set{
        {"Gamma", [=] { return CameraSetGamma(0, value); }},
        {"Contrast", [=] { return CameraSetContrast(0, value); }},
        {"Saturation", [=] { return CameraSetSaturation(0, value); }},
        {"BlackLevel", [=] { return CameraSetBlackLevel(0, whole()); }},
        {"AdvancedGain", [=] { return CameraSetAdvancedGain(0, whole()); }},
        {"Gain", [=] { return CameraSetGain(0, whole()); }},
        {"Exposure", [=] { return CameraSetExposure(0, whole()); }},
        {"AETarget", [=] { return CameraSetAETarget(0, whole()); }},
        {"Timeout", [=] { return CameraSetTimeout(0, whole()); }},
        {"Delay", [=] { return CameraSetDelay(0, whole()); }},
    };
    const QHash<QString, std::function<int32_t()>> get{
        {"Gamma", [&] { return CameraGetGamma(0, &real); }},
        {"Contrast", [&] { return CameraGetContrast(0, &real); }},
        {"Saturation", [&] { return CameraGetSaturation(0, &real); }},
        {"BlackLevel", [&] { return CameraGetBlackLevel(0, &number); }},
        {"AdvancedGain", [&] { return CameraGetAdvancedGain(0, &number); }},
        {"Gain", [&] { return CameraGetGain(0, &number); }},
        {"Exposure", [&] { return CameraGetExposure(0, &number); }},
        {"AETarget", [&] { return CameraGetAETarget(0, &number); }},
        {"Timeout", [&] { return CameraGetTimeout(0, &number); }},
        {"Delay", [&] { return CameraGetDelay(0, &number); }},
    };
    QCOMPARE(set[name](), 0);
    QCOMPARE(get[name](), 0);
    QCOMPARE(std::max(real, static_cast<double>(number)), expected);
}

void SimulatorCases::choicesAreRefused() {
    QCOMPARE(CameraInit(0), 0);
    for (const int32_t mode : {-1, 3})
        QVERIFY(CameraSetAntiFlicker(0, mode) != 0);
    for (const int32_t mode : {0, 3})
        QVERIFY(CameraSetSnapMode(0, mode) != 0);
    for (const int32_t slot : {-1, 4}) {
        QVERIFY(CameraLoadParameter(0, slot) != 0);
        QVERIFY(CameraSaveParameter(0, slot) != 0);
    }
    int32_t width = 7;
    int32_t height = 7;
    for (const int32_t mode : {-1, 2}) {
        QVERIFY(CameraGetResolution(0, mode, &width, &height) != 0);
        QVERIFY(CameraSetResolution(0, mode, 160, 120) != 0);
    }
    QVERIFY(CameraSetResolution(0, 1, 161, 120) != 0);
    QCOMPARE(sizeOf(0), QSize(320, 180));
    int32_t length = 0;
    for (const int32_t format : {0, 1, 3, 5, -1})
        QVERIFY(CameraGetImageBufferSize(0, &length, format) != 0);
    int32_t value = -1;
    QCOMPARE(CameraGetAntiFlicker(0, &value), 0);
    QCOMPARE(value, 0);
    QCOMPARE(CameraGetSnapMode(0, &value), 0);
    QCOMPARE(value, kSnapContinuous);
}

void SimulatorCases::notANumberChangesNothing() {
    QCOMPARE(CameraInit(0), 0);
    const cv::Mat before = frameOf(0);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    QVERIFY(CameraSetGamma(0, nan) != 0);
    QVERIFY(CameraSetContrast(0, nan) != 0);
    QVERIFY(CameraSetSaturation(0, nan) != 0);
    QCOMPARE(differenceOf(frameOf(0), before), 0.0);
}

void SimulatorCases::lightMakesBrighter_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVector<int>>("values");
    QTest::newRow("exposure") << "exposure" << QVector<int>{100, 300, 1000, 3000, 10000};
    QTest::newRow("gain") << "gain" << QVector<int>{2, 16, 40, 120};
    QTest::newRow("advanced gain") << "advanced" << QVector<int>{0, 1, 2, 3};
}

void SimulatorCases::lightMakesBrighter() {
    QFETCH(QString, name);
    QFETCH(QVector<int>, values);
    QCOMPARE(CameraInit(0), 0);
    if (name != "exposure")
        QCOMPARE(CameraSetExposure(0, 200), 0);
    QCOMPARE(CameraSetAntiFlicker(0, 1), 0);
    double before = -1;
    for (const int value : values) {
        QCOMPARE(name == "exposure" ? CameraSetExposure(0, value)
                 : name == "gain"   ? CameraSetGain(0, value)
                                    : CameraSetAdvancedGain(0, value),
                 0);
        const double mean = meanOf(frameOf(0));
        QVERIFY2(mean > before + 2, qPrintable(QString("%1: %2 after %3").arg(value).arg(mean).arg(before)));
        before = mean;
    }
}

void SimulatorCases::gammaLiftsTheMiddle() {
    QCOMPARE(CameraInit(0), 0);
    const double neutral = meanOf(frameOf(0));
    QCOMPARE(CameraSetGamma(0, 2), 0);
    QVERIFY(meanOf(frameOf(0)) > neutral + 5);
    QCOMPARE(CameraSetGamma(0, 0.5), 0);
    QVERIFY(meanOf(frameOf(0)) < neutral - 20);
}

void SimulatorCases::contrastSpreads() {
    QCOMPARE(CameraInit(0), 0);
    const double neutral = spreadOf(frameOf(0));
    QCOMPARE(CameraSetContrast(0, 0.5), 0);
    const double half = spreadOf(frameOf(0));
    QVERIFY2(std::abs(half - neutral / 2) < 1, qPrintable(QString::number(half)));
    QCOMPARE(CameraSetContrast(0, 0), 0);
    const cv::Mat flat = frameOf(0);
    QCOMPARE(spreadOf(flat), 0.0);
    QVERIFY(std::abs(meanOf(flat) - 127.5) <= 1);
}

void SimulatorCases::blackLevelLiftsTheBlack() {
    QCOMPARE(CameraInit(0), 0);
    const double low = smallestOf(frameOf(0));
    QCOMPARE(CameraSetBlackLevel(0, 50), 0);
    QVERIFY(std::abs(smallestOf(frameOf(0)) - low - 50) <= 1);
    QCOMPARE(CameraSetBlackLevel(0, 255), 0);
    QCOMPARE(smallestOf(frameOf(0)), 255.0);
}

void SimulatorCases::saturationTakesTheColour() {
    QCOMPARE(CameraInit(0), 0);
    const auto colourOf = [](const cv::Mat& frame) {
        cv::Mat channels[3];
        cv::split(frame, channels);
        return differenceOf(channels[0], channels[2]);
    };
    const double neutral = colourOf(frameOf(0, kFormatRgb24));
    QVERIFY(neutral > 2);
    QCOMPARE(CameraSetSaturation(0, 2), 0);
    QVERIFY(colourOf(frameOf(0, kFormatRgb24)) > neutral * 1.3);
    QCOMPARE(CameraSetSaturation(0, 0), 0);
    QVERIFY(colourOf(frameOf(0, kFormatRgb24)) < 0.6);
}

void SimulatorCases::mirrorsExchangeSides() {
    QCOMPARE(CameraInit(0), 0);
    const cv::Mat plain = frameOf(0);
    cv::Mat expected;
    QCOMPARE(CameraSetMirrorX(0, true), 0);
    cv::flip(plain, expected, 1);
    QVERIFY(differenceOf(plain, expected) > 10);
    QVERIFY(differenceOf(frameOf(0), expected) < 0.5);
    QCOMPARE(CameraSetMirrorY(0, true), 0);
    cv::flip(plain, expected, -1);
    QVERIFY(differenceOf(frameOf(0), expected) < 0.5);
    QCOMPARE(CameraSetMirrorX(0, false), 0);
    cv::flip(plain, expected, 0);
    QVERIFY(differenceOf(frameOf(0), expected) < 0.5);
}

void SimulatorCases::automaticsSettle_data() {
    QTest::addColumn<bool>("exposure");
    QTest::addColumn<bool>("gain");
    QTest::addColumn<int>("target");
    QTest::newRow("exposure, dark") << true << false << 60;
    QTest::newRow("exposure, bright") << true << false << 200;
    QTest::newRow("gain, bright") << false << true << 200;
    QTest::newRow("both") << true << true << 150;
}

void SimulatorCases::automaticsSettle() {
    QFETCH(bool, exposure);
    QFETCH(bool, gain);
    QFETCH(int, target);
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraSetAntiFlicker(0, 1), 0);
    QCOMPARE(CameraSetAETarget(0, target), 0);
    QCOMPARE(CameraSetExposure(0, 300), 0);
    QCOMPARE(CameraSetAEC(0, exposure), 0);
    QCOMPARE(CameraSetAGC(0, gain), 0);
    const double first = meanOf(frameOf(0));
    QVERIFY(std::abs(first - target) > 5);
    double second = 0;
    double last = 0;
    for (int frame = 0; frame < 30; ++frame) {
        last = meanOf(frameOf(0));
        if (frame == 0)
            second = last;
    }
    QVERIFY2(std::abs(last - target) < 5, qPrintable(QString::number(last)));
    // Towards it, and not in one leap.
    QVERIFY(std::abs(second - target) < std::abs(first - target));
    QVERIFY(std::abs(second - target) > 1);
    int32_t value = 0;
    QCOMPARE(CameraGetExposure(0, &value), 0);
    QCOMPARE(value != 300, exposure);
}

void SimulatorCases::antiFlickerCalmsTheLight() {
    QCOMPARE(CameraInit(0), 0);
    const auto swing = [] {
        double low = 255;
        double high = 0;
        for (int i = 0; i < 12; ++i) {
            const double mean = meanOf(frameOf(0));
            low = std::min(low, mean);
            high = std::max(high, mean);
        }
        return high - low;
    };
    QCOMPARE(swing(), 0.0);  // the neutral exposure is as long as a pulse of the light
    QCOMPARE(CameraSetExposure(0, 400), 0);
    const double off = swing();
    QVERIFY2(off > 5, qPrintable(QString::number(off)));
    QCOMPARE(CameraSetAntiFlicker(0, 1), 0);
    QCOMPARE(swing(), 0.0);
    QCOMPARE(CameraSetAntiFlicker(0, 2), 0);  // for the other mains: better than nothing
    const double other = swing();
    QVERIFY2(other > 0 && other < off / 2, qPrintable(QString::number(other)));
}

void SimulatorCases::resolutionCountsFromTheNextFrame() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(frameOf(0).size(), cv::Size(320, 180));
    QCOMPARE(CameraSetResolution(0, 1, 160, 120), 0);
    QCOMPARE(sizeOf(0), QSize(160, 120));
    const cv::Mat small = frameOf(0);
    QCOMPARE(small.size(), cv::Size(160, 120));
    QVERIFY(spreadOf(small) > 20);
    QCOMPARE(CameraSetResolution(0, 0, 320, 180), 0);
    QCOMPARE(frameOf(0).size(), cv::Size(320, 180));
}

void SimulatorCases::slotsKeepParameters() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraInit(1), 0);
    double gamma = 0;
    // Nothing stored yet: the factory's values.
    QCOMPARE(CameraSetGamma(0, 2.5), 0);
    QCOMPARE(CameraLoadParameter(0, 0), 0);
    QCOMPARE(CameraGetGamma(0, &gamma), 0);
    QCOMPARE(gamma, 1.0);

    QCOMPARE(CameraSetGamma(0, 1.75), 0);
    QCOMPARE(CameraSetExposure(0, 777), 0);
    QCOMPARE(CameraSetMirrorY(0, true), 0);
    QCOMPARE(CameraSetSnapMode(0, kSnapTriggered), 0);
    QCOMPARE(CameraSetResolution(0, 1, 32, 24), 0);
    QCOMPARE(CameraSaveParameter(0, 0), 0);
    QCOMPARE(CameraSetGamma(0, 2), 0);
    QCOMPARE(CameraSaveParameter(0, 1), 0);
    QCOMPARE(CameraFree(0), 0);
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraGetGamma(0, &gamma), 0);
    QCOMPARE(gamma, 1.0);

    QCOMPARE(CameraLoadParameter(0, 0), 0);
    int32_t exposure = 0;
    int32_t snapMode = 0;
    bool mirror = false;
    QCOMPARE(CameraGetGamma(0, &gamma), 0);
    QCOMPARE(CameraGetExposure(0, &exposure), 0);
    QCOMPARE(CameraGetMirrorY(0, &mirror), 0);
    QCOMPARE(CameraGetSnapMode(0, &snapMode), 0);
    QCOMPARE(gamma, 1.75);
    QCOMPARE(exposure, 777);
    QVERIFY(mirror);
    QCOMPARE(snapMode, kSnapTriggered);
    QCOMPARE(sizeOf(0), QSize(32, 24));
    QCOMPARE(CameraLoadParameter(0, 1), 0);
    QCOMPARE(CameraGetGamma(0, &gamma), 0);
    QCOMPARE(gamma, 2.0);

    // Each camera has a memory of its own.
    QCOMPARE(CameraLoadParameter(1, 0), 0);
    QCOMPARE(CameraGetGamma(1, &gamma), 0);
    QCOMPARE(gamma, 1.0);
    QCOMPARE(QDir().entryList(QDir::Files), QStringList{"kvcap2-slots.json"});
}

void SimulatorCases::tornSlotFileIsReported() {
    QCOMPARE(CameraInit(0), 0);
    QFile file(QStringLiteral("kvcap2-slots.json"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("{ \"KV2500000001\": { \"0\": { \"gamma\": 2");
    file.close();
    QCOMPARE(CameraSetGamma(0, 1.5), 0);
    QVERIFY(CameraLoadParameter(0, 0) != 0);
    double gamma = 0;
    QCOMPARE(CameraGetGamma(0, &gamma), 0);
    QCOMPARE(gamma, 1.5);

    // Values that make no sense are taken one by one for the factory's.
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(
        R"({"KV2500000001": {"0": {"gamma": 500, "gain": "loud", "mode": 99, "snapMode": 8, "exposure": 60}}})");
    file.close();
    QCOMPARE(CameraLoadParameter(0, 0), 0);
    int32_t value = 0;
    QCOMPARE(CameraGetGamma(0, &gamma), 0);
    QCOMPARE(gamma, 10.0);
    QCOMPARE(CameraGetGain(0, &value), 0);
    QCOMPARE(value, 16);
    QCOMPARE(CameraGetSnapMode(0, &value), 0);
    QCOMPARE(value, kSnapContinuous);
    QCOMPARE(CameraGetExposure(0, &value), 0);
    QCOMPARE(value, 60);
    QCOMPARE(sizeOf(0), QSize(320, 180));
}

void SimulatorCases::unwritableSlotIsReported() {
    QCOMPARE(CameraInit(0), 0);
    QVERIFY(QDir().mkdir(QStringLiteral("gone")));
    QVERIFY(QDir::setCurrent(QStringLiteral("gone")));
    if (!QDir().rmdir(QDir::currentPath()))
        QSKIP("the system does not let the working directory go");
    QVERIFY(CameraSaveParameter(0, 0) != 0);
    double gamma = 0;
    QCOMPARE(CameraGetGamma(0, &gamma), 0);
}

// -----------------------------------------------------------------------------------------------------------
// Pacing

// Upper bounds are loose, since a busy machine may be late; a camera that is too fast is wrong anywhere.

void SimulatorCases::keepsTheRate() {
    QCOMPARE(CameraInit(0), 0);
    const qint64 elapsed = timeFor(25);  // 500 ms
    QVERIFY2(elapsed >= 460 && elapsed < 500 + kSlack, qPrintable(QString::number(elapsed)));
}

void SimulatorCases::highspeedDoublesTheRate() {
    QCOMPARE(CameraInit(0), 0);
    const qint64 slow = timeFor(7);  // 700 ms
    QCOMPARE(CameraSetHighspeed(0, true), 0);
    const qint64 fast = timeFor(14);  // the same
    QVERIFY2(slow >= 500 && slow < 700 + kSlack, qPrintable(QString::number(slow)));
    QVERIFY2(fast >= 600 && fast < 700 + kSlack, qPrintable(QString::number(fast)));
    // At the plain rate it would have been twice as long; told only if the machine was in time before.
    if (slow < 800)
        QVERIFY2(fast < 1300, qPrintable(QString::number(fast)));
}

void SimulatorCases::delayAddsUp() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraSetDelay(0, 100), 0);
    const qint64 elapsed = timeFor(5);  // 5 * (20 + 100) ms
    QVERIFY2(elapsed >= 360 && elapsed < 600 + kSlack, qPrintable(QString::number(elapsed)));
}

void SimulatorCases::longExposureSlowsDown() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraSetExposure(0, 15000), 0);  // 150 ms
    const qint64 elapsed = timeFor(5);
    QVERIFY2(elapsed >= 450 && elapsed < 750 + kSlack, qPrintable(QString::number(elapsed)));
}

void SimulatorCases::shotsAreRemembered() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraSetSnapMode(0, kSnapTriggered), 0);
    QCOMPARE(CameraTriggerShot(0), 0);
    QCOMPARE(CameraTriggerShot(0), 0);
    QVERIFY(!frameOf(0).empty());
    QVERIFY(!frameOf(0).empty());
    QCOMPARE(CameraSetTimeout(0, 200), 0);
    QVERIFY(frameOf(0).empty());
    // A shot that nobody fetched is gone with the mode.
    QCOMPARE(CameraTriggerShot(0), 0);
    QCOMPARE(CameraSetSnapMode(0, kSnapContinuous), 0);
    QCOMPARE(CameraSetSnapMode(0, kSnapTriggered), 0);
    QVERIFY(frameOf(0).empty());
}

void SimulatorCases::shotInContinuousModeIsRefused() {
    QCOMPARE(CameraInit(0), 0);
    QVERIFY(CameraTriggerShot(0) != 0);
    QVERIFY(!frameOf(0).empty());
}

void SimulatorCases::timeoutCanChangeWhileWaiting() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraSetTimeout(0, 600000), 0);
    std::atomic<bool> isAsking{false};
    std::thread asking([&isAsking] {
        isAsking = true;
        frameOf(0);
    });
    while (!isAsking)
        std::this_thread::yield();
    QCOMPARE(CameraSetTimeout(0, 50), 0);
    asking.join();  // else the case runs into its limit
}

// -----------------------------------------------------------------------------------------------------------
// Faults

void SimulatorCases::initFails() {
    QCOMPARE(cameraCount(), 3);
    QCOMPARE(CameraInit(0), 0);
    QVERIFY(CameraInit(1) != 0);
    QCOMPARE(CameraInit(2), 0);
    QVERIFY(frameOf(1).empty());
    QVERIFY(CameraSetGain(1, 16) != 0);
    QVERIFY(!frameOf(0).empty());
    QVERIFY(!frameOf(2).empty());
}

void SimulatorCases::noFrames() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraInit(1), 0);
    QCOMPARE(CameraSetTimeout(0, 300), 0);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(frameOf(0).empty());
    QVERIFY(timer.elapsed() >= 290 && timer.elapsed() < 300 + kSlack);
    QVERIFY(!frameOf(1).empty());
}

void SimulatorCases::everyThirdQueryFails() {
    QCOMPARE(CameraInit(0), 0);
    QByteArray pattern;
    for (int i = 0; i < 9; ++i)
        pattern += frameOf(0).empty() ? '-' : '+';
    QCOMPARE(pattern, QByteArray("++-++-++-"));
}

void SimulatorCases::cableComesBack() {
    QCOMPARE(CameraInit(0), 0);
    for (int i = 0; i < 5; ++i)
        QVERIFY(!frameOf(0).empty());
    QElapsedTimer timer;
    timer.start();
    // Out: parameters fail at once, a query runs into its time-out.
    QVERIFY(CameraSetGain(0, 20) != 0);
    int32_t length = 64 * 48;
    QByteArray buffer(length, 0);
    auto* bytes = reinterpret_cast<uint8_t*>(buffer.data());
    // (The default time-out is longer than the cable is out: the query gets the first frame after it.)
    QCOMPARE(CameraQueryImage(0, bytes, &length, kFormatMono8), 0);
    QVERIFY2(timer.elapsed() >= 500 && timer.elapsed() < 600 + kSlack,
             qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(CameraSetGain(0, 20), 0);
    QVERIFY(!frameOf(0).empty());
}

void SimulatorCases::sizeChangesByItself() {
    QCOMPARE(CameraInit(0), 0);
    for (int i = 0; i < 4; ++i)
        QCOMPARE(frameOf(0).size(), cv::Size(320, 180));
    QCOMPARE(sizeOf(0), QSize(160, 120));
    QCOMPARE(frameOf(0).size(), cv::Size(160, 120));
    // A caller who missed the change gets fewer bytes than there is room for.
    int32_t length = 320 * 180;
    QByteArray buffer(length, 'x');
    QCOMPARE(CameraQueryImage(0, reinterpret_cast<uint8_t*>(buffer.data()), &length, kFormatMono8), 0);
    QCOMPARE(length, 160 * 120);
    QCOMPARE(buffer.mid(length), QByteArray(buffer.size() - length, 'x'));
}

void SimulatorCases::queriesAreSlow() {
    QCOMPARE(CameraInit(0), 0);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!frameOf(0).empty());
    QVERIFY(timer.elapsed() >= 290 && timer.elapsed() < 300 + kSlack);
}

void SimulatorCases::serialIsGarbage() {
    QCOMPARE(CameraInit(0), 0);
    const QByteArray serial = serialOf(0);
    QCOMPARE(serial.size(), kSerialNumberLength);  // no terminating zero
    QVERIFY(std::any_of(serial.begin(), serial.end(), [](char c) { return static_cast<uchar>(c) > 127; }));
    // Also such a camera has a memory.
    QCOMPARE(CameraSetGain(0, 33), 0);
    QCOMPARE(CameraSaveParameter(0, 0), 0);
    QCOMPARE(CameraSetGain(0, 44), 0);
    QCOMPARE(CameraLoadParameter(0, 0), 0);
    int32_t gain = 0;
    QCOMPARE(CameraGetGain(0, &gain), 0);
    QCOMPARE(gain, 33);
}

// -------------------------------------------------------------------------------------------------------
// Robustness

void SimulatorCases::wrongIndexIsRefused() {
    QCOMPARE(CameraInit(0), 0);
    for (const int32_t index :
         {-1, 1, 8, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
        QVERIFY(CameraInit(index) != 0);
        for (const Operation& operation : operations())
            QVERIFY2(operation.call(index) != 0, operation.name);
        QVERIFY(CameraFree(index) != 0);
    }
}

void SimulatorCases::closedCameraIsRefused() {
    for (const Operation& operation : operations())
        QVERIFY2(operation.call(0) != 0, operation.name);
    QVERIFY(CameraFree(0) != 0);
    QCOMPARE(CameraInit(0), 0);
    for (const Operation& operation : operations()) {
        // A shot needs trigger mode.
        if (qstrcmp(operation.name, "CameraTriggerShot") != 0)
            QVERIFY2(operation.call(0) == 0, operation.name);
    }
    // Opening an open camera is no mistake and changes nothing.
    QCOMPARE(CameraSetGain(0, 77), 0);
    QCOMPARE(CameraInit(0), 0);
    int32_t gain = 0;
    QCOMPARE(CameraGetGain(0, &gain), 0);
    QCOMPARE(gain, 77);
    QCOMPARE(CameraFree(0), 0);
    for (const Operation& operation : operations())
        QVERIFY2(operation.call(0) != 0, operation.name);
    QVERIFY(CameraFree(0) != 0);
}

void SimulatorCases::nullIsRefused() {
    QVERIFY(CameraGetCount(nullptr) != 0);
    QCOMPARE(CameraInit(0), 0);
    int32_t number = 320 * 180;
    uint8_t byte = 0;
    QVERIFY(CameraReadSerialNumber(0, nullptr, kSerialNumberLength) != 0);
    QVERIFY(CameraReadSerialNumber(0, reinterpret_cast<char*>(&byte), 0) != 0);
    QVERIFY(CameraReadSerialNumber(0, reinterpret_cast<char*>(&byte), -5) != 0);
    QVERIFY(CameraGetImageSize(0, nullptr, &number) != 0);
    QVERIFY(CameraGetImageSize(0, &number, nullptr) != 0);
    QVERIFY(CameraGetImageBufferSize(0, nullptr, kFormatMono8) != 0);
    QVERIFY(CameraQueryImage(0, nullptr, &number, kFormatMono8) != 0);
    QVERIFY(CameraQueryImage(0, &byte, nullptr, kFormatMono8) != 0);
    for (auto* get : {CameraGetGamma, CameraGetContrast, CameraGetSaturation})
        QVERIFY(get(0, nullptr) != 0);
    for (auto* get : {CameraGetBlackLevel, CameraGetAdvancedGain, CameraGetGain, CameraGetExposure,
                      CameraGetAETarget, CameraGetTimeout, CameraGetAntiFlicker, CameraGetDelay,
                      CameraGetSnapMode, CameraGetResolutionCount})
        QVERIFY(get(0, nullptr) != 0);
    for (auto* get : {CameraGetAGC, CameraGetAEC, CameraGetMirrorX, CameraGetMirrorY, CameraGetHighspeed})
        QVERIFY(get(0, nullptr) != 0);
    QVERIFY(CameraGetResolution(0, 0, nullptr, &number) != 0);
    QVERIFY(CameraGetResolution(0, 0, &number, nullptr) != 0);
    QVERIFY(!frameOf(0).empty());
}

void SimulatorCases::shortBufferIsLeftAlone() {
    QCOMPARE(CameraInit(0), 0);
    QByteArray buffer(320 * 180, 'x');
    for (int32_t length : {320 * 180 - 1, 0, -1}) {
        const int32_t given = length;
        QVERIFY(CameraQueryImage(0, reinterpret_cast<uint8_t*>(buffer.data()), &length, kFormatMono8) != 0);
        QCOMPARE(length, given);
        QCOMPARE(buffer, QByteArray(buffer.size(), 'x'));
    }
}

void SimulatorCases::freeEndsAQuery() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraSetTimeout(0, 600000), 0);
    std::atomic<bool> isAsking{false};
    std::atomic<bool> gotFrame{false};
    std::thread asking([&] {
        isAsking = true;
        gotFrame = !frameOf(0).empty();
    });
    while (!isAsking)
        std::this_thread::yield();
    QCOMPARE(CameraFree(0), 0);
    asking.join();  // else the case runs into its limit
    QVERIFY(!gotFrame);
}

/// Two cameras that are read, changed, triggered, closed and opened all at once. For the sanitizers; here it
/// only has to end, and the cameras have to work afterwards.
void SimulatorCases::opensAndClosesUnderFire() {
    std::atomic<bool> isDone{false};
    std::vector<std::thread> threads;
    for (const int32_t camera : {0, 1, 1}) {
        threads.emplace_back([camera, &isDone] {
            std::vector<uint8_t> buffer(size_t{320} * 180 * 3);
            for (int i = 0; !isDone; ++i) {
                auto length = static_cast<int32_t>(buffer.size());
                CameraQueryImage(camera, buffer.data(), &length, i % 3 == 0 ? kFormatRgb24 : kFormatMono8);
            }
        });
    }
    for (int round = 0; round < 60; ++round) {
        for (const int32_t camera : {0, 1}) {
            CameraInit(camera);
            CameraSetTimeout(camera, 100);
            CameraSetGamma(camera, 0.5 + round * 0.03);
            CameraSetMirrorX(camera, round % 2 == 0);
            CameraSetAEC(camera, round % 3 == 0);
            CameraSetSnapMode(camera, round % 5 == 0 ? kSnapTriggered : kSnapContinuous);
            CameraTriggerShot(camera);
            CameraSetResolution(camera, round % 2, round % 2 == 0 ? 320 : 64, round % 2 == 0 ? 180 : 48);
            CameraSaveParameter(camera, 0);
            CameraLoadParameter(camera, 0);
            if (round % 4 == 3)
                CameraFree(camera);
        }
    }
    isDone = true;
    for (std::thread& thread : threads)
        thread.join();
    for (const int32_t camera : {0, 1}) {
        CameraInit(camera);
        QCOMPARE(CameraSetSnapMode(camera, kSnapContinuous), 0);
        QCOMPARE(CameraSetTimeout(camera, 5000), 0);
        QVERIFY(!frameOf(camera).empty());
    }
}
