// SPDX-License-Identifier: Apache-2.0
// What one frame costs on its way from the capture thread to the pixmap of its tile, in ms and as a multiple
// of a plain copy of the same frame in the same run; and what the screen's pixels of a corrected picture
// cost.
//
//   bench_framepath [--quick]

#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QVector>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "calibration/correction.h"
#include "calibration/correctionmaps.h"
#include "calibration/runtable.h"
#include "live/framepictures.h"
#include "live/screenpicture.h"

namespace {

constexpr int kWidth = 2560;
constexpr int kHeight = 1440;
constexpr double kFit = 0.37;  // four of them on a screen of 1920 x 1080

struct Step {
    const char* name;
    std::function<void()> run;
    QVector<double> times;
};

double milliseconds(const std::function<void()>& run) {
    const auto begin = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

double median(QVector<double> values) {
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

QImage noise(QImage::Format format, QSize size = {kWidth, kHeight}) {
    QImage frame(size, format);
    cv::Mat bytes(frame.height(), frame.bytesPerLine(), CV_8U, frame.bits());
    cv::RNG(1).fill(bytes, cv::RNG::UNIFORM, 0, 256);
    return frame;
}

/// The lower right one of four cameras, a few degrees off and turned by `degrees`, cut to 2320 x 1300 px.
Correction correctionOf(double degrees) {
    const cv::Point2f src[4] = {{240, 140}, {2440, 120}, {210, 1370}, {2490, 1350}};
    const cv::Point2f dst[4] = {{240, 140}, {2480, 140}, {240, 1370}, {2480, 1370}};
    cv::Mat turn = cv::Mat::eye(3, 3, CV_64F);
    cv::getRotationMatrix2D({kWidth / 2.0F, kHeight / 2.0F}, degrees, 1).copyTo(turn.rowRange(0, 2));
    Correction correction;
    const cv::Mat transform = cv::getPerspectiveTransform(src, dst) * turn;
    for (int tile = 0; tile < 4; ++tile) {
        correction.transforms[tile] = transform;
        for (const auto& point : dst)
            correction.dstCorners[tile].append({double(point.x), double(point.y)});
    }
    buildCorrectionMaps(transform, {kWidth, kHeight}, correction.mapX[3], correction.mapY[3]);
    return correction;
}

QRect cropOf(const Correction& correction) {
    const auto geometry = computeCropGeometry(correction.dstCorners, 4, 0, {kWidth, kHeight});
    return cropRectangle(*geometry, correction.dstCorners, 0, 3);
}

/// The device pixels whose centres lie in a picture.
QRect shownPart(QSize size, const Placement& placement) {
    const auto pixel = [](double edge) { return int(std::ceil(edge - 0.5 - 1e-6)); };
    const QPointF& from = placement.origin;
    return {QPoint(pixel(from.x()), pixel(from.y())),
            QPoint(pixel(from.x() + size.width() * placement.scale) - 1,
                   pixel(from.y() + size.height() * placement.scale) - 1)};
}

void measure(const char* title, QImage::Format format, double degrees, int rounds) {
    const QImage frame = noise(format);
    FramePictures pictures;
    QByteArray copy(static_cast<int>(frame.sizeInBytes()), 0);
    const Correction correction = correctionOf(degrees);
    QImage corrected;
    QPixmap shown;

    QVector<Step> steps{
        {"copy of the frame", [&] { std::memcpy(copy.data(), frame.constBits(), size_t(copy.size())); }, {}},
        {"uncorrected: frame to pixmap",
         [&] { shown = QPixmap::fromImage(pictures.plain(frame), Qt::NoFormatConversion); },
         {}},
        {"plain: remap and crop", [&] { corrected = correctedPicture(frame, correction, 3, 4, 0); }, {}},
        {"plain: frame to pixmap",
         [&] { shown = QPixmap::fromImage(correctedPicture(frame, correction, 3, 4, 0)); },
         {}},
    };
    const RunTable table(correction.mapX[3], correction.mapY[3], cropOf(correction),
                         RunTable::Shape::of(frame));
    QImage picture(table.pictureSize(), format);
    picture.fill(0);
    steps.append({"run table: frame to pixmap",
                  [&] {
                      shown = QPixmap();
                      table.apply(frame, picture);
                      shown = QPixmap::fromImage(picture, Qt::NoFormatConversion);
                  },
                  {}});
    ScreenPicture screen;
    const Placement fit{kFit, {0.3, 0.6}};
    const QRect part = shownPart(picture.size(), fit);
    steps.append({"run table, then to the screen",
                  [&] {
                      table.apply(frame, picture);
                      screen.of(picture, fit, part);
                  },
                  {}});
    steps.append({"run table, to the screen meanwhile",
                  [&] {
                      screen.follow(picture, 0);
                      table.apply(frame, picture, [&](int rows) { screen.follow(picture, rows); });
                  },
                  {}});
    Correction smooth = correction;
    smooth.isSmooth = true;
    steps.append({"smooth by remap: frame to pixmap",
                  [&] { shown = QPixmap::fromImage(correctedPicture(frame, smooth, 3, 4, 0)); },
                  {}});
    steps.append({"smooth table: frame to pixmap",
                  [&] {
                      shown = QPixmap();
                      shown = QPixmap::fromImage(pictures.corrected(frame, smooth, 3, 4, 0),
                                                 Qt::NoFormatConversion);
                  },
                  {}});
    // Interleaved, so that a slow moment of the machine hits all of them.
    for (int round = 0; round < rounds; ++round) {
        for (Step& step : steps)
            step.times.append(milliseconds(step.run));
    }
    const double base = median(steps.first().times);
    std::printf("%s %d x %d, turned by %g degrees, cut to %d x %d, mean run %.0f px, medians of %d\n", title,
                kWidth, kHeight, degrees, picture.width(), picture.height(), table.meanRun(), rounds);
    for (const Step& step : qAsConst(steps)) {
        const double time = median(step.times);
        std::printf("  %-34s %8.2f ms %7.1f x copy\n", step.name, time, time / base);
    }
}

/// One tile to the screen, at Zoom Fit, farther in and at the pictures' own size,
/// where a screen of 1920 x 1080 shows a part.
void measureScreen(const char* title, QImage::Format format, int rounds) {
    const QImage frame = noise(format);
    QByteArray copy(static_cast<int>(frame.sizeInBytes()), 0);
    const QImage picture = noise(format, {2320, 1300});
    const QRect screen(0, 0, 1920, 1080);
    QVector<Step> steps{
        {"copy of the frame", [&] { std::memcpy(copy.data(), frame.constBits(), size_t(copy.size())); }, {}}};
    std::vector<std::unique_ptr<ScreenPicture>> shown;
    std::vector<QByteArray> names;
    const std::vector<const platform::BoxLoops*> every = platform::everyBoxLoops();
    names.reserve(every.size() * 6);
    for (const platform::BoxLoops* loops : every) {
        for (const double scale : {0.2, kFit, 0.45, 0.75, 1.0, 1.4}) {
            const Placement placement{scale, {0.3, 0.6}};
            const QRect part = shownPart(picture.size(), placement) & screen;
            shown.push_back(std::make_unique<ScreenPicture>(*loops));
            QByteArray name = QByteArray("to the screen at ") + QByteArray::number(scale);
            if (scale == kFit)
                name += ", fit";
            names.push_back(loops == every.front() ? name : name + ", " + loops->name);
            steps.append(
                {names.back().constData(),
                 [&picture, placement, part, to = shown.back().get()] { to->of(picture, placement, part); },
                 {}});
        }
    }
    for (int round = 0; round < rounds; ++round) {
        for (Step& step : steps)
            step.times.append(milliseconds(step.run));
    }
    const double base = median(steps.first().times);
    std::printf("%s picture of %d x %d to the screen by %s, medians of %d\n", title, picture.width(),
                picture.height(), every.front()->name, rounds);
    for (const Step& step : qAsConst(steps)) {
        const double time = median(step.times);
        std::printf("  %-34s %8.2f ms %7.1f x copy\n", step.name, time, time / base);
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    const QGuiApplication application(argc, argv);
    const bool quick = QGuiApplication::arguments().contains(QStringLiteral("--quick"));
    const int rounds = quick ? 15 : 60;
    for (const double degrees : {0.0, 3.0, 90.0}) {
        measure("grey", QImage::Format_Grayscale8, degrees, rounds);
        measure("colour", QImage::Format_RGB888, degrees, rounds);
    }
    measureScreen("grey", QImage::Format_Grayscale8, rounds);
    measureScreen("colour", QImage::Format_RGB888, rounds);
    return 0;
}
