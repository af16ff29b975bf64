// SPDX-License-Identifier: Apache-2.0
#include "movingparts.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "optics.h"

namespace kvsim {

namespace {

const char kClockPattern[] = "00:00:00.000";
const char kDigits[] = "0123456789";
const Ink kRunner{222, 96, 28};
const Ink kRunnerRim{34, 36, 40};
const Ink kRunnerEye{240, 240, 236};

std::string clockText(double seconds) {
    const auto all = static_cast<int64_t>(std::llround(std::max(0.0, seconds) * 1000));
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", static_cast<int>(all / 3600000 % 100),
                  static_cast<int>(all / 60000 % 60), static_cast<int>(all / 1000 % 60),
                  static_cast<int>(all % 1000));
    return text;
}

std::string numberText(int64_t number) {
    char text[32];
    std::snprintf(text, sizeof text, "%07d", static_cast<int>(number % 10000000));
    return text;
}

cv::Rect pixelsAround(const cv::Rect2d& bounds, cv::Size frame) {
    const cv::Point low(static_cast<int>(std::floor(bounds.x)), static_cast<int>(std::floor(bounds.y)));
    const cv::Point high(static_cast<int>(std::ceil(bounds.x + bounds.width)) + 1,
                         static_cast<int>(std::ceil(bounds.y + bounds.height)) + 1);
    return cv::Rect(low, high) & cv::Rect({0, 0}, frame);
}

void toChannels(cv::Mat& picture, int channels) {
    if (channels == 1)
        cv::cvtColor(picture, picture, cv::COLOR_RGB2GRAY);
}

}  // namespace

MovingParts::MovingParts(const Scene& scene, int camera, const cv::Matx33d& sceneToFrame, cv::Size frame,
                         int channels)
    : scene_(scene), sceneToFrame_(sceneToFrame), frame_(frame), channels_(channels) {
    for (int i = 0; i < Scene::kClockCells; ++i) {
        const bool isDigit = kClockPattern[i] == '0';
        const char fixed[] = {kClockPattern[i], 0};
        clock_.push_back(makePlace(scene.clockCell(camera, i), isDigit ? kDigits : fixed));
    }
    for (int i = 0; i < Scene::kNumberCells; ++i)
        number_.push_back(makePlace(scene.numberCell(camera, i), kDigits));
}

MovingParts::Place MovingParts::makePlace(const cv::Rect2d& cell, const char* glyphs) const {
    Place place;
    const cv::Rect2d bounds = boundsOf(sceneToFrame_, cell);
    // Whole px without a rim: in a small frame it would cover the edge of the digit beside.
    place.box = cv::Rect(cv::Point(cvRound(bounds.x), cvRound(bounds.y)),
                         cv::Point(cvRound(bounds.br().x), cvRound(bounds.br().y))) &
                cv::Rect({0, 0}, frame_);
    for (const char* glyph = glyphs; *glyph != 0 && !place.box.empty(); ++glyph)
        place.digits.push_back(makeDigit(cell, place.box, *glyph));
    return place;
}

MovingParts::Digit MovingParts::makeDigit(const cv::Rect2d& cell, const cv::Rect& box, char glyph) const {
    const double zoom = std::max(0.05, box.width / cell.width);
    Canvas canvas(cell, std::min(2.0, zoom * 1.5), Scene::displayInk());
    const double height = cell.height * 0.72;
    const std::string text(1, glyph);
    canvas.text(
        {cell.x + (cell.width - Canvas::textWidth(height, text)) / 2, cell.y + (cell.height + height) / 2},
        height, text, Scene::digitInk(), 0.12);

    const cv::Matx33d toBox =
        cv::Matx33d(1, 0, -box.x, 0, 1, -box.y, 0, 0, 1) * sceneToFrame_ * canvas.sceneToPixel().inv();
    Digit digit;
    cv::warpPerspective(canvas.picture(), digit.light, toBox, box.size(), cv::INTER_LINEAR,
                        cv::BORDER_CONSTANT, cv::Scalar(Scene::displayInk()));
    toChannels(digit.light, channels_);
    return digit;
}

void MovingParts::develop(const SensorModel& sensor) {
    for (std::vector<Place>* places : {&clock_, &number_}) {
        for (Place& place : *places) {
            for (Digit& digit : place.digits) {
                sensor.develop(digit.light, digit.developed);
                sensor.addNoise(digit.developed, 0);
            }
        }
    }
}

void MovingParts::draw(cv::Mat& picture, const cv::Mat& light, const SensorModel& sensor,
                       const FrameTime& time) {
    drawDigits(picture, time);
    for (int row = 0; row < scene_.fieldRows(); ++row)
        drawRunner(picture, light, sensor, scene_.runner(row, time.seconds));
}

void MovingParts::drawDigits(cv::Mat& picture, const FrameTime& time) const {
    const auto write = [&picture](const std::vector<Place>& places, const std::string& text) {
        for (size_t i = 0; i < places.size(); ++i) {
            const Place& place = places[i];
            if (place.digits.empty())
                continue;
            const size_t digit = place.digits.size() == 1 ? 0 : static_cast<size_t>(text[i] - '0');
            place.digits[digit].developed.copyTo(picture(place.box));
        }
    };
    write(clock_, clockText(time.seconds));
    write(number_, numberText(time.number));
}

void MovingParts::drawRunner(cv::Mat& picture, const cv::Mat& light, const SensorModel& sensor,
                             cv::Point2d centre) {
    constexpr double kRadius = Scene::kRunnerRadius;
    constexpr double kRim = 7;
    constexpr double kEye = 9;
    const cv::Rect2d area(centre.x - kRadius, centre.y - kRadius, 2 * kRadius, 2 * kRadius);
    const cv::Rect box = pixelsAround(boundsOf(sceneToFrame_, area), frame_);
    if (box.empty())
        return;

    // The perspective is taken as even over the runner: the picture of a disc by the slopes at its centre.
    const cv::Point2d middle = mapped(sceneToFrame_, centre);
    const cv::Point2d right = mapped(sceneToFrame_, {centre.x + kRadius, centre.y}) - middle;
    const cv::Point2d down = mapped(sceneToFrame_, {centre.x, centre.y + kRadius}) - middle;
    const cv::Matx22d toDisc = cv::Matx22d(right.x, down.x, right.y, down.y).inv() * kRadius;
    const double unit = std::max(kRadius / std::hypot(right.x, right.y), 1e-6);  // scene units in a px

    light(box).copyTo(runner_);
    const auto share = [unit](double radius, double distance) {
        return std::clamp((radius - distance) / unit + 0.5, 0.0, 1.0);
    };
    const auto grey = [](const Ink& ink) { return 0.299 * ink[0] + 0.587 * ink[1] + 0.114 * ink[2]; };
    for (int y = 0; y < box.height; ++y) {
        uchar* pixel = runner_.ptr(y);
        for (int x = 0; x < box.width; ++x, pixel += channels_) {
            const cv::Vec2d offset = toDisc * cv::Vec2d(x + box.x - middle.x, y + box.y - middle.y);
            const double distance = std::hypot(offset[0], offset[1]);
            const double whole = share(kRadius, distance);
            if (whole <= 0)
                continue;
            const double body = share(kRadius - kRim, distance);
            const double eye = share(kEye, distance);
            const Ink ink = mixed(mixed(kRunnerRim, kRunner, body), kRunnerEye, eye);
            if (channels_ == 1) {
                *pixel = cv::saturate_cast<uchar>(*pixel + (grey(ink) - *pixel) * whole);
            } else {
                for (int c = 0; c < 3; ++c)
                    pixel[c] = cv::saturate_cast<uchar>(pixel[c] + (ink[c] - pixel[c]) * whole);
            }
        }
    }
    sensor.develop(runner_, runner_);
    runner_.copyTo(picture(box));
}

}  // namespace kvsim
