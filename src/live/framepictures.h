#pragma once

#include <QImage>
#include <opencv2/core.hpp>

#include "calibration/correction.h"
#include "live/picturepool.h"
#include "calibration/runtable.h"

/// Makes the pictures that one tile shows from its frames: in the screen's own format, so that a pixmap of
/// them shares their pixels instead of converting them, and in memory that is used again. Their pixels are
/// those that QPixmap::fromImage makes of the frame or of its correctedPicture(). GUI thread.
class FramePictures {
public:
    /// The frame as it is. A frame without pixels, or of a format that no camera sends, comes back itself.
    QImage plain(const QImage& frame);

    /// The frame corrected and cut; arguments and exceptions to the rule as of correctedPicture(). The first
    /// frame after a change of maps, crop or frame shape takes longer: the table for the others is made.
    QImage corrected(const QImage& frame, const Correction& correction, int tile, int tileCount,
                     int layoutMode);

private:
    void compile(const Correction& correction, int tile, const QRect& crop, const RunTable::Shape& shape);

    PicturePool pool;
    RunTable table;
    // What the table was made from, or could not be made from.
    cv::Mat compiledTransform;
    cv::Mat compiledX;
    cv::Mat compiledY;
    QRect compiledCrop;
    RunTable::Shape compiledShape;
};
