// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <QPixmap>
#include <QString>
#include <QVector>

class QGraphicsPixmapItem;
class QGraphicsScene;

/// A picture of a scene, or why there is none. A value.
struct ScenePicture {
    QImage image;     ///< null if there is none
    QString problem;  ///< then what went wrong; also in the log, but for a scene without a size
};

/// The whole scene rectangle as a picture of its size in whole px: tiles, marks and overlays; premultiplied
/// ARGB32, transparent where nothing is. None when the rectangle is smaller than a pixel, or larger than any
/// set-up of cameras needs (512 MiB), or the memory does not suffice. GUI thread. Passes on what the scene's
/// items throw.
ScenePicture scenePicture(QGraphicsScene* scene);

/// A picture of the scene rectangle's size in which nothing is painted yet: zeros, so transparent if the
/// format can be. None as above. GUI thread.
ScenePicture blankScenePicture(const QGraphicsScene& scene, QImage::Format format);

/// While this lives, tiles that are scaled when they are painted have pictures of Qt's own format: scaled
/// from that of a camera, Qt paints some pixels otherwise. A tile whose picture finds no memory keeps what it
/// has. GUI thread; the scene outlives it, and nobody else sets pictures meanwhile.
class PaintableTiles {
public:
    explicit PaintableTiles(const QGraphicsScene& scene);
    ~PaintableTiles();
    PaintableTiles(const PaintableTiles&) = delete;
    PaintableTiles& operator=(const PaintableTiles&) = delete;

private:
    struct Tile {
        QGraphicsPixmapItem* item;
        QPixmap own;
    };
    QVector<Tile> tiles;
};

/// Paints all of the scene into a picture of its size, tiles as they are (PaintableTiles). GUI thread. Passes
/// on what the scene's items throw.
void paintScene(QGraphicsScene* scene, QImage& image);

/// What is saved of one tile: its picture, in colours also where the camera sends grey, since files always
/// were so. GUI thread.
QImage tilePicture(const QGraphicsPixmapItem& tile);
