// SPDX-License-Identifier: Apache-2.0
#include "calibration/runtable.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "calibration/tableparts.h"
#include "platform/prefetch.h"

namespace {

constexpr int kMaxSide = 32766;  // px that cv::remap can address
// Bytes that are copied at a time: most runs of a grey picture are done with the first two.
constexpr int kFirstPiece = 32;
constexpr int kPiece = 64;
// The next row of the picture begins its runs about a row further down in the frame, where no processor
// guesses them: while one row is copied, what the one after the next takes is fetched.
constexpr int kRowsAhead = 2;
// Rows after which somebody else may look at them: few enough for a processor's own cache.
constexpr int kRowsTogether = 16;

}  // namespace

RunTable::RunTable(const cv::Mat& mapX, const cv::Mat& mapY, const QRect& crop, const Shape& shape)
    : source(shape) {
    if (shape.format == QImage::Format_Grayscale8)
        pixelBytes = 1;
    else if (shape.format == QImage::Format_RGB888)
        pixelBytes = 3;
    const QSize size = shape.size;
    if (pixelBytes == 0 || size.isEmpty() || size.width() > kMaxSide || size.height() > kMaxSide ||
        qint64{shape.bytesPerLine} * size.height() > std::numeric_limits<int32_t>::max() ||
        shape.bytesPerLine < size.width() * pixelBytes || !crop.isValid() ||
        !QRect(0, 0, mapX.cols, mapX.rows).contains(crop))
        return;
    // The library itself says which pixel it takes: it is given a frame whose pixels hold their own places.
    cv::Mat places(size.height(), size.width(), CV_32SC1);
    for (int y = 0; y < places.rows; ++y) {
        auto* row = places.ptr<int32_t>(y);
        for (int x = 0; x < places.cols; ++x)
            row[x] = y * shape.bytesPerLine + x * pixelBytes;
    }
    const cv::Rect part(crop.x(), crop.y(), crop.width(), crop.height());
    cv::Mat taken;
    cv::remap(places, taken, mapX(part), mapY(part), cv::INTER_NEAREST, cv::BORDER_REPLICATE, cv::Scalar(0));
    buildRuns(taken);
    picture = crop.size();
}

void RunTable::buildRuns(const cv::Mat& places) {
    // A run must not go on in the next row of the frame, whose first pixel follows where rows are packed.
    const int lastInRow = (source.size.width() - 1) * pixelBytes;
    firstRun.reserve(static_cast<size_t>(places.rows) + 1);
    for (int y = 0; y < places.rows; ++y) {
        firstRun.push_back(runs.size());
        const auto* row = places.ptr<int32_t>(y);
        for (int x = 0; x < places.cols;) {
            const int32_t start = row[x];
            int end = x + 1;
            if (end < places.cols && row[end] == start) {
                while (end < places.cols && row[end] == start)
                    ++end;
                runs.push_back({start, x - end});
            } else {
                while (end < places.cols && row[end] == row[end - 1] + pixelBytes &&
                       row[end - 1] % source.bytesPerLine != lastInRow)
                    ++end;
                runs.push_back({start, end - x});
            }
            x = end;
        }
    }
    firstRun.push_back(runs.size());
    if (areLongEnough(meanRunOf(QSize(places.cols, places.rows), runs.size())))
        return;
    giveBack(runs);
    giveBack(firstRun);
    offsets.assign(places.begin<int32_t>(), places.end<int32_t>());
}

double RunTable::meanRun() const {
    return meanRunOf(picture, runs.size());
}

/// Copies in pieces of fixed sizes, which needs no call: what is too much is overwritten by the next run.
/// Near the end of the row, and of the frame, no byte too much is touched.
void RunTable::copyRuns(const uchar* frame, int row, uchar* line) const {
    const int32_t lastSafe = frameBytes() - kPiece;
    const int32_t ahead = std::min(kRowsAhead, source.size.height()) * source.bytesPerLine;
    const int32_t lastAhead = frameBytes() - 1 - ahead;
    const uchar* const lineEnd = line + size_t(picture.width()) * size_t(pixelBytes);
    for (size_t i = firstRun[size_t(row)]; i < firstRun[size_t(row) + 1]; ++i) {
        const Run run = runs[i];
        const uchar* from = frame + run.offset;
        platform::readSoon(frame + (std::min(run.offset, lastAhead) + ahead));
        if (run.length > 0) {
            const int32_t bytes = run.length * pixelBytes;
            if (run.offset + bytes <= lastSafe && lineEnd - line >= bytes + kPiece) {
                std::memcpy(line, from, kFirstPiece);
                for (int32_t n = kFirstPiece; n < bytes; n += kPiece)
                    std::memcpy(line + n, from + n, kPiece);
            } else {
                std::memcpy(line, from, size_t(bytes));
            }
            line += bytes;
        } else if (pixelBytes == 1) {
            std::memset(line, *from, size_t(-run.length));
            line -= run.length;
        } else {
            for (int32_t n = run.length; n < 0; ++n, line += pixelBytes)
                std::memcpy(line, from, 3);
        }
    }
}

void RunTable::gather(const uchar* frame, QImage& target) const {
    uchar* const out = target.bits();
    const size_t outStride = size_t(target.bytesPerLine());
    const bool isGrey = pixelBytes == 1;
    inBlocks(picture, [&](int y, int left, int count) {
        const int32_t* from = offsets.data() + size_t(y) * size_t(picture.width()) + left;
        uchar* line = out + size_t(y) * outStride + size_t(left) * size_t(pixelBytes);
        if (isGrey) {
            for (int x = 0; x < count; ++x)
                line[x] = frame[from[x]];
        } else {
            for (int x = 0; x < count; ++x)
                std::memcpy(line + size_t(x) * 3, frame + from[x], 3);
        }
    });
}

void RunTable::apply(const QImage& frame, QImage& target, const std::function<void(int)>& rowsMade) const {
    Q_ASSERT(serves(Shape::of(frame)) && target.format() == source.format && target.size() == picture);
    const uchar* const pixels = frame.constBits();
    if (!offsets.empty()) {
        gather(pixels, target);
        if (rowsMade)
            rowsMade(picture.height());
        return;
    }
    uchar* const out = target.bits();
    const size_t outStride = size_t(target.bytesPerLine());
    for (int y = 0; y < picture.height();) {
        copyRuns(pixels, y, out + size_t(y) * outStride);
        ++y;
        if (rowsMade && (y % kRowsTogether == 0 || y == picture.height()))
            rowsMade(y);
    }
}
