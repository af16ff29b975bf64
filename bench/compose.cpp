// SPDX-License-Identifier: Apache-2.0
// Four grey cameras of 2560 x 1440 px corrected, cut and joined to one picture, off screen, on one core:
// composites a second of the plain way and of run tables, and, with --export, everything that another program
// needs to do the same work (bench/compare-others runs some of them).
//
//   bench_compose [--quick] [--export FOLDER]
//
// FOLDER gets camera0.gray ... camera3.gray (raw frames one after the other), x0.pgm, y0.pgm ... (16 bit: the
// source pixel of each corrected pixel), joined.gray (the composites, to compare with) and layout.txt.

#include <QGuiApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QPixmap>
#include <cstdio>
#include <ctime>
#include <functional>
#include <opencv2/imgproc.hpp>

#include "calibration/correction.h"
#include "calibration/correctionmaps.h"
#include "calibration/runtable.h"

namespace {

constexpr int kCameras = 4;
constexpr int kFrames = 24;
const QSize kFrame(2560, 1440);

Correction makeCorrection() {
    Correction correction;
    for (int tile = 0; tile < kCameras; ++tile) {
        const auto dx = float(tile % 2 == 0 ? 80 : 240);
        const auto dy = float(tile / 2 == 0 ? 70 : 140);
        const cv::Point2f src[4] = {
            {dx, dy}, {dx + 2200, dy - 20}, {dx - 30, dy + 1230}, {dx + 2250, dy + 1210}};
        const cv::Point2f dst[4] = {{dx, dy}, {dx + 2240, dy}, {dx, dy + 1230}, {dx + 2240, dy + 1230}};
        correction.transforms[tile] = cv::getPerspectiveTransform(src, dst);
        buildCorrectionMaps(correction.transforms[tile], kFrame, correction.mapX[tile],
                            correction.mapY[tile]);
        for (const auto& point : dst)
            correction.dstCorners[tile].append({double(point.x), double(point.y)});
    }
    return correction;
}

/// Something like a sheet under inspection, a little different from frame to frame.
QVector<QImage> makeFrames(int camera) {
    QVector<QImage> frames;
    cv::RNG random(static_cast<uint64_t>(camera) + 1);
    cv::Mat noise(kFrame.height() / 8, kFrame.width() / 8, CV_8U);
    random.fill(noise, cv::RNG::UNIFORM, 60, 200);
    for (int i = 0; i < kFrames; ++i) {
        QImage frame(kFrame, QImage::Format_Grayscale8);
        cv::Mat pixels(kFrame.height(), kFrame.width(), CV_8U, frame.bits(),
                       static_cast<size_t>(frame.bytesPerLine()));
        cv::resize(noise, pixels, pixels.size(), 0, 0, cv::INTER_CUBIC);
        cv::circle(pixels, {300 + i * 60, 700}, 200, cv::Scalar(250), 12);
        frames.append(frame);
    }
    return frames;
}

QRect cropOf(const Correction& correction, int tile) {
    return cropOf(correction, tile, kCameras, 0, kFrame, kFrame);
}

/// Composites a second of processor time.
double rate(int rounds, const std::function<void(int frame)>& compose) {
    compose(0);  // tables and memory are there
    const std::clock_t begin = std::clock();
    for (int i = 0; i < rounds; ++i)
        compose(i % kFrames);
    return rounds / (double(std::clock() - begin) / CLOCKS_PER_SEC);
}

bool write(const QDir& folder, const QString& name, const QByteArray& bytes, bool isMore = false) {
    QFile file(folder.filePath(name));
    return file.open(isMore ? QIODevice::Append : QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

QByteArray bytesOf(const QImage& grey) {
    QByteArray bytes;
    for (int y = 0; y < grey.height(); ++y)
        bytes.append(reinterpret_cast<const char*>(grey.constScanLine(y)), grey.width());
    return bytes;
}

/// A map as a 16-bit grey picture, whole px inside the frame.
QByteArray mapFile(const cv::Mat& places, int channel) {
    QByteArray bytes = QByteArray("P5\n") + QByteArray::number(places.cols) + " " +
                       QByteArray::number(places.rows) + "\n65535\n";
    const int most = channel == 0 ? kFrame.width() - 1 : kFrame.height() - 1;
    for (int y = 0; y < places.rows; ++y) {
        for (int x = 0; x < places.cols; ++x) {
            const int place = qBound(0, int(places.at<cv::Vec2s>(y, x)[channel]), most);
            bytes.append(char(place >> 8)).append(char(place & 255));
        }
    }
    return bytes;
}

}  // namespace

int main(int argc, char* argv[]) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addOption({QStringLiteral("quick"), QStringLiteral("A few rounds only.")});
    parser.addOption(
        {QStringLiteral("export"), QStringLiteral("Write the work down."), QStringLiteral("folder")});
    parser.process(application);
    cv::setNumThreads(1);
    const int rounds = parser.isSet(QStringLiteral("quick")) ? 4 : 240;

    const Correction correction = makeCorrection();
    QVector<QImage> frames[kCameras];
    QPoint places[kCameras];
    QRect crops[kCameras];
    for (int i = 0; i < kCameras; ++i) {
        frames[i] = makeFrames(i);
        crops[i] = cropOf(correction, i);
    }
    for (int i = 0; i < kCameras; ++i)
        places[i] = {i % 2 == 0 ? 0 : crops[i - 1].width(), i / 2 == 0 ? 0 : crops[i - 2].height()};
    const QSize size(places[3].x() + crops[3].width(), places[3].y() + crops[3].height());

    QImage grey(size, QImage::Format_Grayscale8);
    grey.fill(0);
    RunTable tables[kCameras];
    for (int i = 0; i < kCameras; ++i) {
        const PartMaps maps =
            partMaps(correction.transforms[i], correction.mapX[i], correction.mapY[i], crops[i]);
        tables[i] =
            RunTable(maps.x, maps.y, QRect(QPoint(), crops[i].size()), RunTable::Shape::of(frames[i][0]));
    }
    const auto join = [&](int i, const QImage& part) {
        for (int y = 0; y < part.height(); ++y)
            std::memcpy(grey.scanLine(places[i].y() + y) + places[i].x(), part.constScanLine(y),
                        static_cast<size_t>(part.width()));
    };
    const double plain = rate(rounds / 4, [&](int frame) {
        for (int i = 0; i < kCameras; ++i)
            join(i, correctedPicture(frames[i][frame], correction, i, kCameras, 0));
    });
    const double fast = rate(rounds, [&](int frame) {
        for (int i = 0; i < kCameras; ++i) {
            // Straight to its place.
            QImage place(grey.scanLine(places[i].y()) + places[i].x(), crops[i].width(), crops[i].height(),
                         grey.bytesPerLine(), grey.format());
            tables[i].apply(frames[i][frame], place);
        }
    });
    std::printf("%d x %d from four cameras; camera frames a second and core\n", size.width(), size.height());
    std::printf("  %-44s %7.0f\n", "plain remap, grey", plain * kCameras);
    std::printf("  %-44s %7.0f\n", "run tables, grey", fast * kCameras);

    if (!parser.isSet(QStringLiteral("export")))
        return 0;
    const QDir folder(parser.value(QStringLiteral("export")));
    QByteArray layout;
    bool isWritten = folder.mkpath(QStringLiteral("."));
    for (int i = 0; i < kCameras; ++i) {
        QByteArray raw;
        for (const QImage& frame : qAsConst(frames[i]))
            raw += bytesOf(frame);
        cv::Mat rounded;
        cv::Mat unused;
        cv::convertMaps(correction.mapX[i], correction.mapY[i], rounded, unused, CV_16SC2, true);
        isWritten = isWritten && write(folder, QStringLiteral("camera%1.gray").arg(i), raw) &&
                    write(folder, QStringLiteral("x%1.pgm").arg(i), mapFile(rounded, 0)) &&
                    write(folder, QStringLiteral("y%1.pgm").arg(i), mapFile(rounded, 1));
        const QRect& crop = crops[i];
        layout += QStringLiteral("%1 %2 %3 %4 %5 %6\n")
                      .arg(crop.width())
                      .arg(crop.height())
                      .arg(crop.x())
                      .arg(crop.y())
                      .arg(places[i].x())
                      .arg(places[i].y())
                      .toLatin1();
    }
    isWritten = isWritten && write(folder, QStringLiteral("layout.txt"), layout) &&
                write(folder, QStringLiteral("joined.gray"), {});
    for (int frame = 0; frame < kFrames && isWritten; ++frame) {
        for (int i = 0; i < kCameras; ++i)
            join(i, correctedPicture(frames[i][frame], correction, i, kCameras, 0));
        isWritten = write(folder, QStringLiteral("joined.gray"), bytesOf(grey), true);
    }
    return isWritten ? 0 : 1;
}
