// SPDX-License-Identifier: Apache-2.0
#include "live/picturepool.h"

namespace {

// One shown, one held, one being written, and one that a saved picture may share.
constexpr int kMostPictures = 4;

}  // namespace

QImage& PicturePool::take(QSize size, QImage::Format format) {
    QImage* free = nullptr;
    for (QImage& picture : pictures) {
        if (!picture.isNull() && !picture.isDetached())
            continue;
        if (picture.size() == size && picture.format() == format)
            return picture;
        free = &picture;
    }
    // A free one of another kind is of no use any more: cameras rarely change theirs.
    if (!free && pictures.size() == kMostPictures) {
        free = &pictures[0];  // it lives on where it is shared
    } else if (!free) {
        pictures.append(QImage());
        free = &pictures.last();
    }
    *free = QImage(size, format);
    return *free;
}
