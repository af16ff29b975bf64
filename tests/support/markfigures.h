// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QRectF>

inline const QRectF kScene(0, 0, 400, 300);

/// A line of each kind, drawn well inside kScene.
inline const struct {
    const char* name;
    const char* line;
} kFigures[] = {
    {"line", "Line #ff0000 3 1 | 60 200 300 120"},
    {"line at the edge", "Line #ff0000 3 1 | 5 10 5 200"},
    {"line in the corner", "Line #ff0000 3 1 | 5 5 300 5"},
    {"circle", "Circle #c0a000 1 1 | 120 150 260 150 190 80"},
    {"arc", "Arc #ff0000 1 1 | 150 150 250 130 180 240"},
    {"rectangle", "Rectangle #0000ff 1 1 20 | 120 100 260 200"},
    {"ellipse", "Ellipse #ff0000 1 0 -30 | 100 100 300 200"},
    {"measured ellipse", "Ellipse #ff0000 1 1 0 | 100 100 300 200"},
    {"polygon", "Polygon #00a000 3 1 4 | 60 60 200 80 180 220 40 180 "},
    {"hline", "HLine #00a000 1 1 | 200 150"},
    {"vline", "VLine #00a000 1 1 | 200 150"},
    {"coordinates", "Coordinates #0000ff 1 1 | 200 150"},
};
