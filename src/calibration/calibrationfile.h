#pragma once

#include <QString>
#include <opencv2/core.hpp>
#include <optional>

/// One camera's calibration as it lies on disk.
struct Calibration {
    cv::Mat transform;  ///< 3 x 3 `CV_64F`: frame px to corrected px; finite and with an inverse
    cv::Mat cornerSrc;  ///< 4 x 2 `CV_32F`: marked corners, frame px, order TL, TR, BL, BR
    cv::Mat cornerDst;  ///< 4 x 2 `CV_32F`: destination corners, corrected px, same order
};

/// "Cal%1.xml": the file of a tile in the working folder.
QString calibrationFileName(int tile);

/// Reads a calibration file (OpenCV XML storage with the nodes `calibrate`, `corner_dst` and `corner_src`).
/// Nothing when there is no such file; nothing and a line in the log when it is empty, torn, foreign, of the
/// wrong shape or not finite, or when its transform has no inverse. The file is never changed. Any thread.
std::optional<Calibration> readCalibration(const QString& fileName);
