#pragma once

#include <QGraphicsPixmapItem>
#include <QImage>
#include <optional>

#include "camera/capturethread.h"
#include "live/frame.h"
#include "live/framepictures.h"

/// Key of the tile item's data(): the time stamp of the frame that it shows, quint64, ms since the epoch.
constexpr int kTimestampOfTile = 0;

/// One camera's place in the view: the thread that feeds it, its picture in the scene, its counters. GUI
/// thread.
struct Tile {
    CaptureThread* thread = nullptr;      ///< child of the main window
    QGraphicsPixmapItem* item = nullptr;  ///< owned by the scene; none until the first frame is shown
    FramePictures pictures;               ///< what the item shows is made here
    QImage heldImage;                     ///< newest frame kept while the display is frozen (own pixels)
    quint64 heldTimestamp = 0;            ///< that of its frame
    bool hasHeldImage = false;
    std::optional<Frame> waiting;  ///< newest frame that the screen could not take yet
    int frameCount = 0;            ///< frames since the last rate update
    int frameCount2 = 0;           ///< cleared with it
    float fps = 0.0F;              ///< smoothed frames per second
};
