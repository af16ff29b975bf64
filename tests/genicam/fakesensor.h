// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QVector>

#include <array>
#include <cstdint>

#include "fakeoptions.h"
#include "scene.h"

namespace fake {

/// What decides how a picture looks.
struct Exposure {
    int width = 0;   ///< of the picture, px
    int height = 0;  ///< of the picture, px
    int offsetX = 0;
    int offsetY = 0;
    int binningX = 1;
    int binningY = 1;
    bool mirrorX = false;
    bool mirrorY = false;
    uint32_t format = 0;
    Development development;
};
bool operator==(const Exposure& a, const Exposure& b);

/// Turns the scene into pictures, and keeps the last one. One thread at a time.
class Sensor {
public:
    explicit Sensor(const Options& options);

    /// The picture, packed as it is sent, without a stamp. Made anew only when the exposure is another one.
    const QByteArray& picture(const Exposure& exposure);
    /// Mean level of the picture's green or grey before development, 0 ... 255.
    double meanLight() const { return meanLight_; }

private:
    Rgb lightAt(const Exposure& exposure, int x, int y) const;

    const int width_;   // of the sensor, px
    const int height_;  // of the sensor, px
    QVector<Rgb> scene_;
    Exposure exposure_;
    QByteArray picture_;
    double meanLight_ = 0;
};

/// Writes numbers, as a rule twice that of the frame, into its first and its last rows.
void stamp(uint8_t* pixels, int width, int height, const Format& format, uint32_t above, uint32_t below);

}  // namespace fake
