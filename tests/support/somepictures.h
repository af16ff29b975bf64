// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <algorithm>

/// Pictures that encoders find hard or easy, the same in every run.
namespace pictures {

/// Every bit of it by chance, transparency too, with some pixels opaque and some not there at all.
inline QImage noise(const QSize& size, QImage::Format format) {
    QImage image(size, QImage::Format_ARGB32);
    quint32 state = 1;
    const auto next = [&state] { return (state = state * 1664525U + 1013904223U) >> 8; };
    for (int y = 0; y < size.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            const quint32 kind = next() % 4;
            const quint32 alpha = kind == 0 ? 255 : kind == 1 ? 0 : next() % 256;
            row[x] = (next() & 0xffffffU) | alpha << 24;
        }
    }
    return image.convertToFormat(format);
}

/// What a camera might see: slopes and edges, with a sensor's noise of so many levels, or none.
inline QImage camera(const QSize& size, QImage::Format format, int noiseLevels) {
    QImage image(size, QImage::Format_ARGB32);
    quint32 state = 1;
    const auto next = [&] {
        int sum = 0;
        for (int i = 0; i < 3; ++i)
            sum += int((state = state * 1664525U + 1013904223U) >> 16) % (2 * noiseLevels + 1) - noiseLevels;
        return sum / 3;
    };
    for (int y = 0; y < size.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            const int light = (x + y) * 150 / (size.width() + size.height()) + ((x / 90 + y / 70) % 2) * 40;
            const auto level = [&](int offset) { return std::clamp(light + offset + next(), 0, 255); };
            row[x] = qRgb(level(20), level(30), level(10));
        }
    }
    return image.convertToFormat(format);
}

}  // namespace pictures
