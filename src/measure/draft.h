// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QEvent>
#include <QGraphicsSceneMouseEvent>
#include <QPointer>
#include <memory>
#include <optional>

#include "marks/figure.h"
#include "marks/interactivescene.h"

class FigureMark;

class QPointF;

/// A mouse event of the scene as a view would send it, but at any point: a view's have whole view px. The
/// left button is held, or is the one that is released.
std::unique_ptr<QGraphicsSceneMouseEvent> sceneEventAt(QEvent::Type type, QPointF scenePoint);

/// Whether nothing could be measured in it after its point `moved` went where it is. What a polygon's other
/// corners are is no matter: those of the file may repeat one.
bool isDegenerate(const Figure& figure, int moved, InteractiveScene* scene);

/// What of a shift is seen of a figure of that kind: lines across the picture have no place along themselves.
QPointF seenShift(FigureKind kind, QPointF by);

/// The figure being drawn: in the scene, which paints it with its measures, but not yet in its list. Points
/// are scene px. GUI thread; goes with the scene.
class Draft {
public:
    explicit Draft(InteractiveScene* scene);
    ~Draft();
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    /// Begins anew; what was there is given up.
    void begin(FigureKind kind);
    void giveUp();
    bool exists() const { return mark && scene; }
    /// Nothing while there is none; goes with the next call.
    const FigureMark* figure() const { return exists() ? mark : nullptr; }
    /// Clicks so far.
    int pointsTaken() const;
    /// The open point follows the mouse.
    void moveTo(QPointF point);
    /// Sets the next point, if something can be measured then. The figure, when that was the last one; the
    /// draft is over then.
    std::optional<Figure> click(QPointF point);
    /// Ends it where it is, if it can be ended there; the figure, and the draft is over.
    std::optional<Figure> finish();

private:
    std::optional<Figure> completed();

    QPointer<InteractiveScene> scene;  // not owned
    FigureMark* mark = nullptr;        // owned by the scene as an item of it
};
