// SPDX-License-Identifier: Apache-2.0
// How well the corrected pictures join, end to end: simulated cameras whose every point is known, exact
// corners marked, Load Corner, Execute, Rearrange in the real window, the composite saved as PNG, and the
// crossings of the reference grid looked for in that file.
//
//   bench_accuracy                       all arrangements, a process each; exit code 1 when a limit is missed
//   bench_accuracy row|grid COUNT nearest|smooth [lengths]
//                                        one of them, or its exact corners and lengths alone
//   bench_accuracy --pictures FOLDER     the composites before and after the correction, for the documents
//   bench_accuracy --lettering FILE      the same letters by the nearest pixel and smooth, for the documents
//   bench_accuracy --composite nearest|smooth FILE
//                                        the corrected composite of a grid alone
//
// Figures are px of the composite. "off" is a grid point's distance from its ideal place in its own tile;
// "seam" is how far the grid steps aside from one tile to the next, beyond the two cells that lie between the
// crossings compared; "joined" is the same without the part that cuts at whole px make; "scale" is the
// difference of the cells' sizes in neighbouring tiles. Corners that were clicked beside their places are
// also snapped, on the frame, as with Ctrl held at two zooms in turn. "lengths" are figures measured on the
// composite (lengths.h).

#include <QApplication>
#include <QPainter>
#include <QProcess>
#include <cmath>
#include <cstdio>
#include <random>

#include "accuracystation.h"
#include "lengths.h"
#include "measure/snapping.h"

namespace {

struct Limits {
    double offRms;
    double offMax;
    double seamRms;
    double seamMax;
    double joinRms;
    double joinMax;
    double scale;
};

constexpr Limits kNearestLimits{0.6, 1.0, 0.7, 1.5, 0.6, 1.5, 0.001};
constexpr Limits kSmoothLimits{0.08, 0.2, 0.7, 1.5, 0.08, 0.2, 0.001};
constexpr int kLeastPoints = 40;        // per tile
constexpr int kLeastSeamValues = 6;     // per seam
constexpr int kTrials = 8;              // with misplaced corners
constexpr int kSnappedTrials = 4;       // with misplaced corners that are snapped
constexpr double kSnapOnScreen = 12.0;  // view px
constexpr double kZooms[] = {0.37, 1.0};
// All 200 figures are within their limits (lengths.h).
constexpr double kLengthRms = 0.13;  // px, of lengths and radii
constexpr double kDigitsOff = 6.0;   // of the last digit that is shown
// With corners that are clicked up to 3 px beside and snapped. The seams' steps of the cut at whole px are no
// matter of the corners, so the limit is on what is left without them.
constexpr double kSnappedOffRms = 0.3;
constexpr double kSnappedJoinRms = 0.5;
const QRect kLettering(1102, 895, 250, 94);  // px of the grid's composite

cv::Point2d exactly(int /*tile*/, cv::Point2d corner) {
    return corner;
}

/// A hand that marks up to so many px beside the corner, in both directions; the same in every run.
class Misplacement {
public:
    explicit Misplacement(double most) : pixel(-most, most) {}

    cv::Point2d operator()(int /*tile*/, cv::Point2d corner) {
        const double x = pixel(random);
        return corner + cv::Point2d(x, pixel(random));
    }

private:
    std::mt19937 random{1};
    std::uniform_real_distribution<double> pixel;
};

void print(const char* name, const Result& result) {
    std::printf("%-34s %5d  %6.3f %5.2f", name, result.off.count, result.off.rms(), result.off.max);
    if (result.seam.count > 0)
        std::printf("   %5.2f %5.2f   %6.3f %5.2f   %6.3f %%\n", result.seam.rms(), result.seam.max,
                    result.join.rms(), result.join.max, result.scale * 100);
    else
        std::printf("       -     -        -     -          -\n");
    std::fflush(stdout);
}

bool isGood(const Result& exact, const Arrangement& arrangement) {
    const int seams = arrangement.isGrid ? 4 : arrangement.count - 1;
    const Limits& limits = arrangement.isSmooth ? kSmoothLimits : kNearestLimits;
    return exact.off.count >= kLeastPoints * arrangement.count &&
           exact.seam.count >= kLeastSeamValues * seams && exact.off.rms() <= limits.offRms &&
           exact.off.max <= limits.offMax && exact.seam.rms() <= limits.seamRms &&
           exact.seam.max <= limits.seamMax && exact.join.rms() <= limits.joinRms &&
           exact.join.max <= limits.joinMax && exact.scale <= limits.scale;
}

/// Corners by a hand that is up to 3 px beside and lets the points snap, as views of two zooms do.
bool isSnappedGood(Station& station, const QByteArray& name) {
    Result snapped;
    Misplacement misplaced(3.0);
    int missed = 0;
    double farthest = 0.0;
    for (int trial = 0; trial < kSnappedTrials; ++trial) {
        const double zoom = kZooms[trial % 2];
        const Result one = station.measure(station.join([&](int tile, cv::Point2d corner) {
            const cv::Point2d click = misplaced(tile, corner);
            const Snap snap = snapIn(station.pictures[tile], {click.x, click.y}, kSnapOnScreen / zoom);
            missed += snap.kind == SnapKind::Corner ? 0 : 1;
            const cv::Point2d place(snap.point.x(), snap.point.y());
            farthest = std::max(farthest, cv::norm(place - corner));
            return place;
        }));
        snapped.add(one);
    }
    print(name, snapped);
    std::printf("  corners: %d missed, %.3f px off at most\n", missed, farthest);
    return missed == 0 && snapped.off.rms() <= kSnappedOffRms && snapped.join.rms() <= kSnappedJoinRms;
}

bool areGood(const QByteArray& name, const Lengths& lengths) {
    std::printf(
        "%s, lengths: %.3f px rms, %.2f max; %d beyond; of the limits at most: length %.2f, angle %.2f, area "
        "%.2f, "
        "radius %.2f\n",
        name.constData(), lengths.pixels.rms(), lengths.pixels.max, lengths.beyond,
        lengths.kinds[Lengths::Length].max, lengths.kinds[Lengths::Angle].max,
        lengths.kinds[Lengths::Area].max, lengths.kinds[Lengths::Radius].max);
    if (lengths.across > 0)
        std::printf(
            "  %d across seams, with their steps: %.3f px rms, %.2f max; of the limits: %.2f, %.2f, %.2f, "
            "%.2f\n",
            lengths.across, lengths.unevenPixels.rms(), lengths.unevenPixels.max,
            lengths.acrossUneven[Lengths::Length].max, lengths.acrossUneven[Lengths::Angle].max,
            lengths.acrossUneven[Lengths::Area].max, lengths.acrossUneven[Lengths::Radius].max);
    std::printf("  as shown, in units of the last digit: %.2f rms, %.2f max\n", lengths.digits.rms(),
                lengths.digits.max);
    if (lengths.marks.count > 0 || lengths.missedMarks > 0)
        std::printf(
            "  %d points at seams; %d lines between marks on them: %.3f px rms, %.2f max; %.2f of the "
            "limit, %d missed\n",
            lengths.atSeams, lengths.marks.count, lengths.marks.rms(), lengths.marks.max,
            lengths.marksShare.max, lengths.missedMarks);
    if (lengths.missed > 0)
        std::printf("  %d points found nothing to snap to\n", lengths.missed);
    std::fflush(stdout);
    return lengths.missed == 0 && lengths.missedMarks == 0 && lengths.marksShare.max <= 1.0 &&
           lengths.beyond == 0 && lengths.pixels.rms() <= kLengthRms && lengths.digits.max <= kDigitsOff;
}

int runOne(Arrangement arrangement, bool isLengthsAlone) {
    Station station(arrangement);
    if (!station.start()) {
        std::printf("no pictures\n");
        return 1;
    }
    const QByteArray name =
        (arrangement.isGrid ? "grid of " : "row of ") + QByteArray::number(arrangement.count);
    const QByteArray way = arrangement.isSmooth ? ", smooth" : "";
    const QImage composite = station.join(exactly);
    const Result exact = station.measure(composite);
    print(name + ", exact" + way, exact);
    bool isAllGood = isGood(exact, arrangement);
    isAllGood = areGood(name + way, measureLengths(station, composite)) && isAllGood;
    if (isLengthsAlone)
        return isAllGood ? 0 : 1;
    if (!arrangement.isSmooth) {
        Result rough;
        Misplacement misplaced(1.0);
        for (int trial = 0; trial < kTrials; ++trial)
            rough.add(station.measure(station.join(std::ref(misplaced))));
        print(name + ", corners +-1", rough);
    }
    isAllGood = isSnappedGood(station, name + ", +-3 snapped" + way) && isAllGood;
    if (isAllGood)
        return 0;
    std::printf("%s: a limit is missed\n", name.constData());
    return 1;
}

void printLimits(const char* name, const Limits& limits) {
    std::printf("%-34s        %6.3f %5.2f   %5.2f %5.2f   %6.3f %5.2f   %6.3f %%\n", name, limits.offRms,
                limits.offMax, limits.seamRms, limits.seamMax, limits.joinRms, limits.joinMax,
                limits.scale * 100);
}

int runAll(const QString& program) {
    std::printf("px of the composite                        off             seam            joined\n");
    std::printf(
        "                                   points     rms   max     rms   max      rms   max    scale\n");
    std::fflush(stdout);
    int failed = 0;
    for (const char* way : {"nearest", "smooth"}) {
        for (const QStringList& arguments : {QStringList{QStringLiteral("row"), QStringLiteral("1")},
                                             {QStringLiteral("row"), QStringLiteral("2")},
                                             {QStringLiteral("row"), QStringLiteral("3")},
                                             {QStringLiteral("row"), QStringLiteral("4")},
                                             {QStringLiteral("grid"), QStringLiteral("4")}}) {
            QProcess process;
            process.setProcessChannelMode(QProcess::ForwardedChannels);
            process.start(program, arguments + QStringList{QLatin1String(way)});
            if (!process.waitForFinished(600000) || process.exitCode() != 0)
                ++failed;
        }
    }
    printLimits("limits, exact", kNearestLimits);
    printLimits("limits, exact, smooth", kSmoothLimits);
    std::printf("%-34s        %6.3f                       %6.3f\n", "limits, +-3 snapped", kSnappedOffRms,
                kSnappedJoinRms);
    return failed ? 1 : 0;
}

/// The corrected composite of a grid.
int writeComposite(bool isSmooth, const QString& fileName) {
    Station station({true, 4, isSmooth});
    return station.start() && station.join(exactly).save(fileName) ? 0 : 1;
}

/// A piece of the sheet's lettering, as files have it: by the nearest pixel on the left, smooth on the right.
int writeLettering(const QString& program, const QString& fileName) {
    constexpr int kTimes = 3;
    const QTemporaryDir folder;
    const QSize size = kLettering.size() * kTimes;
    QImage pair(2 * size.width(), size.height(), QImage::Format_RGB32);
    QPainter painter(&pair);
    for (const char* way : {"nearest", "smooth"}) {
        // A process each: the camera library is configured once.
        const QString composite = folder.filePath(QStringLiteral("composite.png"));
        if (QProcess::execute(program, {QStringLiteral("--composite"), QLatin1String(way), composite}) != 0)
            return 1;
        const QImage piece = QImage(composite).copy(kLettering).scaled(size);
        painter.drawImage(way == QLatin1String("smooth") ? size.width() : 0, 0, piece);
    }
    painter.end();
    return pair.convertToFormat(QImage::Format_Grayscale8).save(fileName) ? 0 : 1;
}

int writePictures(const QString& folder) {
    Station station({true, 4, false});
    if (!station.start())
        return 1;
    station.window.action("actionRearrange")->trigger();
    const QImage before = station.saved();
    const QImage after = station.join(exactly);
    Misplacement misplaced(1.0);
    const QImage rough = station.join(std::ref(misplaced));
    const auto save = [&folder](const QImage& image, const char* name) {
        return image.save(folder + QLatin1Char('/') + QLatin1String(name));
    };
    return save(before, "before.png") && save(after, "after.png") && save(rough, "misplaced.png") ? 0 : 1;
}

}  // namespace

int main(int argc, char* argv[]) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (!qEnvironmentVariableIsSet("BIVISTA_LOG"))
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    const QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 1)
        return runAll(QCoreApplication::applicationFilePath());
    if (arguments.size() == 3 && arguments[1] == QLatin1String("--pictures"))
        return writePictures(QDir(arguments[2]).absolutePath());
    if (arguments.size() == 3 && arguments[1] == QLatin1String("--lettering"))
        return writeLettering(QCoreApplication::applicationFilePath(), arguments[2]);
    const bool isSmooth = arguments.contains(QStringLiteral("smooth"));
    if (arguments.size() == 4 && arguments[1] == QLatin1String("--composite"))
        return writeComposite(isSmooth, QFileInfo(arguments[3]).absoluteFilePath());
    const bool isLengthsAlone = arguments.size() == 5 && arguments[4] == QLatin1String("lengths");
    if (arguments.size() == 4 || isLengthsAlone)
        return runOne({arguments[1] == QLatin1String("grid"), arguments[2].toInt(), isSmooth},
                      isLengthsAlone);
    std::fprintf(stderr,
                 "usage: bench_accuracy [row|grid COUNT nearest|smooth [lengths] | --pictures FOLDER |\n"
                 "                       --lettering FILE | --composite nearest|smooth FILE]\n");
    return 2;
}
