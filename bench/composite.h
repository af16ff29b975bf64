// SPDX-License-Identifier: Apache-2.0
// What the programs share that measure saving: the tiles of a composite, and medians of times.
#pragma once

#include <QElapsedTimer>
#include <QImage>
#include <QPixmap>
#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "camera/kvcap2.h"

inline double milliseconds(const std::function<void()>& work) {
    QElapsedTimer timer;
    timer.start();
    work();
    return double(timer.nsecsElapsed()) / 1e6;
}

inline double median(std::vector<double> times) {
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    return times[times.size() / 2];
}

/// A colour frame of a simulated camera, as tiles have it: encoders depend on what is in a picture.
inline QPixmap tilePicture(int32_t camera) {
    QImage image(2560, 1440, QImage::Format_RGB888);
    auto length = static_cast<int32_t>(image.sizeInBytes());
    CameraInit(camera);
    if (CameraQueryImage(camera, image.bits(), &length, kFormatRgb24) != 0)
        qFatal("no picture of camera %d", camera);
    CameraFree(camera);
    return QPixmap::fromImage(image, Qt::NoFormatConversion);
}
