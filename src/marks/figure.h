// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QColor>
#include <QPointF>
#include <QString>
#include <QVector>
#include <memory>

class FigureMark;
class MarkSurface;

enum class FigureKind { Line, Circle, Arc, Rectangle, Ellipse, Polygon, HLine, VLine };

/// What figures of a kind are called in the mark file: "Line".
QString keywordOf(FigureKind kind);

/// A figure as a value: exact, where the mark file has six digits.
struct Figure {
    FigureKind kind = FigureKind::Line;
    QVector<QPointF> points;  ///< defining points, scene px; of a turned box those before it is turned
    double angle = 0.0;       ///< of rectangles and ellipses, degrees clockwise on screen
    QColor color;
    int penWidth = 1;     ///< px
    int showMeasure = 1;  ///< not 0: measurement texts are drawn

    bool operator==(const Figure& other) const;
    bool operator!=(const Figure& other) const { return !(*this == other); }
};

/// A figure of which nothing is clicked yet, in its kind's colour; it shows its measures. Not in the scene
/// yet, which outlives it.
std::unique_ptr<FigureMark> beginFigure(FigureKind kind, MarkSurface* scene);
/// A complete figure, not in the scene yet. Its kind says how many points it has to have: with another number
/// it is one of which nothing is clicked.
std::unique_ptr<FigureMark> makeFigure(const Figure& figure, MarkSurface* scene);
