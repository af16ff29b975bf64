// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <QRectF>
#include <algorithm>
#include <array>

/// Red, green and blue, 0 to 255: the mean of an RGB32 picture over a rectangle of its px, as far as that
/// lies in it. Slow and exact, for what a screen shows to be held against.
inline std::array<double, 3> meanOver(const QImage& picture, const QRectF& area) {
    std::array<double, 3> sum{};
    double whole = 0;
    for (int y = std::max(0, int(area.top())); y < std::min(double(picture.height()), area.bottom()); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(picture.constScanLine(y));
        const double height = std::min(y + 1.0, area.bottom()) - std::max(double(y), area.top());
        for (int x = std::max(0, int(area.left())); x < std::min(double(picture.width()), area.right());
             ++x) {
            const double width = std::min(x + 1.0, area.right()) - std::max(double(x), area.left());
            sum[0] += qRed(line[x]) * width * height;
            sum[1] += qGreen(line[x]) * width * height;
            sum[2] += qBlue(line[x]) * width * height;
            whole += width * height;
        }
    }
    for (double& value : sum)
        value /= whole;
    return sum;
}
