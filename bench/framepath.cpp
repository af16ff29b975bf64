// What one frame costs on its way from the capture thread to the pixmap of its tile, in ms and as a multiple
// of a plain copy of the same frame in the same run.
//
//   bench_framepath [--quick]

#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QVector>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <opencv2/imgproc.hpp>

#include "calibration/correction.h"
#include "calibration/correctionmaps.h"
#include "calibration/runtable.h"

namespace {

constexpr int kWidth = 2560;
constexpr int kHeight = 1440;

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

QImage noise(QImage::Format format) {
    QImage frame(kWidth, kHeight, format);
    cv::Mat bytes(kHeight, frame.bytesPerLine(), CV_8U, frame.bits());
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

void measure(const char* title, QImage::Format format, double degrees, int rounds) {
    const QImage frame = noise(format);
    QByteArray copy(static_cast<int>(frame.sizeInBytes()), 0);
    const Correction correction = correctionOf(degrees);
    QImage corrected;
    QPixmap shown;

    QVector<Step> steps{
        {"copy of the frame", [&] { std::memcpy(copy.data(), frame.constBits(), size_t(copy.size())); }, {}},
        {"uncorrected: frame to pixmap", [&] { shown = QPixmap::fromImage(frame); }, {}},
        {"plain: remap and crop", [&] { corrected = correctedPicture(frame, correction, 3, 4, 0); }, {}},
        {"plain: frame to pixmap",
         [&] { shown = QPixmap::fromImage(correctedPicture(frame, correction, 3, 4, 0)); },
         {}},
    };
    const RunTable table(correction.mapX[3], correction.mapY[3], cropOf(correction),
                         RunTable::Shape::of(frame));
    QImage picture(table.pictureSize(), QImage::Format_RGB32);
    picture.fill(0);
    steps.append({"run table: frame to pixmap",
                  [&] {
                      shown = QPixmap();
                      table.apply(frame, picture);
                      shown = QPixmap::fromImage(picture);
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

}  // namespace

int main(int argc, char* argv[]) {
    const QGuiApplication application(argc, argv);
    const bool quick = QGuiApplication::arguments().contains(QStringLiteral("--quick"));
    const int rounds = quick ? 15 : 60;
    for (const double degrees : {0.0, 3.0, 90.0}) {
        measure("grey", QImage::Format_Grayscale8, degrees, rounds);
        measure("colour", QImage::Format_RGB888, degrees, rounds);
    }
    return 0;
}
