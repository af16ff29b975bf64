// SPDX-License-Identifier: Apache-2.0
/// What a screen shows at best of the pictures of a scene: their mean over the rectangle of each of its
/// pixels, in double. Slow and plain, to measure what is painted against.
#pragma once

#include <QImage>
#include <QPointF>
#include <QTransform>
#include <QVector>
#include <array>
#include <functional>
#include <vector>

/// A picture of a scene, not turned and not scaled.
struct PlacedPicture {
    QImage image;
    QPointF place;  ///< scene px, of its corner
};

class ExactScreen {
public:
    /// `pictures`: later ones lie over earlier ones. `toScreen`: scene px to screen px, a scale above 0 and a
    /// translation. `size`: screen px.
    ExactScreen(const QVector<PlacedPicture>& pictures, const QTransform& toScreen, QSize size);

    QSize size() const { return screenSize; }
    /// Whether the centre of a pixel lies in a picture.
    bool isCovered(int x, int y) const { return covered[index(x, y)]; }
    /// The mean over what pictures cover of a covered pixel, 0 ... 255; channels red, green, blue.
    double mean(int x, int y, size_t channel) const {
        return sums[channel][index(x, y)] / areas[index(x, y)];
    }

private:
    void add(const QImage& image, QPointF place, const QRectF& part, const QTransform& toScreen);
    size_t index(int x, int y) const { return size_t(y) * size_t(screenSize.width()) + size_t(x); }

    QSize screenSize;
    std::array<std::vector<double>, 3> sums;
    std::vector<double> areas;
    std::vector<bool> covered;
};

/// How far a picture of a screen is from the exact one.
struct Difference {
    double decibels = 0;  ///< peak signal to noise ratio; 99 when there is no difference
    double mean = 0;      ///< of the absolute differences, grey levels
    double worst = 0;     ///< grey levels
    int pixels = 0;       ///< compared
};

/// Compares the covered pixels for which `counts`(x, y) holds. `screen`: as large as the exact one.
Difference differenceOf(const ExactScreen& exact, const QImage& screen,
                        const std::function<bool(int, int)>& counts = {});
