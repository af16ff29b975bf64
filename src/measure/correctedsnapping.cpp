// SPDX-License-Identifier: Apache-2.0
#include "measure/correctedsnapping.h"

#include <QRect>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <vector>

namespace {

constexpr double kMostScale = 8.0;
constexpr int kMargin = 13;         // px around what is in reach that snapIn() looks at
constexpr int kBetween = 3;         // px to each side that a value between pixels is made from
constexpr double kMostFrame = 1e5;  // px; a frame's sides can be addressed, further out there is none of it
constexpr double kInPicture = 3.0;  // px from the picture's edge: nearer it a corner is not all there

cv::Matx33d matrixOf(const QTransform& t) {
    return {t.m11(), t.m21(), t.m31(), t.m12(), t.m22(), t.m32(), t.m13(), t.m23(), t.m33()};
}

QPointF mapped(const cv::Matx33d& matrix, double x, double y) {
    const double w = 1.0 / (matrix(2, 0) * x + matrix(2, 1) * y + matrix(2, 2));
    return {(matrix(0, 0) * x + matrix(0, 1) * y + matrix(0, 2)) * w,
            (matrix(1, 0) * x + matrix(1, 1) * y + matrix(1, 2)) * w};
}

bool isFinite(QPointF point) {
    return std::isfinite(point.x()) && std::isfinite(point.y());
}

/// How much larger the picture is than the frame in the direction in which it is least and most.
struct Scales {
    double least = 0.0;
    double most = 0.0;
};

Scales scalesAt(const cv::Matx33d& toPicture, QPointF inFrame) {
    const QPointF right =
        mapped(toPicture, inFrame.x() + 0.5, inFrame.y()) - mapped(toPicture, inFrame.x() - 0.5, inFrame.y());
    const QPointF down =
        mapped(toPicture, inFrame.x(), inFrame.y() + 0.5) - mapped(toPicture, inFrame.x(), inFrame.y() - 0.5);
    const double a = QPointF::dotProduct(right, right);
    const double b = QPointF::dotProduct(right, down);
    const double c = QPointF::dotProduct(down, down);
    const double spread = std::hypot(a - c, 2 * b);
    return {std::sqrt(std::max(0.0, (a + c - spread) / 2)), std::sqrt((a + c + spread) / 2)};
}

/// The frame again, as far as the picture shows it.
class FramePart {
public:
    FramePart(const QImage& picture, const cv::Matx33d& pictureFromFrame, const cv::Matx33d& frameFromPicture,
              QRect frameArea)
        : area(frameArea),
          part(frameArea.size(), QImage::Format_Grayscale8),
          isKnown(static_cast<size_t>(frameArea.width()) * static_cast<size_t>(frameArea.height()), false) {
        part.fill(0);
        const QRect shown = shownArea(picture.rect(), pictureFromFrame);
        if (shown.isEmpty())
            return;
        QImage grey = picture.copy(shown);
        if (grey.format() != QImage::Format_Grayscale8)
            grey = grey.convertToFormat(QImage::Format_Grayscale8);
        if (grey.isNull())
            return;
        takeShown(grey, shown.topLeft(), frameFromPicture);
        fillGaps(grey, shown.topLeft(), pictureFromFrame);
        isThere = true;
    }

    bool exists() const { return isThere; }
    QImage picture() const { return part; }

private:
    size_t indexOf(int x, int y) const {
        return static_cast<size_t>(y) * static_cast<size_t>(area.width()) + static_cast<size_t>(x);
    }

    /// What of the picture the frame's part is seen in.
    QRect shownArea(QRect picture, const cv::Matx33d& pictureFromFrame) const {
        double left = HUGE_VAL;
        double top = HUGE_VAL;
        double right = -HUGE_VAL;
        double bottom = -HUGE_VAL;
        for (const QPoint corner : {area.topLeft(), area.topRight(), area.bottomLeft(), area.bottomRight()}) {
            const QPointF p = mapped(pictureFromFrame, corner.x(), corner.y());
            left = std::min(left, p.x());
            top = std::min(top, p.y());
            right = std::max(right, p.x());
            bottom = std::max(bottom, p.y());
        }
        const auto inside = [](double value, int first, int last) {
            return static_cast<int>(std::lround(std::clamp(value, double(first), double(last))));
        };
        constexpr double kMore = kMostScale;  // px; half a pixel of the frame
        if (!(left <= picture.right() + kMore && right >= picture.left() - kMore &&
              top <= picture.bottom() + kMore && bottom >= picture.top() - kMore))
            return {};
        return {QPoint(inside(left - kMore, picture.left(), picture.right()),
                       inside(top - kMore, picture.top(), picture.bottom())),
                QPoint(inside(right + kMore, picture.left(), picture.right()),
                       inside(bottom + kMore, picture.top(), picture.bottom()))};
    }

    /// Each pixel goes back to where it was taken from.
    void takeShown(const QImage& grey, QPoint corner, const cv::Matx33d& frameFromPicture) {
        for (int y = 0; y < grey.height(); ++y) {
            const uchar* line = grey.constScanLine(y);
            for (int x = 0; x < grey.width(); ++x) {
                // As the correction's maps have it: single precision, halves to the even neighbour.
                const QPointF from = mapped(frameFromPicture, corner.x() + x, corner.y() + y);
                const float u = std::nearbyint(static_cast<float>(from.x())) - static_cast<float>(area.x());
                const float v = std::nearbyint(static_cast<float>(from.y())) - static_cast<float>(area.y());
                if (!(u >= 0 && v >= 0 && u < static_cast<float>(area.width()) &&
                      v < static_cast<float>(area.height())))
                    continue;
                const auto column = static_cast<int>(u);
                const auto row = static_cast<int>(v);
                part.scanLine(row)[column] = line[x];
                isKnown[indexOf(column, row)] = true;
            }
        }
    }

    /// Pixels that the picture leaves out lie between others that it shows; beyond its edge the nearest goes
    /// on.
    void fillGaps(const QImage& grey, QPoint corner, const cv::Matx33d& pictureFromFrame) {
        // Where a row and a column are left out, what is between comes last.
        for (const bool isLast : {false, true}) {
            std::vector<bool> isFilled = isKnown;
            for (int y = 0; y < area.height(); ++y) {
                for (int x = 0; x < area.width(); ++x) {
                    if (isKnown[indexOf(x, y)])
                        continue;
                    const auto between = meanOf(x, y);
                    if (!between && !isLast)
                        continue;
                    part.scanLine(y)[x] = between ? *between : nearest(grey, corner, pictureFromFrame, x, y);
                    isFilled[indexOf(x, y)] = true;
                }
            }
            isKnown.swap(isFilled);
        }
    }

    /// Between opposite neighbours, in the direction in which they differ less; nothing without any.
    std::optional<uchar> meanOf(int x, int y) const {
        std::optional<uchar> mean;
        int difference = 256;
        const auto isShown = [&](int atX, int atY) {
            return atX >= 0 && atY >= 0 && atX < area.width() && atY < area.height() &&
                   isKnown[indexOf(atX, atY)];
        };
        const auto look = [&](int dx, int dy) {
            if (!isShown(x - dx, y - dy) || !isShown(x + dx, y + dy))
                return;
            const int a = part.constScanLine(y - dy)[x - dx];
            const int b = part.constScanLine(y + dy)[x + dx];
            if (std::abs(a - b) >= difference)
                return;
            difference = std::abs(a - b);
            int value = 8 * (a + b);
            // A line that the gap runs along is more than its neighbours.
            if (isShown(x - 2 * dx, y - 2 * dy) && isShown(x + 2 * dx, y + 2 * dy))
                value += a + b - part.constScanLine(y - 2 * dy)[x - 2 * dx] -
                         part.constScanLine(y + 2 * dy)[x + 2 * dx];
            mean = static_cast<uchar>(std::clamp((value + 8) / 16, 0, 255));
        };
        look(1, 0);
        look(0, 1);
        return mean;
    }

    uchar nearest(const QImage& grey, QPoint corner, const cv::Matx33d& pictureFromFrame, int x,
                  int y) const {
        const QPointF at = mapped(pictureFromFrame, area.x() + x, area.y() + y) - corner;
        const auto inside = [](double value, int count) {
            // Where that is no number at all, the first one.
            return value > 0.0 ? static_cast<int>(std::lround(std::min(value, count - 1.0))) : 0;
        };
        return grey.constScanLine(inside(at.y(), grey.height()))[inside(at.x(), grey.width())];
    }

    QRect area;  // frame px
    QImage part;
    std::vector<bool> isKnown;
    bool isThere = false;
};

/// As much of `source`, grey, as the maps say.
QImage remapped(const QImage& source, const cv::Mat& mapX, const cv::Mat& mapY) {
    QImage result(mapX.cols, mapX.rows, QImage::Format_Grayscale8);
    const QImage grey = source.format() == QImage::Format_Grayscale8
                            ? source
                            : source.convertToFormat(QImage::Format_Grayscale8);
    if (grey.isNull() || result.isNull())
        return {};
    const cv::Mat from(grey.height(), grey.width(), CV_8UC1, const_cast<uchar*>(grey.constBits()),
                       static_cast<size_t>(grey.bytesPerLine()));
    cv::Mat to(result.height(), result.width(), CV_8UC1, result.bits(),
               static_cast<size_t>(result.bytesPerLine()));
    cv::remap(from, to, mapX, mapY, cv::INTER_CUBIC, cv::BORDER_REPLICATE);
    return result;
}

/// The same from the frame; nothing where that cannot be put together.
std::optional<QImage> fromFramePart(const QImage& picture, const QTransform& fromFrame, QPointF corner,
                                    QSize size) {
    const cv::Matx33d toPicture = matrixOf(fromFrame);
    bool hasInverse = false;
    const cv::Matx33d toFrame = toPicture.inv(cv::DECOMP_LU, &hasInverse);
    if (!hasInverse)
        return {};
    cv::Mat mapX(size.height(), size.width(), CV_32F);
    cv::Mat mapY(size.height(), size.width(), CV_32F);
    const QPointF middle = mapped(toFrame, corner.x() + size.width() / 2.0, corner.y() + size.height() / 2.0);
    if (!(std::abs(middle.x()) < kMostFrame && std::abs(middle.y()) < kMostFrame))
        return {};
    const Scales scales = scalesAt(toPicture, middle);
    if (!(scales.least >= 1 / kMostScale && scales.most <= kMostScale))
        return {};
    // From the middle, so that single precision is enough.
    const QPointF zero = middle.toPoint();
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const QPointF from = mapped(toFrame, corner.x() + x, corner.y() + y) - zero;
            mapX.at<float>(y, x) = static_cast<float>(from.x());
            mapY.at<float>(y, x) = static_cast<float>(from.y());
        }
    }
    double left = 0.0;
    double right = 0.0;
    double top = 0.0;
    double bottom = 0.0;
    cv::minMaxLoc(mapX, &left, &right);
    cv::minMaxLoc(mapY, &top, &bottom);
    // No line of the part may lie where the transform turns over.
    const double most = 2 * kMostScale * (size.width() + size.height());
    if (!(left > -most && top > -most && right < most && bottom < most))
        return {};
    const QPoint first(static_cast<int>(std::floor(left)) - kBetween,
                       static_cast<int>(std::floor(top)) - kBetween);
    const QPoint last(static_cast<int>(std::ceil(right)) + kBetween,
                      static_cast<int>(std::ceil(bottom)) + kBetween);
    const FramePart frame(picture, toPicture, toFrame, QRect(first, last).translated(zero.toPoint()));
    if (!frame.exists())
        return {};
    mapX -= first.x();
    mapY -= first.y();
    return remapped(frame.picture(), mapX, mapY);
}

}  // namespace

Snap snapInCorrected(const QImage& picture, const QTransform& fromFrame, QPointF where, double radius) {
    radius = std::min(radius, kFarthestSnap);
    const auto inPicture = [&] { return snapIn(picture, where, radius); };
    const QRectF near = QRectF(picture.rect()).adjusted(-radius, -radius, radius, radius);
    if (picture.isNull() || !(radius > 0.0) || !isFinite(where) || !near.contains(where))
        return inPicture();
    const cv::Matx33d toPicture = matrixOf(fromFrame);
    bool hasInverse = false;
    const cv::Matx33d toFrame = toPicture.inv(cv::DECOMP_LU, &hasInverse);
    if (!hasInverse)
        return inPicture();
    const QPointF middle = mapped(toFrame, where.x(), where.y());
    if (!(std::abs(middle.x()) < kMostFrame && std::abs(middle.y()) < kMostFrame))
        return inPicture();
    const Scales scales = scalesAt(toPicture, middle);
    if (!(scales.least >= 1 / kMostScale && scales.most <= kMostScale))
        return inPicture();
    const double farthest = std::min(radius / scales.least, kFarthestSnap);
    const int reach = static_cast<int>(std::ceil(farthest)) + kMargin;
    const QPoint centre = middle.toPoint();
    const QRect area(centre.x() - reach, centre.y() - reach, 2 * reach + 1, 2 * reach + 1);
    const FramePart frame(picture, toPicture, toFrame, area);
    if (!frame.exists())
        return inPicture();
    const QRectF whole = QRectF(0, 0, picture.width() - 1, picture.height() - 1);
    // What is in reach is a circle in the picture, and between two in the frame.
    for (const double reachInFrame : {farthest, radius / scales.most}) {
        const Snap found = snapIn(frame.picture(), middle - area.topLeft(), reachInFrame);
        if (found.kind == SnapKind::None)
            return {SnapKind::None, where};
        const QPointF inFrame = found.point + area.topLeft();
        const QPointF point = mapped(toPicture, inFrame.x(), inFrame.y());
        const double margin = found.kind == SnapKind::Corner ? kInPicture : 0.0;
        if (!whole.adjusted(margin, margin, -margin, -margin).contains(point))
            return inPicture();
        if (std::hypot(point.x() - where.x(), point.y() - where.y()) <= radius)
            return {found.kind, point};
    }
    return {SnapKind::None, where};
}

QImage resampled(const QImage& picture, const std::optional<QTransform>& fromFrame, QPointF corner,
                 QSize size) {
    if (picture.isNull() || size.isEmpty() || !isFinite(corner))
        return {};
    if (fromFrame) {
        if (const auto part = fromFramePart(picture, *fromFrame, corner, size))
            return *part;
    }
    const QPoint first(static_cast<int>(std::floor(corner.x())), static_cast<int>(std::floor(corner.y())));
    const QRect area = QRect(first, size).adjusted(-kBetween, -kBetween, kBetween, kBetween) & picture.rect();
    if (area.isEmpty())
        return {};
    cv::Mat mapX(size.height(), size.width(), CV_32F);
    cv::Mat mapY(size.height(), size.width(), CV_32F);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            mapX.at<float>(y, x) = static_cast<float>(corner.x() - area.x() + x);
            mapY.at<float>(y, x) = static_cast<float>(corner.y() - area.y() + y);
        }
    }
    return remapped(picture.copy(area), mapX, mapY);
}
