// SPDX-License-Identifier: Apache-2.0
#include "measure/crossing.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr int kSearch = 4;       // px from the start, in x and in y
constexpr int kLeastRadius = 4;  // px around the middle that are compared
constexpr int kMostRadius = 10;
constexpr double kLeastLikeness = 0.95;
constexpr double kLeastAtStart = 0.5;
constexpr double kLikenessLost = 0.04;   // more of it, and what is further out belongs to something else
constexpr double kLeastRoundness = 0.1;  // the weaker direction's share of the other's
// How far edges pass the middle by, of how far from it they are: those of a dot all of it.
constexpr double kMostPast = 0.6;
// The same where the search begins, beside the middle. Of corners that are no crossing three in four are done
// with by one look at each radius.
constexpr double kMostPastAtStart = 0.7;
constexpr double kMostMove = 1.5;  // px in one step, and from one radius to the next
constexpr int kSteps = 12;

/// What is in a disc around a place.
struct Look {
    double likeness = 0.0;  ///< correlation with itself turned by half a turn, -1 to 1
    double weaker = 0.0;    ///< mean square slope in the direction in which it is least
    double roundness = 0.0;
    double past = 1.0;
    cv::Point2d move;  ///< to where it is more alike
};

/// A value between pixels.
class Between {
public:
    explicit Between(cv::Point2d place) : x(int(std::floor(place.x))), y(int(std::floor(place.y))) {
        const double u = place.x - x;
        const double v = place.y - y;
        weights[0] = float((1 - u) * (1 - v));
        weights[1] = float(u * (1 - v));
        weights[2] = float((1 - u) * v);
        weights[3] = float(u * v);
    }
    float at(const cv::Mat& values, int dx, int dy) const {
        const auto* line = values.ptr<float>(y + dy) + x + dx;
        const auto* below = values.ptr<float>(y + dy + 1) + x + dx;
        return weights[0] * line[0] + weights[1] * line[1] + weights[2] * below[0] + weights[3] * below[1];
    }

private:
    int x;
    int y;
    std::array<float, 4> weights;
};

bool hasRoom(const Slopes& picture, cv::Point2d place, int radius) {
    return place.x >= radius && place.y >= radius && place.x < picture.grey.cols - 1 - radius &&
           place.y < picture.grey.rows - 1 - radius;
}

Look lookAt(const Slopes& picture, cv::Point2d place, int radius) {
    const Between between(place);
    double weight = 0.0;
    double sum = 0.0;
    double squares = 0.0;
    double products = 0.0;
    // Of the slopes, and of how they change from one side to the other.
    double xx = 0.0;
    double xy = 0.0;
    double yy = 0.0;
    double changeXX = 0.0;
    double changeXY = 0.0;
    double changeYY = 0.0;
    double moveX = 0.0;
    double moveY = 0.0;
    double past = 0.0;
    double away = 0.0;
    const double reach = radius + 0.5;
    for (int y = -radius; y <= radius; ++y) {
        for (int x = -radius; x <= radius; ++x) {
            // Each pair of opposite pixels once, and once more the other way round.
            const double squared = x * x + y * y;
            if (squared >= reach * reach)
                continue;
            const double w = 1.0 - squared / (reach * reach);
            const double here = between.at(picture.grey, x, y);
            const double there = between.at(picture.grey, -x, -y);
            const double slopeX = between.at(picture.dx, x, y);
            const double slopeY = between.at(picture.dy, x, y);
            const double changeX = slopeX - between.at(picture.dx, -x, -y);
            const double changeY = slopeY - between.at(picture.dy, -x, -y);
            weight += w;
            sum += w * here;
            squares += w * here * here;
            products += w * here * there;
            changeXX += w * changeX * changeX;
            changeXY += w * changeX * changeY;
            changeYY += w * changeY * changeY;
            moveX -= w * (here - there) * changeX;
            moveY -= w * (here - there) * changeY;
            xx += w * slopeX * slopeX;
            xy += w * slopeX * slopeY;
            yy += w * slopeY * slopeY;
            const double across = slopeX * x + slopeY * y;
            past += w * across * across;
            away += w * (slopeX * slopeX + slopeY * slopeY) * squared;
        }
    }
    Look look;
    const double mean = sum / weight;
    const double variance = squares / weight - mean * mean;
    if (!(variance > 0.0))
        return look;
    look.likeness = (products / weight - mean * mean) / variance;
    const double trace = (xx + yy) / weight;
    const double spread = std::hypot(xx - yy, 2 * xy) / weight;
    look.weaker = (trace - spread) / 2;
    look.roundness = (trace - spread) / std::max(trace + spread, 1e-9);
    look.past = away > 0.0 ? std::sqrt(past / away) : 1.0;
    const double determinant = changeXX * changeYY - changeXY * changeXY;
    const double sumOfChanges = changeXX + changeYY;
    if (determinant > 1e-6 * sumOfChanges * sumOfChanges)
        look.move = {(changeYY * moveX - changeXY * moveY) / determinant,
                     (changeXX * moveY - changeXY * moveX) / determinant};
    return look;
}

/// How much a whole pixel is worth as a start: where both directions are strong and both sides alike.
double worthAt(const Slopes& picture, cv::Point place) {
    constexpr int kRadius = kLeastRadius;
    float sum = 0;
    float squares = 0;
    float products = 0;
    float xx = 0;
    float xy = 0;
    float yy = 0;
    for (int y = -kRadius; y <= kRadius; ++y) {
        const float* grey = picture.grey.ptr<float>(place.y + y) + place.x;
        const float* opposite = picture.grey.ptr<float>(place.y - y) + place.x;
        const float* dx = picture.dx.ptr<float>(place.y + y) + place.x;
        const float* dy = picture.dy.ptr<float>(place.y + y) + place.x;
        for (int x = -kRadius; x <= kRadius; ++x) {
            sum += grey[x];
            squares += grey[x] * grey[x];
            products += grey[x] * opposite[-x];
            xx += dx[x] * dx[x];
            xy += dx[x] * dy[x];
            yy += dy[x] * dy[x];
        }
    }
    constexpr float kCount = (2 * kRadius + 1) * (2 * kRadius + 1);
    const float mean = sum / kCount;
    const float variance = squares / kCount - mean * mean;
    const float alike = products / kCount - mean * mean;
    if (!(variance > 0) || !(alike > 0))
        return 0.0;
    return (xx + yy - std::hypot(xx - yy, 2 * xy)) * alike / variance;
}

struct Middle {
    cv::Point2d place;
    Look look;
};

/// Where it is most alike, from a place nearby. Nothing where that is nothing like it.
std::optional<Middle> settled(const Slopes& picture, cv::Point2d start, int radius) {
    Middle middle{start, {}};
    for (int step = 0; step < kSteps; ++step) {
        if (!hasRoom(picture, middle.place, radius))
            return {};
        middle.look = lookAt(picture, middle.place, radius);
        if (step == 0 && (middle.look.likeness < kLeastAtStart || middle.look.past > kMostPastAtStart))
            return {};
        const double far = cv::norm(middle.look.move);
        if (far < 0.005)
            return middle;
        middle.place += middle.look.move * std::min(1.0, kMostMove / far);
        if (cv::norm(middle.place - start) > 2 * kMostMove)
            return {};
    }
    return {};
}

bool isCrossing(const Look& look, double leastSlope) {
    return look.likeness >= kLeastLikeness && look.weaker >= leastSlope &&
           look.roundness >= kLeastRoundness && look.past <= kMostPast;
}

}  // namespace

std::optional<Crossing> crossingNear(const Slopes& picture, cv::Point start, double leastSlope) {
    // To the whole pixel: alike from both sides is also each place in the middle of a line.
    std::optional<cv::Point2d> best;
    double most = 0.0;
    for (int y = -kSearch; y <= kSearch; ++y) {
        for (int x = -kSearch; x <= kSearch; ++x) {
            const cv::Point place(start.x + x, start.y + y);
            if (!hasRoom(picture, place, kLeastRadius))
                continue;
            const double worth = worthAt(picture, place);
            if (worth > most) {
                most = worth;
                best = place;
            }
        }
    }
    // Most corners are nothing like it.
    if (!best || lookAt(picture, *best, kLeastRadius).likeness < kLeastAtStart)
        return {};
    std::optional<Middle> found;
    for (int radius = kLeastRadius; radius <= kMostRadius; ++radius) {
        const auto next = settled(picture, found ? found->place : *best, radius);
        if (!found) {
            if (next && isCrossing(next->look, leastSlope))
                found = next;
            continue;
        }
        if (!next || !isCrossing(next->look, leastSlope) ||
            next->look.likeness < found->look.likeness - kLikenessLost ||
            cv::norm(next->place - found->place) > 0.3)
            break;
        found = next;
    }
    if (!found)
        return {};
    return Crossing{found->place, found->look.likeness};
}
