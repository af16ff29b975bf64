// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QWidget>

#include "measure/aim.h"

/// What is under the cursor, magnified: the tiles' own pixels, a cross where a click sets its point, that
/// point's px as they will be set, and what it snaps to, in a colour of its own. A widget of its own, so that
/// a new picture paints it and nothing else. Lets the mouse through. GUI thread.
class Loupe : public QWidget {
    Q_OBJECT

public:
    /// Of the magnified square, px.
    static constexpr int kSide = 176;
    /// As much larger than the view, and than the pictures where the view makes them smaller.
    static constexpr double kFactor = 4.0;

    /// `tilesOfScene` is asked at each painting, so that no picture is kept longer than the view keeps it.
    Loupe(QWidget* parent, TilePictures tilesOfScene);

    /// Shows it beside `cursor` (px of the parent), inside `room` if there is any. `viewScale`: view px per
    /// scene px.
    void showAt(QPoint cursor, const QRect& room, const Aim& aimed, double viewScale);
    /// Sets its texts anew in the language of the moment; at first they are in that of its making. It is
    /// painted at moments that have none.
    void retranslate();
    /// What it says that the point snaps to; nothing while it is not to snap.
    QString snapText(const Aim& aimed) const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void paintPictures(QPainter& painter) const;
    void paintCross(QPainter& painter) const;
    void paintTexts(QPainter& painter) const;

    Aim aim;
    double magnified = kFactor;
    QString cornerText;
    QString edgeText;
    QString nothingText;
    TilePictures tiles;
};
