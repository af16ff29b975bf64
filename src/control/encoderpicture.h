// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>

#include "control/scenepicture.h"

/// scenePicture() for the encoder of a format without transparency, faster: the file is the same, byte for
/// byte. As there otherwise.
///
/// The picture is in the format that the encoder takes fastest, where the scene allows that: RGB888 (black
/// where nothing is) if there are tiles whose pixels can be copied, RGB32 if tiles cover everything. In any
/// other case, and for any other format, it has the pixels of scenePicture(), in its format. The items' flags
/// and pictures are as before, also when one of them throws.
ScenePicture encoderPicture(QGraphicsScene* scene, QImage::Format preferred);
