// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPointF>
#include <QTransform>

#include "marks/figure.h"
#include "measure/aim.h"

class FigureMark;
class InteractiveScene;

/// The handle at a place of the viewport (view px), with room for the hand around it; -1 for none.
int handleAt(const FigureMark& mark, QPointF place, const QTransform& sceneToView);
/// The figure of the scene's list whose outline is there, with room for the hand; nothing for none. Of two as
/// near the one that came later.
FigureMark* figureAt(const InteractiveScene& scene, QPointF place, const QTransform& sceneToView);

/// A figure, or a handle of it, that goes with the mouse. What it does is always made of what the figure was,
/// so nothing adds up. Goes before the figure does.
class FigureDrag {
public:
    /// Handle -1: all of it. The mouse is at a place of the viewport (view px).
    FigureDrag(FigureMark* held, int handleIndex, QPointF place, const QTransform& sceneToView);

    int handle() const { return index; }
    const Figure& before() const { return figure; }
    /// The mouse is well away from where it was, or a handle has snapped.
    bool isUnderWay() const { return moves; }
    /// From the mouse to the point that goes with it, scene px: nobody takes hold of a handle's very middle.
    QPointF offset() const { return fromMouse; }
    /// The mouse is at a place now (view px), the point at its aim. A handle does not go where nothing could
    /// be measured.
    void moveTo(QPointF place, const Aim& aim, InteractiveScene* scene);
    /// The figure is as it was.
    void giveUp();

private:
    FigureMark* mark;  // owned by the scene
    int index;
    Figure figure;
    QPointF start;  // view px
    QPointF from;   // scene px
    QPointF fromMouse;
    bool moves = false;
};
