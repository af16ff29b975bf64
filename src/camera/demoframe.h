// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <QString>
#include <memory>

/// A frame of demo mode: a picture in a block of its own, as camera frames are.
struct DemoFrame {
    QImage image;  ///< its pixels lie in `block`, in packed rows; null where there is no picture
    std::unique_ptr<unsigned char[]> block;  ///< also without a picture, unless the memory does not suffice
};

/// A picture file as a frame in this format, Grayscale8 or RGB888. One that is missing, broken or far larger
/// than any camera's frame is none. Any thread. Nothing is thrown.
DemoFrame readDemoFrame(const QString& fileName, QImage::Format format);

/// A picture, which is in one of the two formats, as a frame. Its first bytes are taken as packed rows
/// although its rows may be padded; such pictures come out sheared, which is kept as it always was. Pure.
DemoFrame demoFrameOf(const QImage& picture);
