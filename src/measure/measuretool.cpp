// SPDX-License-Identifier: Apache-2.0
#include "measure/measuretool.h"

FigureKind kindOf(MeasureTool tool) {
    switch (tool) {
        case MeasureTool::Select:
        case MeasureTool::Line:
            return FigureKind::Line;
        case MeasureTool::Circle:
            return FigureKind::Circle;
        case MeasureTool::Arc:
            return FigureKind::Arc;
        case MeasureTool::Rectangle:
            return FigureKind::Rectangle;
        case MeasureTool::Ellipse:
            return FigureKind::Ellipse;
        case MeasureTool::Polygon:
            return FigureKind::Polygon;
        case MeasureTool::HLine:
            return FigureKind::HLine;
        case MeasureTool::VLine:
            return FigureKind::VLine;
    }
    return FigureKind::Line;
}

bool isDrawnByDrag(MeasureTool tool) {
    return tool == MeasureTool::Line || tool == MeasureTool::Rectangle || tool == MeasureTool::Ellipse;
}

bool followsMouse(MeasureTool tool) {
    return tool == MeasureTool::HLine || tool == MeasureTool::VLine;
}
