#pragma once

#include <QGraphicsPixmapItem>
#include <QImage>

#include "camera/capturethread.h"

/// One camera's place in the view: the thread that feeds it, its picture in the scene, its counters. GUI
/// thread.
struct Tile {
    CaptureThread* thread = nullptr;      ///< child of the main window
    QGraphicsPixmapItem* item = nullptr;  ///< owned by the scene; none until the first frame is shown
    QImage heldImage;                     ///< newest frame kept while the display is frozen (own pixels)
    bool hasHeldImage = false;
    int frameCount = 0;   ///< frames since the last rate update
    int frameCount2 = 0;  ///< cleared with it
    float fps = 0.0F;     ///< smoothed frames per second
    int cameraIndex = 0;  ///< camera library index that feeds the tile
};
