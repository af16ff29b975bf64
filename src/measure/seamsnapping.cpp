// SPDX-License-Identifier: Apache-2.0
#include "measure/seamsnapping.h"

#include <QRect>
#include <QRectF>
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "measure/correctedsnapping.h"

namespace {

constexpr int kAround = 13;        // px around what is in reach that snapIn() looks at
constexpr double kMostStep = 3.0;  // px; tiles that lie further from where they join show no one picture
constexpr double kInside = 1e-6;   // px; the px to the right and below are the neighbour's
const QPointF kHalfPixel(0.5, 0.5);

// Grey levels.
constexpr int kFlat = 8;           // from one px to the next, where there is no edge
constexpr double kMostLevel = 64;  // cameras of one picture do not differ more; beyond that it is an edge
constexpr int kLeastPairs = 8;
constexpr double kLeastJump = 2.0;
constexpr double kShareInTiles = 0.5;  // of an edge's step, that lens and sensor spread beside the seam

/// A tile in the plane, which is that of the tile under the point.
struct Part {
    const TilePicture* tile;
    QRectF area;   // in the plane, scene px
    QPointF step;  // from the plane to where the tile shows it, px
};

/// How far inside an area a point is; negative outside.
double depthIn(const QRectF& area, QPointF point) {
    return std::min({point.x() - area.left(), area.right() - point.x(), point.y() - area.top(),
                     area.bottom() - point.y()});
}

/// The one that the point lies in most deeply. Not empty.
int ownerOf(const std::vector<Part>& parts, QPointF point) {
    int owner = 0;
    for (int i = 1; i < static_cast<int>(parts.size()); ++i) {
        if (depthIn(parts[size_t(i)].area, point) > depthIn(parts[size_t(owner)].area, point))
            owner = i;
    }
    return owner;
}

/// The tile under the point first, then those that join it and reach into `reach` px around the point.
std::vector<Part> partsAround(const QVector<TilePicture>& tiles, QPointF point, double reach) {
    const TilePicture* base = nullptr;
    double nearest = -reach;
    for (const TilePicture& tile : tiles) {
        // The upper one of two; beside all of them the nearest.
        const double depth = std::min(0.0, depthIn(QRectF(tile.place, QSizeF(tile.picture.size())), point));
        if (!tile.picture.isNull() && depth >= nearest) {
            base = &tile;
            nearest = depth;
        }
    }
    std::vector<Part> parts;
    if (!base || !base->planeOffset)
        return parts;
    parts.push_back({base, QRectF(base->place, QSizeF(base->picture.size())), {}});
    const QRectF near(point - QPointF(reach, reach), QSizeF(2 * reach, 2 * reach));
    for (const TilePicture& tile : tiles) {
        if (&tile == base || !tile.planeOffset || tile.picture.isNull())
            continue;
        const QPointF step = *base->planeOffset - *tile.planeOffset;
        const QRectF area(tile.place - step, QSizeF(tile.picture.size()));
        if (std::hypot(step.x(), step.y()) <= kMostStep && area.intersects(near))
            parts.push_back({&tile, area, step});
    }
    // What covers them shows something else.
    for (const TilePicture& tile : tiles) {
        const QRectF area(tile.place, QSizeF(tile.picture.size()));
        const bool isForeign =
            std::none_of(parts.cbegin(), parts.cend(), [&](const Part& part) { return part.tile == &tile; });
        const bool covers = isForeign && std::any_of(parts.cbegin(), parts.cend(), [&](const Part& part) {
                                const QRectF seen(part.tile->place, QSizeF(part.tile->picture.size()));
                                return part.tile < &tile && (seen & near).intersects(area);
                            });
        if (covers)
            return {};
    }
    return parts;
}

/// What the parts show together.
class Patch {
public:
    /// `area`: px of the first part's picture.
    Patch(const std::vector<Part>& tiles, QRect patchArea)
        : parts(tiles),
          area(patchArea),
          grey(area.size(), QImage::Format_Grayscale8),
          owners(area.height(), area.width(), CV_8S) {
        grey.fill(0);
        for (int y = 0; y < area.height(); ++y) {
            for (int x = 0; x < area.width(); ++x)
                owners.at<schar>(y, x) = static_cast<schar>(ownerOf(parts, inPlane(QPointF(x, y))));
        }
        isDone.assign(parts.size(), false);
        for (int i = 0; i < static_cast<int>(parts.size()); ++i) {
            fill(i);
            level(i);
            isDone[size_t(i)] = true;
        }
    }

    const QImage& picture() const { return grey; }
    QPointF inPlane(QPointF inPatch) const {
        return inPatch + area.topLeft() + kHalfPixel + parts[0].area.topLeft();
    }
    QPointF inPatch(QPointF plane) const {
        return plane - parts[0].area.topLeft() - kHalfPixel - area.topLeft();
    }

    /// Whether an edge is there only because two tiles do not have the same grey.
    bool isSeam(QPointF edge) const {
        return isSeam(edge.toPoint(), QPoint(1, 0)) || isSeam(edge.toPoint(), QPoint(0, 1));
    }

private:
    int ownerAt(QPoint at) const { return grey.rect().contains(at) ? owners.at<schar>(at.y(), at.x()) : -1; }
    int greyAt(QPoint at) const { return grey.constScanLine(at.y())[at.x()]; }

    void fill(int part) {
        const cv::Mat mask = owners == part;
        const cv::Rect box = cv::boundingRect(mask);
        if (box.empty())
            return;
        const Part& from = parts[size_t(part)];
        const QPointF corner = inPlane(QPointF(box.x, box.y)) - kHalfPixel - from.area.topLeft();
        const QImage shown =
            resampled(from.tile->picture, from.tile->fromFrame, corner, QSize(box.width, box.height));
        if (shown.isNull())
            return;
        for (int y = 0; y < box.height; ++y) {
            const uchar* line = shown.constScanLine(y);
            uchar* to = grey.scanLine(box.y + y) + box.x;
            const auto* own = mask.ptr<uchar>(box.y + y) + box.x;
            for (int x = 0; x < box.width; ++x) {
                if (own[x])
                    to[x] = line[x];
            }
        }
    }

    /// Gives a part the grey of those before it, by the pixels on both sides of the seams between them: there
    /// both should go on. Edges are left out.
    void level(int part) {
        std::vector<cv::Point2d> pairs;  // of the part, of its neighbour
        const auto look = [&](QPoint at, QPoint way) {
            if (ownerAt(at) != part || ownerAt(at - way) != part)
                return;
            const int other = ownerAt(at + way);
            if (other < 0 || other == part || !isDone[size_t(other)] || ownerAt(at + 2 * way) != other)
                return;
            const int here = greyAt(at);
            const int there = greyAt(at + way);
            if (std::abs(here - greyAt(at - way)) <= kFlat &&
                std::abs(there - greyAt(at + 2 * way)) <= kFlat && std::abs(there - here) <= kMostLevel)
                pairs.emplace_back(here, there);
        };
        for (int y = 0; y < area.height(); ++y) {
            for (int x = 0; x < area.width(); ++x) {
                for (const QPoint way : {QPoint(1, 0), QPoint(-1, 0), QPoint(0, 1), QPoint(0, -1)})
                    look({x, y}, way);
            }
        }
        if (pairs.size() < size_t(kLeastPairs))
            return;
        apply(part, lineThrough(pairs));
    }

    /// Other grey as factor and addend, from such pairs, by least squares; those that do not fit are left out
    /// of a second turn. Where most are much the same there is no factor to be had: the few others may be
    /// blurred lines.
    static cv::Point2d lineThrough(const std::vector<cv::Point2d>& pairs) {
        cv::Point2d line(1.0, medianOf(pairs));
        double allowed = 24.0;  // grey levels
        for (int turn = 0; turn < 3; ++turn) {
            double n = 0.0;
            cv::Point2d sum;
            double xx = 0.0;
            double xy = 0.0;
            std::vector<double> kept;
            double least = HUGE_VAL;
            double most = -HUGE_VAL;
            for (const cv::Point2d& pair : pairs) {
                if (std::abs(line.x * pair.x + line.y - pair.y) > allowed)
                    continue;
                n += 1.0;
                sum += pair;
                xx += pair.x * pair.x;
                xy += pair.x * pair.y;
                kept.push_back(pair.x);
                least = std::min(least, pair.x);
                most = std::max(most, pair.x);
            }
            if (n < kLeastPairs)
                break;
            const cv::Point2d mean = sum / n;
            const double spread = xx / n - mean.x * mean.x;
            const auto dark = std::count_if(kept.begin(), kept.end(),
                                            [&](double grey) { return grey < (least + most) / 2; });
            const bool hasBoth = std::min(double(dark), n - double(dark)) >= kLeastPairs;
            constexpr double kLeastSpread = 15.0;
            const double factor = hasBoth && spread > kLeastSpread * kLeastSpread
                                      ? std::clamp((xy / n - mean.x * mean.y) / spread, 0.6, 1.6)
                                      : 1.0;
            line = {factor, mean.y - factor * mean.x};
            allowed = 10.0;
        }
        return line;
    }

    static double medianOf(const std::vector<cv::Point2d>& pairs) {
        std::vector<double> steps;
        steps.reserve(pairs.size());
        for (const cv::Point2d& pair : pairs)
            steps.push_back(pair.y - pair.x);
        const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
        std::nth_element(steps.begin(), middle, steps.end());
        return *middle;
    }

    void apply(int part, cv::Point2d line) {
        for (int y = 0; y < area.height(); ++y) {
            uchar* to = grey.scanLine(y);
            for (int x = 0; x < area.width(); ++x) {
                if (owners.at<schar>(y, x) == part)
                    to[x] = cv::saturate_cast<uchar>(line.x * to[x] + line.y);
            }
        }
    }

    /// How much the grey differs on both sides of a place.
    int differenceAt(QPoint at, QPoint way) const {
        constexpr int kSide = 2;  // px
        const QPoint along(way.y(), way.x());
        int sum = 0;
        for (int k = -kSide; k <= kSide; ++k) {
            const QPoint before = at - kSide * way + k * along;
            const QPoint after = at + kSide * way + k * along;
            if (ownerAt(before) >= 0 && ownerAt(after) >= 0)
                sum += greyAt(after) - greyAt(before);
        }
        return std::abs(sum);
    }

    /// Across a seam that `way` leads over.
    bool isSeam(QPoint edge, QPoint way) const {
        constexpr int kNear = 2;   // px from the seam
        constexpr int kAlong = 2;  // px to each side
        const QPoint along(way.y(), way.x());
        // An edge that leads over the seam.
        if (differenceAt(edge, way) < differenceAt(edge, along))
            return false;
        for (int at = -kNear; at <= kNear; ++at) {
            const QPoint before = edge + at * way;
            if (ownerAt(before) < 0 || ownerAt(before + way) < 0 || ownerAt(before) == ownerAt(before + way))
                continue;
            // The grey from one px to the next, averaged along the seam.
            const auto step = [&](int from) {
                double sum = 0.0;
                int count = 0;
                for (int k = -kAlong; k <= kAlong; ++k) {
                    const QPoint here = before + from * way + k * along;
                    if (ownerAt(here) < 0 || ownerAt(here + way) < 0)
                        continue;
                    sum += greyAt(here + way) - greyAt(here);
                    ++count;
                }
                return count > 0 ? sum / count : 0.0;
            };
            const double jump = step(0);
            const double beside = std::abs(step(-2) + step(-1) + step(1) + step(2));
            return std::abs(jump) >= kLeastJump && beside < kShareInTiles * std::abs(jump);
        }
        return false;
    }

    const std::vector<Part>& parts;
    QRect area;
    QImage grey;
    cv::Mat owners;
    std::vector<bool> isDone;
};

}  // namespace

std::optional<Snap> snapAcrossSeams(const QVector<TilePicture>& tiles, QPointF point, double radius) {
    radius = std::min(radius, kFarthestSnap);
    if (!(radius > 0.0) || !std::isfinite(point.x()) || !std::isfinite(point.y()))
        return {};
    const int reach = static_cast<int>(std::ceil(radius)) + kAround;
    const std::vector<Part> parts = partsAround(tiles, point, reach);
    if (parts.size() < 2)
        return {};
    QRectF shown;
    for (const Part& part : parts)
        shown |= part.area.translated(-parts[0].area.topLeft());
    const QPoint middle = (point - kHalfPixel - parts[0].area.topLeft()).toPoint();
    const QRect all(
        QPoint(static_cast<int>(std::lround(shown.left())), static_cast<int>(std::lround(shown.top()))),
        QPoint(static_cast<int>(std::lround(shown.right())) - 1,
               static_cast<int>(std::lround(shown.bottom())) - 1));
    const QRect area =
        QRect(middle.x() - reach, middle.y() - reach, 2 * reach + 1, 2 * reach + 1).intersected(all);
    if (area.isEmpty())
        return {};
    const Patch patch(parts, area);
    const Snap snap = snapIn(patch.picture(), patch.inPatch(point), radius);
    if (snap.kind == SnapKind::None || (snap.kind == SnapKind::Edge && patch.isSeam(snap.point)))
        return Snap{SnapKind::None, point};
    const QPointF plane = patch.inPlane(snap.point);
    const Part& owner = parts[size_t(ownerOf(parts, plane))];
    // Where a seam's step leaves a gap, the edge of the nearer tile.
    const QRectF there(owner.tile->place, QSizeF(owner.tile->picture.size()));
    const QPointF seen = plane + owner.step;
    return Snap{snap.kind,
                {std::clamp(seen.x(), there.left(), there.right() - kInside),
                 std::clamp(seen.y(), there.top(), there.bottom() - kInside)}};
}
