// SPDX-License-Identifier: Apache-2.0
#include "pixels.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace kvgen {

namespace {

constexpr int kMosaicNeeds = 3;  // px a side; OpenCV leaves smaller mosaics black
constexpr int kMosaicRoom = 6;   // px a side that they are widened to: whole patterns around the 1 or 2 px

bool isBayer(Layout layout) {
    switch (layout) {
        case Layout::Mono:
        case Layout::Rgb:
        case Layout::Bgr:
            return false;
        case Layout::BayerRG:
        case Layout::BayerGR:
        case Layout::BayerGB:
        case Layout::BayerBG:
            break;
    }
    return true;
}

// OpenCV names a mosaic by the second row's second and third sample, hence the other letters.
int demosaicing(Layout layout, int channels) {
    switch (layout) {
        case Layout::Mono:
        case Layout::Rgb:
        case Layout::Bgr:
            break;
        case Layout::BayerRG:
            return channels == 3 ? cv::COLOR_BayerBG2RGB : cv::COLOR_BayerBG2GRAY;
        case Layout::BayerGR:
            return channels == 3 ? cv::COLOR_BayerGB2RGB : cv::COLOR_BayerGB2GRAY;
        case Layout::BayerGB:
            return channels == 3 ? cv::COLOR_BayerGR2RGB : cv::COLOR_BayerGR2GRAY;
        case Layout::BayerBG:
            return channels == 3 ? cv::COLOR_BayerRG2RGB : cv::COLOR_BayerRG2GRAY;
    }
    return -1;
}

// The same to all pixels, so the table may come before or after what only moves them.
bool hasTable(const Tuning& tuning) {
    return tuning.gamma != 1 || tuning.contrast != 1 || tuning.blackLevel != 0;
}

Tuning sensible(Tuning tuning) {
    if (!std::isfinite(tuning.gamma) || tuning.gamma <= 0)
        tuning.gamma = 1;
    if (!std::isfinite(tuning.contrast))
        tuning.contrast = 1;
    if (!std::isfinite(tuning.saturation))
        tuning.saturation = 1;
    return tuning;
}

void saturate(cv::Mat& picture, double s) {
    const double r = 0.299 * (1 - s);
    const double g = 0.587 * (1 - s);
    const double b = 0.114 * (1 - s);
    cv::transform(picture, picture, cv::Matx33d(r + s, g, b, r, g + s, b, r, g, b + s));
}

}  // namespace

std::optional<Layout> layoutOf(uint32_t pixelFormat) {
    switch (pixelFormat) {
        case 0x01080001:
            return Layout::Mono;  // Mono8
        case 0x02180014:
            return Layout::Rgb;  // RGB8
        case 0x02180015:
            return Layout::Bgr;  // BGR8
        case 0x01080008:
            return Layout::BayerGR;  // BayerGR8
        case 0x01080009:
            return Layout::BayerRG;  // BayerRG8
        case 0x0108000A:
            return Layout::BayerGB;  // BayerGB8
        case 0x0108000B:
            return Layout::BayerBG;  // BayerBG8
        default:
            return std::nullopt;
    }
}

int channelsOf(Layout layout) {
    return layout == Layout::Rgb || layout == Layout::Bgr ? 3 : 1;
}

bool operator==(const Tuning& a, const Tuning& b) {
    return a.gamma == b.gamma && a.contrast == b.contrast && a.saturation == b.saturation &&
           a.blackLevel == b.blackLevel && a.mirrorX == b.mirrorX && a.mirrorY == b.mirrorY;
}

uint64_t bytesOf(const RawFrame& frame) {
    if (frame.width <= 0 || frame.height <= 0 || frame.padding < 0)
        return 0;
    const uint64_t row = static_cast<uint64_t>(frame.width) * static_cast<uint64_t>(channelsOf(frame.layout));
    return (row + static_cast<uint64_t>(frame.padding)) * static_cast<uint64_t>(frame.height - 1) + row;
}

bool Converter::convert(const RawFrame& frame, const Tuning& wanted, int channels, uint8_t* target) {
    const uint64_t needed = bytesOf(frame);
    if (!frame.data || !target || needed == 0 || frame.size < needed || (channels != 1 && channels != 3))
        return false;
    const Tuning tuning = sensible(wanted);
    const int sourceChannels = channelsOf(frame.layout);
    const size_t row = static_cast<size_t>(frame.width) * static_cast<size_t>(sourceChannels);
    // OpenCV has no matrices of constant data; this one is only read.
    const cv::Mat source(frame.height, frame.width, CV_8UC(sourceChannels), const_cast<uint8_t*>(frame.data),
                         row + static_cast<size_t>(frame.padding));
    cv::Mat picture(frame.height, frame.width, CV_8UC(channels), target);

    const bool colour = channels == 3;
    bool isTuned = !hasTable(tuning);
    if (isBayer(frame.layout)) {
        demosaic(source, frame.layout, picture);
    } else if (frame.layout == Layout::Mono && colour) {
        cv::cvtColor(source, picture, cv::COLOR_GRAY2RGB);
    } else if (frame.layout == Layout::Bgr) {
        cv::cvtColor(source, picture, colour ? cv::COLOR_BGR2RGB : cv::COLOR_BGR2GRAY);
    } else if (frame.layout == Layout::Rgb && !colour) {
        cv::cvtColor(source, picture, cv::COLOR_RGB2GRAY);
    } else if (isTuned) {
        source.copyTo(picture);
    } else {
        cv::LUT(source, tableOf(tuning), picture);
        isTuned = true;
    }
    if (!isTuned)
        cv::LUT(picture, tableOf(tuning), picture);
    if (colour && tuning.saturation != 1)
        saturate(picture, tuning.saturation);
    // Behind the demosaicing, since a mirrored mosaic is one of another phase.
    if (tuning.mirrorX || tuning.mirrorY)
        cv::flip(picture, picture, !tuning.mirrorX ? 0 : tuning.mirrorY ? -1 : 1);
    return true;
}

const cv::Mat& Converter::tableOf(const Tuning& tuning) {
    if (!table_.empty() && tableTuning_ == tuning)
        return table_;
    tableTuning_ = tuning;
    table_.create(1, 256, CV_8UC1);
    for (int level = 0; level < 256; ++level) {
        const double lifted = std::pow(level / 255.0, 1 / tuning.gamma);
        const double value = ((lifted - 0.5) * tuning.contrast + 0.5) * 255 + tuning.blackLevel;
        table_.at<uchar>(level) = cv::saturate_cast<uchar>(std::clamp(value, 0.0, 255.0));
    }
    return table_;
}

void Converter::demosaic(const cv::Mat& source, Layout layout, cv::Mat& target) {
    const int code = demosaicing(layout, target.channels());
    if (source.cols >= kMosaicNeeds && source.rows >= kMosaicNeeds) {
        cv::cvtColor(source, target, code);
        return;
    }
    // A short side is repeated so that its 1 or 2 px lie in the middle, in their phase.
    const bool narrow = source.cols < kMosaicNeeds;
    const bool low = source.rows < kMosaicNeeds;
    widened_.create(low ? kMosaicRoom : source.rows, narrow ? kMosaicRoom : source.cols, CV_8UC1);
    for (int y = 0; y < widened_.rows; ++y) {
        for (int x = 0; x < widened_.cols; ++x) {
            widened_.at<uchar>(y, x) =
                source.at<uchar>(low ? y % 2 % source.rows : y, narrow ? x % 2 % source.cols : x);
        }
    }
    cv::cvtColor(widened_, widenedTarget_, code);
    widenedTarget_(cv::Rect(narrow ? 2 : 0, low ? 2 : 0, source.cols, source.rows)).copyTo(target);
}

}  // namespace kvgen
