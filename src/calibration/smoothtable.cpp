// SPDX-License-Identifier: Apache-2.0
#include "calibration/smoothtable.h"

#include <limits>
#include <opencv2/imgproc.hpp>

#include "calibration/tableparts.h"

namespace {

/// A place in one direction: of the two pixels on both sides the first, and what the second counts.
struct Side {
    int first;
    int weight;
};

/// The border goes on outside: the pixel at the edge counts all there.
Side inside(int first, int weight, int length) {
    if (first < 0)
        return {0, 0};
    if (first > length - 2)
        return {length - 2, platform::kMixParts};
    return {first, weight};
}

}  // namespace

SmoothTable::SmoothTable(const PartMaps& maps, const Shape& shape) : source(shape) {
    if (shape.format == QImage::Format_Grayscale8)
        pixelBytes = 1;
    else if (shape.format == QImage::Format_RGB888)
        pixelBytes = 3;
    const QSize size = shape.size;
    if (pixelBytes == 0 || size.width() < 2 || size.height() < 2 || size.width() > kMaxMapSide ||
        size.height() > kMaxMapSide ||
        qint64{shape.bytesPerLine} * size.height() > std::numeric_limits<int32_t>::max() ||
        shape.bytesPerLine < size.width() * pixelBytes || maps.x.empty())
        return;
    // The library itself says which pixels it mixes, and how.
    cv::Mat places;
    cv::Mat fractions;
    cv::convertMaps(maps.x, maps.y, places, fractions, CV_16SC2, false);
    takePlaces(places, fractions);
    buildRuns();
}

void SmoothTable::takePlaces(const cv::Mat& places, const cv::Mat& fractions) {
    const size_t count = places.total();
    right.assign(count + platform::kMixAhead, 0);
    below.assign(count + platform::kMixAhead, 0);
    offsets.resize(count);
    size_t i = 0;
    for (int r = 0; r < places.rows; ++r) {
        const auto* place = places.ptr<cv::Vec2s>(r);
        const auto* fraction = fractions.ptr<uint16_t>(r);
        for (int c = 0; c < places.cols; ++c, ++i) {
            const Side x = inside(place[c][0], fraction[c] % platform::kMixParts, source.size.width());
            const Side y = inside(place[c][1], fraction[c] / platform::kMixParts % platform::kMixParts,
                                  source.size.height());
            offsets[i] = y.first * source.bytesPerLine + x.first * pixelBytes;
            right[i] = static_cast<uint8_t>(x.weight);
            below[i] = static_cast<uint8_t>(y.weight);
        }
    }
    picture = QSize(places.cols, places.rows);
}

void SmoothTable::buildRuns() {
    firstRun.reserve(static_cast<size_t>(picture.height()) + 1);
    const int32_t* row = offsets.data();
    for (int y = 0; y < picture.height(); ++y, row += picture.width()) {
        firstRun.push_back(runs.size());
        for (int x = 0; x < picture.width();) {
            int end = x + 1;
            // Never on into the next row of the frame: the last pixel of a row has none to the right.
            while (end < picture.width() && row[end] == row[end - 1] + pixelBytes)
                ++end;
            runs.push_back({row[x], end - x});
            x = end;
        }
    }
    firstRun.push_back(runs.size());
    if (areLongEnough(meanRun())) {
        giveBack(offsets);
        runs.shrink_to_fit();
    } else {
        giveBack(runs);
        giveBack(firstRun);
    }
}

double SmoothTable::meanRun() const {
    return meanRunOf(picture, runs.size());
}

platform::MixWeights SmoothTable::weightsOf(int row) const {
    const size_t first = static_cast<size_t>(row) * static_cast<size_t>(picture.width());
    return {right.data() + first, below.data() + first};
}

void SmoothTable::mixRow(const platform::MixedPicture& frame, int row, uchar* line) const {
    platform::MixWeights weights = weightsOf(row);
    for (size_t i = firstRun[row]; i < firstRun[row + 1]; ++i) {
        const uchar* from = frame.pixels + runs[i].offset;
        for (int32_t n = 0; n < runs[i].length; ++n, ++weights.right, ++weights.below) {
            for (int channel = 0; channel < pixelBytes; ++channel)
                *line++ =
                    platform::mixed(from++, frame.bytesPerLine, pixelBytes, *weights.right, *weights.below);
        }
    }
}

template <int channels>
void SmoothTable::gather(const platform::MixedPicture& frame, QImage& target) const {
    uchar* const out = target.bits();
    const size_t outStride = size_t(target.bytesPerLine());
    inBlocks(picture, [&](int y, int left, int count) {
        const int32_t* from = offsets.data() + size_t(y) * size_t(picture.width()) + left;
        const platform::MixWeights weights = weightsOf(y);
        uchar* line = out + size_t(y) * outStride + size_t(left) * channels;
        for (int x = 0; x < count; ++x) {
            const uchar* pixel = frame.pixels + from[x];
            for (int channel = 0; channel < channels; ++channel)
                *line++ = platform::mixed(pixel++, frame.bytesPerLine, channels, weights.right[left + x],
                                          weights.below[left + x]);
        }
    });
}

void SmoothTable::apply(const QImage& frame, QImage& target, Code code) const {
    Q_ASSERT(serves(Shape::of(frame)) && target.format() == frame.format() && target.size() == picture);
    const uchar* const pixels = frame.constBits();
    const qint64 bytes =
        qint64{source.bytesPerLine} * (source.size.height() - 1) + qint64{source.size.width()} * pixelBytes;
    const platform::MixedPicture from{pixels, pixels + bytes, source.bytesPerLine, pixelBytes};
    if (!offsets.empty()) {
        if (pixelBytes == 1)
            gather<1>(from, target);
        else
            gather<3>(from, target);
        return;
    }
    const bool isQuick = code == Code::Best && platform::hasMixRuns();
    uchar* const out = target.bits();
    const size_t outStride = size_t(target.bytesPerLine());
    // A band's surplus stays in it: the next one may be done already.
    const auto band = [&](const cv::Range& rows) {
        const uchar* const end = out + size_t(rows.end) * outStride;
        for (int y = rows.start; y < rows.end; ++y) {
            uchar* const line = out + size_t(y) * outStride;
            if (isQuick)
                platform::mixRuns(from, runs.data() + firstRun[y], runs.data() + firstRun[y + 1],
                                  weightsOf(y), line, end);
            else
                mixRow(from, y, line);
        }
    };
    const cv::Range all(0, picture.height());
    // A grey picture is made in little more than the time in which another thread begins.
    if (isQuick && pixelBytes == 1)
        band(all);
    else
        cv::parallel_for_(all, band, double(picture.height()) / kTableBlock);
}
