// SPDX-License-Identifier: Apache-2.0
/// The least that shows four cameras: a QGraphicsView with four pixmaps and smooth transformation, every
/// frame corrected by the plain way. For comparison.
#pragma once

#include <QGraphicsView>
#include <QVector>
#include <array>

#include "calibration/correction.h"
#include "camera/capturethread.h"
#include "live/frameinbox.h"

/// A view of a scene that does nothing else. As large as the screen, without a frame and above everything.
class BareView : public QGraphicsView {
public:
    explicit BareView(QGraphicsScene* scene);
};

/// Adds a pixmap that is drawn smoothly; the scene owns it.
QGraphicsPixmapItem* addSmoothly(QGraphicsScene& scene, const QPixmap& pixmap, QPointF place);

/// Four cameras in a bare view. The newest frame of each tile is corrected and shown when the event loop
/// comes to it.
class BareStation {
public:
    /// Opens the cameras and starts their streams. `delivered` is called with each frame's time stamp, on the
    /// capture threads.
    BareStation(bool inColour, std::function<void(qint64)> delivered);
    /// Ends the streams and frees the cameras.
    ~BareStation();
    BareStation(const BareStation&) = delete;
    BareStation& operator=(const BareStation&) = delete;

    BareView* view() { return &shown; }
    /// By camera; data(kTimestampOfTile) is as in the window.
    const QList<QGraphicsPixmapItem*>& tiles() const { return items; }

private:
    void show();

    FrameInbox inbox;
    Correction correction;
    QGraphicsScene scene;
    BareView shown;
    QList<QGraphicsPixmapItem*> items;
    QVector<CaptureThread*> threads;
};
