// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <QRectF>
#include <QSize>
#include <array>
#include <vector>

/// The device pixels of one tile that another tile's picture has a share in, because an edge runs through
/// them: each is the mean over all pictures in it. A pass over live pictures works out only the shares of
/// those that are new. GUI thread.
///
/// All coordinates are device px, from the corner of the part of the tile that is shown.
class TileSeams {
public:
    /// A picture on the device.
    struct Picture {
        QRectF area;         ///< which rectangle it covers
        double scale = 1.0;  ///< device px per picture px
        QSize size;          ///< of the picture itself, px
        int height = 0;      ///< of those that overlap the highest is seen
    };

    /// Finds the pixels and the shares in them. `pictures` are the tile whose `shown` pixels, from (0, 0) on,
    /// paint() paints over, and then the others. No share is known yet.
    void plan(QSize shown, const std::vector<Picture>& pictures);

    bool isEmpty() const { return pixels.empty(); }

    /// Works the shares of one picture out anew: `index` as in plan(). Grayscale8, RGB888 or RGB32.
    void take(int index, const QImage& picture);
    /// Paints the pixels into what is shown of the tile, RGB32.
    void paint(QImage& shown) const;

private:
    /// Picture px of one row or column, of which the first and the last count in part.
    struct Run {
        int first;
        int count;
        float firstWeight;
        float lastWeight;
    };
    /// A rectangle of a picture, in a pixel.
    struct Share {
        Run columns;
        Run rows;
        float weight;  // of the sum over it in the pixel's colour
    };
    using Color = std::array<float, 3>;  // red, green, blue
    template <class Format>
    static typename Format::Color sumOver(const uchar* bits, qptrdiff stride, const Share& share);
    template <class Format>
    void takeAs(int index, const QImage& picture);
    static Run runOf(double from, double to, int length);

    struct Pixel {
        int x;
        int y;
        int first;  // of its shares
        int last;   // the one behind the last
    };

    void addAlong(const QRectF& edges);
    void addPixel(int x, int y);

    QSize size;
    std::vector<Picture> all;  // the own one first; while the pixels are sought
    std::vector<Pixel> pixels;
    std::vector<Share> shares;
    std::vector<Color> colors;               // what each of them adds to its pixel
    std::vector<std::vector<int>> sharesOf;  // by picture
};
