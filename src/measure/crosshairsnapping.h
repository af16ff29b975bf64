// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QEvent>
#include <QPointF>
#include <optional>

#include "measure/aim.h"

class InteractiveScene;
class QWidget;

/// Lets the scene's cross-hairs snap: what a view sends has whole px, so the scene gets events of our own at
/// the point. They are plain ones; Ctrl has meant enough by then. GUI thread.
class CrossHairSnapping {
public:
    /// One was placed by a press of ours, whose button is still down: until then it stays there.
    bool isHolding() const { return placed.has_value(); }
    /// The left button is pressed while a cross-hair is being placed; false if it does not snap, and the
    /// press is the view's as ever. `cursor`: view px.
    bool press(InteractiveScene* scene, QWidget* viewport, QPointF cursor, const Aim& aim);
    void release(InteractiveScene* scene, QWidget* viewport, QPointF cursor);
    /// No release will come.
    void forget() { placed.reset(); }
    /// What is being placed, or is held, goes to the point.
    static void move(InteractiveScene* scene, QWidget* viewport, QPointF cursor, QPointF point,
                     Qt::MouseButtons held);

private:
    std::optional<QPointF> placed;  // scene px
};
