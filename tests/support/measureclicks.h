// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPair>
#include <QPointF>
#include <QVector>

#include "measure/measuretool.h"

/// What draws a figure of a tool, view px from the middle.
inline QVector<QPointF> clicksOf(MeasureTool tool) {
    switch (tool) {
        case MeasureTool::Select:
            return {};
        case MeasureTool::HLine:
        case MeasureTool::VLine:
            return {{30, -41}};
        case MeasureTool::Line:
        case MeasureTool::Rectangle:
        case MeasureTool::Ellipse:
            return {{-90, -41}, {67, 53}};
        case MeasureTool::Circle:
        case MeasureTool::Arc:
            return {{-90, -41}, {67, 53}, {71, -60}};
        case MeasureTool::Polygon:
            return {{-90, -41}, {67, 53}, {71, -60}, {-20, -97}};
    }
    return {};
}

inline const QVector<QPair<const char*, MeasureTool>> kTools = {
    {"line", MeasureTool::Line},        {"circle", MeasureTool::Circle},
    {"arc", MeasureTool::Arc},          {"rectangle", MeasureTool::Rectangle},
    {"ellipse", MeasureTool::Ellipse},  {"polygon", MeasureTool::Polygon},
    {"horizontal", MeasureTool::HLine}, {"vertical", MeasureTool::VLine},
};

/// A figure of each tool, so large that its captions have room.
struct Drawn {
    const char* name;
    MeasureTool tool;
    QVector<QPointF> clicks;  // view px from the middle
};

inline const QVector<Drawn>& drawings() {
    static const QVector<Drawn> kDrawings{
        {"line", MeasureTool::Line, {{-150, 60}, {120, -70}}},
        {"circle", MeasureTool::Circle, {{-90, 10}, {90, 10}, {0, -80}}},
        {"arc", MeasureTool::Arc, {{-90, 60}, {110, 30}, {-20, -90}}},
        {"rectangle", MeasureTool::Rectangle, {{-110, -70}, {90, 80}}},
        {"ellipse", MeasureTool::Ellipse, {{-110, -60}, {120, 70}}},
        {"polygon", MeasureTool::Polygon, {{-130, -80}, {110, -60}, {130, 70}, {-70, 90}}},
        {"hline", MeasureTool::HLine, {{0, -20}}},
        {"vline", MeasureTool::VLine, {{30, 0}}}};
    return kDrawings;
}
