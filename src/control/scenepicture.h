#pragma once

#include <QImage>
#include <QString>

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

/// Paints all of the scene into a picture of its size. GUI thread. Passes on what the scene's items throw.
void paintScene(QGraphicsScene* scene, QImage& image);
