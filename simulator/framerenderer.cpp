// SPDX-License-Identifier: Apache-2.0
#include "framerenderer.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "optics.h"

namespace kvsim {

namespace {

// The scene is drawn a little finer than the frame and then sampled, which keeps edges smooth and crisp.
constexpr double kDrawScale = 1.5;  // px per scene unit

cv::Size toCv(QSize size) {
    return {size.width(), size.height()};
}

}  // namespace

bool FrameShape::operator==(const FrameShape& o) const {
    return size == o.size && channels == o.channels && mirrorX == o.mirrorX && mirrorY == o.mirrorY;
}

FrameRenderer::FrameRenderer(const Scene& scene, int camera, uint32_t seed, double perspective)
    : scene_(scene), camera_(camera), perspective_(perspective), sensor_(seed) {}

void FrameRenderer::clear() {
    light_.release();
    for (Picture& picture : ring_)
        picture.pixels.release();
    moving_.reset();
}

void FrameRenderer::render(const FrameShape& shape, const Look& look, const FrameTime& time, bool moving,
                           uint8_t* frame) {
    setShape(shape);
    sensor_.setLook(look);
    Picture& picture = ring_[static_cast<size_t>(time.number % kRing)];
    if (picture.pixels.empty() || picture.look != look) {
        sensor_.develop(light_, picture.pixels);
        sensor_.addNoise(picture.pixels, static_cast<uint32_t>(time.number % kRing));
        picture.look = look;
    }
    std::memcpy(frame, picture.pixels.data, picture.pixels.total() * picture.pixels.elemSize());
    if (!moving)
        return;
    if (!moving_) {
        const cv::Matx33d direct = sceneToFrame(camera_, scene_.centreOf(camera_), perspective_, shape.size);
        moving_ = std::make_unique<MovingParts>(scene_, camera_,
                                                mirrored(direct, shape.size, shape.mirrorX, shape.mirrorY),
                                                toCv(shape.size), shape.channels);
        movingLook_.light = -1;
    }
    if (movingLook_ != look) {
        moving_->develop(sensor_);
        movingLook_ = look;
    }
    cv::Mat wrapped(toCv(shape.size), shape.channels == 1 ? CV_8UC1 : CV_8UC3, frame);
    moving_->draw(wrapped, light_, sensor_, time);
}

double FrameRenderer::meanUnder(const Look& look) {
    sensor_.setLook(look);
    return sensor_.meanOf(histogram_);
}

void FrameRenderer::setShape(const FrameShape& shape) {
    if (!light_.empty() && shape == shape_)
        return;
    clear();
    shape_ = shape;
    takeLight(shape);
    countLight();
}

void FrameRenderer::takeLight(const FrameShape& shape) {
    const cv::Matx33d direct = sceneToFrame(camera_, scene_.centreOf(camera_), perspective_, shape.size);
    const cv::Matx33d toFrame = mirrored(direct, shape.size, shape.mirrorX, shape.mirrorY);
    constexpr double kBorder = 8;  // scene units that the sampling may reach over
    cv::Rect2d seen = boundsOf(toFrame.inv(), {-1, -1, shape.size.width() + 1.0, shape.size.height() + 1.0});
    seen = {seen.x - kBorder, seen.y - kBorder, seen.width + 2 * kBorder, seen.height + 2 * kBorder};

    Canvas canvas = scene_.draw(seen, kDrawScale);
    cv::Mat drawn = canvas.picture();
    if (shape.channels == 1)
        cv::cvtColor(drawn, drawn, cv::COLOR_RGB2GRAY);
    cv::Matx33d drawnToScene = canvas.sceneToPixel().inv();
    // A frame that is much coarser than the drawing averages it first instead of skipping pixels.
    const double wanted = shape.size.width() / seen.width / kDrawScale * 1.3;
    if (wanted < 0.8) {
        const cv::Size shrunk(std::max(1, cvRound(drawn.cols * wanted)),
                              std::max(1, cvRound(drawn.rows * wanted)));
        const double fx = static_cast<double>(shrunk.width) / drawn.cols;
        const double fy = static_cast<double>(shrunk.height) / drawn.rows;
        cv::resize(drawn, drawn, shrunk, 0, 0, cv::INTER_AREA);
        drawnToScene =
            drawnToScene * cv::Matx33d(1 / fx, 0, 0.5 / fx - 0.5, 0, 1 / fy, 0.5 / fy - 0.5, 0, 0, 1);
    }
    cv::warpPerspective(drawn, light_, toFrame * drawnToScene, toCv(shape.size), cv::INTER_LINEAR,
                        cv::BORDER_REPLICATE);
}

void FrameRenderer::countLight() {
    cv::Mat grey = light_;
    if (light_.channels() == 3)
        cv::cvtColor(light_, grey, cv::COLOR_RGB2GRAY);
    histogram_.fill(0);
    // Every other pixel of every other row tells enough.
    for (int y = 0; y < grey.rows; y += 2) {
        const uchar* row = grey.ptr(y);
        for (int x = 0; x < grey.cols; x += 2)
            histogram_[row[x]] += 1;
    }
}

}  // namespace kvsim
