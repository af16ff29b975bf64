// SPDX-License-Identifier: Apache-2.0
/// The window with simulated cameras whose every point is known, and how far its composite is off. What the
/// figures mean is told in accuracy.cpp. GUI thread.
#pragma once

#include <QGraphicsPixmapItem>
#include <QImage>
#include <QVector>
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <opencv2/core.hpp>
#include <utility>
#include <vector>

#include "calibration/correction.h"
#include "marks/interactivescene.h"
#include "support/mainwindowtest.h"

/// px; what is not found counts as so far off.
constexpr double kFarOff = 5.0;

/// One camera as the simulator tells it.
struct Truth {
    int columns = 0;
    int rows = 0;
    cv::Matx33d sceneToFrame;
    std::array<cv::Point2d, 4> sceneCorners;  // TL, TR, BL, BR
    std::array<cv::Point2d, 4> frameCorners;
    double cell = 0.0;

    /// Where a point of the reference grid (cells from its top left corner) is seen, frame px.
    cv::Point2d frameAt(double column, double row) const {
        const cv::Point2d scene = sceneCorners[0] + cv::Point2d(column * cell, row * cell);
        const cv::Vec3d v = sceneToFrame * cv::Vec3d(scene.x, scene.y, 1.0);
        return {v[0] / v[2], v[1] / v[2]};
    }
};

const QSize kFrameSize(2560, 1440);
constexpr double kCellMm = 5.0;  // the sheet's cells

struct Arrangement {
    bool isGrid;
    int count;
    bool isSmooth;
    QPoint origin(int tile) const {
        return isGrid ? QPoint(tile % 2 * kFrameSize.width(), tile / 2 * kFrameSize.height())
                      : QPoint(tile * kFrameSize.width(), 0);
    }
};

/// Mean square and maximum of some lengths.
struct Spread {
    double squares = 0.0;
    double max = 0.0;
    int count = 0;
    void add(double value) {
        squares += value * value;
        max = std::max(max, std::abs(value));
        ++count;
    }
    void add(const Spread& other) {
        squares += other.squares;
        max = std::max(max, other.max);
        count += other.count;
    }
    double rms() const { return count ? std::sqrt(squares / count) : 0.0; }
};

struct Result {
    Spread off;
    Spread seam;
    Spread join;         // seam, without the step of a cut at whole px
    double scale = 0.0;  // largest relative difference

    void add(const Result& other) {
        off.add(other.off);
        seam.add(other.seam);
        join.add(other.join);
        scale = std::max(scale, other.scale);
    }
};

/// A crossing of the reference grid as a tile shows it: column and row, cells from its top left corner.
using GridPoint = std::pair<int, int>;

/// The window and what is done in it.
class Station {
public:
    /// Where the hand marks a corner of a tile's frame, px, given its true place.
    using Hand = std::function<cv::Point2d(int tile, cv::Point2d corner)>;

    explicit Station(Arrangement a);
    bool start();

    /// Marks corners as the mark file brings them, calibrates, rearranges, saves, and reads the saved file.
    QImage join(const Hand& hand);
    QImage saved();
    Result measure(const QImage& composite);

    const Arrangement arrangement;
    WindowUnderTest window;
    QVector<Truth> truth;
    QVector<QImage> pictures;  ///< the frames as tiles show them, not corrected

    // After join().
    cv::Point2d cell() const;
    QRectF tileRect(int tile);
    /// Where a point of the grid has to lie in the composite, as a tile shows it.
    cv::Point2d idealAt(int tile, GridPoint point);
    /// The correction that the marked corners make.
    Correction correction() const;
    /// The window's scene, whose figures are measured in mm.
    InteractiveScene& scene();

private:
    QGraphicsPixmapItem* tile(int i);
    void execute();
    bool waitForFreshPictures();
    cv::Point2d origin(int tile);
    cv::Mat flawless(int tile, cv::Rect area);
    void compareNeighbours(const std::vector<std::map<GridPoint, cv::Point2d>>& found, Result& result);

    QVector<cv::Mat> frames;
    QVector<QGraphicsPixmapItem*> items;
    QVector<std::array<cv::Point2d, 4>> corners;  // marked, frame px
};
