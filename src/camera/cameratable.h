// SPDX-License-Identifier: Apache-2.0
/// Which cameras are used and which tile each of them feeds. Pure functions; any thread.
#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

constexpr int kMaxTiles = 4;

/// Number of tiles for `attached` cameras, `Camera/CamNum` and `Camera/Demo`: at most four and at most
/// `camNum` of the attached ones; with none of them, demo mode brings `demo` tiles of its own (at most four).
/// Never negative.
int tilesInUse(int attached, int camNum, int demo);

/// A serial number as `setting.ini` keeps it. Bytes that are not UTF-8 are taken one by one as Latin-1, so
/// that any bytes survive the file.
QString serialText(const QByteArray& serial);

/// Whether the configured text names a camera with these serial number bytes.
bool isSerial(const QString& configured, const QByteArray& serial);

/// The camera of every tile.
struct CameraTable {
    QVector<int> cameraOfTile;  ///< camera library index for tiles 0 ... n - 1; shorter when a tile has none
    int unmatchedTile = -1;     ///< first tile whose configured serial number no camera has, or -1
};

/// Tile t shows the first camera whose serial number is `configured[t]`. `serials` holds one entry per camera
/// in use; there are as many tiles. Two tiles may name the same camera.
CameraTable matchCameras(const QVector<QString>& configured, const QVector<QByteArray>& serials);

/// Tile t shows camera t: demo mode, and the first run, when no serial number is configured.
CameraTable camerasInOrder(int tiles);

/// What `setting.ini` has to say of one tile from the next start on.
struct Binding {
    int tile;
    QString serial;
    bool needsRestart;  ///< until then another camera is shown there
};

/// The bindings that change when the picture of tile `shownIn[k]` has been put into the place of tile k, for
/// every k. `cameraOfTile` and `serials` are those of this run, `configured` what the file says now. A camera
/// that told no serial number is bound by the empty text, as matchCameras() finds it; where no camera told
/// one (demo mode), nothing is bound, and the file keeps what it knows of real cameras.
QVector<Binding> changedBindings(const QVector<int>& shownIn, const QVector<int>& cameraOfTile,
                                 const QVector<QByteArray>& serials, const QVector<QString>& configured);
