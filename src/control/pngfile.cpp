// SPDX-License-Identifier: Apache-2.0
#include "control/pngfile.h"

#include <libdeflate.h>

#include <QColorSpace>
#include <QIODevice>
#include <QImageWriter>
#include <QtEndian>
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <opencv2/core/hal/intrin.hpp>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <vector>

#include "platform/memory.h"

namespace {

// Readers may take a chunk whole, so these are much smaller than a picture.
constexpr size_t kMostOfChunk = size_t{256} * 1024;  // bytes

/// Numbers of the file format.
enum class ColourType : uchar { Grey = 0, Rgb = 2, Rgba = 6 };
constexpr uchar kBitDepth = 8;
constexpr uchar kPaeth = 4;  // filter
constexpr uchar kPerMetre = 1;

/// How the picture's pixels are written here, if they are.
std::optional<ColourType> colourTypeOf(const QImage& picture) {
    if (!picture.textKeys().isEmpty() || !picture.offset().isNull() || picture.colorSpace().isValid())
        return {};
    switch (picture.format()) {
        case QImage::Format_Grayscale8:
            return ColourType::Grey;
        case QImage::Format_RGB888:
        case QImage::Format_RGB32:
            return ColourType::Rgb;
        case QImage::Format_ARGB32:
        case QImage::Format_ARGB32_Premultiplied:
            return ColourType::Rgba;
        default:
            return {};
    }
}

size_t bytesOfPixel(ColourType type) {
    switch (type) {
        case ColourType::Grey:
            return 1;
        case ColourType::Rgb:
            return 3;
        case ColourType::Rgba:
            return 4;
    }
    return 0;
}

/// In place of the level of Qt's writer (zlib's, 0 to 9) one that makes no larger a file sooner. With noise
/// in the picture, between 4 and 8, it is a few per cent larger: to save these would take longer than Qt
/// takes. For 9, the smallest file that can be had, it may take as long.
int levelFor(int quality) {
    constexpr std::array<int, 10> kLevels{0, 1, 1, 2, 4, 5, 6, 7, 8, 10};
    constexpr int kDefault = 6;
    return quality < 0 ? kDefault : kLevels[size_t((100 - std::min(quality, 100)) * 9 / 91)];
}

// ---- memory, which there may be none of -----------------------------------------------------------

/// A block for as many bytes as a picture has; null if there is not that much.
class Block {
public:
    explicit Block(size_t bytes) : length(bytes), memory(platform::takeZeroedMemory(bytes)) {}
    ~Block() {
        if (memory)
            platform::giveZeroedMemoryBack(memory, length);
    }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    uchar* data() const { return static_cast<uchar*>(memory); }
    size_t size() const { return length; }

private:
    size_t length;
    void* memory;
};

struct FreeCompressor {
    void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
};

// ---- rows -----------------------------------------------------------------------------------------

/// The bytes of a row as they are in the file, in `room` where they lie differently in the picture. Null if
/// there is no memory.
const uchar* bytesOfRow(const QImage& picture, int y, ColourType type, uchar* room) {
    const uchar* scanLine = picture.constScanLine(y);
    if (picture.format() == QImage::Format_RGB888 || picture.format() == QImage::Format_Grayscale8)
        return scanLine;
    // Row by row, so that it stays in this thread and in the cache. Only Qt undoes its own premultiplication
    // to the same values.
    const bool hasAlpha = type == ColourType::Rgba;
    QImage row(scanLine, picture.width(), 1, picture.bytesPerLine(), picture.format());
    if (hasAlpha)
        row = row.convertToFormat(QImage::Format_ARGB32);
    if (row.isNull())
        return nullptr;
    // A pixel is blue, green, red, alpha in memory; little endian, as everywhere here.
    const cv::Mat from(1, row.width(), CV_8UC4, const_cast<uchar*>(row.constBits()));
    cv::Mat to(1, row.width(), hasAlpha ? CV_8UC4 : CV_8UC3, room);
    cv::cvtColor(from, to, hasAlpha ? cv::COLOR_BGRA2RGBA : cv::COLOR_BGRA2RGB);
    return room;
}

/// Which of the bytes to the left, above, and above to the left is nearest to left + above - corner; of equal
/// ones the first.
uchar paeth(int left, int above, int corner) {
    const int toLeft = std::abs(above - corner);
    const int toAbove = std::abs(left - corner);
    const int toCorner = std::abs(left + above - 2 * corner);
    if (toLeft <= toAbove && toLeft <= toCorner)
        return uchar(left);
    return uchar(toAbove <= toCorner ? above : corner);
}

/// The same for several at once, within eight bits: the corner can be nearest only where it lies between the
/// others, and is as far from their sum then as their distances differ.
cv::v_uint8x16 paeth(const cv::v_uint8x16& left, const cv::v_uint8x16& above, const cv::v_uint8x16& corner) {
    const cv::v_uint8x16 toLeft = cv::v_absdiff(above, corner);
    const cv::v_uint8x16 toAbove = cv::v_absdiff(left, corner);
    const cv::v_uint8x16 isBetween = (cv::v_min(left, above) < corner) & (corner < cv::v_max(left, above));
    const cv::v_uint8x16 isCorner = isBetween & (cv::v_absdiff(toLeft, toAbove) < cv::v_min(toLeft, toAbove));
    return cv::v_select(isCorner, corner, cv::v_select(toLeft <= toAbove, left, above));
}

/// What the filter leaves of a row of so many bytes. With noise in the picture files are smaller than with
/// any other of the format's filters, and than with the best guess for each row.
void filterRow(const uchar* row, const uchar* rowAbove, size_t bytes, size_t bytesOfPixel, uchar* to) {
    constexpr size_t kTogether = 16;
    size_t i = 0;
    for (; i < bytesOfPixel; ++i)
        to[i] = uchar(row[i] - rowAbove[i]);
    for (; i + kTogether <= bytes; i += kTogether) {
        const cv::v_uint8x16 guess = paeth(cv::v_load(row + i - bytesOfPixel), cv::v_load(rowAbove + i),
                                           cv::v_load(rowAbove + i - bytesOfPixel));
        cv::v_store(to + i, cv::v_sub_wrap(cv::v_load(row + i), guess));
    }
    for (; i < bytes; ++i)
        to[i] = uchar(row[i] - paeth(row[i - bytesOfPixel], rowAbove[i], rowAbove[i - bytesOfPixel]));
}

/// The whole picture, each row behind the number of its filter. False if there is no memory.
bool filterPicture(const QImage& picture, ColourType type, uchar* to) {
    const size_t bytes = size_t(picture.width()) * bytesOfPixel(type);
    const std::vector<uchar> nothing(bytes);
    std::vector<uchar> room(bytes);
    std::vector<uchar> roomAbove(bytes);
    const uchar* rowAbove = nothing.data();
    for (int y = 0; y < picture.height(); ++y) {
        const uchar* row = bytesOfRow(picture, y, type, room.data());
        if (!row)
            return false;
        *to++ = kPaeth;
        filterRow(row, rowAbove, bytes, bytesOfPixel(type), to);
        to += bytes;
        rowAbove = row;
        room.swap(roomAbove);
    }
    return true;
}

// ---- the file -------------------------------------------------------------------------------------

/// Writes the parts of the file; after the first that fails nothing more.
class Chunks {
public:
    explicit Chunks(QIODevice& device) : file(device) { write("\x89PNG\r\n\x1a\n", 8); }

    void add(const char* type, const void* data, size_t size) {
        std::array<uchar, 8> head{};
        qToBigEndian(quint32(size), head.data());
        std::memcpy(&head[4], type, 4);
        std::array<uchar, 4> sum{};
        quint32 crc = libdeflate_crc32(0, &head[4], 4);
        if (size > 0)
            crc = libdeflate_crc32(crc, data, size);
        qToBigEndian(crc, sum.data());
        write(head.data(), head.size());
        write(data, size);
        write(sum.data(), sum.size());
    }

    QString problem() const { return trouble; }

private:
    void write(const void* data, size_t size) {
        if (size > 0 && trouble.isEmpty() &&
            file.write(static_cast<const char*>(data), qint64(size)) != qint64(size))
            trouble = file.errorString();
    }

    QIODevice& file;
    QString trouble;
};

QString writeFile(const QImage& picture, ColourType type, const uchar* stream, size_t size, QIODevice& file) {
    Chunks chunks(file);
    std::array<uchar, 13> header{};
    qToBigEndian(quint32(picture.width()), &header[0]);
    qToBigEndian(quint32(picture.height()), &header[4]);
    header[8] = kBitDepth;
    header[9] = uchar(type);
    chunks.add("IHDR", header.data(), header.size());
    if (picture.dotsPerMeterX() > 0 || picture.dotsPerMeterY() > 0) {
        std::array<uchar, 9> resolution{};
        qToBigEndian(qint32(picture.dotsPerMeterX()), &resolution[0]);
        qToBigEndian(qint32(picture.dotsPerMeterY()), &resolution[4]);
        resolution[8] = kPerMetre;
        chunks.add("pHYs", resolution.data(), resolution.size());
    }
    for (size_t done = 0; done < size; done += kMostOfChunk)
        chunks.add("IDAT", stream + done, std::min(kMostOfChunk, size - done));
    chunks.add("IEND", nullptr, 0);
    return chunks.problem();
}

QString writeByQt(const QImage& picture, int quality, QIODevice& file) {
    QImageWriter writer(&file, "png");
    writer.setQuality(quality);
    return writer.write(picture) ? QString() : writer.errorString();
}

}  // namespace

QString writePng(const QImage& picture, int quality, QIODevice& file) {
    const auto type = colourTypeOf(picture);
    const std::unique_ptr<libdeflate_compressor, FreeCompressor> compressor(
        type ? libdeflate_alloc_compressor(levelFor(quality)) : nullptr);
    if (!compressor)
        return writeByQt(picture, quality, file);
    const size_t bytesOfRow = 1 + size_t(picture.width()) * bytesOfPixel(*type);
    const Block filtered(bytesOfRow * size_t(picture.height()));
    // What is not used of it takes no memory.
    const Block stream(libdeflate_zlib_compress_bound(compressor.get(), filtered.size()));
    if (!filtered.data() || !stream.data() || !filterPicture(picture, *type, filtered.data()))
        return writeByQt(picture, quality, file);
    const size_t size = libdeflate_zlib_compress(compressor.get(), filtered.data(), filtered.size(),
                                                 stream.data(), stream.size());
    return size > 0 ? writeFile(picture, *type, stream.data(), size, file)
                    : writeByQt(picture, quality, file);
}
