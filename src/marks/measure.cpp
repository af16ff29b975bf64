// SPDX-License-Identifier: Apache-2.0
#include "marks/measure.h"

#include <algorithm>
#include <cmath>

#include "marks/marksurface.h"

namespace {

constexpr int kUsualDecimals = 2;
constexpr int kMostDecimals = 4;
constexpr int kFewestDecimals = -15;    // a double has no more digits
constexpr double kLengthError = 0.001;  // of the length: what the correction leaves
constexpr double kAreaError = 2.0 * kLengthError;
constexpr double kPixelError = 0.5;  // px, of a point that people set

Measure measured(const char* name, double value, const QString& unit, double uncertainty,
                 const PlaneFigure& plane) {
    return {QLatin1String(name), value, unit,
            plane.pixel > 0.0 ? honestDecimals(uncertainty) : kUsualDecimals};
}

}  // namespace

bool Measure::operator==(const Measure& other) const {
    return name == other.name && value == other.value && unit == other.unit && decimals == other.decimals;
}

QString valueText(const Measure& measure) {
    if (measure.decimals >= 0)
        return QString::number(measure.value, 'f', measure.decimals);
    const double step = std::pow(10.0, -measure.decimals);
    // Without the sign of a zero.
    return QString::number(std::round(measure.value / step) * step + 0.0, 'f', 0);
}

QString textWithUnit(const Measure& measure) {
    return QStringLiteral("%1[%2]").arg(valueText(measure), measure.unit);
}

int honestDecimals(double uncertainty) {
    if (!(uncertainty > 0.0))
        return kMostDecimals;
    if (std::isinf(uncertainty))
        return 0;
    return static_cast<int>(
        std::clamp(std::ceil(-std::log10(uncertainty)), double(kFewestDecimals), double(kMostDecimals)));
}

Measure lengthMeasure(const char* name, double length, const PlaneFigure& plane) {
    const double value = length * plane.scale;
    return measured(name, value, unitName(plane.unit),
                    std::max(kLengthError * std::abs(value), kPixelError * plane.pixel), plane);
}

Measure placeMeasure(const char* name, double coordinate, const PlaneFigure& plane) {
    return measured(name, coordinate * plane.scale, unitName(plane.unit), kPixelError * plane.pixel, plane);
}

Measure areaMeasure(const char* name, double area, double perimeter, const PlaneFigure& plane) {
    const double value = area * plane.scale * plane.scale;
    const double alongTheEdge = kPixelError * plane.pixel * perimeter * plane.scale / 2.0;
    return measured(name, value, unitName(plane.unit) + QStringLiteral("^2"),
                    std::max(kAreaError * std::abs(value), alongTheEdge), plane);
}

Measure angleMeasure(const char* name, double degrees) {
    return {QLatin1String(name), degrees, QStringLiteral("\u00b0"), kUsualDecimals};
}
