// SPDX-License-Identifier: Apache-2.0
#include "calibration/calibrationrun.h"

#include <QDebug>

namespace {

CalibrationRun failed(const QString& problem) {
    qWarning("No calibration: %s", qUtf8Printable(problem));
    CalibrationRun run;
    run.problem = problem;
    return run;
}

}  // namespace

CalibrationRun runCalibration(const CornerMarking::Refreshed& refreshed, const GridCounts& xCounts,
                              const GridCounts& yCounts, int tileCount, QSize frame) {
    if (!refreshed.problem.isEmpty())
        return failed(refreshed.problem);
    CalibrationRun run;
    run.corners = refreshed.corners;
    Calibrations computed = computeCalibrations(run.corners, xCounts, yCounts, tileCount);
    if (!computed.problem.isEmpty())
        return failed(computed.problem);
    run.calibrations = std::move(computed.tiles);
    for (int tile = 0; tile < tileCount; ++tile) {
        if (!run.correction.take(tile, run.calibrations[static_cast<size_t>(tile)], frame))
            return failed(QStringLiteral("Correction maps of camera %1 could not be built").arg(tile));
    }
    return run;
}
