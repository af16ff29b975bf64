// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opencv2/core.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace kvgen {

/// Pixel layouts of frames that the library understands; eight bits a sample. Bayer names give the first two
/// samples of the first row and of the second, as GenICam does: BayerRG = R G over G B.
enum class Layout { Mono, Rgb, Bgr, BayerRG, BayerGR, BayerGB, BayerBG };

/// From a code of the GenICam pixel format naming convention (PFNC), as in an ArvBuffer; none if not ours.
std::optional<Layout> layoutOf(uint32_t pixelFormat);
int channelsOf(Layout layout);

/// What the library does to the pixels itself, as docs/simulator.md means it and in this order: gamma,
/// contrast and black level by one table for all channels, saturation, mirrors. The defaults change nothing,
/// bit for bit; a number that is none, and a gamma that is not positive, count as the default.
struct Tuning {
    double gamma = 1;       ///< above 1 lifts the middle tones
    double contrast = 1;    ///< around middle grey
    double saturation = 1;  ///< 0 = grey; RGB only
    int blackLevel = 0;     ///< grey levels added
    bool mirrorX = false;   ///< left and right exchanged
    bool mirrorY = false;   ///< top and bottom exchanged
};
bool operator==(const Tuning& a, const Tuning& b);

/// A frame as it came. The last row may lack its padding.
struct RawFrame {
    const uint8_t* data = nullptr;
    size_t size = 0;  ///< bytes at data
    int width = 0;    ///< px
    int height = 0;   ///< px
    int padding = 0;  ///< bytes behind each row
    Layout layout = Layout::Mono;
};

/// Bytes that a frame of this size needs; 0 if a side is not positive or the padding negative.
uint64_t bytesOf(const RawFrame& frame);

/// Turns frames of cameras into the packed frames of the operations. Keeps its tables and memory from frame
/// to frame. One thread at a time.
class Converter {
public:
    /// Writes width * height * channels bytes (1 = mono, 3 = R, G, B) to `target`, which does not overlap the
    /// frame. False, and nothing written, if the frame's data are too few for its size, a side is not
    /// positive, or `channels` is another number.
    bool convert(const RawFrame& frame, const Tuning& tuning, int channels, uint8_t* target);

private:
    const cv::Mat& tableOf(const Tuning& tuning);
    void demosaic(const cv::Mat& source, Layout layout, cv::Mat& target);

    cv::Mat table_;       // 1 x 256; empty: not made yet
    Tuning tableTuning_;  // what it is of
    cv::Mat widened_, widenedTarget_;
};

}  // namespace kvgen
