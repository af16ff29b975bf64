// SPDX-License-Identifier: Apache-2.0
#include "accuracystation.h"

#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLineEdit>
#include <QPushButton>
#include <opencv2/imgproc.hpp>
#include <optional>

#include "calibration/calibratedialog.h"
#include "calibration/calibration.h"

namespace {

constexpr int kPatch = 16;  // px to each side of a grid point

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

/// The size of a cell as a tile shows it: the least-squares slope of places over indices.
cv::Point2d cellIn(const std::map<GridPoint, cv::Point2d>& found) {
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

}  // namespace

Station::Station(Arrangement a) : arrangement(a) {
    WorkingFolder::write(
        QStringLiteral("kvcap2.ini"),
        "[Library]\nCount=" + QByteArray::number(a.count) + "\nArrangement=" + (a.isGrid ? "grid" : "row") +
            "\nGroundTruth=truth.json\n[Scene]\nMoving=0\n[Camera]\nModes=2560x1440\nRate=8\n");
    QByteArray ini = "[Camera]\nMode=" + QByteArray(a.isGrid ? "0" : "1") + "\n[File]\nLang=1\nType=2\n" +
                     "CellWidth=" + QByteArray::number(kCellMm) +
                     "\nCellHeight=" + QByteArray::number(kCellMm) + '\n' + (a.isSmooth ? "Smooth=1\n" : "") +
                     "[Pos]\n";
    for (int i = 0; i < 4; ++i) {
        const QPoint place = a.origin(i);
        ini += QStringLiteral("X%1=%2\nY%1=%3\n").arg(i).arg(place.x()).arg(place.y()).toLatin1();
    }
    WorkingFolder::write(QStringLiteral("setting.ini"), ini);
}

bool Station::start() {
    window.start();
    if (!window.waitForTiles(arrangement.count))
        return false;
    truth = readTruth(arrangement.count);
    frames.clear();
    pictures.clear();
    for (int i = 0; i < arrangement.count; ++i) {
        pictures.append(tile(i)->pixmap().toImage());
        frames.append(grey(pictures.last()));
    }
    return true;
}

/// Tile i's item; items appear in the order of first frames, but each starts at a place of its own.
QGraphicsPixmapItem* Station::tile(int i) {
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

QImage Station::join(const Hand& hand) {
    QByteArray marks;
    corners.clear();
    for (int i = 0; i < arrangement.count; ++i) {
        std::array<cv::Point2d, 4> marked;
        for (size_t k = 0; k < 4; ++k) {
            const cv::Point2d place = hand(i, truth[i].frameCorners[k]);
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

QImage Station::saved() {
    for (const QString& old : QDir().entryList({QStringLiteral("snapshot-*.png")}))
        QFile::remove(old);
    window.action("action_Save")->trigger();
    const QStringList files = QDir().entryList({QStringLiteral("snapshot-*.png")});
    return files.isEmpty() ? QImage() : QImage(files.first());
}

Result Station::measure(const QImage& composite) {
    const cv::Mat picture = grey(composite);
    Result result;
    std::vector<std::map<GridPoint, cv::Point2d>> found(static_cast<size_t>(arrangement.count));
    for (int i = 0; i < arrangement.count; ++i) {
        for (int column = 0; column <= truth[i].columns; ++column) {
            for (int row = 0; row <= truth[i].rows; ++row) {
                const cv::Point2d ideal = idealAt(i, {column, row});
                const QRectF inside = tileRect(i).adjusted(kPatch + 1, kPatch + 1, -kPatch - 1, -kPatch - 1);
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

void Station::execute() {
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
bool Station::waitForFreshPictures() {
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

cv::Point2d Station::cell() const {
    return {(corners[0][1].x - corners[0][0].x) / truth[0].columns,
            (corners[0][3].y - corners[0][0].y) / truth[0].rows};
}

QRectF Station::tileRect(int i) {
    return {tile(i)->pos(), tile(i)->pixmap().size()};
}

/// Where tile i's marked top left corner has to lie in the composite, by the cut that joins the tiles:
/// whole px.
cv::Point2d Station::origin(int i) {
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

cv::Point2d Station::idealAt(int i, GridPoint point) {
    const cv::Point2d size = cell();
    return origin(i) + cv::Point2d(point.first * size.x, point.second * size.y);
}

/// What tile i should show in an area of the composite, grey.
cv::Mat Station::flawless(int i, cv::Rect area) {
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
void Station::compareNeighbours(const std::vector<std::map<GridPoint, cv::Point2d>>& found, Result& result) {
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
            const cv::Point2d wanted = isVertical ? cv::Point2d(0, 2 * size.y) : cv::Point2d(2 * size.x, 0);
            result.seam.add(step.x - wanted.x);
            result.seam.add(step.y - wanted.y);
            const cv::Point2d beyond = (q->second - idealAt(b, second)) - (p->second - idealAt(a, first));
            result.join.add(beyond.x);
            result.join.add(beyond.y);
        }
        const cv::Point2d one = cellIn(found[size_t(a)]);
        const cv::Point2d other = cellIn(found[size_t(b)]);
        for (const double ratio : {one.x / other.x, one.y / other.y})
            result.scale = std::max(result.scale, std::isfinite(ratio) ? std::abs(ratio - 1) : 1.0);
    }
}

Correction Station::correction() const {
    CornerLists lists;
    GridCounts columns{};
    GridCounts rows{};
    for (int i = 0; i < arrangement.count; ++i) {
        for (const cv::Point2d& corner : corners[i])
            lists[size_t(i)].append({corner.x, corner.y});
        columns[size_t(i)] = truth[i].columns;
        rows[size_t(i)] = truth[i].rows;
    }
    Correction correction;
    correction.isSmooth = arrangement.isSmooth;
    const Calibrations calibrations = computeCalibrations(lists, columns, rows, arrangement.count);
    for (size_t i = 0; i < calibrations.tiles.size(); ++i) {
        if (!correction.take(int(i), calibrations.tiles[i], kFrameSize))
            qFatal("no correction");
    }
    return correction;
}

InteractiveScene& Station::scene() {
    const auto views = window->findChildren<QGraphicsView*>();
    for (QGraphicsView* view : views) {
        if (auto* found = qobject_cast<InteractiveScene*>(view->scene()))
            return *found;
    }
    qFatal("no scene");
}
