// SPDX-License-Identifier: Apache-2.0
#include "canvas.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace kvsim {

namespace {

constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;
constexpr double kFontHeight = 21;  // px of a capital letter at font scale 1
constexpr int kTextDetail = 3;      // text is drawn so many times larger, then averaged
constexpr int kStarDetail = 4;      // samples per pixel and direction

/// The part of pixel `i` that lies between `low` and `high`; pixel i covers i ... i + 1.
double covered(int i, double low, double high) {
    return std::clamp(std::min<double>(i + 1, high) - std::max<double>(i, low), 0.0, 1.0);
}

}  // namespace

Ink mixed(const Ink& background, const Ink& ink, double share) {
    Ink result;
    for (int c = 0; c < 3; ++c)
        result[c] = cv::saturate_cast<uchar>(background[c] + (ink[c] - background[c]) * share);
    return result;
}

Canvas::Canvas(const cv::Rect2d& area, double scale, const Ink& background)
    : area_(area),
      scale_(scale),
      picture_(std::max(1, static_cast<int>(std::ceil(area.height * scale))),
               std::max(1, static_cast<int>(std::ceil(area.width * scale))), CV_8UC3,
               cv::Scalar(background)) {}

cv::Matx33d Canvas::sceneToPixel() const {
    return {scale_, 0, -area_.x * scale_ - 0.5, 0, scale_, -area_.y * scale_ - 0.5, 0, 0, 1};
}

void Canvas::rectangle(const cv::Rect2d& rectangle, const Ink& ink) {
    const double left = (rectangle.x - area_.x) * scale_;
    const double top = (rectangle.y - area_.y) * scale_;
    const double right = left + rectangle.width * scale_;
    const double bottom = top + rectangle.height * scale_;
    const int firstColumn = std::max(0, static_cast<int>(std::floor(left)));
    const int firstRow = std::max(0, static_cast<int>(std::floor(top)));
    const int endColumn = std::min(picture_.cols, static_cast<int>(std::ceil(right)));
    const int endRow = std::min(picture_.rows, static_cast<int>(std::ceil(bottom)));
    // Columns that are covered in full; the ones beside them in part.
    const int firstFull =
        std::clamp(static_cast<int>(std::ceil(left)), firstColumn, std::max(firstColumn, endColumn));
    const int endFull =
        std::clamp(static_cast<int>(std::floor(right)), firstFull, std::max(firstFull, endColumn));
    for (int row = firstRow; row < endRow; ++row) {
        const double rowShare = covered(row, top, bottom);
        Ink* pixels = picture_.ptr<Ink>(row);
        if (rowShare >= 1) {
            std::fill(pixels + firstFull, pixels + endFull, ink);
        } else {
            for (int column = firstFull; column < endFull; ++column)
                pixels[column] = mixed(pixels[column], ink, rowShare);
        }
        for (int column = firstColumn; column < firstFull; ++column)
            pixels[column] = mixed(pixels[column], ink, rowShare * covered(column, left, right));
        for (int column = endFull; column < endColumn; ++column)
            pixels[column] = mixed(pixels[column], ink, rowShare * covered(column, left, right));
    }
}

void Canvas::outline(const cv::Rect2d& r, double width, const Ink& ink) {
    rectangle({r.x, r.y, r.width, width}, ink);
    rectangle({r.x, r.y + r.height - width, r.width, width}, ink);
    rectangle({r.x, r.y + width, width, r.height - 2 * width}, ink);
    rectangle({r.x + r.width - width, r.y + width, width, r.height - 2 * width}, ink);
}

/// Calls `coverage(dx, dy)` with the offsets in px of every pixel centre from the middle of `bounds` (scene
/// units).
template <typename Coverage>
void Canvas::blend(const cv::Rect2d& bounds, const Ink& ink, Coverage coverage) {
    const double centreX = (bounds.x + bounds.width / 2 - area_.x) * scale_ - 0.5;
    const double centreY = (bounds.y + bounds.height / 2 - area_.y) * scale_ - 0.5;
    const double reachX = bounds.width / 2 * scale_ + 1;
    const double reachY = bounds.height / 2 * scale_ + 1;
    const int endRow = std::min(picture_.rows - 1, static_cast<int>(std::floor(centreY + reachY)));
    const int endColumn = std::min(picture_.cols - 1, static_cast<int>(std::floor(centreX + reachX)));
    for (int row = std::max(0, static_cast<int>(std::ceil(centreY - reachY))); row <= endRow; ++row) {
        Ink* pixels = picture_.ptr<Ink>(row);
        for (int column = std::max(0, static_cast<int>(std::ceil(centreX - reachX))); column <= endColumn;
             ++column) {
            const double share = coverage(column - centreX, row - centreY);
            if (share > 0)
                pixels[column] = mixed(pixels[column], ink, share);
        }
    }
}

void Canvas::ring(cv::Point2d centre, double innerRadius, double outerRadius, const Ink& ink) {
    const double inner = innerRadius * scale_;
    const double outer = outerRadius * scale_;
    const cv::Rect2d bounds(centre.x - outerRadius, centre.y - outerRadius, 2 * outerRadius, 2 * outerRadius);
    blend(bounds, ink, [=](double dx, double dy) {
        const double distance = std::sqrt(dx * dx + dy * dy);
        const double inside = std::clamp(outer - distance + 0.5, 0.0, 1.0);
        const double hole = inner > 0 ? std::clamp(inner - distance + 0.5, 0.0, 1.0) : 0;
        return inside - hole;
    });
}

void Canvas::crossing(cv::Point2d centre, double radius, const Ink& ink) {
    const double reach = radius * scale_;
    const cv::Rect2d bounds(centre.x - radius, centre.y - radius, 2 * radius, 2 * radius);
    blend(bounds, ink, [=](double dx, double dy) {
        const double inside = std::clamp(reach - std::hypot(dx, dy) + 0.5, 0.0, 1.0);
        // The parts of the pixel to the right of the centre and below it.
        const double right = std::clamp(dx + 0.5, 0.0, 1.0);
        const double below = std::clamp(dy + 0.5, 0.0, 1.0);
        return inside * (right * below + (1 - right) * (1 - below));
    });
}

void Canvas::star(cv::Point2d centre, double radius, int sectors, const Ink& ink) {
    const double reach = radius * scale_;
    const cv::Rect2d bounds(centre.x - radius, centre.y - radius, 2 * radius, 2 * radius);
    blend(bounds, ink, [=](double dx, double dy) {
        if (dx * dx + dy * dy > (reach + 1) * (reach + 1))
            return 0.0;
        int hits = 0;
        for (int j = 0; j < kStarDetail; ++j) {
            for (int i = 0; i < kStarDetail; ++i) {
                const double x = dx + (i + 0.5) / kStarDetail - 0.5;
                const double y = dy + (j + 0.5) / kStarDetail - 0.5;
                if (x * x + y * y > reach * reach)
                    continue;
                const double turn = (std::atan2(y, x) / (2 * CV_PI) + 1) * sectors;
                hits += static_cast<int>(turn) % 2 == 0 ? 1 : 0;
            }
        }
        return static_cast<double>(hits) / (kStarDetail * kStarDetail);
    });
}

double Canvas::textWidth(double height, const std::string& text) {
    int base = 0;
    constexpr double kDetail = 10;
    return cv::getTextSize(text, kFont, kDetail, 1, &base).width / (kDetail * kFontHeight) * height;
}

void Canvas::text(cv::Point2d baseline, double height, const std::string& text, const Ink& ink,
                  double weight) {
    const double detail = scale_ * kTextDetail;
    const double fontScale = height * detail / kFontHeight;
    const int stroke = std::max(1, static_cast<int>(std::lround(height * detail * weight)));
    int below = 0;
    const cv::Size size = cv::getTextSize(text, kFont, fontScale, stroke, &below);
    const int margin = stroke + kTextDetail;

    // Whole pixels of the picture around the text, and the text's place inside to a part of a pixel.
    const double left = (baseline.x - area_.x) * detail;
    const double base = (baseline.y - area_.y) * detail;
    const int column = static_cast<int>(std::floor((left - margin) / kTextDetail));
    const int row = static_cast<int>(std::floor((base - size.height - margin) / kTextDetail));
    const int columns = (size.width + 2 * margin) / kTextDetail + 2;
    const int rows = (size.height + below + 2 * margin) / kTextDetail + 2;
    const cv::Rect inside =
        cv::Rect(column, row, columns, rows) & cv::Rect(0, 0, picture_.cols, picture_.rows);
    if (inside.empty())
        return;

    cv::Mat mask(rows * kTextDetail, columns * kTextDetail, CV_8UC1, cv::Scalar(0));
    const cv::Point origin(static_cast<int>(std::lround(left)) - column * kTextDetail,
                           static_cast<int>(std::lround(base)) - row * kTextDetail);
    cv::putText(mask, text, origin, kFont, fontScale, cv::Scalar(255), stroke, cv::LINE_AA);
    cv::resize(mask, mask, cv::Size(columns, rows), 0, 0, cv::INTER_AREA);
    for (int y = inside.y; y < inside.y + inside.height; ++y) {
        Ink* pixels = picture_.ptr<Ink>(y);
        const uchar* shares = mask.ptr(y - row);
        for (int x = inside.x; x < inside.x + inside.width; ++x) {
            if (shares[x - column] != 0)
                pixels[x] = mixed(pixels[x], ink, shares[x - column] / 255.0);
        }
    }
}

}  // namespace kvsim
