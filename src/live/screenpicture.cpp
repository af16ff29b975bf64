// SPDX-License-Identifier: Apache-2.0
#include "live/screenpicture.h"

#include <QDebug>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <opencv2/core/hal/intrin.hpp>

namespace {

// Up to here a device pixel is at most 15 px wide, touches at most 16, and 7 bits weigh them well enough.
constexpr double kLeastScaleOfLoops = 1.0 / (platform::kBoxTaps - 1);

// What the weights of wider means add up to.
constexpr int kWideWhole = 1 << 14;

// As the tiles' borders have it: a centre this near to an edge (device px) lies on it.
constexpr double kOnEdge = 1e-6;

/// Bytes of a pixel; 0 for a format that has to be converted.
int channelsOf(QImage::Format format) {
    switch (format) {
        case QImage::Format_Grayscale8:
            return 1;
        case QImage::Format_RGB888:
            return 3;
        case QImage::Format_RGB32:
            return 4;
        default:
            return 0;
    }
}

QImage readable(const QImage& picture) {
    return channelsOf(picture.format()) ? picture : picture.convertToFormat(QImage::Format_RGB32);
}

/// Divides `whole` among the pixels first, first + 1 ... as [low, high) covers them, so that the weights' sum
/// is exact; returns how many got some, after leaving out those at the ends that got none.
int appendWeights(double low, double high, int& first, int end, int whole, std::vector<uint16_t>& weights) {
    int given = 0;
    int count = 0;
    for (int pixel = first; pixel < end && given < whole; ++pixel) {
        const double share = (std::min(double(pixel) + 1, high) - low) / (high - low);
        const int until = pixel + 1 == end ? whole : int(std::lround(whole * std::min(share, 1.0)));
        if (count == 0 && until <= given) {
            first = pixel + 1;
            continue;
        }
        weights.push_back(uint16_t(until - given));
        given = until;
        ++count;
    }
    return count;
}

void addEight(const cv::v_uint16x8& from, const cv::v_uint16x8& weight, uint32_t* to) {
    cv::v_uint32x4 low;
    cv::v_uint32x4 high;
    cv::v_mul_expand(from, weight, low, high);
    cv::v_store(to, cv::v_load(to) + low);
    cv::v_store(to + 4, cv::v_load(to + 4) + high);
}

void addWeighed(const uchar* from, int count, uint16_t weight, uint32_t* to) {
    const cv::v_uint16x8 weights = cv::v_setall_u16(weight);
    int i = 0;
    for (; count - i >= 16; i += 16) {
        cv::v_uint16x8 low;
        cv::v_uint16x8 high;
        cv::v_expand(cv::v_load(from + i), low, high);
        addEight(low, weights, to + i);
        addEight(high, weights, to + i + 8);
    }
    for (; i < count; ++i)
        to[i] += uint32_t(weight) * from[i];
}

}  // namespace

void ScreenPicture::Axis::nearest(int length, double scale, double origin, int from, int count) {
    starts.resize(size_t(count));
    lengths.assign(size_t(count), 1);
    for (int i = 0; i < count; ++i) {
        const double centre = (double(from) + i + 0.5 + kOnEdge - origin) / scale;
        starts[size_t(i)] = int(std::clamp(std::floor(centre), 0.0, double(length - 1)));
    }
}

void ScreenPicture::Axis::boxes(int length, double scale, double origin, int from, int count, int whole) {
    starts.resize(size_t(count));
    lengths.resize(size_t(count));
    firsts.resize(size_t(count));
    weights.clear();
    for (int i = 0; i < count; ++i) {
        const double low = std::clamp((double(from) + i - origin) / scale, 0.0, double(length));
        const double high = std::clamp((double(from) + i + 1 - origin) / scale, 0.0, double(length));
        int first = std::min(int(std::floor(low)), length - 1);
        const int end = std::max(int(std::ceil(high)), first + 1);
        firsts[size_t(i)] = int(weights.size());
        if (high - low > 0) {
            lengths[size_t(i)] = appendWeights(low, high, first, end, whole, weights);
        } else {  // asked for beside the picture
            weights.push_back(uint16_t(whole));
            lengths[size_t(i)] = 1;
        }
        starts[size_t(i)] = first;
    }
}

double cleanScale(double scale) {
    return std::abs(scale - 1) <= 1e-9 ? 1.0 : scale;
}

const QImage& ScreenPicture::of(const QImage& picture, const Placement& at, const QRect& part) {
    const Placement placement{cleanScale(at.scale), at.origin};
    const bool isPossible = !picture.isNull() && !part.isEmpty() && placement.scale > 0 &&
                            std::isfinite(placement.origin.x()) && std::isfinite(placement.origin.y());
    if (isPossible && (kept.size() != part.size() || !kept.isDetached()))
        kept = QImage(part.size(), QImage::Format_RGB32);
    if (!isPossible || kept.isNull()) {
        kept = QImage();
        return kept;
    }
    try {
        const QImage usable = readable(picture);
        const int channelsNow = channelsOf(usable.format());
        if (usable.size() != tableSize || channelsNow != channels || !(placement == tablePlacement) ||
            part != tablePart) {
            channels = channelsNow;
            compile(usable.size(), placement, part);
        }
        followedRows = 0;
        fill(usable, 0, part.height());
    } catch (const std::exception& error) {
        qWarning("A picture is not shown: %s", error.what());
        tablePart = QRect();
        kept = QImage();
    }
    return kept;
}

void ScreenPicture::follow(const QImage& picture, int rows) {
    if (rows == 0)
        followedRows = 0;
    if (rows == 0 || kept.isNull() || kept.size() != tablePart.size() || picture.size() != tableSize ||
        channelsOf(picture.format()) != channels)
        return;
    int end = followedRows;
    while (end < tablePart.height() && down.endOf(end) <= rows)
        ++end;
    if (end > followedRows)
        fill(picture, followedRows, end);
    followedRows = end;
    followedKey = picture.cacheKey();
}

bool ScreenPicture::isOf(const QImage& picture) const {
    return !kept.isNull() && kept.size() == tablePart.size() && followedRows == tablePart.height() &&
           followedKey == picture.cacheKey();
}

void ScreenPicture::compile(QSize size, const Placement& placement, const QRect& part) {
    tablePart = QRect();  // until all is made
    const bool isNearest = placement.scale >= 1;
    const int whole = placement.scale >= kLeastScaleOfLoops ? platform::kBoxWhole : kWideWhole;
    if (isNearest) {
        across.nearest(size.width(), placement.scale, placement.origin.x(), part.left(), part.width());
        down.nearest(size.height(), placement.scale, placement.origin.y(), part.top(), part.height());
    } else {
        across.boxes(size.width(), placement.scale, placement.origin.x(), part.left(), part.width(), whole);
        down.boxes(size.height(), placement.scale, placement.origin.y(), part.top(), part.height(), whole);
    }
    firstColumn = across.starts.front();
    columnCount = across.endOf(part.width() - 1) - firstColumn;
    if (isNearest)
        pixelRow.resize(size_t(columnCount));
    const size_t bytes = size_t(columnCount) * size_t(channels);
    if (!isNearest && whole == kWideWhole)
        sumRow.resize(bytes);
    if (!isNearest && whole == platform::kBoxWhole) {
        meanRow.resize(bytes + platform::kBoxBehind);
        compileColumns();
    }
    tableSize = size;
    tablePlacement = placement;
    tablePart = part;
}

/// The weights as the loops read them, each device pixel's with the same number of places.
void ScreenPicture::compileColumns() {
    const int count = int(across.starts.size());
    const int filled = (count + platform::kBoxTogether - 1) / platform::kBoxTogether * platform::kBoxTogether;
    taps = (*std::max_element(across.lengths.begin(), across.lengths.end()) + 3) / 4 * 4;
    columnStarts.assign(size_t(filled), across.starts.back() - firstColumn);
    for (int i = 0; i < count; ++i)
        columnStarts[size_t(i)] = across.starts[size_t(i)] - firstColumn;

    columnShuffles.assign(size_t(filled) * 4, 0);
    for (int i = 0; taps == 4 && i < filled * 4; ++i) {
        const int output = i / 4;
        const int firstOfFour = output - output % 4;
        const int place = columnStarts[size_t(output)] - columnStarts[size_t(firstOfFour)] + i % 4;
        if (place < 16)
            columnShuffles[size_t(i)] = uchar(place);
        else  // cannot be for four that really have four
            taps = platform::kBoxTaps;
    }

    columnWeights.assign(size_t(filled) * size_t(taps) + platform::kBoxTaps, 0);
    for (int i = 0; i < count; ++i) {
        std::copy_n(across.weights.begin() + across.firsts[size_t(i)], across.lengths[size_t(i)],
                    columnWeights.begin() + ptrdiff_t(i) * taps);
    }
}

void ScreenPicture::fill(const QImage& picture, int top, int bottom) {
    if (tablePlacement.scale >= 1)
        fillNearest(picture, top, bottom);
    else if (tablePlacement.scale >= kLeastScaleOfLoops)
        fillMeans(picture, top, bottom);
    else
        fillWideMeans(picture, top, bottom);
}

void ScreenPicture::fillNearest(const QImage& picture, int top, int bottom) {
    const int width = tablePart.width();
    const bool isPlain = tablePlacement.scale == 1.0 && columnCount == width;
    uchar* const bits = kept.bits();
    const uint32_t* previous = nullptr;
    int previousRow = -1;
    for (int y = top; y < bottom; ++y) {
        auto* to = reinterpret_cast<uint32_t*>(bits + ptrdiff_t(y) * kept.bytesPerLine());
        const int row = down.starts[size_t(y)];
        const uchar* from = picture.constScanLine(row) + ptrdiff_t(firstColumn) * channels;
        if (row == previousRow) {
            std::memcpy(to, previous, size_t(width) * sizeof *to);
        } else if (isPlain) {
            loops->spread(from, channels, columnCount, to);
        } else {
            loops->spread(from, channels, columnCount, pixelRow.data());
            for (int x = 0; x < width; ++x)
                to[x] = pixelRow[size_t(across.starts[size_t(x)] - firstColumn)];
        }
        previous = to;
        previousRow = row;
    }
}

void ScreenPicture::fillMeans(const QImage& picture, int top, int bottom) {
    const platform::BoxColumns columns{columnStarts.data(), columnWeights.data(), columnShuffles.data(), taps,
                                       tablePart.width()};
    const size_t bytes = size_t(columnCount) * size_t(channels);
    uchar* const bits = kept.bits();
    platform::BoxRow rows[platform::kBoxTaps + 2];
    for (int y = top; y < bottom; ++y) {
        int count = 0;
        const uint16_t* weights = down.weights.data() + down.firsts[size_t(y)];
        for (int i = 0; i < down.lengths[size_t(y)]; ++i) {
            const uchar* from =
                picture.constScanLine(down.starts[size_t(y)] + i) + ptrdiff_t(firstColumn) * channels;
            const int half = weights[i] == platform::kBoxWhole ? weights[i] / 2 : 0;
            rows[count++] = {from, weights[i] - half};
            if (half)
                rows[count++] = {from, half};
        }
        if (count % 2) {
            rows[count] = {rows[count - 1].bytes, 0};
            ++count;
        }
        loops->rows(rows, count, bytes, meanRow.data());
        auto* to = reinterpret_cast<uint32_t*>(bits + ptrdiff_t(y) * kept.bytesPerLine());
        if (channels == 1)
            loops->grey(meanRow.data(), columns, to);
        else
            loops->colour(meanRow.data(), channels, columns, to);
    }
}

/// For means of so many pixels that 7 bits are too few to weigh them. Seldom seen, so without loops of its
/// own.
void ScreenPicture::fillWideMeans(const QImage& picture, int top, int bottom) {
    const int bytes = columnCount * channels;
    const int red = channels == 4 ? 2 : 0;
    const int green = channels == 1 ? 0 : 1;
    const int blue = channels == 3 ? 2 : 0;
    uchar* const bits = kept.bits();
    for (int y = top; y < bottom; ++y) {
        std::fill_n(sumRow.begin(), bytes, 0U);
        const uint16_t* weights = down.weights.data() + down.firsts[size_t(y)];
        for (int i = 0; i < down.lengths[size_t(y)]; ++i) {
            const uchar* from =
                picture.constScanLine(down.starts[size_t(y)] + i) + ptrdiff_t(firstColumn) * channels;
            addWeighed(from, bytes, weights[i], sumRow.data());
        }
        auto* to = reinterpret_cast<uint32_t*>(bits + ptrdiff_t(y) * kept.bytesPerLine());
        for (int x = 0; x < tablePart.width(); ++x) {
            const uint32_t* sums =
                sumRow.data() + ptrdiff_t(across.starts[size_t(x)] - firstColumn) * channels;
            const uint16_t* columns = across.weights.data() + across.firsts[size_t(x)];
            uint32_t mean[3] = {1U << 21, 1U << 21, 1U << 21};
            for (int i = 0; i < across.lengths[size_t(x)]; ++i, sums += channels) {
                // Of 22 bits 16 are kept, so that weighing them with 14 stays within 32 bits.
                mean[0] += ((sums[red] + 32) >> 6) * columns[i];
                mean[1] += ((sums[green] + 32) >> 6) * columns[i];
                mean[2] += ((sums[blue] + 32) >> 6) * columns[i];
            }
            to[x] = 0xff000000U | (mean[0] >> 22) << 16 | (mean[1] >> 22) << 8 | mean[2] >> 22;
        }
    }
}
