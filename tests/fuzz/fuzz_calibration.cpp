// SPDX-License-Identifier: Apache-2.0
// Calibration files and all that follows from them: maps, crops, the corrected picture, which the fast way
// and the plain one must agree about, and the files written anew. The first byte chooses layout, number of
// tiles and frames; then the files, one behind the other. The last one stands for those that are missing.
#include <cmath>

#include "calibration/calibrationfile.h"
#include "calibration/correction.h"
#include "fuzz/fuzzgui.h"
#include "live/framepictures.h"

namespace {

const QSize kSizes[] = {{64, 48}, {1, 1}, {33, 7}, {61, 64}};  // px

QImage frameOf(QSize size, bool inColour) {
    QImage frame(size, inColour ? QImage::Format_RGB888 : QImage::Format_Grayscale8);
    for (int y = 0; y < frame.height(); ++y) {
        for (int i = 0; i < frame.bytesPerLine(); ++i)
            frame.scanLine(y)[i] = static_cast<uchar>(7 * i + 31 * y + 1);
    }
    return frame;
}

bool isSame(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

void checkShape(const Calibration& calibration) {
    must(calibration.transform.size() == cv::Size(3, 3) && calibration.transform.type() == CV_64F,
         "a transform is 3 x 3");
    must(calibration.cornerSrc.size() == cv::Size(2, 4) && calibration.cornerSrc.type() == CV_32F &&
             calibration.cornerDst.size() == cv::Size(2, 4) && calibration.cornerDst.type() == CV_32F,
         "corners are 4 x 2");
    must(cv::checkRange(calibration.transform) && cv::checkRange(calibration.cornerSrc) &&
             cv::checkRange(calibration.cornerDst),
         "what is read is finite");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    startApplication();
    if (size == 0)
        return 0;
    const int layoutMode = data[0] & 1;
    const int tileCount = 1 + (data[0] >> 1) % 4;
    const QImage frame = frameOf(kSizes[(data[0] >> 4) % 4], (data[0] & 8) != 0);
    const auto files = partsOf(bytesOf(data + 1, size - 1));
    const InputFolder folder;

    Correction correction;
    std::vector<Calibration> calibrations;
    for (int tile = 0; tile < tileCount; ++tile) {
        const QString name = calibrationFileName(tile);
        writeFile(name, tile < files.size() ? files[tile] : files.last());
        const auto calibration = readCalibration(name);
        if (!calibration)
            continue;
        checkShape(*calibration);
        calibrations.push_back(*calibration);
        correction.take(tile, *calibration, frame.size());
    }
    for (int tile = 0; tile < tileCount; ++tile) {
        FramePictures pictures;
        for (const bool isSmooth : {false, true}) {
            correction.isSmooth = isSmooth;
            const QImage plain = correctedPicture(frame, correction, tile, tileCount, layoutMode);
            const QImage fast = pictures.corrected(frame, correction, tile, tileCount, layoutMode);
            must(!fast.isNull() && fast.size() == plain.size(), "both ways make pictures of one size");
            must(fast == plain.convertToFormat(fast.format()), "both ways make the same picture");
        }
    }
    if (calibrations.empty())
        return 0;
    must(writeCalibrations(calibrations).isEmpty(), "what was read can be written");
    for (size_t tile = 0; tile < calibrations.size(); ++tile) {
        const auto again = readCalibration(calibrationFileName(static_cast<int>(tile)));
        must(again && isSame(again->transform, calibrations[tile].transform) &&
                 isSame(again->cornerSrc, calibrations[tile].cornerSrc) &&
                 isSame(again->cornerDst, calibrations[tile].cornerDst),
             "what was written reads as the same");
    }
    return 0;
}
