// SPDX-License-Identifier: Apache-2.0
#include "camera/cameratable.h"

#include <algorithm>

namespace {

bool isUtf8(const QByteArray& bytes) {
    // There and back, not only there: a byte order mark would be swallowed on the way.
    return QString::fromUtf8(bytes).toUtf8() == bytes;
}

}  // namespace

int tilesInUse(int attached, int camNum, int demo) {
    const int cameras = std::max(0, std::min({attached, kMaxTiles, camNum}));
    if (cameras == 0 && demo > 0)
        return std::min(demo, kMaxTiles);
    return cameras;
}

QString serialText(const QByteArray& serial) {
    return isUtf8(serial) ? QString::fromUtf8(serial) : QString::fromLatin1(serial);
}

bool isSerial(const QString& configured, const QByteArray& serial) {
    if (isUtf8(serial))
        return configured.toUtf8() == serial;
    return configured == QString::fromLatin1(serial);
}

CameraTable matchCameras(const QVector<QString>& configured, const QVector<QByteArray>& serials) {
    CameraTable table;
    const int tiles = std::min(configured.size(), serials.size());
    for (int tile = 0; tile < tiles; ++tile) {
        const auto found = std::find_if(serials.begin(), serials.end(), [&](const QByteArray& serial) {
            return isSerial(configured[tile], serial);
        });
        if (found == serials.end()) {
            table.unmatchedTile = tile;
            break;
        }
        table.cameraOfTile.append(static_cast<int>(found - serials.begin()));
    }
    return table;
}

CameraTable camerasInOrder(int tiles) {
    CameraTable table;
    for (int tile = 0; tile < tiles; ++tile)
        table.cameraOfTile.append(tile);
    return table;
}

QVector<Binding> changedBindings(const QVector<int>& shownIn, const QVector<int>& cameraOfTile,
                                 const QVector<QByteArray>& serials, const QVector<QString>& configured) {
    QVector<Binding> bindings;
    if (std::all_of(serials.begin(), serials.end(),
                    [](const QByteArray& serial) { return serial.isEmpty(); }))
        return bindings;
    for (int tile = 0; tile < shownIn.size(); ++tile) {
        const int camera = cameraOfTile[shownIn[tile]];
        const QString serial = serialText(serials[camera]);
        const bool isOther = camera != cameraOfTile[tile];
        // Also when the tile is back where it started: an earlier arrangement of this run may stand in the
        // file.
        if (isOther || configured[tile] != serial)
            bindings.append({tile, serial, isOther});
    }
    return bindings;
}
