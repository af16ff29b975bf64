/// Saved pictures: their names and how they are written. GUI thread where a scene is painted, any thread
/// otherwise.
#pragma once

#include <QDateTime>
#include <QImage>
#include <QString>

class QGraphicsScene;

/// "snapshot-" and the time as 17 digits, down to the millisecond.
QString snapshotName(const QDateTime& time);

/// ".bmp", ".jpg" or ".png" for the types 0, 1, 2; nothing for any other type, and then only a name that has
/// such an ending of its own can be written.
QString snapshotSuffix(int type);

/// The whole scene rectangle as a picture of its size in whole px: tiles, marks and overlays. A null picture
/// when the rectangle is smaller than a pixel, or larger than any set-up of cameras needs (512 MiB), or the
/// memory does not suffice.
///
/// The format is premultiplied ARGB32, transparent where nothing is, unless another is preferred and serves:
/// RGB888 (black where nothing is) if there are tiles that can be converted, RGB32 if tiles cover everything.
QImage renderedScene(QGraphicsScene* scene, QImage::Format preferred = QImage::Format_ARGB32_Premultiplied);

/// Renders the scene and writes it, as renderedScene() and writePicture() say. JPEG and BMP hold no alpha:
/// their encoders are given the format that they take fastest, the file is the same.
bool saveScene(QGraphicsScene* scene, const QString& fileName, int quality);

/// Writes a picture in the format of the file's suffix; a file of that name is replaced. False, and a line in
/// the log, when that fails: then the old file, if there is one, is still there.
bool writePicture(const QImage& picture, const QString& fileName, int quality);
