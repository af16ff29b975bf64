// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QSize>
#include <QString>
#include <vector>

#include "calibration/calibration.h"
#include "calibration/cornermarking.h"
#include "calibration/correction.h"

/// What a calibration gives: everything new, or the reason why not.
struct CalibrationRun {
    CornerLists corners;                    ///< those it was computed from, tile px
    std::vector<Calibration> calibrations;  ///< per tile, for their files
    Correction correction;                  ///< per tile, for the pictures
    QString problem;  ///< a sentence for the operator; empty when all of the above is there, else none is
};

/// Computes the calibrations and corrections of the first `tileCount` tiles (1 ... 4), whose frames are
/// `frame` px, from their refreshed corners and the grid counts. Nothing is written and nothing in use is
/// changed. A problem of the refreshing is passed on; it and the others go to the log too. Any thread.
/// Nothing is thrown.
CalibrationRun runCalibration(const CornerMarking::Refreshed& refreshed, const GridCounts& xCounts,
                              const GridCounts& yCounts, int tileCount, QSize frame);
