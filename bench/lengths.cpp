// SPDX-License-Identifier: Apache-2.0
#include "lengths.h"

#include <optional>
#include <random>

#include "calibration/correction.h"
#include "calibration/plane.h"
#include "marks/figuremark.h"
#include "marks/interactivescene.h"
#include "marks/markgeometry.h"
#include "measure/aim.h"
#include "measure/tileplane.h"

namespace {

constexpr int kFigures = 200;
constexpr double kClick = 3.0;     // px beside, in x and in y
constexpr double kMargin = 24.0;   // px from the composite's edge: the whole mark is seen
constexpr double kAtSeam = 8.0;    // px from a seam that the mark is cut by it
constexpr double kShortest = 190;  // px between the points of a figure
constexpr double kPixel = 0.5;     // that a length may be off by at least
constexpr double kShare = 0.001;   // of its length
// What is left of that: the points are known better than a hand can click.
constexpr double kNearestLimit = 0.6;
constexpr double kSmoothLimit = 0.5;

using Points = QVector<QPointF>;

double distance(QPointF a, QPointF b) {
    return std::hypot(a.x() - b.x(), a.y() - b.y());
}

double turnAt(QPointF vertex, QPointF a, QPointF b) {
    const QPointF u = a - vertex;
    const QPointF v = b - vertex;
    return std::abs(std::atan2(u.x() * v.y() - u.y() * v.x(), QPointF::dotProduct(u, v)));
}

/// What a figure of these points measures; angles in radians.
double valueOf(Lengths::Kind kind, const Points& points) {
    switch (kind) {
        case Lengths::Length:
            return distance(points[0], points[1]);
        case Lengths::Angle:
            return turnAt(points[1], points[0], points[2]);
        case Lengths::Area: {
            double twice = 0.0;
            for (int i = 0; i < points.size(); ++i) {
                const QPointF a = points[i];
                const QPointF b = points[(i + 1) % points.size()];
                twice += a.x() * b.y() - a.y() * b.x();
            }
            return std::abs(twice) / 2;
        }
        case Lengths::Radius:
        case Lengths::KindCount:
            break;
    }
    const auto circle = circleThrough(points[0], points[1], points[2]);
    return circle ? circle->radius : 0.0;
}

double lengthTolerance(double length) {
    return std::max(kShare * length, kPixel);
}

/// By how much the value of these true points, px, may be off.
double tolerance(Lengths::Kind kind, const Points& points) {
    switch (kind) {
        case Lengths::Angle: {
            const double a = distance(points[0], points[1]);
            const double b = distance(points[2], points[1]);
            return lengthTolerance(a) / a + lengthTolerance(b) / b;
        }
        case Lengths::Area: {
            double around = 0.0;
            for (int i = 0; i < points.size(); ++i)
                around += distance(points[i], points[(i + 1) % points.size()]);
            return std::max(2 * kShare * valueOf(kind, points), kPixel * around / 2);
        }
        case Lengths::Length:
        case Lengths::Radius:
        case Lengths::KindCount:
            break;
    }
    return lengthTolerance(valueOf(kind, points));
}

/// Points that a person would take for such a figure: none two of them close together, a circle's well
/// spread over it.
bool isSensible(Lengths::Kind kind, const Points& points) {
    for (int i = 0; i < points.size(); ++i) {
        for (int k = i + 1; k < points.size(); ++k) {
            if (distance(points[i], points[k]) < kShortest)
                return false;
        }
    }
    if (kind == Lengths::Length || kind == Lengths::Angle)
        return true;
    for (int i = 0; i < 3; ++i) {
        const double angle = turnAt(points[i], points[(i + 1) % 3], points[(i + 2) % 3]);
        if (angle < M_PI / 5 || angle > M_PI * 3 / 5)
            return false;
    }
    return true;
}

FigureKind kindOf(Lengths::Kind kind) {
    switch (kind) {
        case Lengths::Length:
            return FigureKind::Line;
        case Lengths::Angle:
            return FigureKind::Arc;
        case Lengths::Area:
            return FigureKind::Polygon;
        case Lengths::Radius:
        case Lengths::KindCount:
            break;
    }
    return FigureKind::Circle;
}

/// What the figure's caption shows last, as the program works it out: in mm, mm^2 or degrees.
std::optional<Measure> measured(Lengths::Kind kind, const Points& points, InteractiveScene& scene) {
    Figure figure;
    figure.kind = kindOf(kind);
    figure.points = points;
    if (kind == Lengths::Angle)
        std::swap(figure.points[0], figure.points[1]);  // an arc's vertex is clicked first
    const QVector<Measure> measures = makeFigure(figure, &scene)->measures();
    if (measures.isEmpty())
        return {};
    return measures.last();
}

/// How far a length is off as it is shown, in units of its last digit, on a sheet whose cells have the size
/// for which that is most: how many digits there are depends on it.
double digitsOff(const Measure& measure, double trueMm, double mmPerPixel) {
    double most = 0.0;
    for (double times = 1.0; times < 10.0; times *= 1.02) {
        PlaneFigure plane;
        plane.unit = 1;
        plane.pixel = times * mmPerPixel;
        const Measure shown = lengthMeasure("L", measure.value * times, plane);
        const double off = valueText(shown).toDouble() - trueMm * times;
        most = std::max(most, std::abs(off) * std::pow(10.0, shown.decimals));
    }
    return most;
}

/// The measure in px, or in radians.
double valueIn(Lengths::Kind kind, const Measure& measure, double mmPerPixel) {
    switch (kind) {
        case Lengths::Angle:
            return measure.value * M_PI / 180;
        case Lengths::Area:
            return measure.value / (mmPerPixel * mmPerPixel);
        case Lengths::Length:
        case Lengths::Radius:
        case Lengths::KindCount:
            break;
    }
    return measure.value / mmPerPixel;
}

class Sheet {
public:
    Sheet(Station& s, const QImage& composite) : station(s), cellSize(s.cell()) {
        const Correction correction = station.correction();
        const int count = station.arrangement.count;
        const auto offsets =
            planeOffsets(correction.dstCorners, station.arrangement.isGrid ? 0 : 1, count, kFrameSize);
        for (int i = 0; i < count; ++i) {
            const QRectF area = station.tileRect(i);
            TilePicture tile{area.topLeft(), composite.copy(area.toRect())};
            tile.fromFrame = nearestFromFrame(correction, i, count, station.arrangement.isGrid ? 0 : 1,
                                              kFrameSize, tile.picture.size());
            tile.planeOffset = offsets[size_t(i)];
            tiles.append(tile);
            // Joined they are, but of the steps between them nothing is known.
            uneven.append({tile.place, tile.picture.size(), tile.place, {}, true});
            crossings.append(crossingsOf(i));
        }
        const CellScale scale{{kCellMm, kCellMm}, {cellSize.x, cellSize.y}, 1};
        unevenScene.setPlane([this, scale](const Points& points) {
            return planeFigure(points, uneven, scale).value_or(PlaneFigure{points, 0, 0.0, 1.0});
        });
    }

    struct Crossing {
        QPointF truth;  // px of the even plane, from the first tile's corner
        QPointF seen;   // scene px, as a figure's point that snapped
        bool isAtSeam;  // a seam cuts its mark
    };

    /// A crossing near a random place of a tile; nothing if none was found to snap to.
    std::optional<Crossing> any(int tile) {
        const QRectF area = station.tileRect(tile);
        const cv::Point2d place(area.x() + area.width() * share(random),
                                area.y() + area.height() * share(random));
        const GridPoint point =
            *std::min_element(crossings[tile].begin(), crossings[tile].end(), [&](GridPoint a, GridPoint b) {
                return cv::norm(station.idealAt(tile, a) - place) <
                       cv::norm(station.idealAt(tile, b) - place);
            });
        return near(tile, point);
    }

    /// The same one; nothing if none was found to snap to.
    std::optional<Crossing> near(int tile, GridPoint point) {
        const cv::Point2d ideal = station.idealAt(tile, point);
        const double x = click(random);
        const QPointF cursor(ideal.x + 0.5 + x, ideal.y + 0.5 + click(random));
        const Aim aim = aimAt(cursor, QTransform(), true, tiles, AimFor::Figure);
        if (aim.kind != SnapKind::Corner)
            return {};
        const bool isGrid = station.arrangement.isGrid;
        const int column = point.first + (isGrid ? tile % 2 : tile) * station.truth[0].columns;
        const int row = point.second + (isGrid ? tile / 2 : 0) * station.truth[0].rows;
        return Crossing{{column * cellSize.x, row * cellSize.y}, aim.point, isAtSeam(tile, point)};
    }

    /// The ringed marks that seams run through, each in the tile that shows its corner.
    QVector<std::pair<int, GridPoint>> onSeams() const {
        QVector<std::pair<int, GridPoint>> marks;
        for (int i = 0; i < crossings.size(); ++i) {
            const Truth& truth = station.truth[i];
            for (const GridPoint& point : crossings[i]) {
                const bool isMark = point.first % truth.columns == 0 && point.second % truth.rows == 0;
                if (isMark && isAtSeam(i, point))
                    marks.append({i, point});
            }
        }
        return marks;
    }

    /// One number of 0 ... count - 1.
    int one(int count) { return std::min(count - 1, int(share(random) * count)); }
    /// A scene whose figures know nothing of the seams' steps.
    InteractiveScene& stepped() { return unevenScene; }
    /// As the window's scale has it: that of a px to the right. Cells are squares of the sheet.
    double mmPerPixel(bool isDown = false) const { return kCellMm / (isDown ? cellSize.y : cellSize.x); }

private:
    /// Where a point is seen.
    QPointF seenAt(int tile, GridPoint point) const {
        const cv::Point2d ideal = station.idealAt(tile, point);
        return {ideal.x + 0.5, ideal.y + 0.5};
    }

    bool isAtSeam(int tile, GridPoint point) const {
        const QRectF area = station.tileRect(tile);
        const QRectF inside = area.adjusted(kAtSeam, kAtSeam, -kAtSeam, -kAtSeam);
        return !inside.contains(seenAt(tile, point));
    }

    /// The marks of the grid that are all within the composite; plates cover those in the middle of a tile.
    QVector<GridPoint> crossingsOf(int tile) {
        QVector<GridPoint> points;
        const QRectF area = station.tileRect(tile);
        QRectF inside;
        for (int i = 0; i < station.arrangement.count; ++i)
            inside |= station.tileRect(i);
        inside.adjust(kMargin, kMargin, -kMargin, -kMargin);
        for (int column = 0; column <= station.truth[tile].columns; ++column) {
            for (int row = 0; row <= station.truth[tile].rows; ++row) {
                const QPointF seen = seenAt(tile, {column, row});
                const bool isCovered = row >= 2 && row <= 3 && column >= 2 && column <= 7;
                if (!isCovered && area.contains(seen) && inside.contains(seen))
                    points.append({column, row});
            }
        }
        return points;
    }

    Station& station;
    cv::Point2d cellSize;
    QVector<TilePicture> tiles;
    QVector<PlaneTile> uneven;
    InteractiveScene unevenScene{nullptr, InteractiveScene::DeleteKeyDeletes};
    QVector<QVector<GridPoint>> crossings;
    std::mt19937 random{20};
    std::uniform_real_distribution<double> click{-kClick, kClick};
    std::uniform_real_distribution<double> share{0.0, 1.0};
};

}  // namespace

Lengths measureLengths(Station& station, const QImage& composite) {
    Sheet sheet(station, composite);
    Lengths lengths;
    const int tiles = station.arrangement.count;
    for (int figure = 0; figure < kFigures; ++figure) {
        const auto kind = Lengths::Kind(figure % Lengths::KindCount);
        const bool isAcross = tiles > 1 && figure % 3 == 0;
        const int count = kind == Lengths::Length ? 2 : kind == Lengths::Area ? 4 : 3;
        Points truth;
        Points seen;
        int atSeam = 0;
        do {
            truth.clear();
            seen.clear();
            atSeam = 0;
            const int first = sheet.one(tiles);
            for (int i = 0; i < count; ++i) {
                // The last point in another tile, those between anywhere.
                int tile = isAcross && i > 0 ? sheet.one(tiles) : first;
                if (isAcross && i == count - 1 && tile == first)
                    tile = (first + 1) % tiles;
                const auto crossing = sheet.any(tile);
                if (!crossing) {
                    ++lengths.missed;
                    --i;
                    continue;
                }
                truth.append(crossing->truth);
                atSeam += crossing->isAtSeam ? 1 : 0;
                seen.append(crossing->seen);
            }
        } while (!isSensible(kind, truth));
        lengths.atSeams += atSeam;
        // As the sheet is known, in mm, and only then px again: cells are squares of it, px may not be.
        Points sheetPoints;
        for (const QPointF point : qAsConst(truth))
            sheetPoints.append({point.x() * sheet.mmPerPixel(), point.y() * sheet.mmPerPixel(true)});
        const auto measure = measured(kind, seen, station.scene());
        const auto stepped = measured(kind, seen, sheet.stepped());
        const bool isLength = kind == Lengths::Length || kind == Lengths::Radius;
        if (!measure || !stepped || (isLength && measure->unit != QLatin1String("mm"))) {
            ++lengths.missed;
            continue;
        }
        const double perPixel = sheet.mmPerPixel();
        const double trueMm = valueOf(kind, sheetPoints);
        const double wanted = kind == Lengths::Angle  ? trueMm
                              : kind == Lengths::Area ? trueMm / (perPixel * perPixel)
                                                      : trueMm / perPixel;
        const double allowed =
            tolerance(kind, truth) * (station.arrangement.isSmooth ? kSmoothLimit : kNearestLimit);
        const double off = valueIn(kind, *measure, perPixel) - wanted;
        const double steppedOff = valueIn(kind, *stepped, perPixel) - wanted;
        lengths.kinds[kind].add(off / allowed);
        lengths.beyond += std::abs(off) > allowed ? 1 : 0;
        if (isLength) {
            lengths.pixels.add(off);
            lengths.digits.add(digitsOff(*measure, trueMm, std::max(perPixel, sheet.mmPerPixel(true))));
        }
        if (!isAcross)
            continue;
        ++lengths.across;
        lengths.acrossUneven[kind].add(steppedOff / allowed);
        if (isLength)
            lengths.unevenPixels.add(steppedOff);
    }
    const auto marks = sheet.onSeams();
    for (int i = 0; i < marks.size(); ++i) {
        for (int k = 0; k < i; ++k) {
            const auto a = sheet.near(marks[i].first, marks[i].second);
            const auto b = sheet.near(marks[k].first, marks[k].second);
            const auto measure =
                a && b ? measured(Lengths::Length, {a->seen, b->seen}, station.scene()) : std::nullopt;
            if (!measure || measure->unit != QLatin1String("mm")) {
                ++lengths.missedMarks;
                continue;
            }
            const double perPixel = sheet.mmPerPixel();
            const double wanted = std::hypot((a->truth.x() - b->truth.x()) * perPixel,
                                             (a->truth.y() - b->truth.y()) * sheet.mmPerPixel(true));
            const double off = (measure->value - wanted) / perPixel;
            lengths.marks.add(off);
            lengths.marksShare.add(off / (lengthTolerance(wanted / perPixel) *
                                          (station.arrangement.isSmooth ? kSmoothLimit : kNearestLimit)));
        }
    }
    return lengths;
}
