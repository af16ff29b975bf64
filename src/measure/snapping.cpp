// SPDX-License-Identifier: Apache-2.0
#include "measure/snapping.h"

#include <QRect>
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <vector>

#include "measure/crossing.h"

namespace {

constexpr double kBlur = 1.0;          // px; steps between pixels are no edges
constexpr double kSurroundings = 3.0;  // px, of a bell: what is looked at for two directions
constexpr int kLeastWindow = 3;        // px to each side of a corner that its place is taken from
constexpr int kMostWindow = 9;
constexpr int kMargin = kMostWindow + 3;
constexpr int kMostHidden = 3;         // px that a corner moves away from where it is cut off
constexpr double kFarthestMove = 6.5;  // px from a candidate to its corner

// Grey levels. Quantisation and what saturation leaves make noise that the estimate misses; what it says of
// texture is none.
constexpr double kLeastNoise = 1.0;
constexpr double kMostNoise = 12.0;
// The variance of a derivative of the blurred picture, of white noise of variance 1.
constexpr double kNoiseOfDerivative = 0.0137;
constexpr double kCornerAboveNoise = 20.0;  // times the mean square of noise
constexpr double kEdgeAboveNoise = 6.0;     // times the deviation of noise
constexpr double kBesideEdge = 4.0;         // px; there it is no longer steep

// Of the strongest in reach: a corner's weaker direction (mean square), an edge's steepness.
constexpr double kCornerOfStrongest = 0.004;
constexpr double kEdgeOfStrongest = 0.1;
// A step of one px in a straight edge, which correction by the nearest pixel makes, has a second direction
// too.
constexpr double kLeastRoundness = 0.1;

// So that a live loupe does not stutter. Of a larger patch every other px is enough to see where corners may
// be, px to each side; and where so many of the nearest are none, there is texture.
constexpr int kLargePatch = 130;
constexpr int kMostTries = 24;
constexpr int kMostLooks = 60;  // for crossings, which takes less
// By so much of the reach a crossing may be further away than a corner that is none: the ends of its own
// mark's lines are corners too, and nobody means those.
constexpr double kCrossingFurther = 0.5;
// Where a seam has left its sides less alike than that, a crossing's edges tell its place better.
constexpr double kQuiteAlike = 0.975;
constexpr double kSameCorner = 0.7;  // px
// From near to far, px.
constexpr double kEdgeStages[] = {20.0, 60.0, kFarthestSnap};

/// The part of the picture around the point: grey, and its derivatives.
struct Patch {
    QPoint origin;       // px of the picture
    cv::Mat grey;        // CV_32FC1, blurred
    cv::Mat dx, dy;      // CV_32FC1, its derivatives, grey levels per px
    double noise = 0.0;  // grey levels
};

/// The deviation of white noise, from how each pixel differs from its neighbours; lines and steps of the
/// picture cancel, what remains of them is too seldom for the median.
double noiseOf(const cv::Mat& grey) {
    if (grey.cols < 3 || grey.rows < 3)
        return kMostNoise;
    const cv::Matx33f kernel(1, -2, 1, -2, 4, -2, 1, -2, 1);
    cv::Mat rest;
    cv::filter2D(grey, rest, CV_16S, kernel);
    std::vector<int> counts(16 * 255 + 1, 0);
    for (int y = 1; y + 1 < rest.rows; ++y) {
        const auto* line = rest.ptr<short>(y);
        for (int x = 1; x + 1 < rest.cols; ++x)
            ++counts[static_cast<size_t>(std::abs(line[x]))];
    }
    const int half = (rest.cols - 2) * (rest.rows - 2) / 2;
    int below = 0;
    size_t median = 0;
    while (median + 1 < counts.size() && (below += counts[median]) <= half)
        ++median;
    // The kernel's weights have a root sum square of 6; the median of absolute values is 0.6745 deviations.
    return std::clamp(static_cast<double>(median) / (6.0 * 0.6745), kLeastNoise, kMostNoise);
}

Patch patchAround(const QImage& picture, QPointF where, double radius) {
    Patch patch;
    const int reach = static_cast<int>(std::ceil(radius)) + kMargin;
    const QPoint middle(static_cast<int>(std::lround(where.x())), static_cast<int>(std::lround(where.y())));
    const QRect area = QRect(middle.x() - reach, middle.y() - reach, 2 * reach + 1, 2 * reach + 1)
                           .intersected(picture.rect());
    if (area.isEmpty())
        return patch;
    QImage part = picture.copy(area);
    if (part.format() != QImage::Format_Grayscale8)
        part = part.convertToFormat(QImage::Format_Grayscale8);
    if (part.isNull())
        return patch;
    patch.origin = area.topLeft();
    const cv::Mat grey(part.height(), part.width(), CV_8UC1, const_cast<uchar*>(part.constBits()),
                       static_cast<size_t>(part.bytesPerLine()));
    patch.noise = noiseOf(grey);
    grey.convertTo(patch.grey, CV_32F);
    cv::GaussianBlur(patch.grey, patch.grey, {}, kBlur, kBlur, cv::BORDER_REPLICATE);
    cv::Sobel(patch.grey, patch.dx, CV_32F, 1, 0, 3, 0.125, 0.0, cv::BORDER_REPLICATE);
    cv::Sobel(patch.grey, patch.dy, CV_32F, 0, 1, 3, 0.125, 0.0, cv::BORDER_REPLICATE);
    return patch;
}

double squaredDistance(cv::Point2d a, cv::Point2d b) {
    return (a - b).dot(a - b);
}

/// Element by element, how much the picture changes around a pixel in the direction in which it changes least
/// (mean square), and the share of that in the other direction's. An element is `step` px large.
void cornerness(const Patch& patch, int step, cv::Mat& weaker, cv::Mat& roundness) {
    const auto mean = [step](const cv::Mat& values) {
        cv::Mat result;
        if (step == 1)
            result = values;
        else
            cv::resize(values, result, {values.cols / step, values.rows / step}, 0, 0, cv::INTER_AREA);
        const double bell = kSurroundings / step;
        cv::GaussianBlur(result, result, {}, bell, bell, cv::BORDER_REPLICATE);
        return result;
    };
    const cv::Mat xx = mean(patch.dx.mul(patch.dx));
    const cv::Mat xy = mean(patch.dx.mul(patch.dy));
    const cv::Mat yy = mean(patch.dy.mul(patch.dy));
    weaker.create(xx.size(), CV_32F);
    roundness.create(xx.size(), CV_32F);
    for (int y = 0; y < xx.rows; ++y) {
        for (int x = 0; x < xx.cols; ++x) {
            const float a = xx.at<float>(y, x);
            const float b = xy.at<float>(y, x);
            const float c = yy.at<float>(y, x);
            const float spread = std::sqrt((a - c) * (a - c) + 4 * b * b);
            weaker.at<float>(y, x) = (a + c - spread) / 2;
            roundness.at<float>(y, x) = (a + c - spread) / std::max(a + c + spread, 1e-6F);
        }
    }
}

/// How far the lines that the grey steps around `corner` lie on pass it by, root mean square, px; steps that
/// could be noise do not count.
double spreadAround(const Patch& patch, cv::Point2d corner, int window) {
    const auto x = static_cast<int>(std::lround(corner.x));
    const auto y = static_cast<int>(std::lround(corner.y));
    const cv::Rect area = cv::Rect(x - window, y - window, 2 * window + 1, 2 * window + 1) &
                          cv::Rect(0, 0, patch.dx.cols, patch.dx.rows);
    const double least = 16 * kNoiseOfDerivative * patch.noise * patch.noise;
    double sum = 0.0;
    double weight = 0.0;
    for (int r = area.y; r < area.y + area.height; ++r) {
        for (int c = area.x; c < area.x + area.width; ++c) {
            const cv::Point2d step(patch.dx.at<float>(r, c), patch.dy.at<float>(r, c));
            const double steepness = step.dot(step);
            if (steepness < least)
                continue;
            const double past = step.dot(cv::Point2d(c - corner.x, r - corner.y));
            sum += past * past;
            weight += steepness;
        }
    }
    return weight > 0.0 ? std::sqrt(sum / weight) : 0.0;
}

bool hasRoom(const Patch& patch, cv::Point2f corner, int window) {
    // cv::cornerSubPix takes one px more on each side, and wants another two of the whole.
    const auto room = static_cast<float>(window + 1);
    const int least = 2 * window + 5;
    return patch.grey.cols >= least && patch.grey.rows >= least && corner.x >= room && corner.y >= room &&
           corner.x <= static_cast<float>(patch.grey.cols - 1) - room &&
           corner.y <= static_cast<float>(patch.grey.rows - 1) - room;
}

/// The corner's place to a fraction of a px. The window grows while what it takes in belongs to this corner:
/// many pixels tell the place better than few, a neighbour would pull it.
std::optional<cv::Point2d> refined(const Patch& patch, cv::Point candidate) {
    const cv::TermCriteria until(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 30, 0.005);
    const auto refine = [&](cv::Point2f start, int window) {
        std::vector<cv::Point2f> corner{start};
        cv::cornerSubPix(patch.grey, corner, {window, window}, {-1, -1}, until);
        return corner[0];
    };
    const cv::Point2f start(static_cast<float>(candidate.x), static_cast<float>(candidate.y));
    const auto isGone = [&](cv::Point2f place) {
        // It gives the start back when it went astray.
        return place == start || !(squaredDistance(place, start) <= kFarthestMove * kFarthestMove) ||
               !hasRoom(patch, place, kLeastWindow);
    };
    // In a window that is too small, the sides of a broad line's crossing are four corners, or the place
    // slips along a side: then the next size tells another place.
    std::optional<cv::Point2f> found;
    cv::Point2f before;
    int window = 0;
    for (int size = kLeastWindow; size <= kMostWindow && hasRoom(patch, start, size); size += 2) {
        const cv::Point2f place = refine(start, size);
        const double slip = 0.1 * size;  // px
        if (window > 0 && !isGone(before) && squaredDistance(place, before) <= slip * slip) {
            found = before;
            break;
        }
        before = place;
        window = size;
    }
    // Near the picture's border there is no next size.
    if (window == kLeastWindow && !isGone(before) && spreadAround(patch, before, window) < kBlur + 0.5)
        found = before;
    if (!found || isGone(*found))
        return {};
    cv::Point2f corner = *found;
    double spread = spreadAround(patch, corner, window);
    for (++window; window <= kMostWindow && hasRoom(patch, corner, window); ++window) {
        const cv::Point2f next = refine(corner, window);
        const double nextSpread = spreadAround(patch, next, window);
        constexpr double kPull = 0.7;  // px
        if (isGone(next) || squaredDistance(next, corner) > kPull * kPull || nextSpread > 1.15 * spread + 0.1)
            break;
        corner = next;
        spread = std::min(spread, nextSpread);
    }
    return cv::Point2d(corner);
}

/// A place that has two directions.
struct Candidate {
    cv::Point at;
    float value;  // how much of the weaker one
};

/// Of candidates from near to far.
std::optional<cv::Point2d> nearestCrossing(const Patch& patch, const std::vector<Candidate>& candidates,
                                           cv::Point2d where, double radius, double least) {
    const Slopes slopes{patch.grey, patch.dx, patch.dy};
    std::optional<cv::Point2d> nearest;
    double distance = radius;
    int looks = 0;
    for (const Candidate& candidate : candidates) {
        if (std::sqrt(squaredDistance(candidate.at, where)) > distance + kFarthestMove ||
            ++looks > kMostLooks)
            break;
        const auto crossing = crossingNear(slopes, candidate.at, least);
        if (!crossing)
            continue;
        cv::Point2d place = crossing->place;
        if (crossing->likeness < kQuiteAlike) {
            const auto corner = refined(patch, cv::Point(place));
            if (corner && squaredDistance(*corner, place) <= kSameCorner * kSameCorner)
                place = *corner;
        }
        if (cv::norm(place - where) <= distance) {
            nearest = place;
            distance = cv::norm(place - where);
        }
    }
    return nearest;
}

struct NearestCorner {
    std::optional<cv::Point2d> place;
    bool isCut = false;  // the nearest one is there, but not all of it
};

NearestCorner nearestCorner(const Patch& patch, cv::Point2d where, double radius) {
    cv::Mat weaker;
    cv::Mat roundness;
    const int step = std::min(patch.grey.cols, patch.grey.rows) > kLargePatch ? 2 : 1;
    cornerness(patch, step, weaker, roundness);
    cv::Mat highest;
    const int side = step == 1 ? 5 : 3;
    cv::dilate(weaker, highest, cv::Mat::ones(side, side, CV_8U));
    const double reach = radius + kFarthestMove;
    std::vector<Candidate> candidates;
    double strongest = 0.0;
    for (int y = 0; y < weaker.rows; ++y) {
        for (int x = 0; x < weaker.cols; ++x) {
            const float value = weaker.at<float>(y, x);
            const cv::Point at(x * step + step / 2, y * step + step / 2);
            if (value < highest.at<float>(y, x) || roundness.at<float>(y, x) < kLeastRoundness ||
                squaredDistance(at, where) > reach * reach)
                continue;
            strongest = std::max(strongest, double(value));
            candidates.push_back({at, value});
        }
    }
    const double least = std::max(kCornerAboveNoise * kNoiseOfDerivative * patch.noise * patch.noise,
                                  kCornerOfStrongest * strongest);
    candidates.erase(std::remove_if(candidates.begin(), candidates.end(),
                                    [&](const Candidate& c) { return !(c.value >= least); }),
                     candidates.end());
    std::sort(candidates.begin(), candidates.end(), [where](const Candidate& a, const Candidate& b) {
        return squaredDistance(a.at, where) < squaredDistance(b.at, where);
    });
    NearestCorner nearest;
    double distance = radius;
    if (const auto crossing = nearestCrossing(patch, candidates, where, radius, least)) {
        nearest.place = crossing;
        distance = cv::norm(*crossing - where) - kCrossingFurther * radius;
    }
    int tries = 0;
    for (const Candidate& candidate : candidates) {
        if (std::sqrt(squaredDistance(candidate.at, where)) > distance + kFarthestMove ||
            ++tries > kMostTries)
            break;
        const auto corner = refined(patch, candidate.at);
        if (!corner) {
            const double away = std::sqrt(squaredDistance(candidate.at, where));
            if (away <= distance && !hasRoom(patch, cv::Point2f(candidate.at), kLeastWindow + kMostHidden)) {
                nearest = {{}, true};
                distance = away;
            }
        } else if (cv::norm(*corner - where) <= distance) {
            nearest = {corner, false};
            distance = cv::norm(*corner - where);
        }
    }
    return nearest;
}

/// The derivatives between pixels; beyond the patch they go on as at its edge.
cv::Point2d slopeAt(const Patch& patch, cv::Point2d place) {
    const auto part = [](double at, int count, int& first) {
        const double inside = std::clamp(at, 0.0, count - 1.0);
        first = std::min(static_cast<int>(inside), std::max(0, count - 2));
        return inside - first;
    };
    int x = 0;
    int y = 0;
    const double u = part(place.x, patch.dx.cols, x);
    const double v = part(place.y, patch.dx.rows, y);
    const int right = std::min(x + 1, patch.dx.cols - 1);
    const int below = std::min(y + 1, patch.dx.rows - 1);
    const auto mix = [&](const cv::Mat& values) {
        return (1 - v) * ((1 - u) * values.at<float>(y, x) + u * values.at<float>(y, right)) +
               v * ((1 - u) * values.at<float>(below, x) + u * values.at<float>(below, right));
    };
    return {mix(patch.dx), mix(patch.dy)};
}

/// Where a parabola through three values at -1, 0 and 1 is highest; nothing if it is not there between.
std::optional<double> summit(double before, double at, double after) {
    const double bend = before - 2 * at + after;
    if (!(bend < 0.0))
        return {};
    const double place = (before - after) / (2 * bend);
    return std::abs(place) <= 1.0 ? std::optional(place) : std::nullopt;
}

/// The steepest place across the edge at `place`, along its gradient. Steps are averaged for 2 px along the
/// edge, so that one pixel's noise moves it little. It has to stand out by `least`.
std::optional<cv::Point2d> steepest(const Patch& patch, cv::Point2d place, double least) {
    bool isEdge = false;
    const cv::Point2d start = place;
    for (int step = 0; step < 5; ++step) {
        cv::Point2d normal = slopeAt(patch, place);
        const double length = cv::norm(normal);
        if (!(length > 0.0))
            return {};
        normal /= length;
        const cv::Point2d along(-normal.y, normal.x);
        const auto across = [&](double offset) {
            double sum = 0.0;
            for (int k = -2; k <= 2; ++k)
                sum += slopeAt(patch, place + offset * normal + k * along).dot(normal);
            return sum;
        };
        const double here = across(0.0);
        const auto offset = summit(across(-1.0), here, across(1.0));
        if (!offset)
            return {};
        place += *offset * normal;
        if (squaredDistance(place, start) > kFarthestMove * kFarthestMove)
            return {};
        // A shade that is steep all around is no edge.
        isEdge = here - std::max(across(-kBesideEdge), across(kBesideEdge)) >= 5 * least;
        if (std::abs(*offset) < 0.01)
            break;
    }
    return isEdge ? std::optional(place) : std::nullopt;
}

/// Whether the picture is steeper at a pixel than on both sides of it, along its gradient.
bool isCrest(const Patch& patch, const cv::Mat& steepness, int x, int y) {
    const double here = steepness.at<float>(y, x);
    const cv::Point2d normal = cv::Point2d(patch.dx.at<float>(y, x), patch.dy.at<float>(y, x)) / here;
    const cv::Point2d place(x, y);
    return here >= cv::norm(slopeAt(patch, place + normal)) &&
           here >= cv::norm(slopeAt(patch, place - normal));
}

std::optional<cv::Point2d> nearestEdge(const Patch& patch, cv::Point2d where, double radius) {
    cv::Mat steepness;
    cv::magnitude(patch.dx, patch.dy, steepness);
    // The outermost pixels have no neighbour to be steeper than.
    const cv::Rect inner = cv::Rect(1, 1, steepness.cols - 2, steepness.rows - 2);
    if (inner.empty())
        return {};
    struct Pixel {
        double distance;
        cv::Point at;
    };
    // All pixels in reach.
    const auto forEach = [&](double reach, const auto& look) {
        const int top = std::max(inner.y, static_cast<int>(std::floor(where.y - reach)));
        const int bottom = std::min(inner.y + inner.height - 1, static_cast<int>(std::ceil(where.y + reach)));
        const int left = std::max(inner.x, static_cast<int>(std::floor(where.x - reach)));
        const int right = std::min(inner.x + inner.width - 1, static_cast<int>(std::ceil(where.x + reach)));
        for (int y = top; y <= bottom; ++y) {
            const float* line = steepness.ptr<float>(y);
            for (int x = left; x <= right; ++x) {
                const double squared = squaredDistance(cv::Point2d(x, y), where);
                if (squared <= reach * reach)
                    look(cv::Point(x, y), squared, double(line[x]));
            }
        }
    };
    double strongest = 0.0;
    forEach(radius + 1.0, [&](cv::Point, double, double value) { strongest = std::max(strongest, value); });
    const double least =
        std::max(kEdgeAboveNoise * std::sqrt(kNoiseOfDerivative) * patch.noise, kEdgeOfStrongest * strongest);
    if (strongest < least)
        return {};
    std::optional<cv::Point2d> nearest;
    for (const double stage : kEdgeStages) {
        double distance = std::min(radius, stage);
        std::vector<Pixel> near;
        forEach(distance + 1.0, [&](cv::Point at, double squared, double value) {
            if (value >= least)
                near.push_back({std::sqrt(squared), at});
        });
        std::sort(near.begin(), near.end(),
                  [](const Pixel& a, const Pixel& b) { return a.distance < b.distance; });
        for (const Pixel& pixel : near) {
            if (pixel.distance > distance + 1.0)
                break;
            if (!isCrest(patch, steepness, pixel.at.x, pixel.at.y))
                continue;
            // The edge goes on between the pixels: to where it passes the point.
            cv::Point2d start(pixel.at);
            cv::Point2d normal(patch.dx.at<float>(pixel.at), patch.dy.at<float>(pixel.at));
            normal /= cv::norm(normal);
            const cv::Point2d along(-normal.y, normal.x);
            start += std::clamp((where - start).dot(along), -0.75, 0.75) * along;
            const auto edge = steepest(patch, start, least);
            if (edge && cv::norm(*edge - where) <= distance) {
                nearest = edge;
                distance = cv::norm(*edge - where);
            }
        }
        if (nearest || stage >= radius)
            break;
    }
    return nearest;
}

}  // namespace

Snap snapIn(const QImage& picture, QPointF where, double radius) {
    const Snap none{SnapKind::None, where};
    radius = std::min(radius, kFarthestSnap);
    // Far outside there is nothing, and no whole numbers to look with.
    const QRectF reach =
        QRectF(picture.rect()).adjusted(-kFarthestSnap, -kFarthestSnap, kFarthestSnap, kFarthestSnap);
    if (picture.isNull() || !(radius > 0.0) || !std::isfinite(where.x()) || !std::isfinite(where.y()) ||
        !reach.contains(where))
        return none;
    const Patch patch = patchAround(picture, where, radius);
    if (patch.grey.empty())
        return none;
    const cv::Point2d local(where.x() - patch.origin.x(), where.y() - patch.origin.y());
    const auto found = [&](SnapKind kind, cv::Point2d place) {
        return Snap{kind, {place.x + patch.origin.x(), place.y + patch.origin.y()}};
    };
    const NearestCorner corner = nearestCorner(patch, local, radius);
    if (corner.place)
        return found(SnapKind::Corner, *corner.place);
    // What is left of it would be taken for an edge, some px beside.
    if (corner.isCut)
        return {SnapKind::None, where, true};
    if (const auto edge = nearestEdge(patch, local, radius))
        return found(SnapKind::Edge, *edge);
    return none;
}
