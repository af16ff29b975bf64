// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QRect>
#include <QVector>

class QGraphicsScene;

/// Where text is painted when the scene's rectangle, whole px large, is rendered into a picture of its size:
/// rectangles in px of that picture that hold all of it, and a little more. GUI thread.
QVector<QRect> textPlaces(QGraphicsScene* scene);
