#pragma once

#include <QString>
#include <optional>

#include "calibration/calibration.h"

/// "Cal%1.xml": the file of a tile in the working folder.
QString calibrationFileName(int tile);

/// Reads a calibration file (OpenCV XML storage with the nodes `calibrate`, `corner_dst` and `corner_src`).
/// Nothing when there is no such file; nothing and a line in the log when it is empty, torn, foreign, of the
/// wrong shape or not finite, or when its transform has no inverse. The file is never changed. Any thread.
std::optional<Calibration> readCalibration(const QString& fileName);

/// Puts a calibration in the place of the file, as XML storage with the nodes `calibrate`, `corner_src` and
/// `corner_dst` in this order. False, and a line in the log, when it cannot be written: then the old file is
/// still there. Any thread.
bool writeCalibration(const QString& fileName, const Calibration& calibration);
