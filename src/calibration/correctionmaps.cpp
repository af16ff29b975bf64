// SPDX-License-Identifier: Apache-2.0
#include "calibration/correctionmaps.h"

#include <QDebug>
#include <opencv2/imgproc.hpp>

namespace {

/// The inverse that all maps are made with, single precision; empty when there is none.
cv::Mat inverseOf(const cv::Mat& transform) {
    cv::Mat inverse;
    if (transform.empty() || cv::invert(transform, inverse, cv::DECOMP_LU) == 0.0)
        return {};
    inverse.convertTo(inverse, CV_32F);
    return cv::checkRange(inverse) ? inverse : cv::Mat();
}

/// Source places of the corrected pixels of `area`.
PartMaps mapsOf(const cv::Mat& inverse, const QRect& area) {
    cv::Mat grid(area.height(), area.width(), CV_32FC2);
    for (int r = 0; r < grid.rows; ++r) {
        auto* row = grid.ptr<cv::Vec2f>(r);
        for (int c = 0; c < grid.cols; ++c)
            row[c] = cv::Vec2f(static_cast<float>(area.x() + c), static_cast<float>(area.y() + r));
    }
    cv::Mat source;
    cv::perspectiveTransform(grid, source, inverse);
    cv::Mat channels[2];
    cv::split(source, channels);
    PartMaps maps;
    cv::convertMaps(channels[0], channels[1], maps.x, maps.y, CV_32FC1, false);
    return maps;
}

cv::Rect toRect(const QRect& rect) {
    return {rect.x(), rect.y(), rect.width(), rect.height()};
}

}  // namespace

bool buildCorrectionMaps(const cv::Mat& transform, QSize size, cv::Mat& mapX, cv::Mat& mapY) {
    mapX.release();
    mapY.release();
    if (size.isEmpty() || size.width() > kMaxMapSide || size.height() > kMaxMapSide ||
        qint64{size.width()} * size.height() > kMaxMapPixels) {
        qWarning("No correction maps of %d x %d", size.width(), size.height());
        return false;
    }
    try {
        const cv::Mat inverse = inverseOf(transform);
        if (inverse.empty())
            return false;
        const PartMaps maps = mapsOf(inverse, QRect(QPoint(), size));
        mapX = maps.x;
        mapY = maps.y;
        return true;
    } catch (const std::exception& error) {
        qWarning("Correction maps: %s", error.what());
        return false;
    }
}

PartMaps partMaps(const cv::Mat& transform, const cv::Mat& mapX, const cv::Mat& mapY, const QRect& part) {
    CV_Assert(mapX.size() == mapY.size());
    const QRect whole(0, 0, mapX.cols, mapX.rows);
    if (whole.contains(part))
        return {mapX(toRect(part)), mapY(toRect(part))};
    const QRect inside = part & whole;
    const int top = inside.top() - part.top();
    const int bottom = part.bottom() - inside.bottom();
    const int left = inside.left() - part.left();
    const int right = part.right() - inside.right();
    PartMaps maps;
    cv::copyMakeBorder(mapX(toRect(inside)), maps.x, top, bottom, left, right, cv::BORDER_REPLICATE);
    cv::copyMakeBorder(mapY(toRect(inside)), maps.y, top, bottom, left, right, cv::BORDER_REPLICATE);
    const cv::Mat inverse = inverseOf(transform);
    if (inverse.empty())
        return maps;
    const QRect beyond[] = {
        {part.left(), part.top(), part.width(), top},
        {part.left(), inside.bottom() + 1, part.width(), bottom},
        {part.left(), inside.top(), left, inside.height()},
        {inside.right() + 1, inside.top(), right, inside.height()},
    };
    for (const QRect& area : beyond) {
        if (area.isEmpty())
            continue;
        const PartMaps there = mapsOf(inverse, area);
        const cv::Rect place = toRect(area.translated(-part.topLeft()));
        there.x.copyTo(maps.x(place));
        there.y.copyTo(maps.y(place));
    }
    return maps;
}
