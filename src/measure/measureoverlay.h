// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPointF>
#include <QVector>
#include <QWidget>

class QGraphicsView;

/// Handles over a view: squares of constant size on screen. Beside the viewport, not in it, since that takes
/// its children along when it scrolls. Lets the mouse through, and is hidden while there is nothing to show.
/// GUI thread; child of the view.
class MeasureOverlay : public QWidget {
    Q_OBJECT

public:
    /// Side of a handle, px.
    static constexpr int kHandle = 9;

    explicit MeasureOverlay(QGraphicsView* shownView);

    /// Handles at these points, scene px; `active` is filled, the one that keys move, -1 none. `canBeHeld`:
    /// else they are small and only show what is selected.
    void showHandles(const QVector<QPointF>& points, int active, bool canBeHeld);
    /// To be called when the viewport has another place or size.
    void cover();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QGraphicsView* view;  // parent
    QVector<QPointF> handles;
    int held = -1;
    bool isLarge = true;
};
