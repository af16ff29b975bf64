#include "calibration/runtable.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "platform/pixels.h"

namespace {

// A strip of a wide picture fits into the second level of a processor's cache.
constexpr int kStripRows = 16;
constexpr int kBlock = 64;       // px; a block's source pixels fit however the picture is turned
constexpr int kMaxSide = 32766;  // px that cv::remap can address
constexpr int kPiece = 64;       // bytes copied at a time
// Shorter runs cost more than single pixels do.
constexpr double kShortestMeanRun = 4;

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
    if (double(places.total()) / double(runs.size()) >= kShortestMeanRun)
        return;
    runs = {};
    firstRun = {};
    offsets.assign(places.begin<int32_t>(), places.end<int32_t>());
}

double RunTable::meanRun() const {
    return runs.empty() ? 0.0 : double(picture.width()) * picture.height() / double(runs.size());
}

/// Copies in pieces of one size, which needs no call: what is too much is overwritten by the next run, and
/// what follows the last one is never read.
void RunTable::copyRuns(const uchar* frame, int row, uchar* line) const {
    const int32_t lastSafe = frameBytes() - kPiece;
    for (size_t i = firstRun[row]; i < firstRun[row + 1]; ++i) {
        const Run run = runs[i];
        const uchar* from = frame + run.offset;
        if (run.length > 0) {
            const int32_t bytes = run.length * pixelBytes;
            if (run.offset + bytes <= lastSafe) {
                for (int32_t n = 0; n < bytes; n += kPiece)
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

/// Pixel by pixel, in blocks; several at a time, as the library's remap does it.
void RunTable::gather(const uchar* frame, QImage& target) const {
    uchar* const out = target.bits();
    const size_t outStride = size_t(target.bytesPerLine());
    const bool isGrey = pixelBytes == 1;
    const auto block = [&](int top, int left) {
        const int bottom = std::min(top + kBlock, picture.height());
        const int count = std::min(kBlock, picture.width() - left);
        for (int y = top; y < bottom; ++y) {
            const int32_t* from = offsets.data() + size_t(y) * size_t(picture.width()) + left;
            auto* line = reinterpret_cast<QRgb*>(out + size_t(y) * outStride) + left;
            if (isGrey) {
                for (int x = 0; x < count; ++x)
                    line[x] = 0xff000000U | frame[from[x]] * 0x010101U;
            } else {
                for (int x = 0; x < count; ++x)
                    line[x] = qRgb(frame[from[x]], frame[from[x] + 1], frame[from[x] + 2]);
            }
        }
    };
    const cv::Range blockRows(0, (picture.height() + kBlock - 1) / kBlock);
    cv::parallel_for_(blockRows, [&](const cv::Range& range) {
        for (int row = range.start; row < range.end; ++row) {
            for (int left = 0; left < picture.width(); left += kBlock)
                block(row * kBlock, left);
        }
    });
}

void RunTable::apply(const QImage& frame, QImage& target, Code code) const {
    Q_ASSERT(serves(Shape::of(frame)) && target.format() == QImage::Format_RGB32 && target.size() == picture);
    const uchar* const pixels = frame.constBits();
    if (!offsets.empty()) {
        gather(pixels, target);
        return;
    }
    uchar* const out = target.bits();
    const size_t outStride = size_t(target.bytesPerLine());
    const bool isGrey = pixelBytes == 1;
    if (!isGrey && code == Code::Best && platform::hasUnpackRgbRuns()) {
        // Straight to RGB32, row by row and run by run: what goes beyond one is overwritten by the next.
        platform::unpackRgbRuns(pixels, pixels + frameBytes(), runs.data(), runs.data() + runs.size(),
                                reinterpret_cast<uint32_t*>(out),
                                reinterpret_cast<uint32_t*>(out + size_t(picture.height()) * outStride));
        return;
    }
    // Rows of the frame's own format first, then to RGB32, a strip at a time while it is in the cache.
    // Its rows are longer by what may be copied too much.
    cv::Mat strip(kStripRows, picture.width() + kPiece, isGrey ? CV_8UC1 : CV_8UC3);
    for (int top = 0; top < picture.height(); top += kStripRows) {
        const int rows = std::min(kStripRows, picture.height() - top);
        for (int y = 0; y < rows; ++y)
            copyRuns(pixels, top + y, strip.ptr(y));
        cv::Mat part(rows, picture.width(), CV_8UC4, out + size_t(top) * outStride, outStride);
        cv::cvtColor(strip(cv::Rect(0, 0, picture.width(), rows)), part,
                     isGrey ? cv::COLOR_GRAY2BGRA : cv::COLOR_RGB2BGRA);
    }
}
