// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPointF>
#include <QSize>
#include <QVector>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "calibration/calibration.h"
#include "calibration/correctionmaps.h"

/// Maps of so many px that take each pixel (column, row) from `place(column, row)`, a cv::Point2f.
template <typename Place>
PartMaps mapsOf(QSize size, Place place) {
    PartMaps maps{cv::Mat(size.height(), size.width(), CV_32FC1),
                  cv::Mat(size.height(), size.width(), CV_32FC1)};
    for (int r = 0; r < size.height(); ++r) {
        for (int c = 0; c < size.width(); ++c) {
            const cv::Point2f from = place(c, r);
            maps.x.at<float>(r, c) = from.x;
            maps.y.at<float>(r, c) = from.y;
        }
    }
    return maps;
}

/// Maps that turn and scale a frame about its middle.
inline PartMaps turned(QSize size, double degrees, double scale) {
    const double radians = degrees * CV_PI / 180;
    const double cosine = std::cos(radians) / scale;
    const double sine = std::sin(radians) / scale;
    const double middleX = size.width() / 2.0;
    const double middleY = size.height() / 2.0;
    return mapsOf(size, [=](int c, int r) {
        const double dx = c - middleX;
        const double dy = r - middleY;
        return cv::Point2f(float(middleX + cosine * dx - sine * dy),
                           float(middleY + sine * dx + cosine * dy));
    });
}

/// Corners in the order that calibrations have them.
inline QVector<QPointF> rectangle(double left, double top, double right, double bottom) {
    return {{left, top}, {right, top}, {left, bottom}, {right, bottom}};
}

/// Corners as a calibration holds them.
inline cv::Mat matOf(const QVector<QPointF>& points) {
    cv::Mat mat(points.size(), 2, CV_32F);
    for (int i = 0; i < points.size(); ++i) {
        mat.at<float>(i, 0) = float(points[i].x());
        mat.at<float>(i, 1) = float(points[i].y());
    }
    return mat;
}

/// The calibration that takes four corners in the frame to four in the corrected picture.
inline Calibration calibrationOf(const QVector<QPointF>& src, const QVector<QPointF>& dst) {
    Calibration calibration;
    calibration.cornerSrc = matOf(src);
    calibration.cornerDst = matOf(dst);
    calibration.transform = cv::getPerspectiveTransform(calibration.cornerSrc, calibration.cornerDst);
    return calibration;
}
