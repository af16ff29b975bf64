// SPDX-License-Identifier: Apache-2.0
// Demo pictures. First byte: the frame's format, and whether the rest is a picture file or the shape of a
// picture (width, height, format).
#include <algorithm>
#include <cstring>

#include "camera/demoframe.h"
#include "fuzz/fuzzgui.h"
#include "live/framepictures.h"

namespace {

constexpr int kMostPixels = 1 << 20;

void check(const DemoFrame& frame, QImage::Format format) {
    must(frame.block != nullptr, "there is a block, be it an empty one");
    if (frame.image.isNull())
        return;
    const int bytesPerPixel = format == QImage::Format_RGB888 ? 3 : 1;
    must(frame.image.format() == format, "the frame is in the format that was asked for");
    must(frame.image.constBits() == frame.block.get(), "the pixels lie in the block");
    must(frame.image.bytesPerLine() == frame.image.width() * bytesPerPixel, "rows are packed");
    // Reads every pixel.
    FramePictures pictures;
    must(pictures.plain(frame.image).size() == frame.image.size(), "a frame can be shown");
}

QImage pictureOfShape(const uint8_t* data, size_t size) {
    uint8_t shape[5] = {};
    std::memcpy(shape, data, std::min(size, sizeof shape));
    const int width = shape[0] | shape[1] << 8;
    const int height = std::min(shape[2] | shape[3] << 8, width > 0 ? kMostPixels / width : 0);
    QImage picture(width, height, QImage::Format(shape[4] % QImage::NImageFormats));
    picture.fill(size > 5 ? data[5] : 0);
    return picture;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    startApplication();
    if (size == 0)
        return 0;
    const auto format = (data[0] & 1) != 0 ? QImage::Format_RGB888 : QImage::Format_Grayscale8;
    if ((data[0] & 2) == 0) {
        const QImage picture = pictureOfShape(data + 1, size - 1).convertToFormat(format);
        const DemoFrame frame = demoFrameOf(picture);
        check(frame, format);
        must(frame.image.size() == picture.size(), "the frame has the picture's size");
    } else {
        const InputFolder folder;
        writeFile(QStringLiteral("0.jpg"), bytesOf(data + 1, size - 1));
        check(readDemoFrame(QStringLiteral("0.jpg"), format), format);
    }
    return 0;
}
