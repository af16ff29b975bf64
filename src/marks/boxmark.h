// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "marks/figuremark.h"

/// Base of the marks in a rectangle between two opposite corners that can be turned about its centre.
class BoxMark : public FigureMark {
protected:
    BoxMark(MarkSurface* owner, int kind, const QColor& color, const QString& toolTip);

    void setAngle(double degrees);
    double turn() const override { return angle; }
    void setTurn(double degrees) override { angle = degrees; }
    bool isDegenerateAt(QPointF next) const override;
    QRectF figureRect() const override;
    QTransform rotation() const override;
    /// "W:%1 H:%2[%3]", above the first corner.
    Caption sizeCaption() const;
    /// Width and height: between the corners as they are seen, in the plane.
    QVector<Measure> measured() const override;
    /// The first corner, the one beside it, the opposite one and the other: as they are seen, in the plane.
    PlaneFigure cornersInPlane() const;
    /// The line of the mark file: the angle comes before the points.
    QString boxText(const char* keyword) const;

private:
    double angle = 0.0;  // degrees, clockwise on screen
};
