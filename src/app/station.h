// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QList>
#include <QPointF>
#include <QSize>
#include <QVector>

#include "camera/cameras.h"
#include "live/tilelayout.h"

class SettingsFile;

/// This PC's cameras and tiles, as `setting.ini` describes them: how many, which camera feeds which tile,
/// where the tiles lie. GUI thread.
class Station {
public:
    /// Asks the library for its cameras and opens those in use, unless the settings say demo mode. `file`
    /// outlives the station.
    explicit Station(SettingsFile* file);

    int tileCount() const { return count; }
    /// Pictures come from files and the cameras stay closed.
    bool isDemo() const { return demo != 0; }
    /// 0 = 2 x 2 grid, else one row.
    int layoutMode() const { return mode; }

    /// Gives each tile its camera, by serial number; at the first start in the order of detection, which is
    /// kept. False when a tile is to show a camera that is not there.
    bool assignCameras();
    /// Camera library index per tile, once assigned.
    const QVector<int>& cameraOfTile() const { return tileCameras; }
    /// What the file has to say of the cameras after the tiles have been put into other slots; true if that
    /// needs another start to be seen. `places` as from LiveTiles::rearrange().
    bool bindCameras(const QList<ImagePos>& places);

    /// Size of a frame, px: that of camera 0, without cameras what the file says.
    QSize frameSize() const;
    /// Where a tile lies, scene px, as the file has it.
    QPointF placeOf(int tile) const;
    /// Keeps the place of a tile, scene px, not on disk at once.
    void storePlace(int tile, QPointF place);

    /// Releases one frame of each camera that waits for a trigger.
    void trigger() const { cameras.trigger(); }
    /// How long to wait for the capture threads at most, ms: a little longer than any camera waits for a
    /// frame, but kLongestPatience at most. The cameras are asked, for half a second; where none says, it is
    /// what the file says.
    int patience();
    static constexpr int kLongestPatience = 60'000;  // ms
    /// Frees the cameras; no thread may be inside the library any more.
    void free() { cameras.free(); }
    /// The same, but for `left` (library indices), in which a thread may be, and for those that have not told
    /// patience() anything yet; they stay as they are.
    void freeAllBut(const QVector<int>& left) { cameras.freeAllBut(left); }

private:
    QVector<QString> configuredSerials() const;

    SettingsFile* settings;  // not owned
    int count = 0;           // tiles in use, 0 ... 4
    int demo = 0;
    int mode = 1;
    Cameras cameras;
    QVector<int> tileCameras;
};
