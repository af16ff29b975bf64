// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPointF>
#include <QString>
#include <QVector>

/// The calibration files of a working folder as they lie there, read without the program's own code.
struct CalibrationSet {
    int files = 0;  ///< of the four
    QString fault;  ///< one that is not whole; empty when all that are there are
    QString mixed;  ///< why they are not of one run; empty when they are
};

/// `corners` are the reference corners, frame px, by which the runs of a kill test differ: all of them moved
/// to the right by a number that belongs to the run, and ten cells in every picture but the first, which has
/// a number of its own.
CalibrationSet readCalibrationSet(const QString& folder, const QVector<QVector<QPointF>>& corners);
