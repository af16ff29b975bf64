#pragma once

#include <QGraphicsPixmapItem>
#include <QImage>
#include <memory>

#include "camera/capturethread.h"

/// Key of the tile item's data(): the time stamp of the frame that it shows, quint64, ms since the epoch.
constexpr int kTimestampOfTile = 0;

/// One camera's place in the view: the thread that feeds it, its picture in the scene, its counters. GUI
/// thread.
struct Tile {
    CaptureThread* thread = nullptr;      ///< child of the main window
    QGraphicsPixmapItem* item = nullptr;  ///< owned by the scene; none until the first frame is shown
    QImage heldImage;                     ///< newest frame kept while the display is frozen (own pixels)
    quint64 heldTimestamp = 0;            ///< that of its frame
    bool hasHeldImage = false;
    QImage waitingFrame;  ///< newest frame that the screen could not take yet, in `waitingBlock`
    std::unique_ptr<unsigned char[]> waitingBlock;
    quint64 waitingSince = 0;  ///< its time stamp, ms since the epoch
    int frameCount = 0;        ///< frames since the last rate update
    int frameCount2 = 0;       ///< cleared with it
    float fps = 0.0F;          ///< smoothed frames per second
    int cameraIndex = 0;       ///< camera library index that feeds the tile
};
