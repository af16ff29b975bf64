// How well the corrected pictures join, end to end: simulated cameras whose every point is known, exact
// corners marked, Load Corner, Execute, Rearrange in the real window, the composite saved as PNG, and the
// crossings of the reference grid looked for in that file.
//
//   bench_accuracy                       all arrangements, a process each; exit code 1 when a limit is missed
//   bench_accuracy row|grid COUNT        one of them
//   bench_accuracy --pictures FOLDER     the composites before and after the correction, for the documents
//
// Figures are px of the composite. "off" is a grid point's distance from its ideal place in its own tile;
// "seam" is how far the grid steps aside from one tile to the next, beyond the two cells that lie between the
// crossings compared; "scale" is the difference of the cells' sizes in neighbouring tiles.

#include <QApplication>
#include <QGraphicsPixmapItem>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <cmath>
#include <cstdio>
#include <map>
#include <opencv2/imgproc.hpp>
#include <random>

#include "calibration/calibratedialog.h"
#include "support/mainwindowtest.h"

namespace {

constexpr double kLimitOffRms = 0.6;
constexpr double kLimitOffMax = 1.0;
constexpr double kLimitSeamRms = 0.7;
constexpr double kLimitSeamMax = 1.5;
constexpr double kLimitScale = 0.001;
constexpr int kLeastPoints = 40;     // per tile
constexpr int kLeastSeamValues = 6;  // per seam
constexpr int kTrials = 8;           // with misplaced corners
constexpr double kFarOff = 5.0;      // px; what is not found counts as so far off
constexpr int kPatch = 16;           // px to each side of a grid point

const QSize kFrame(2560, 1440);

/// One camera as the simulator tells it.
struct Truth {
    int columns = 0;
    int rows = 0;
    cv::Matx33d sceneToFrame;
    std::array<cv::Point2d, 4> sceneCorners;  // TL, TR, BL, BR
    std::array<cv::Point2d, 4> frameCorners;
    double cell = 0.0;

    /// Where a point of the reference grid (cells from its top left corner) is seen, frame px.
    cv::Point2d frameAt(double column, double row) const {
        const cv::Point2d scene = sceneCorners[0] + cv::Point2d(column * cell, row * cell);
        const cv::Vec3d v = sceneToFrame * cv::Vec3d(scene.x, scene.y, 1.0);
        return {v[0] / v[2], v[1] / v[2]};
    }
};

struct Arrangement {
    bool isGrid;
    int count;
    QPoint origin(int tile) const {
        return isGrid ? QPoint(tile % 2 * kFrame.width(), tile / 2 * kFrame.height())
                      : QPoint(tile * kFrame.width(), 0);
    }
};

/// Mean square and maximum of some lengths.
struct Spread {
    double squares = 0.0;
    double max = 0.0;
    int count = 0;
    void add(double value) {
        squares += value * value;
        max = std::max(max, std::abs(value));
        ++count;
    }
    void add(const Spread& other) {
        squares += other.squares;
        max = std::max(max, other.max);
        count += other.count;
    }
    double rms() const { return count ? std::sqrt(squares / count) : 0.0; }
};

struct Result {
    Spread off;
    Spread seam;
    double scale = 0.0;  // largest relative difference
};

cv::Point2d pointOf(const QJsonValue& value) {
    return {value.toArray().at(0).toDouble(), value.toArray().at(1).toDouble()};
}

QVector<Truth> readTruth(int count) {
    const QJsonObject file =
        QJsonDocument::fromJson(WorkingFolder::read(QStringLiteral("truth.json"))).object();
    QVector<Truth> cameras;
    for (int i = 0; i < count; ++i) {
        const QJsonObject camera = file["cameras"].toArray().at(i).toObject();
        const QJsonObject mode = camera["modes"].toArray().at(0).toObject();
        Truth truth;
        truth.columns = camera["xCount"].toInt();
        truth.rows = camera["yCount"].toInt();
        truth.cell = file["scene"].toObject()["cell"].toDouble();
        for (int k = 0; k < 4; ++k) {
            truth.sceneCorners[size_t(k)] = pointOf(camera["sceneCorners"].toArray().at(k));
            truth.frameCorners[size_t(k)] = pointOf(mode["corners"].toArray().at(k));
        }
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c)
                truth.sceneToFrame(r, c) = mode["sceneToFrame"].toArray().at(r).toArray().at(c).toDouble();
        cameras.append(truth);
    }
    return cameras;
}

/// How far `patch` is shifted against `ideal`, px, both of one size, by iterated least squares; nothing when
/// there is too little to see in it. A patch that is not found is far off.
std::optional<cv::Point2d> shiftBetween(const cv::Mat& ideal, const cv::Mat& patch) {
    // A little blur: nearest-neighbour steps are no edges.
    cv::Mat wanted;
    cv::Mat blurred;
    cv::GaussianBlur(ideal, wanted, {}, 1.0);
    cv::GaussianBlur(patch, blurred, {}, 1.0);
    cv::Mat dx;
    cv::Mat dy;
    cv::Sobel(wanted, dx, CV_32F, 1, 0, 3, 0.125);
    cv::Sobel(wanted, dy, CV_32F, 0, 1, 3, 0.125);
    const cv::Rect inner(4, 4, ideal.cols - 8, ideal.rows - 8);
    const cv::Mat gx = dx(inner);
    const cv::Mat gy = dy(inner);
    const cv::Matx22d normal(gx.dot(gx), gx.dot(gy), gx.dot(gy), gy.dot(gy));
    const double smaller = (cv::trace(normal) - std::sqrt(std::pow(normal(0, 0) - normal(1, 1), 2) +
                                                          4 * normal(0, 1) * normal(0, 1))) /
                           2;
    if (smaller < 10.0 * inner.area())
        return {};
    cv::Point2d shift;
    cv::Vec2d change;
    for (int step = 0; step < 20; ++step) {
        const cv::Matx23d move(1, 0, shift.x, 0, 1, shift.y);
        cv::Mat moved;
        cv::warpAffine(blurred, moved, move, blurred.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                       cv::BORDER_REPLICATE);
        const cv::Mat rest = wanted(inner) - moved(inner);
        change = normal.inv() * cv::Vec2d(gx.dot(rest), gy.dot(rest));
        shift += cv::Point2d(change[0], change[1]);
        // The interpolation knows 32 places within a pixel.
        if (std::hypot(change[0], change[1]) < 0.016)
            break;
    }
    // Not settled, or far out: no good place, whatever it is.
    const bool isFound = cv::norm(change) < 0.1 && cv::norm(shift) < kFarOff;
    return isFound ? shift : cv::Point2d(kFarOff, kFarOff);
}

cv::Mat grey(const QImage& image) {
    const QImage converted = image.convertToFormat(QImage::Format_Grayscale8);
    return cv::Mat(converted.height(), converted.width(), CV_8UC1, const_cast<uchar*>(converted.constBits()),
                   size_t(converted.bytesPerLine()))
        .clone();
}

/// The window and what is done in it.
class Station {
public:
    explicit Station(Arrangement a) : arrangement(a) {
        WorkingFolder::write(
            QStringLiteral("kvcap2.ini"),
            "[Library]\nCount=" + QByteArray::number(a.count) +
                "\nArrangement=" + (a.isGrid ? "grid" : "row") +
                "\nGroundTruth=truth.json\n[Scene]\nMoving=0\n[Camera]\nModes=2560x1440\nRate=8\n");
        QByteArray ini =
            "[Camera]\nMode=" + QByteArray(a.isGrid ? "0" : "1") + "\n[File]\nLang=1\nType=2\n[Pos]\n";
        for (int i = 0; i < 4; ++i) {
            const QPoint place = a.origin(i);
            ini += QStringLiteral("X%1=%2\nY%1=%3\n").arg(i).arg(place.x()).arg(place.y()).toLatin1();
        }
        WorkingFolder::write(QStringLiteral("setting.ini"), ini);
    }

    bool start() {
        window.start();
        if (!window.waitForTiles(arrangement.count))
            return false;
        truth = readTruth(arrangement.count);
        frames.clear();
        for (int i = 0; i < arrangement.count; ++i)
            frames.append(grey(tile(i)->pixmap().toImage()));
        return true;
    }

    /// Tile i's item; items appear in the order of first frames, but each starts at a place of its own.
    QGraphicsPixmapItem* tile(int i) {
        if (items.isEmpty()) {
            for (int k = 0; k < arrangement.count; ++k) {
                for (auto* item : window.tiles()) {
                    if (item->pos() == arrangement.origin(k))
                        items.append(item);
                }
            }
        }
        return items[i];
    }

    /// Marks corners as the mark file brings them, calibrates, rearranges, saves, and reads the saved file.
    /// `shift` is added to each corner.
    QImage join(const std::function<cv::Point2d()>& shift) {
        QByteArray marks;
        corners.clear();
        for (int i = 0; i < arrangement.count; ++i) {
            std::array<cv::Point2d, 4> marked;
            for (size_t k = 0; k < 4; ++k) {
                const cv::Point2d place = truth[i].frameCorners[k] + shift();
                const QPoint origin = arrangement.origin(i);
                const QString x = QString::number(place.x + origin.x(), 'g', 6);
                const QString y = QString::number(place.y + origin.y(), 'g', 6);
                marked[k] = {x.toDouble() - origin.x(), y.toDouble() - origin.y()};
                marks += QStringLiteral("Coordinates #0000ff 1 1 | %1 %2\r\n").arg(x, y).toLatin1();
            }
            corners.append(marked);
        }
        WorkingFolder::write(QStringLiteral("mark0.txt"), marks);
        window.action("actionLoad_Corner")->trigger();
        execute();
        if (!waitForFreshPictures())
            qFatal("no corrected pictures");
        window.action("actionRearrange")->trigger();
        // Without the cross-hairs, which would lie over the crossings.
        window.action("actionClear")->trigger();
        return saved();
    }

    QImage saved() {
        for (const QString& old : QDir().entryList({QStringLiteral("snapshot-*.png")}))
            QFile::remove(old);
        window.action("action_Save")->trigger();
        const QStringList files = QDir().entryList({QStringLiteral("snapshot-*.png")});
        return files.isEmpty() ? QImage() : QImage(files.first());
    }

    Result measure(const QImage& composite) {
        const cv::Mat picture = grey(composite);
        Result result;
        std::vector<std::map<std::pair<int, int>, cv::Point2d>> found(static_cast<size_t>(arrangement.count));
        const cv::Point2d cellSize = cell();
        for (int i = 0; i < arrangement.count; ++i) {
            for (int column = 0; column <= truth[i].columns; ++column) {
                for (int row = 0; row <= truth[i].rows; ++row) {
                    const cv::Point2d ideal = origin(i) + cv::Point2d(column * cellSize.x, row * cellSize.y);
                    const QRectF inside =
                        tileRect(i).adjusted(kPatch + 1, kPatch + 1, -kPatch - 1, -kPatch - 1);
                    if (!inside.contains(ideal.x, ideal.y))
                        continue;
                    const cv::Point corner(int(ideal.x) - kPatch, int(ideal.y) - kPatch);
                    const cv::Rect area(corner, cv::Size(2 * kPatch + 1, 2 * kPatch + 1));
                    cv::Mat shown;
                    picture(area).convertTo(shown, CV_32F);
                    const auto shift = shiftBetween(flawless(i, area), shown);
                    if (!shift)
                        continue;
                    result.off.add(cv::norm(*shift));
                    found[static_cast<size_t>(i)][{column, row}] = ideal + *shift;
                }
            }
        }
        compareNeighbours(found, result);
        return result;
    }

    WindowUnderTest window;

private:
    void execute() {
        QTimer answer;
        answer.callOnTimeout([this] {
            auto* dialog = qobject_cast<CalibrateDialog*>(QApplication::activeModalWidget());
            if (!dialog || !dialog->isVisible())
                return;
            const char* names[] = {"leXCount", "leXCount1", "leXCount2", "leXCount3",
                                   "leYCount", "leYCount1", "leYCount2", "leYCount3"};
            for (int i = 0; i < arrangement.count; ++i) {
                dialog->findChild<QLineEdit*>(QLatin1String(names[i]))
                    ->setText(QString::number(truth[i].columns));
                dialog->findChild<QLineEdit*>(QLatin1String(names[4 + i]))
                    ->setText(QString::number(truth[i].rows));
            }
            dialog->findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
        });
        answer.start(10);
        window.action("actionExecute")->trigger();
    }

    /// A corrected picture of the new maps in every tile.
    bool waitForFreshPictures() {
        QVector<qint64> keys;
        for (int i = 0; i < arrangement.count; ++i)
            keys.append(tile(i)->pixmap().cacheKey());
        return QTest::qWaitFor(
            [&] {
                for (int i = 0; i < arrangement.count; ++i) {
                    if (tile(i)->pixmap().cacheKey() == keys[i])
                        return false;
                }
                return true;
            },
            kWait);
    }

    cv::Point2d cell() const {
        return {(corners[0][1].x - corners[0][0].x) / truth[0].columns,
                (corners[0][3].y - corners[0][0].y) / truth[0].rows};
    }

    QRectF tileRect(int i) { return {tile(i)->pos(), tile(i)->pixmap().size()}; }

    /// Where tile i's marked top left corner has to lie in the composite, by the cut that joins the tiles:
    /// whole px.
    cv::Point2d origin(int i) {
        const cv::Point2d size = cell();
        const auto tl = [&](int k) { return corners[k][0]; };
        const auto right = [&](int k) { return tl(k).x + truth[k].columns * size.x; };
        const auto bottom = [&](int k) { return tl(k).y + truth[k].rows * size.y; };
        double cutX = 0.0;
        double cutY = 0.0;
        if (!arrangement.isGrid) {
            int top = int(tl(0).y);
            for (int k = 1; k < arrangement.count; ++k)
                top = std::min(top, int(tl(k).y));
            cutX = i == 0 ? 0.0 : std::trunc(tl(i).x);
            cutY = std::trunc(tl(i).y - top);
        } else {
            const int left = std::min(int(right(0)), int(right(2)));
            const int upper = std::min(int(bottom(0)), int(bottom(1)));
            cutX = i % 2 == 0 ? std::trunc(right(i) - left) : std::trunc(tl(i).x);
            cutY = i < 2 ? std::trunc(bottom(i) - upper) : std::trunc(tl(i).y);
        }
        return tl(i) - cv::Point2d(cutX, cutY) + cv::Point2d(tile(i)->x(), tile(i)->y());
    }

    /// What tile i should show in an area of the composite, grey.
    cv::Mat flawless(int i, cv::Rect area) {
        const cv::Point2d zero = origin(i);
        const cv::Point2d size = cell();
        cv::Mat map(area.size(), CV_32FC2);
        for (int r = 0; r < area.height; ++r) {
            for (int c = 0; c < area.width; ++c) {
                const cv::Point2d place =
                    truth[i].frameAt((area.x + c - zero.x) / size.x, (area.y + r - zero.y) / size.y);
                map.at<cv::Vec2f>(r, c) = {float(place.x), float(place.y)};
            }
        }
        cv::Mat patch;
        cv::remap(frames[i], patch, map, cv::Mat(), cv::INTER_CUBIC, cv::BORDER_REPLICATE);
        patch.convertTo(patch, CV_32F);
        return patch;
    }

    /// The points on both sides of each seam, one cell away from it, must be two cells apart and on one
    /// line.
    void compareNeighbours(const std::vector<std::map<std::pair<int, int>, cv::Point2d>>& found,
                           Result& result) {
        const auto pairs = arrangement.isGrid
                               ? std::vector<std::array<int, 3>>{{0, 1, 0}, {2, 3, 0}, {0, 2, 1}, {1, 3, 1}}
                               : std::vector<std::array<int, 3>>{{0, 1, 0}, {1, 2, 0}, {2, 3, 0}};
        const cv::Point2d size = cell();
        for (const auto& [a, b, isVertical] : pairs) {
            if (b >= arrangement.count)
                continue;
            const int steps = isVertical ? truth[a].columns : truth[a].rows;
            for (int k = 0; k <= steps; ++k) {
                const auto first =
                    isVertical ? std::pair(k, truth[a].rows - 1) : std::pair(truth[a].columns - 1, k);
                const auto second = isVertical ? std::pair(k, 1) : std::pair(1, k);
                const auto p = found[size_t(a)].find(first);
                const auto q = found[size_t(b)].find(second);
                if (p == found[size_t(a)].end() || q == found[size_t(b)].end())
                    continue;
                const cv::Point2d step = q->second - p->second;
                const cv::Point2d wanted =
                    isVertical ? cv::Point2d(0, 2 * size.y) : cv::Point2d(2 * size.x, 0);
                result.seam.add(step.x - wanted.x);
                result.seam.add(step.y - wanted.y);
            }
            const cv::Point2d one = cellIn(found[size_t(a)]);
            const cv::Point2d other = cellIn(found[size_t(b)]);
            for (const double ratio : {one.x / other.x, one.y / other.y})
                result.scale = std::max(result.scale, std::isfinite(ratio) ? std::abs(ratio - 1) : 1.0);
        }
    }

    /// The size of a cell as a tile shows it: the least-squares slope of places over indices.
    static cv::Point2d cellIn(const std::map<std::pair<int, int>, cv::Point2d>& found) {
        cv::Mat a(int(found.size()), 3, CV_64F);
        cv::Mat b(int(found.size()), 2, CV_64F);
        int line = 0;
        for (const auto& [index, place] : found) {
            const double values[] = {double(index.first), double(index.second), 1.0};
            std::copy_n(values, 3, a.ptr<double>(line));
            b.at<double>(line, 0) = place.x;
            b.at<double>(line, 1) = place.y;
            ++line;
        }
        cv::Mat x;
        cv::solve(a, b, x, cv::DECOMP_SVD);
        return {x.at<double>(0, 0), x.at<double>(1, 1)};
    }

    Arrangement arrangement;
    QVector<Truth> truth;
    QVector<cv::Mat> frames;
    QVector<QGraphicsPixmapItem*> items;
    QVector<std::array<cv::Point2d, 4>> corners;  // marked, frame px
};

/// A hand that marks up to a px beside the corner, in both directions; the same in every run.
class Misplacement {
public:
    cv::Point2d operator()() {
        const double x = pixel(random);
        return {x, pixel(random)};
    }

private:
    std::mt19937 random{1};
    std::uniform_real_distribution<double> pixel{-1.0, 1.0};
};

void print(const char* name, const Result& result) {
    std::printf("%-24s %5d  %5.2f %5.2f", name, result.off.count, result.off.rms(), result.off.max);
    if (result.seam.count > 0)
        std::printf("   %5.2f %5.2f   %6.3f %%\n", result.seam.rms(), result.seam.max, result.scale * 100);
    else
        std::printf("       -     -          -\n");
    std::fflush(stdout);
}

int runOne(Arrangement arrangement) {
    Station station(arrangement);
    if (!station.start()) {
        std::printf("no pictures\n");
        return 1;
    }
    const QByteArray name =
        (arrangement.isGrid ? "grid of " : "row of ") + QByteArray::number(arrangement.count);
    const Result exact = station.measure(station.join([] { return cv::Point2d(); }));
    print(name + ", exact", exact);
    Result rough;
    Misplacement misplaced;
    for (int trial = 0; trial < kTrials; ++trial) {
        const Result one = station.measure(station.join(std::ref(misplaced)));
        rough.off.add(one.off);
        rough.seam.add(one.seam);
        rough.scale = std::max(rough.scale, one.scale);
    }
    print(name + ", corners +-1", rough);
    const int seams = arrangement.isGrid ? 4 : arrangement.count - 1;
    const bool isGood = exact.off.count >= kLeastPoints * arrangement.count &&
                        exact.seam.count >= kLeastSeamValues * seams && exact.off.rms() <= kLimitOffRms &&
                        exact.off.max <= kLimitOffMax && exact.seam.rms() <= kLimitSeamRms &&
                        exact.seam.max <= kLimitSeamMax && exact.scale <= kLimitScale;
    if (!isGood)
        std::printf("%s: a limit is missed\n", name.constData());
    return isGood ? 0 : 1;
}

int runAll(const QString& program) {
    std::printf("px of the composite             off             seam\n");
    std::printf("                        points  rms   max       rms   max    scale\n");
    std::fflush(stdout);
    int failed = 0;
    for (const QStringList& arguments : {QStringList{QStringLiteral("row"), QStringLiteral("1")},
                                         {QStringLiteral("row"), QStringLiteral("2")},
                                         {QStringLiteral("row"), QStringLiteral("3")},
                                         {QStringLiteral("row"), QStringLiteral("4")},
                                         {QStringLiteral("grid"), QStringLiteral("4")}}) {
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.start(program, arguments);
        if (!process.waitForFinished(600000) || process.exitCode() != 0)
            ++failed;
    }
    std::printf("limits, exact corners:         %5.2f %5.2f   %5.2f %5.2f   %6.3f %%\n", kLimitOffRms,
                kLimitOffMax, kLimitSeamRms, kLimitSeamMax, kLimitScale * 100);
    return failed ? 1 : 0;
}

int writePictures(const QString& folder) {
    Station station({true, 4});
    if (!station.start())
        return 1;
    station.window.action("actionRearrange")->trigger();
    const QImage before = station.saved();
    const QImage after = station.join([] { return cv::Point2d(); });
    Misplacement misplaced;
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
    if (arguments.size() == 3)
        return runOne({arguments[1] == QLatin1String("grid"), arguments[2].toInt()});
    std::fprintf(stderr, "usage: bench_accuracy [row|grid COUNT | --pictures FOLDER]\n");
    return 2;
}
