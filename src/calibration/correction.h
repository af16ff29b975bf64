// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <QTransform>
#include <array>
#include <opencv2/core.hpp>
#include <optional>

#include "calibration/calibration.h"
#include "calibration/cropgeometry.h"

/// Everything that the correction of the tiles needs, per tile index; GUI thread.
struct Correction {
    std::array<cv::Mat, 4> transforms;  ///< 3 x 3 `CV_64F`, frame px to corrected px; empty until calibrated
    std::array<cv::Mat, 4> mapX;        ///< `CV_32FC1`: source x of every corrected pixel
    std::array<cv::Mat, 4> mapY;        ///< `CV_32FC1`: source y
    CornerTable dstCorners;             ///< where the marked corners lie in the corrected picture
    bool isSmooth = false;              ///< pixels between four of the frame's instead of the nearest one

    /// Takes a tile's calibration and builds its maps for frames of `size` px. False, and nothing changed,
    /// when no maps can be built.
    bool take(int tile, const Calibration& calibration, QSize size);
};

/// The part that a tile shows of a remapped picture of `picture` px, made from frames of `frame` px, in
/// corrected px: the crop rectangle, or all of the picture where nothing can be cut. The rectangle keeps its
/// size where it reaches past the picture: cutting it down would move the neighbours' seams.
QRect cropOf(const Correction& correction, int tile, int tileCount, int layoutMode, QSize frame,
             QSize picture);

/// Frame px to px of the picture that a tile shows while the correction is on, each pixel of which is the
/// frame's nearest one. Nothing where the correction is smooth or the tile has none, and where the picture
/// would not be `shown` large; `frame` is the frames' size. Pure.
std::optional<QTransform> nearestFromFrame(const Correction& correction, int tile, int tileCount,
                                           int layoutMode, QSize frame, QSize shown);

/// The picture that a tile shows for a frame while the correction is on: the frame remapped with the tile's
/// maps (nearest neighbour, or bilinear where the correction is smooth; border pixels replicated), cut to the
/// tile's crop rectangle, in the frame's pixel format. The result has pixels of its own.
///
/// A crop rectangle that reaches past the maps shows there what the camera saw, where the frame has it, else
/// its border pixels. Without maps the frame comes back as it is; without corners for the layout, or with a
/// crop rectangle that misses the picture or is far larger, the remapped picture comes back uncut. A frame
/// without pixels comes back as it is. Nothing is thrown. This is the plain way, which says what is right;
/// FramePictures is the fast one.
QImage correctedPicture(const QImage& frame, const Correction& correction, int tile, int tileCount,
                        int layoutMode);
