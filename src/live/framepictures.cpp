#include "live/framepictures.h"

#include <QDebug>
#include <opencv2/imgproc.hpp>

#include "calibration/correctionmaps.h"

QImage FramePictures::plain(const QImage& frame) {
    const bool isGrey = frame.format() == QImage::Format_Grayscale8;
    if (frame.isNull() || (!isGrey && frame.format() != QImage::Format_RGB888))
        return frame;
    try {
        QImage& picture = pool.take(frame.size());
        if (picture.isNull())
            return frame;
        const cv::Mat from(frame.height(), frame.width(), isGrey ? CV_8UC1 : CV_8UC3,
                           const_cast<uchar*>(frame.constBits()), static_cast<size_t>(frame.bytesPerLine()));
        cv::Mat to(picture.height(), picture.width(), CV_8UC4, picture.bits(),
                   static_cast<size_t>(picture.bytesPerLine()));
        cv::cvtColor(from, to, isGrey ? cv::COLOR_GRAY2BGRA : cv::COLOR_RGB2BGRA);
        return picture;
    } catch (const std::exception& error) {
        qWarning("Frame shown without its picture: %s", error.what());
        return frame;
    }
}

QImage FramePictures::corrected(const QImage& frame, const Correction& correction, int tile, int tileCount,
                                int layoutMode) {
    const cv::Mat& mapX = correction.mapX[tile];
    if (frame.isNull() || mapX.empty())
        return plain(frame);
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
                                    shape == compiledShape;
            if (!isCompiled)
                compile(correction, tile, crop, shape);
            if (table.serves(shape)) {
                QImage& picture = pool.take(table.pictureSize());
                if (!picture.isNull()) {
                    table.apply(frame, picture);
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
    try {
        const PartMaps maps = partMaps(compiledTransform, compiledX, compiledY, crop);
        table = RunTable(maps.x, maps.y, QRect(QPoint(), crop.size()), shape);
    } catch (const std::exception& error) {
        qWarning("Tile %d is corrected the slow way: %s", tile, error.what());
        table = RunTable();
    }
}
