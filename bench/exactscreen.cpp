// SPDX-License-Identifier: Apache-2.0
#include "exactscreen.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kOnTheEdge = 1e-6;  // px; as near as this to the edge of a picture is on it

/// What one pixel of a row or a column takes of another one: their common length.
struct Share {
    int pixel;
    double length;
};

/// For each of `pixels` picture px that begin at `place` in steps of 1, as far as they lie between `low` and
/// `high` (all scene px): the screen px they lie in, of `count`, and the length there in scene px.
std::vector<std::vector<Share>> sharesOf(int pixels, double place, double low, double high, double scale,
                                         double origin, int count) {
    std::vector<std::vector<Share>> result(static_cast<size_t>(pixels));
    for (int i = 0; i < pixels; ++i) {
        const double from = std::max(place + i, low);
        const double to = std::min(place + i + 1, high);
        if (to <= from)
            continue;
        const int first = std::max(0, static_cast<int>(std::floor(from * scale + origin)));
        const int last = std::min(count - 1, static_cast<int>(std::floor(to * scale + origin)));
        for (int pixel = first; pixel <= last; ++pixel) {
            const double begin = std::max(from, (pixel - origin) / scale);
            const double end = std::min(to, (pixel + 1 - origin) / scale);
            if (end > begin)
                result[static_cast<size_t>(i)].push_back({pixel, end - begin});
        }
    }
    return result;
}

/// `rect` without `hole`, as up to four rectangles.
QVector<QRectF> without(const QRectF& rect, const QRectF& hole) {
    const QRectF common = rect & hole;
    if (common.isEmpty())
        return {rect};
    QVector<QRectF> rest;
    const auto add = [&rest](double left, double top, double right, double bottom) {
        if (right > left && bottom > top)
            rest.append(QRectF(QPointF(left, top), QPointF(right, bottom)));
    };
    add(rect.left(), rect.top(), rect.right(), common.top());
    add(rect.left(), common.top(), common.left(), common.bottom());
    add(common.right(), common.top(), rect.right(), common.bottom());
    add(rect.left(), common.bottom(), rect.right(), rect.bottom());
    return rest;
}

}  // namespace

ExactScreen::ExactScreen(const QVector<PlacedPicture>& pictures, const QTransform& toScreen, QSize size)
    : screenSize(size) {
    const size_t pixels = size_t(size.width()) * size_t(size.height());
    for (auto& channel : sums)
        channel.assign(pixels, 0);
    areas.assign(pixels, 0);
    covered.assign(pixels, false);
    QVector<QRectF> above;
    for (int i = pictures.size() - 1; i >= 0; --i) {
        const QRectF whole(pictures[i].place, QSizeF(pictures[i].image.size()));
        QVector<QRectF> parts{whole};
        for (const QRectF& hole : qAsConst(above)) {
            QVector<QRectF> rest;
            for (const QRectF& part : qAsConst(parts))
                rest += without(part, hole);
            parts = rest;
        }
        const QImage image = pictures[i].image.convertToFormat(QImage::Format_RGB32);
        for (const QRectF& part : qAsConst(parts))
            add(image, pictures[i].place, part, toScreen);
        above.append(whole);

        const QRectF shown = toScreen.mapRect(whole);
        const auto edge = [](double place, int most) {
            return std::clamp(static_cast<int>(std::ceil(place - 0.5 - kOnTheEdge)), 0, most);
        };
        for (int y = edge(shown.top(), size.height()); y < edge(shown.bottom(), size.height()); ++y) {
            for (int x = edge(shown.left(), size.width()); x < edge(shown.right(), size.width()); ++x)
                covered[index(x, y)] = areas[index(x, y)] > 0;
        }
    }
}

void ExactScreen::add(const QImage& image, QPointF place, const QRectF& part, const QTransform& toScreen) {
    const auto columns = sharesOf(image.width(), place.x(), part.left(), part.right(), toScreen.m11(),
                                  toScreen.dx(), screenSize.width());
    const auto rows = sharesOf(image.height(), place.y(), part.top(), part.bottom(), toScreen.m22(),
                               toScreen.dy(), screenSize.height());
    const auto width = static_cast<size_t>(screenSize.width());
    std::vector<double> lengths(width);
    for (const auto& shares : columns) {
        for (const Share& share : shares)
            lengths[static_cast<size_t>(share.pixel)] += share.length;
    }
    std::array<std::vector<double>, 3> line;
    for (int y = 0; y < image.height(); ++y) {
        if (rows[static_cast<size_t>(y)].empty())
            continue;
        for (auto& channel : line)
            channel.assign(width, 0);
        const auto* pixels = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            for (const Share& share : columns[static_cast<size_t>(x)]) {
                const auto at = static_cast<size_t>(share.pixel);
                line[0][at] += qRed(pixels[x]) * share.length;
                line[1][at] += qGreen(pixels[x]) * share.length;
                line[2][at] += qBlue(pixels[x]) * share.length;
            }
        }
        for (const Share& share : rows[static_cast<size_t>(y)]) {
            const size_t begin = index(0, share.pixel);
            for (size_t x = 0; x < width; ++x) {
                for (size_t channel = 0; channel < 3; ++channel)
                    sums[channel][begin + x] += line[channel][x] * share.length;
                areas[begin + x] += lengths[x] * share.length;
            }
        }
    }
}

Difference differenceOf(const ExactScreen& exact, const QImage& screen,
                        const std::function<bool(int, int)>& counts) {
    Difference result;
    double squares = 0;
    for (int y = 0; y < exact.size().height(); ++y) {
        for (int x = 0; x < exact.size().width(); ++x) {
            if (!exact.isCovered(x, y) || (counts && !counts(x, y)))
                continue;
            const QRgb pixel = screen.pixel(x, y);
            const int shown[3] = {qRed(pixel), qGreen(pixel), qBlue(pixel)};
            for (size_t channel = 0; channel < 3; ++channel) {
                const double off = std::abs(shown[channel] - exact.mean(x, y, channel));
                squares += off * off;
                result.mean += off;
                result.worst = std::max(result.worst, off);
            }
            ++result.pixels;
        }
    }
    const double values = std::max(1, result.pixels) * 3.0;
    result.mean /= values;
    result.decibels = squares > 0 ? std::min(99.0, 10 * std::log10(255.0 * 255.0 / (squares / values))) : 99;
    return result;
}
