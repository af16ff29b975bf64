// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "marks/figure.h"

/// What the mouse does in the view while figures are measured.
enum class MeasureTool { Select, Line, Circle, Arc, Rectangle, Ellipse, Polygon, HLine, VLine };

/// What a tool draws; nothing is drawn by Select, whose kind is as good as any.
FigureKind kindOf(MeasureTool tool);
/// Whether one press, drag and release draws it, besides clicks.
bool isDrawnByDrag(MeasureTool tool);
/// Whether it follows the mouse before its first click.
bool followsMouse(MeasureTool tool);
