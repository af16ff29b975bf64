// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QBackingStore>
#include <QScrollBar>
#include <QBackingStore>
#include <QScrollBar>
#include <QtTest>
#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "live/tileview.h"
#include "support/exactmean.h"

inline const QColor kBackground(43, 47, 51);
using Color = std::array<double, 3>;

/// Waves with a few px from crest to crest, or noise of single pixels; grey or of three colours.
inline QImage makePicture(QSize size, QImage::Format format, bool isSmooth, int seed = 0) {
    std::mt19937 random(static_cast<unsigned>(seed + 1));
    QImage picture(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(picture.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            const auto wave = [&](double length) {
                return int(127.5 + 120 * std::sin((x + seed) / length) * std::cos((y - seed) / (length + 2)));
            };
            line[x] = isSmooth ? qRgb(wave(17), wave(23), wave(31)) : QRgb(random()) | 0xff000000U;
        }
    }
    return picture.convertToFormat(format);
}

inline QPixmap pixmapOf(const QImage& picture) {
    return QPixmap::fromImage(picture, Qt::NoFormatConversion);
}

/// What was painted for the platform's window, in its own pixels.
inline QImage inWindow(const QWidget* window) {
    const QPaintDevice* device = window->backingStore()->paintDevice();
    if (device->devType() != QInternal::Image)
        return {};
    QImage image = static_cast<const QImage*>(device)->copy();
    image.setDevicePixelRatio(1);
    return image;
}

/// A view of a scene, the program's own or Qt's, and what is on its screen.
struct Shown {
    explicit Shown(bool isPlain = false)
        : owner(isPlain ? std::make_unique<QGraphicsView>() : std::make_unique<TileView>()) {
        if (!isPlain)
            static_cast<TileView&>(view).setTiles(group);
        view.setFrameShape(QFrame::NoFrame);
        view.setBackgroundBrush(kBackground);
        view.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        view.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        view.setViewportUpdateMode(QGraphicsView::MinimalViewportUpdate);
        view.resize(332, 234);
        view.setScene(&scene);
        scene.setSceneRect(-40, -40, 900, 700);
    }

    TileItem* addTile(const QImage& picture, QPointF place) {
        auto* tile = new TileItem(pixmapOf(picture), group);
        scene.addItem(tile);
        tile->setPos(place);
        return tile;
    }

    QGraphicsPixmapItem* addPlain(const QImage& picture, QPointF place) {
        auto* item = scene.addPixmap(pixmapOf(picture));
        item->setPos(place);
        return item;
    }

    void show(double scale, QPoint scroll = {}) {
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        view.resetTransform();
        view.scale(scale, scale);
        view.horizontalScrollBar()->setValue(scroll.x());
        view.verticalScrollBar()->setValue(scroll.y());
    }

    /// What the window holds when all changes are painted.
    QImage onScreen() {
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();
        return inWindow(&view).convertToFormat(QImage::Format_RGB32);
    }

    QTransform toDevice(const QGraphicsItem* item) const {
        const double ratio = view.devicePixelRatioF();
        return item->sceneTransform() * view.viewportTransform() * QTransform::fromScale(ratio, ratio);
    }

    QGraphicsScene scene;
    std::shared_ptr<TileGroup> group = std::make_shared<TileGroup>();
    const std::unique_ptr<QGraphicsView> owner;
    QGraphicsView& view = *owner;
};

/// A pixel of an RGB32 picture.
inline QRgb pixelOf(const QImage& picture, int x, int y) {
    return reinterpret_cast<const QRgb*>(picture.constScanLine(y))[x];
}

inline Color colorOf(QRgb pixel) {
    return {double(qRed(pixel)), double(qGreen(pixel)), double(qBlue(pixel))};
}

/// How an image differs from what it should be.
struct Difference {
    double most = 0;
    double squares = 0;
    int count = 0;

    void add(const Color& is, const Color& wanted) {
        for (size_t i = 0; i < is.size(); ++i) {
            const double by = std::abs(is[i] - wanted[i]);
            most = std::max(most, by);
            squares += by * by;
            ++count;
        }
    }
    double psnr() const { return 10 * std::log10(255.0 * 255.0 * count / std::max(squares, 1e-9)); }
};

/// What a view shows of one tile, beside the exact mean or pixel; where no tile is, beside the background.
inline Difference fromExact(const QImage& screen, const Shown& shown, const QGraphicsPixmapItem* tile) {
    const QTransform toDevice = shown.toDevice(tile);
    const QTransform toTile = toDevice.inverted();
    const QImage picture = tile->pixmap().toImage().convertToFormat(QImage::Format_RGB32);
    const QRectF area = toDevice.mapRect(QRectF(QPointF(), QSizeF(picture.size())));
    Difference difference;
    for (int y = 0; y < screen.height(); ++y) {
        for (int x = 0; x < screen.width(); ++x) {
            const double left = x + 0.5 + 1e-6;
            const double top = y + 0.5 + 1e-6;
            Color wanted = colorOf(kBackground.rgb());
            if (left >= area.left() && left < area.right() && top >= area.top() && top < area.bottom()) {
                const QPointF middle = toTile.map(QPointF(left, top));
                wanted = toDevice.m11() < 1
                             ? meanOver(picture, toTile.mapRect(QRectF(x, y, 1, 1)))
                             : colorOf(pixelOf(picture, std::min(int(middle.x()), picture.width() - 1),
                                               std::min(int(middle.y()), picture.height() - 1)));
            }
            difference.add(colorOf(pixelOf(screen, x, y)), wanted);
        }
    }
    return difference;
}

inline int mostBetween(const QImage& a, const QImage& b) {  // RGB32
    if (a.size() != b.size())
        return 1000;
    Difference difference;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x)
            difference.add(colorOf(pixelOf(a, x, y)), colorOf(pixelOf(b, x, y)));
    }
    return int(difference.most);
}

/// Cuts a picture in four, at a place, and shows the parts where they were, `place` px further.
inline std::vector<TileItem*> addQuarters(Shown& shown, const QImage& picture, QPoint cut, QPointF place) {
    std::vector<TileItem*> tiles;
    for (const QRect& part : {QRect(QPoint(), cut - QPoint(1, 1)),
                              QRect(QPoint(cut.x(), 0), QPoint(picture.width() - 1, cut.y() - 1)),
                              QRect(QPoint(0, cut.y()), QPoint(cut.x() - 1, picture.height() - 1)),
                              QRect(cut, QPoint(picture.width() - 1, picture.height() - 1))})
        tiles.push_back(shown.addTile(picture.copy(part), place + part.topLeft()));
    return tiles;
}
