// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QVector>
#include <QWidget>

#include "measure/captionplates.h"

class QGraphicsView;

/// The captions of figures over a view, on plates: light letters on a dark ground with an edge in the
/// figure's colour, so that they can be read on black and on white. Beside the viewport, not in it, as
/// handles are. Lets the mouse through, and is hidden while there is nothing to show. GUI thread; child of
/// the view.
class CaptionOverlay : public QWidget {
    Q_OBJECT

public:
    explicit CaptionOverlay(QGraphicsView* shownView);

    /// Nothing is done for plates that are shown already. In a painting of the viewport: `painted` is what of
    /// it (view px) is going to be painted, and this widget with it; the rest is painted afterwards.
    void showPlates(const QVector<CaptionPlate>& wished, const QRegion& painted);
    /// As they are shown: over one another as little as can be.
    const QVector<CaptionPlate>& plates() const { return placed; }
    /// To be called when the viewport has another place or size.
    void cover();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QRegion areas() const;

    QGraphicsView* view;  // parent
    QVector<CaptionPlate> wanted;
    QSize room;  // px, of the viewport for which they were placed
    QVector<CaptionPlate> placed;
};
