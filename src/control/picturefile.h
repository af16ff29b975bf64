// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

class QGraphicsScene;

/// Saved pictures as files. What writes returns what went wrong, in words for an operator ("No space left on
/// device"), and an empty text when the picture was written; a failure is also a line in the log. Nothing is
/// thrown. When it fails, the file that has the name, if there is one, is still there, and nothing new is.

/// Writes a picture in the format of the file's suffix; a file of that name is replaced. Every program sees
/// the file at the return; the disk takes it in the background. Any thread.
QString writePicture(const QImage& picture, const QString& fileName, int quality);

/// Writes a file that goes with a picture, such as the table of its measures, in the same way. Any thread.
QString writeCompanion(const QString& fileName, const QByteArray& content);

/// A picture of the whole scene as saveScene() hands it to the encoder of such a file; null when there is
/// none. Its pixels are its own. saveScene() says why there is none. Does not throw. GUI thread.
QImage takeScene(QGraphicsScene* scene, const QString& fileName);

/// Writes a picture of the whole scene (scenepicture.h) as writePicture() does. The scene is left as it was.
/// GUI thread.
QString saveScene(QGraphicsScene* scene, const QString& fileName, int quality);
