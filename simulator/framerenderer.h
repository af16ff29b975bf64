// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QSize>

#include <opencv2/core.hpp>

#include <array>
#include <cstdint>
#include <memory>

#include "movingparts.h"
#include "scene.h"
#include "sensormodel.h"

namespace kvsim {

/// How a frame is to be laid out.
struct FrameShape {
    QSize size;        ///< px
    int channels = 1;  ///< 1 or 3
    bool mirrorX = false;
    bool mirrorY = false;

    bool operator==(const FrameShape& other) const;
    bool operator!=(const FrameShape& other) const { return !(*this == other); }
};

/// Makes one camera's frames.
///
/// Handing a frame out costs a copy. What that needs is prepared when first asked for: the scene as the lens
/// shows it (once per shape) and from it a short ring of finished pictures that differ in their noise (once
/// per look). A change of parameters only makes the pictures of the ring stale; each is developed anew when
/// its turn comes, so however often a slider moves, at most one picture is developed per frame.
///
/// Not thread-safe: the camera calls it under its query lock. Memory: 7 pictures, 27 MB for 2560 x 1440 mono.
class FrameRenderer {
public:
    /// `scene` outlives the renderer.
    FrameRenderer(const Scene& scene, int camera, uint32_t seed, double perspective);

    /// Writes a frame of width x height x channels bytes, rows packed.
    void render(const FrameShape& shape, const Look& look, const FrameTime& time, bool moving,
                uint8_t* frame);

    /// Mean grey level of the frame that was rendered last, at rest and without noise.
    double meanUnder(const Look& look);
    /// Gives all memory back.
    void clear();

private:
    static constexpr int kRing = 6;  // a multiple of 3: the beat of 100 pulses a second with 15 or 30 frames

    struct Picture {
        cv::Mat pixels;
        Look look;
    };

    void setShape(const FrameShape& shape);
    void takeLight(const FrameShape& shape);
    void countLight();

    const Scene& scene_;
    int camera_;
    double perspective_;
    SensorModel sensor_;
    FrameShape shape_;
    cv::Mat light_;  // the scene through the lens, not developed; empty before the first frame
    std::array<double, 256> histogram_{};
    std::array<Picture, kRing> ring_;
    std::unique_ptr<MovingParts> moving_;
    Look movingLook_;
};

}  // namespace kvsim
