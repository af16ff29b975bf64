// SPDX-License-Identifier: Apache-2.0
#include "fakesensor.h"

#include <cstring>
#include <tuple>

namespace fake {

bool operator==(const Exposure& a, const Exposure& b) {
    const auto all = [](const Exposure& e) {
        return std::make_tuple(e.width, e.height, e.offsetX, e.offsetY, e.binningX, e.binningY, e.mirrorX,
                               e.mirrorY, e.format, e.development.factor, e.development.blackLevel,
                               e.development.gamma, e.development.saturation);
    };
    return all(a) == all(b);
}

Sensor::Sensor(const Options& options) : width_(options.width), height_(options.height) {
    if (options.sendsNothing)
        return;
    scene_.resize(width_ * height_);
    for (int y = 0; y < height_; ++y) {
        for (int x = 0; x < width_; ++x)
            scene_[y * width_ + x] = sceneAt(x, y, options.scene);
    }
}

Rgb Sensor::lightAt(const Exposure& exposure, int x, int y) const {
    // Offsets count from the corner that is read out first, so mirroring comes before the region.
    const int binnedWidth = width_ / exposure.binningX;
    const int binnedHeight = height_ / exposure.binningY;
    int column = exposure.offsetX + x;
    int row = exposure.offsetY + y;
    column = exposure.mirrorX ? binnedWidth - 1 - column : column;
    row = exposure.mirrorY ? binnedHeight - 1 - row : row;
    int red = 0;
    int green = 0;
    int blue = 0;
    for (int j = 0; j < exposure.binningY; ++j) {
        for (int i = 0; i < exposure.binningX; ++i) {
            const int sensorX = qBound(0, column * exposure.binningX + i, width_ - 1);
            const int sensorY = qBound(0, row * exposure.binningY + j, height_ - 1);
            const Rgb& light = scene_.at(sensorY * width_ + sensorX);
            red += light.red;
            green += light.green;
            blue += light.blue;
        }
    }
    const int pixels = exposure.binningX * exposure.binningY;
    return {static_cast<uint8_t>(red / pixels), static_cast<uint8_t>(green / pixels),
            static_cast<uint8_t>(blue / pixels)};
}

const QByteArray& Sensor::picture(const Exposure& exposure) {
    if (exposure == exposure_ && !picture_.isEmpty())
        return picture_;
    exposure_ = exposure;
    const Format* format = formatOf(exposure.format);
    const Format& shown = format ? *format : formats().first();
    const int bytes = shown.bitsPerPixel() / 8;
    picture_.resize(exposure.width * exposure.height * bytes);

    std::array<uint8_t, 256> levels{};
    for (int light = 0; light < 256; ++light)
        levels[static_cast<size_t>(light)] = developed(static_cast<uint8_t>(light), exposure.development);
    const bool isColourful = exposure.development.saturation == 1;
    const bool isBgr = shown.name == "BGR8";
    const bool isDeep = shown.depth() > 8;
    qint64 sum = 0;
    auto* pixel = reinterpret_cast<uint8_t*>(picture_.data());
    for (int y = 0; y < exposure.height; ++y) {
        for (int x = 0; x < exposure.width; ++x, pixel += bytes) {
            Rgb light = lightAt(exposure, x, y);
            sum += light.green;
            if (shown.name.startsWith("Mono")) {
                light.red = light.green = light.blue = greyOf(light);
            } else if (!isColourful) {
                light = saturated(light, exposure.development.saturation);
            }
            if (bytes == 3) {
                pixel[0] = levels[isBgr ? light.blue : light.red];
                pixel[1] = levels[light.green];
                pixel[2] = levels[isBgr ? light.red : light.blue];
                continue;
            }
            uint8_t seen = light.green;
            if (shown.isBayer()) {
                const int channel = shown.bayerChannel(x, y);
                seen = channel == 0 ? light.red : channel == 1 ? light.green : light.blue;
            }
            if (isDeep) {
                const int sample = levels[seen] << (shown.depth() - 8);
                pixel[0] = static_cast<uint8_t>(sample & 0xFF);
                pixel[1] = static_cast<uint8_t>(sample >> 8);
            } else {
                pixel[0] = levels[seen];
            }
        }
    }
    meanLight_ = picture_.isEmpty() ? 0 : static_cast<double>(sum) / exposure.width / exposure.height;
    return picture_;
}

void stamp(uint8_t* pixels, int width, int height, const Format& format, uint32_t above, uint32_t below) {
    if (!isStamped(width, height) || format.depth() > 8)
        return;
    const int bytes = format.bitsPerPixel() / 8;
    const int block = stampBlock(width);
    const int pitch = width * bytes;
    for (const int top : {0, height - kStampHeight}) {
        const uint32_t number = top == 0 ? above : below;
        uint8_t* first = pixels + static_cast<int64_t>(top) * pitch;
        for (int bit = 0; bit < kStampBits; ++bit) {
            const bool isSet = (number >> (kStampBits - 1 - bit) & 1U) != 0;
            std::memset(first + bit * block * bytes, isSet ? 255 : 0, static_cast<size_t>(block) * bytes);
        }
        for (int row = 1; row < kStampHeight; ++row)
            std::memcpy(first + row * pitch, first, static_cast<size_t>(kStampBits) * block * bytes);
    }
}

}  // namespace fake
