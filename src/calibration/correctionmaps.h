// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QRect>
#include <QSize>
#include <opencv2/core.hpp>

/// Sides that cv::remap can address, and a total that keeps four pairs of maps within a PC's memory; px.
constexpr int kMaxMapSide = 32766;
constexpr qint64 kMaxMapPixels = 64LL * 1024 * 1024;

/// Builds the maps that remap a frame with: element (r, c) of `mapX` and `mapY` (`CV_32FC1`, `size` large) is
/// the source x and y in frame px of the corrected picture's pixel (c, r), i.e. the inverse of `transform`
/// applied to (c, r). `transform` is the 3 x 3 matrix (`CV_64FC1`) from frame px to corrected px. Pure; any
/// thread.
///
/// False, and both maps empty, when the transform has no inverse or the size is none that a picture can have.
bool buildCorrectionMaps(const cv::Mat& transform, QSize size, cv::Mat& mapX, cv::Mat& mapY);

/// The maps of a part of the corrected picture, as large as the part.
struct PartMaps {
    cv::Mat x;
    cv::Mat y;
};

/// The maps that remap a frame to `part` (corrected px) alone: inside `mapX` and `mapY` their elements, and
/// beyond them what buildCorrectionMaps() would have put there, so that frame pixels which show only beyond
/// the edge of the maps are not lost. With a transform that has no inverse the maps' edges are repeated. A
/// part inside the maps shares their elements. Pure; any thread.
///
/// `part` has to be valid and to meet the maps, which have to be of one size. Throws what OpenCV throws.
PartMaps partMaps(const cv::Mat& transform, const cv::Mat& mapX, const cv::Mat& mapY, const QRect& part);
