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

/// A camera a few degrees off, with a rectangle that leaves the usual margin.
Correction mildCorrection() {
    const cv::Point2f src[4] = {{150, 80}, {2400, 60}, {120, 1370}, {2450, 1350}};
    const cv::Point2f dst[4] = {{150, 80}, {2440, 80}, {150, 1370}, {2440, 1370}};
    Correction correction;
    correction.transforms[0] = cv::getPerspectiveTransform(src, dst);
    buildCorrectionMaps(correction.transforms[0], {kWidth, kHeight}, correction.mapX[0], correction.mapY[0]);
    for (const auto& point : dst)
        correction.dstCorners[0].append({double(point.x), double(point.y)});
    return correction;
}

void measure(const char* title, QImage::Format format, int rounds) {
    const QImage frame = noise(format);
    QByteArray copy(static_cast<int>(frame.sizeInBytes()), 0);
    const Correction correction = mildCorrection();
    QImage corrected;
    QPixmap shown;

    QVector<Step> steps{
        {"copy of the frame", [&] { std::memcpy(copy.data(), frame.constBits(), size_t(copy.size())); }, {}},
        {"uncorrected: frame to pixmap", [&] { shown = QPixmap::fromImage(frame); }, {}},
        {"corrected: remap and crop", [&] { corrected = correctedPicture(frame, correction, 0, 1, 1); }, {}},
        {"corrected: frame to pixmap",
         [&] { shown = QPixmap::fromImage(correctedPicture(frame, correction, 0, 1, 1)); },
         {}},
    };
    // Interleaved, so that a slow moment of the machine hits all of them.
    for (int round = 0; round < rounds; ++round) {
        for (Step& step : steps)
            step.times.append(milliseconds(step.run));
    }
    const double base = median(steps.first().times);
    std::printf("%s %d x %d, medians of %d\n", title, kWidth, kHeight, rounds);
    for (const Step& step : qAsConst(steps)) {
        const double time = median(step.times);
        std::printf("  %-30s %8.2f ms %7.1f x copy\n", step.name, time, time / base);
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    const QGuiApplication application(argc, argv);
    const bool quick = QGuiApplication::arguments().contains(QStringLiteral("--quick"));
    const int rounds = quick ? 5 : 60;
    measure("grey", QImage::Format_Grayscale8, rounds);
    measure("colour", QImage::Format_RGB888, rounds);
    return 0;
}
