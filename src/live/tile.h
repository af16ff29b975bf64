// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <optional>

#include "camera/capturethread.h"
#include "live/frame.h"
#include "live/framepictures.h"
#include "live/tileitem.h"

/// Key of the tile item's data(): the time stamp of the frame that it shows, quint64, ms since the epoch.
constexpr int kTimestampOfTile = 0;

/// One camera's place in the view: the thread that feeds it, its picture in the scene, its counters. GUI
/// thread.
struct Tile {
    CaptureThread* thread = nullptr;  ///< child of the main window
    TileItem* item = nullptr;         ///< owned by the scene; none until the first frame is shown
    FramePictures pictures;           ///< what the item shows is made here
    QImage heldImage;                 ///< newest frame kept while the display is frozen (own pixels)
    quint64 heldTimestamp = 0;        ///< that of its frame
    bool hasHeldImage = false;
    int correctedBy = 0;           ///< number of the correction that made what the item shows; 0: none
    int heldCorrectedBy = 0;       ///< the same of heldImage
    std::optional<Frame> waiting;  ///< newest frame that the screen could not take yet
    int frameCount = 0;            ///< frames since the last rate update
    int frameCount2 = 0;           ///< cleared with it
    float fps = 0.0F;              ///< smoothed frames per second
    // Since the watch looked:
    bool isAlive = false;  ///< a frame has come, whatever became of it
    int inTime = 0;        ///< frames that were shown soon
    int late = 0;          ///< frames that were dropped for their age or shown late
};
