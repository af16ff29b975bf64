// SPDX-License-Identifier: Apache-2.0
#include "marks/marksurface.h"

QString unitName(int unit) {
    switch (unit) {
        case 0:
            return QStringLiteral("pix");
        case 1:
            return QStringLiteral("mm");
        default:
            return QStringLiteral("um");
    }
}

PlaneFigure MarkSurface::planeFigure(const QVector<QPointF>& scenePoints) const {
    return {scenePoints, unit, 0.0, unitScale};
}
