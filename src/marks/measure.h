// SPDX-License-Identifier: Apache-2.0
/// What figures measure, as values. Pure; any thread.
#pragma once

#include <QString>

struct PlaneFigure;

/// One value of a figure.
struct Measure {
    QString name;        ///< "L", "R", "X", "Y", "W", "H", "S" (area) or "A" (angle)
    double value = 0.0;  ///< in the unit
    QString unit;        ///< "mm", "mm^2", "\u00b0" ...
    /// That can be known; below 0 so many digits left of the point are not.
    int decimals = 2;

    bool operator==(const Measure& other) const;
    bool operator!=(const Measure& other) const { return !(*this == other); }
};

/// The value with its decimals, without the unit: "12.3"; with -2 of them "346200".
QString valueText(const Measure& measure);
/// "12.3[mm]"
QString textWithUnit(const Measure& measure);

/// How many decimals say no more than is known when a value may be off by `uncertainty`: as far as its first
/// digit, at most 4. One of 100 ... 999 gives -2: hundreds are known. 0 where it is endless.
int honestDecimals(double uncertainty);

/// The measures of a figure in a plane: values are in the unit of its points and come out in display units. A
/// length may be off by a thousandth or half a px, whichever is more; a coordinate by half a px; an area by
/// two thousandths or half a px along half its edge. Without calibration there are two decimals, and angles
/// always have two.
Measure lengthMeasure(const char* name, double length, const PlaneFigure& plane);
Measure placeMeasure(const char* name, double coordinate, const PlaneFigure& plane);
Measure areaMeasure(const char* name, double area, double perimeter, const PlaneFigure& plane);
Measure angleMeasure(const char* name, double degrees);
