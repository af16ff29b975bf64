// SPDX-License-Identifier: Apache-2.0
// SimulatorCases: whole pictures, against pictures that were looked at.

#include "simulatorcases.h"

#include <QImage>
#include <QtTest>

#include <opencv2/imgproc.hpp>

#include "cameraframes.h"

namespace {

/// Frames side by side, `columns` in a row; all of one size and format.
cv::Mat joined(const std::vector<cv::Mat>& frames, int columns) {
    std::vector<cv::Mat> rows;
    for (size_t first = 0; first < frames.size(); first += size_t(columns)) {
        cv::Mat row;
        cv::hconcat(&frames[first], size_t(columns), row);
        rows.push_back(row);
    }
    cv::Mat all;
    cv::vconcat(rows, all);
    return all;
}

QImage wrapped(const cv::Mat& picture) {
    return {picture.data, picture.cols, picture.rows, static_cast<int>(picture.step),
            picture.channels() == 1 ? QImage::Format_Grayscale8 : QImage::Format_RGB888};
}

/// What is wrong with a picture beside the kept one of that name, or nothing. BIVISTA_NEW_PICTURES=folder
/// writes new ones there, to be looked at.
QString beside(const QString& name, const cv::Mat& picture) {
    const QString file = name + QStringLiteral(".png");
    if (picture.empty())
        return QStringLiteral("no frame");
    if (qEnvironmentVariableIsSet("BIVISTA_NEW_PICTURES")) {
        const QString folder = qEnvironmentVariable("BIVISTA_NEW_PICTURES");
        return wrapped(picture).save(folder + QLatin1Char('/') + file) ? QString()
                                                                       : QStringLiteral("not written");
    }
    QImage kept(QStringLiteral(TEST_DATA "/simulator/") + file);
    if (kept.size() != QSize(picture.cols, picture.rows))
        return QStringLiteral("no kept picture of that size");
    kept = kept.convertToFormat(wrapped(picture).format());
    const cv::Mat wanted(kept.height(), kept.width(), picture.type(), kept.bits(),
                         static_cast<size_t>(kept.bytesPerLine()));
    cv::Mat difference;
    cv::absdiff(picture, wanted, difference);
    const cv::Mat levels = difference.reshape(1);
    // For the rounding of another processor: a little anywhere, more hardly anywhere.
    const int little = cv::countNonZero(levels > 2);
    const int more = cv::countNonZero(levels > 8);
    if (little <= picture.rows && more <= 4)
        return {};
    return QStringLiteral("%1 values differ by more than 2, %2 by more than 8").arg(little).arg(more);
}

/// The next frame of every camera, two in a row.
cv::Mat allCameras(int32_t format) {
    std::vector<cv::Mat> frames;
    for (int32_t i = 0; i < cameraCount(); ++i) {
        if (CameraInit(i) != 0)
            return {};
        frames.push_back(frameOf(i, format));
        if (frames.back().empty())
            return {};
    }
    return joined(frames, 2);
}

}  // namespace

#define COMPARE_WITH_KEPT(name, picture)                               \
    do {                                                               \
        const QString problem = beside(QStringLiteral(name), picture); \
        QVERIFY2(problem.isEmpty(), qPrintable(problem));              \
    } while (false)

void SimulatorCases::picturesOfTheGrid() {
    COMPARE_WITH_KEPT("grid", allCameras(kFormatRgb24));
}

void SimulatorCases::picturesOfTheRow() {
    COMPARE_WITH_KEPT("row", allCameras(kFormatMono8));
}

/// As fine as the cameras are by default, where the sheet's corner is.
void SimulatorCases::pictureInDetail() {
    QCOMPARE(CameraInit(0), 0);
    const cv::Mat frame = frameOf(0, kFormatRgb24);
    QCOMPARE(sizeOf(0), QSize(2560, 1440));
    COMPARE_WITH_KEPT("detail", frame(cv::Rect(0, 0, 480, 360)).clone());
}

/// Frames on demand come at the times of a steady rate.
void SimulatorCases::picturesInMotion() {
    QCOMPARE(CameraInit(0), 0);
    std::vector<cv::Mat> frames;
    for (int i = 0; i < 46; ++i) {
        const cv::Mat frame = frameOf(0, kFormatRgb24);
        QVERIFY(!frame.empty());
        if (i % 15 == 0)
            frames.push_back(frame);
    }
    COMPARE_WITH_KEPT("motion", joined(frames, 2));
    COMPARE_WITH_KEPT("motion-grey", frameOf(0));
}

void SimulatorCases::pictureWithNoise() {
    QCOMPARE(CameraInit(0), 0);
    QCOMPARE(CameraSetAEC(0, false), 0);
    QCOMPARE(CameraSetExposure(0, 700), 0);
    QCOMPARE(CameraSetGain(0, 24), 0);
    const std::vector<cv::Mat> frames{frameOf(0), frameOf(0)};
    QVERIFY(!frames[0].empty() && !frames[1].empty());
    COMPARE_WITH_KEPT("noise", joined(frames, 2));
}

/// Every parameter that changes a picture, one after the other.
void SimulatorCases::picturesOfTheParameters() {
    QCOMPARE(CameraInit(0), 0);
    std::vector<cv::Mat> frames;
    const auto take = [&frames](int32_t status) {
        QCOMPARE(status, 0);
        frames.push_back(frameOf(0, kFormatRgb24));
        QVERIFY(!frames.back().empty());
    };
    QCOMPARE(CameraSetAEC(0, false), 0);
    QCOMPARE(CameraSetExposure(0, 600), 0);
    take(CameraSetGamma(0, 1.6));
    take(CameraSetContrast(0, 1.4));
    take(CameraSetSaturation(0, 0.4));
    take(CameraSetBlackLevel(0, 20));
    take(CameraSetMirrorX(0, true));
    take(CameraSetMirrorY(0, true));
    take(CameraSetAdvancedGain(0, 1));
    take(CameraSetGain(0, 20));
    COMPARE_WITH_KEPT("parameters", joined(frames, 2));
}
