// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <QVector>

/// Pictures of one tile that are written again and again. While a pixmap or anything else shares one of them,
/// another one is taken, so that in steady state nothing is allocated: one is shown, one is written. GUI
/// thread.
class PicturePool {
public:
    /// A picture of this size and format that nobody else has. Its pixels are whatever they were. It stays
    /// the pool's: share it by copying the QImage, which makes it busy until all copies are gone. Null when
    /// there is no memory.
    QImage& take(QSize size, QImage::Format format);

private:
    QVector<QImage> pictures;
};
