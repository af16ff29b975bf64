// SPDX-License-Identifier: Apache-2.0
#include "live/tileseams.h"

#include <QVarLengthArray>
#include <algorithm>
#include <cmath>

namespace {

// An edge that is closer to a pixel's border, px, leaves no share that could be seen.
constexpr double kNearBorder = 1e-3;

using Cuts = QVarLengthArray<double, 12>;

/// From one pixel's border to the other, and the edges between.
Cuts cutsOf(int pixel, const std::vector<TileSeams::Picture>& pictures, bool isAcross) {
    Cuts cuts;
    cuts.append(pixel);
    for (const auto& picture : pictures) {
        const QRectF& area = picture.area;
        for (const double edge :
             {isAcross ? area.left() : area.top(), isAcross ? area.right() : area.bottom()}) {
            if (edge > pixel + kNearBorder && edge < pixel + 1 - kNearBorder)
                cuts.append(edge);
        }
    }
    cuts.append(pixel + 1);
    std::sort(cuts.begin(), cuts.end());
    return cuts;
}

bool holds(const QRectF& area, double x, double y) {
    return x >= area.left() && x < area.right() && y >= area.top() && y < area.bottom();
}

struct Grey {
    using Color = std::array<float, 1>;
    static constexpr int kBytes = 1;
    static Color colorOf(const uchar* pixel) { return {float(*pixel)}; }
};

struct Rgb888 {
    using Color = std::array<float, 3>;
    static constexpr int kBytes = 3;
    static Color colorOf(const uchar* pixel) { return {float(pixel[0]), float(pixel[1]), float(pixel[2])}; }
};

struct Rgb32 {
    using Color = std::array<float, 3>;
    static constexpr int kBytes = 4;
    static Color colorOf(const uchar* pixel) {
        const QRgb color = *reinterpret_cast<const QRgb*>(pixel);
        return {float(qRed(color)), float(qGreen(color)), float(qBlue(color))};
    }
};

template <class Color>
void add(Color& sum, const Color& color, float weight) {
    for (size_t i = 0; i < sum.size(); ++i)
        sum[i] += weight * color[i];
}

}  // namespace

void TileSeams::plan(QSize shown, const std::vector<Picture>& pictures) {
    size = shown;
    all = pictures;
    pixels.clear();
    shares.clear();
    sharesOf.resize(all.size());
    for (auto& indices : sharesOf)
        indices.clear();
    if (all.size() < 2)
        return;
    addAlong(all[0].area);
    for (size_t i = 1; i < all.size(); ++i) {
        if (all[i].height > all[0].height)
            addAlong(all[i].area);
    }
    colors.assign(shares.size(), {});
}

void TileSeams::addAlong(const QRectF& edges) {
    const auto isInside = [](double edge, int count) {
        const double behind = edge - std::floor(edge);
        return edge > 0 && edge < count && behind > kNearBorder && behind < 1 - kNearBorder;
    };
    const auto clamped = [](double place, int count) { return int(std::clamp(place, 0.0, double(count))); };
    const int left = clamped(edges.left(), size.width());
    const int right = clamped(std::ceil(edges.right()), size.width());
    const int top = clamped(edges.top(), size.height());
    const int bottom = clamped(std::ceil(edges.bottom()), size.height());
    // Pixels in a corner come twice, which does no harm.
    for (const double edge : {edges.left(), edges.right()}) {
        for (int y = top; isInside(edge, size.width()) && y < bottom; ++y)
            addPixel(int(edge), y);
    }
    for (const double edge : {edges.top(), edges.bottom()}) {
        for (int x = left; isInside(edge, size.height()) && x < right; ++x)
            addPixel(x, int(edge));
    }
}

void TileSeams::addPixel(int x, int y) {
    const Cuts xs = cutsOf(x, all, true);
    const Cuts ys = cutsOf(y, all, false);
    Pixel pixel{x, y, int(shares.size()), 0};
    bool isShared = false;
    double covered = 0;
    for (int row = 0; row + 1 < ys.size(); ++row) {
        for (int column = 0; column + 1 < xs.size(); ++column) {
            const QRectF cell(QPointF(xs[column], ys[row]), QPointF(xs[column + 1], ys[row + 1]));
            const QPointF middle = cell.center();
            int top = -1;
            for (int i = 0; i < int(all.size()); ++i) {
                if (holds(all[size_t(i)].area, middle.x(), middle.y()) &&
                    (top < 0 || all[size_t(i)].height > all[size_t(top)].height))
                    top = i;
            }
            if (top < 0)
                continue;
            const Picture& picture = all[size_t(top)];
            const QPointF from = (cell.topLeft() - picture.area.topLeft()) / picture.scale;
            const QPointF to = (cell.bottomRight() - picture.area.topLeft()) / picture.scale;
            const Share share{runOf(from.x(), to.x(), picture.size.width()),
                              runOf(from.y(), to.y(), picture.size.height()),
                              float(picture.scale * picture.scale)};
            const double amount = cell.width() * cell.height();
            sharesOf[size_t(top)].push_back(int(shares.size()));
            shares.push_back(share);
            covered += amount;
            isShared = isShared || top != 0;
        }
    }
    if (!isShared) {
        shares.resize(size_t(pixel.first));
        while (!sharesOf[0].empty() && sharesOf[0].back() >= pixel.first)
            sharesOf[0].pop_back();
        return;
    }
    pixel.last = int(shares.size());
    for (int i = pixel.first; i < pixel.last; ++i)
        shares[size_t(i)].weight /= float(covered);
    pixels.push_back(pixel);
}

TileSeams::Run TileSeams::runOf(double from, double to, int length) {
    // The edges of a picture may be a little off by rounding.
    const double begin = std::clamp(from, 0.0, double(length));
    const double end = std::clamp(to, begin, double(length));
    Run run{std::min(int(begin), length - 1), 1, float(end - begin), 0};
    run.count = std::max(1, int(std::ceil(end)) - run.first);
    if (run.count > 1) {
        run.firstWeight = float(run.first + 1 - begin);
        run.lastWeight = float(end - (run.first + run.count - 1));
    }
    return run;
}

template <class Format>
typename Format::Color TileSeams::sumOver(const uchar* bits, qptrdiff stride, const Share& share) {
    const auto [left, columns, leftWeight, rightWeight] = share.columns;
    const uchar* line = bits + share.rows.first * stride + qptrdiff(left) * Format::kBytes;
    typename Format::Color sum{};
    for (int y = 0; y < share.rows.count; ++y, line += stride) {
        typename Format::Color across{};
        add(across, Format::colorOf(line), leftWeight);
        for (int x = 1; x < columns - 1; ++x)
            add(across, Format::colorOf(line + x * Format::kBytes), 1);
        if (columns > 1)
            add(across, Format::colorOf(line + (columns - 1) * Format::kBytes), rightWeight);
        const bool isLast = y > 0 && y == share.rows.count - 1;
        add(sum, across, y == 0 ? share.rows.firstWeight : isLast ? share.rows.lastWeight : 1.0F);
    }
    return sum;
}

template <class Format>
void TileSeams::takeAs(int index, const QImage& picture) {
    const uchar* bits = picture.constBits();
    for (const int i : sharesOf[size_t(index)]) {
        const Share& share = shares[size_t(i)];
        const auto sum = sumOver<Format>(bits, picture.bytesPerLine(), share);
        for (size_t channel = 0; channel < 3; ++channel)
            colors[size_t(i)][channel] = share.weight * sum[std::min(channel, sum.size() - 1)];
    }
}

void TileSeams::take(int index, const QImage& picture) {
    if (picture.format() == QImage::Format_Grayscale8)
        takeAs<Grey>(index, picture);
    else if (picture.format() == QImage::Format_RGB888)
        takeAs<Rgb888>(index, picture);
    else if (picture.format() == QImage::Format_RGB32)
        takeAs<Rgb32>(index, picture);
}

void TileSeams::paint(QImage& shown) const {
    uchar* bits = shown.bits();
    for (const Pixel& pixel : pixels) {
        Color sum{0.5F, 0.5F, 0.5F};
        for (int i = pixel.first; i < pixel.last; ++i)
            add(sum, colors[size_t(i)], 1);
        reinterpret_cast<QRgb*>(bits + qptrdiff(pixel.y) * shown.bytesPerLine())[pixel.x] =
            qRgb(int(sum[0]), int(sum[1]), int(sum[2]));
    }
}
