// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <optional>
#include <vector>

#include "calibration/calibration.h"

/// "Cal%1.xml": the file of a tile in the working folder.
QString calibrationFileName(int tile);

/// Reads a calibration file (OpenCV XML storage with the nodes `calibrate`, `corner_dst` and `corner_src`).
/// Nothing when there is no such file; nothing and a line in the log when it is empty, torn, foreign, of the
/// wrong shape or not finite, or when its transform has no inverse. The file is never changed. Any thread.
std::optional<Calibration> readCalibration(const QString& fileName);

/// Puts the calibrations of tiles 0, 1 ... in the place of their files, as XML storage with the nodes
/// `calibrate`, `corner_src` and `corner_dst` in this order: all of them or, when it fails, none. Files of
/// further tiles are left alone. Returns what went wrong in a sentence, and with a line in the log; an empty
/// text when all are on the disk. `folder` is the working folder where none is given. Any thread.
QString writeCalibrations(const std::vector<Calibration>& calibrations, const QString& folder = {});

/// To be called at start, before the files are read and before old temporary files are cleared away: a
/// program that was killed while it replaced them leaves some new and some old. Afterwards they are all of
/// one run. Returns what kept it from that in a sentence, else an empty text. Any thread.
QString recoverCalibrations(const QString& folder = {});
