// SPDX-License-Identifier: Apache-2.0
#include "camera/demoframe.h"

#include <QImageReader>
#include <cstring>
#include <limits>
#include <new>

namespace {

/// More pixels than any camera's frame has. A damaged file may promise more than the memory holds.
constexpr qint64 kMostPixels = 160LL * 1024 * 1024;

}  // namespace

DemoFrame readDemoFrame(const QString& fileName, QImage::Format format) {
    QImageReader reader(fileName);
    const QSize size = reader.size();
    const bool isTooLarge = qint64{size.width()} * size.height() > kMostPixels;
    return demoFrameOf(isTooLarge ? QImage() : reader.read().convertToFormat(format));
}

DemoFrame demoFrameOf(const QImage& picture) {
    const int64_t bytes = int64_t{picture.width()} * picture.depth() * picture.height() / 8;
    const auto length = bytes <= std::numeric_limits<int32_t>::max() ? static_cast<size_t>(bytes) : 0;
    DemoFrame frame;
    frame.block.reset(new (std::nothrow) unsigned char[length]);
    if (frame.block && length > 0) {
        std::memcpy(frame.block.get(), picture.constBits(), length);
        frame.image =
            QImage(frame.block.get(), picture.width(), picture.height(),
                   static_cast<int>(int64_t{picture.width()} * picture.depth() / 8), picture.format());
    }
    return frame;
}
