#include "live/picturepool.h"

namespace {

// One shown, one held, one being written, and one that a saved picture may share.
constexpr int kMostPictures = 4;

}  // namespace

QImage& PicturePool::take(QSize size) {
    QImage* free = nullptr;
    for (QImage& picture : pictures) {
        if (!picture.isNull() && !picture.isDetached())
            continue;
        if (picture.size() == size)
            return picture;
        free = &picture;
    }
    // A free one of another size is of no use any more: cameras rarely change theirs.
    if (!free && pictures.size() == kMostPictures) {
        free = &pictures[0];  // it lives on where it is shared
    } else if (!free) {
        pictures.append(QImage());
        free = &pictures.last();
    }
    *free = QImage(size, QImage::Format_RGB32);
    return *free;
}
