#pragma once

#include "marks/figuremark.h"

/// Base of the marks in a rectangle between two opposite corners that can be turned about its centre.
class BoxMark : public FigureMark {
protected:
    BoxMark(MarkSurface* owner, int kind, const QColor& color, const QString& toolTip);

    void setAngle(double degrees);
    QRectF figureRect() const override;
    QTransform rotation() const override;
    /// "W:%1 H:%2[%3]", above the first corner.
    Caption sizeCaption() const;
    /// The line of the mark file: the angle comes before the points.
    QString boxText(const char* keyword) const;

private:
    double angle = 0.0;  // degrees, clockwise on screen
};
