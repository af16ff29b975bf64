// SPDX-License-Identifier: Apache-2.0
#include "live/framepictures.h"

#include <QDebug>
#include <cstring>

#include "calibration/correctionmaps.h"

namespace {

// Few enough rows for a processor's own cache.
constexpr int kRowsTogether = 16;

}  // namespace

QImage FramePictures::plain(const QImage& frame, const Follower& follower) {
    const bool isGrey = frame.format() == QImage::Format_Grayscale8;
    if (frame.isNull() || (!isGrey && frame.format() != QImage::Format_RGB888))
        return frame;
    QImage& picture = pool.take(frame.size(), frame.format());
    if (picture.isNull())
        return frame;
    const size_t bytes = size_t(frame.width()) * (isGrey ? 1 : 3);
    uchar* const bits = picture.bits();
    if (follower)
        follower(picture, 0);
    for (int y = 0; y < frame.height();) {
        std::memcpy(bits + qptrdiff(y) * picture.bytesPerLine(), frame.constScanLine(y), bytes);
        ++y;
        if (follower && (y % kRowsTogether == 0 || y == frame.height()))
            follower(picture, y);
    }
    return picture;
}

QImage FramePictures::corrected(const QImage& frame, const Correction& correction, int tile, int tileCount,
                                int layoutMode, const Follower& follower) {
    const cv::Mat& mapX = correction.mapX[tile];
    if (frame.isNull() || mapX.empty())
        return plain(frame, follower);
    const QSize size = frame.size();
    // A camera whose frames have another size than its maps is corrected the plain way: a table would be made
    // anew whenever it changes.
    if (size == QSize(mapX.cols, mapX.rows)) {
        const QRect crop = cropOf(correction, tile, tileCount, layoutMode, size, size);
        const auto shape = RunTable::Shape::of(frame);
        try {
            const bool isCompiled = correction.transforms[tile].data == compiledTransform.data &&
                                    mapX.data == compiledX.data &&
                                    correction.mapY[tile].data == compiledY.data && crop == compiledCrop &&
                                    shape == compiledShape && correction.isSmooth == isCompiledSmooth;
            if (!isCompiled)
                compile(correction, tile, crop, shape);
            if (smoothTable.serves(shape))
                return smooth(frame);
            if (table.serves(shape)) {
                QImage& picture = pool.take(table.pictureSize(), frame.format());
                if (!picture.isNull()) {
                    if (follower) {
                        follower(picture, 0);
                        table.apply(frame, picture, [&](int rows) { follower(picture, rows); });
                    } else {
                        table.apply(frame, picture);
                    }
                    return picture;
                }
            }
        } catch (const std::exception& error) {
            qWarning("Frame of tile %d is corrected the slow way: %s", tile, error.what());
        }
    }
    return correctedPicture(frame, correction, tile, tileCount, layoutMode);
}

void FramePictures::compile(const Correction& correction, int tile, const QRect& crop,
                            const RunTable::Shape& shape) {
    // Kept, so that other maps cannot come to lie at the same place.
    compiledTransform = correction.transforms[tile];
    compiledX = correction.mapX[tile];
    compiledY = correction.mapY[tile];
    compiledCrop = crop;
    compiledShape = shape;
    isCompiledSmooth = correction.isSmooth;
    table = RunTable();
    smoothTable = SmoothTable();
    try {
        const PartMaps maps = partMaps(compiledTransform, compiledX, compiledY, crop);
        if (isCompiledSmooth)
            smoothTable = SmoothTable(maps, shape);
        else
            table = RunTable(maps.x, maps.y, QRect(QPoint(), crop.size()), shape);
    } catch (const std::exception& error) {
        qWarning("Tile %d is corrected the slow way: %s", tile, error.what());
    }
}

QImage FramePictures::smooth(const QImage& frame) {
    QImage& picture = pool.take(smoothTable.pictureSize(), frame.format());
    if (picture.isNull())
        throw std::bad_alloc();
    smoothTable.apply(frame, picture);
    return picture;
}
