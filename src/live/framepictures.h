// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <functional>
#include <opencv2/core.hpp>

#include "calibration/correction.h"
#include "live/picturepool.h"
#include "calibration/runtable.h"
#include "calibration/smoothtable.h"

/// Makes the pictures that one tile shows from its frames: in the frame's own format, and in memory that is
/// used again. Their pixels are those of the frame or of its correctedPicture(). GUI thread.
class FramePictures {
public:
    /// Looks at a picture that is being made: of its rows that many from the top are ready. First called with
    /// none. It may neither write the picture nor keep it.
    using Follower = std::function<void(const QImage& picture, int rows)>;

    /// The frame as it is. A frame without pixels, or of a format that no camera sends, comes back itself.
    /// Not every picture is followed.
    QImage plain(const QImage& frame, const Follower& follower = {});

    /// The frame corrected and cut; arguments and exceptions to the rule as of correctedPicture(). The first
    /// frame after a change of maps, crop, frame shape or smoothness takes longer: the table for the others
    /// is made.
    QImage corrected(const QImage& frame, const Correction& correction, int tile, int tileCount,
                     int layoutMode, const Follower& follower = {});

private:
    void compile(const Correction& correction, int tile, const QRect& crop, const RunTable::Shape& shape);
    QImage smooth(const QImage& frame);

    PicturePool pool;
    RunTable table;
    SmoothTable smoothTable;  // instead of it, where the correction is smooth
    // What the table was made from, or could not be made from.
    cv::Mat compiledTransform;
    cv::Mat compiledX;
    cv::Mat compiledY;
    QRect compiledCrop;
    RunTable::Shape compiledShape;
    bool isCompiledSmooth = false;
};
