// SPDX-License-Identifier: Apache-2.0
/// The middle of crossings: of two lines, of the fields of a board, of marks of two opposite quadrants. They
/// look the same turned by half a turn, which tells their middle from few pixels, however bright the print
/// is beside the paper, and from what ends or begins beside it. Pure; any thread.
#pragma once

#include <opencv2/core.hpp>
#include <optional>

/// A grey picture and its derivatives along x and y, all `CV_32FC1` and of one size.
struct Slopes {
    cv::Mat grey;
    cv::Mat dx;
    cv::Mat dy;
};

struct Crossing {
    cv::Point2d place;      ///< px of the picture
    double likeness = 0.0;  ///< of the picture around it to the same turned by half a turn, at most 1
};

/// The middle of a crossing near `start`, up to some px from it, px of the picture. Nothing where it does not
/// look the same from both sides, where its edges run in one direction alone or do not lead to the middle
/// (a dot), and where the picture ends within 4 px of it. `leastSlope`: mean square of what the grey changes
/// by per px, in the direction in which it does less; below that it is noise.
std::optional<Crossing> crossingNear(const Slopes& picture, cv::Point start, double leastSlope);
