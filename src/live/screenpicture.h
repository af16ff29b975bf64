// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <QPointF>
#include <QRect>
#include <QSize>
#include <cstdint>
#include <vector>

#include "platform/boxloops.h"

/// Where a picture is shown: device px = picture px * scale + origin.
struct Placement {
    double scale = 1.0;  ///< device px per picture px, > 0
    QPointF origin;      ///< device px, of the picture's corner; any fraction

    bool operator==(const Placement& other) const {
        // To the last bit: QPointF's own comparison takes neighbours for the same.
        return scale == other.scale && origin.x() == other.origin.x() && origin.y() == other.origin.y();
    }
};

/// A scale that differs from 1 by rounding only is 1, where a screen's pixels are the picture's.
double cleanScale(double scale);

/// Makes what a screen shows of one picture: the device pixels, each from the part of the picture that it
/// covers. It keeps one image and the tables of one placement, so it serves one tile in one view; in steady
/// state nothing is allocated. GUI thread.
class ScreenPicture {
public:
    /// Other loops than the fastest ones make the same pixels.
    explicit ScreenPicture(const platform::BoxLoops& use = platform::boxLoops()) : loops(&use) {}

    /// The device pixels of `part` (device px; pixels whose centres lie in the picture), RGB32, of the part's
    /// size. Below scale 1 each is the mean of the picture over the pixel's rectangle as far as that lies in
    /// the picture, to about one level, two or three where it is finest; from 1 on it is the picture's pixel
    /// under its centre. What a device pixel becomes does not depend on the part that it is asked in.
    /// Grayscale8, RGB888 and RGB32 pictures of any stride; others are converted first. Null for a null
    /// picture, an empty part, a scale that is not above 0, an origin that is not finite, or when there is no
    /// memory.
    ///
    /// The image is valid until the next of(), which writes it again unless somebody holds a copy of it.
    const QImage& of(const QImage& picture, const Placement& at, const QRect& part);

    /// Makes the pixels of the last of() of another picture, while that is being written row by row from the
    /// top: `rows` of it are ready. Begins anew with 0 rows. Nothing is done for a picture of another size or
    /// format. What comes out is whole when isOf() says so.
    void follow(const QImage& picture, int rows);

    /// Whether the kept image was made by follow(), wholly, of this picture as it is now. Its owner's drawing
    /// does not count.
    bool isOf(const QImage& picture) const;

    /// The kept image; the owner may draw into it.
    QImage& image() { return kept; }

private:
    /// One direction of the picture: of each device pixel the picture's pixels that it is made of.
    struct Axis {
        void nearest(int length, double scale, double origin, int from, int count);
        void boxes(int length, double scale, double origin, int from, int count, int whole);
        int endOf(int output) const { return starts[size_t(output)] + lengths[size_t(output)]; }

        std::vector<int32_t> starts;   ///< picture px, one a device pixel
        std::vector<int32_t> lengths;  ///< picture px
        std::vector<int32_t> firsts;   ///< where its weights begin
        std::vector<uint16_t> weights;
    };

    void compile(QSize size, const Placement& placement, const QRect& part);
    void compileColumns();
    // The rows from `top` to before `bottom` of the kept image.
    void fill(const QImage& picture, int top, int bottom);
    void fillNearest(const QImage& picture, int top, int bottom);
    void fillMeans(const QImage& picture, int top, int bottom);
    void fillWideMeans(const QImage& picture, int top, int bottom);

    const platform::BoxLoops* loops;
    QImage kept;

    // What the tables were made for.
    QSize tableSize;  // px, of the picture
    int channels = 0;
    Placement tablePlacement;
    QRect tablePart;  // device px

    int followedRows = 0;  // of the kept image
    qint64 followedKey = 0;

    Axis across;
    Axis down;
    int firstColumn = 0;  // picture px, of the first one that the part needs
    int columnCount = 0;
    // For the loops; starts in px from firstColumn.
    int taps = 0;
    std::vector<int32_t> columnStarts;
    std::vector<uchar> columnWeights;
    std::vector<uchar> columnShuffles;
    // One row on its way.
    std::vector<signed char> meanRow;
    std::vector<uint32_t> sumRow;
    std::vector<uint32_t> pixelRow;
};
