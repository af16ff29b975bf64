// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QSize>

#include <opencv2/core.hpp>

#include "camera/kvcap2.h"

// What a camera of the library on the library path shows and says, for tests. Any thread that may call the
// library.

/// One frame as a matrix of 1 or 3 channels; empty if the query fails.
cv::Mat frameOf(int32_t camera, int32_t format = kFormatMono8);
/// Frame px; (0, 0) if the library does not say.
QSize sizeOf(int32_t camera);
/// -1 if the library does not say.
int32_t cameraCount();
QByteArray serialOf(int32_t camera);

/// Grey levels, over all channels.
double meanOf(const cv::Mat& picture);
double spreadOf(const cv::Mat& picture);
double smallestOf(const cv::Mat& picture);
/// Mean difference of two pictures in grey levels.
double differenceOf(const cv::Mat& a, const cv::Mat& b);
