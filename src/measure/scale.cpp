// SPDX-License-Identifier: Apache-2.0
#include "measure/scale.h"

#include <cmath>

namespace {

constexpr double kSmallestPixel = 1e-9;  // mm
constexpr double kLargestPixel = 1e6;
constexpr double kMicrometres = 1000.0;  // in a mm

bool isLength(double value) {
    return std::isfinite(value) && value > 0.0;
}

bool isSize(QSizeF size) {
    return isLength(size.width()) && isLength(size.height());
}

bool isPixel(double mm) {
    return mm >= kSmallestPixel && mm <= kLargestPixel;
}

}  // namespace

bool CellScale::isValid() const {
    return isSize(mm) && isSize(px) && isPixel(mm.width() / px.width()) && isPixel(mm.height() / px.height());
}

QPointF CellScale::unitsPerPixel() const {
    if (unit == 0)
        return {1.0, 1.0};
    const double factor = unit == 1 ? 1.0 : kMicrometres;
    return {mm.width() / px.width() * factor, mm.height() / px.height() * factor};
}

std::optional<CellScale> scaleByLine(QLineF line, double mm, QSizeF cellPx, const CellScale& before) {
    if (!isSize(cellPx) || !isLength(mm))
        return {};
    const QSizeF shape = before.isValid() ? before.mm : cellPx;
    const double length =
        std::hypot(line.dx() * shape.width() / cellPx.width(), line.dy() * shape.height() / cellPx.height());
    if (!isLength(length))
        return {};
    const CellScale scale{shape * (mm / length), cellPx, before.unit};
    if (!scale.isValid())
        return {};
    return scale;
}
