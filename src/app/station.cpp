// SPDX-License-Identifier: Apache-2.0
#include "app/station.h"

#include <QDebug>
#include <algorithm>

#include "camera/cameratable.h"
#include "settings/settingsfile.h"

Station::Station(SettingsFile* file) : settings(file) {
    const int camNum = settings->read(keys::kCamNum);
    const int attached = Cameras::attached();
    demo = settings->read(keys::kDemo);
    count = tilesInUse(attached, camNum, demo);
    qDebug() << "Device count:" << count;
    mode = settings->read(keys::kMode);
    if (!isDemo())
        cameras.open(count, settings->read(keys::kTimeout));
}

QVector<QString> Station::configuredSerials() const {
    QVector<QString> configured;
    for (int tile = 0; tile < kMaxTiles; ++tile)
        configured.append(settings->read(keys::cameraSerial(tile)));
    return configured;
}

bool Station::assignCameras() {
    const QVector<QByteArray>& serials = cameras.serialNumbers();
    const QVector<QString> configured = configuredSerials();
    for (int i = 0; i < serials.size(); ++i)
        qDebug() << "sn" << i << serials[i] << configured[i];
    const bool isFirstRun = std::all_of(configured.begin(), configured.end(),
                                        [](const QString& serial) { return serial.isEmpty(); });
    CameraTable table = camerasInOrder(count);
    if (!isDemo() && isFirstRun) {
        for (int i = 0; i < count; ++i)
            settings->store(keys::cameraSerial(i), serialText(serials[i]));
        settings->flush();
    } else if (!isDemo()) {
        table = matchCameras(configured, serials);
    }
    if (table.unmatchedTile >= 0)
        qDebug() << "no camera for tile" << table.unmatchedTile << configured[table.unmatchedTile];
    tileCameras = table.cameraOfTile;
    return table.unmatchedTile < 0;
}

bool Station::bindCameras(const QList<ImagePos>& places) {
    QVector<int> shownIn;
    for (const ImagePos& place : places)
        shownIn.append(place.index);
    bool needsRestart = false;
    const auto bindings = changedBindings(shownIn, tileCameras, cameras.serialNumbers(), configuredSerials());
    for (const Binding& binding : bindings) {
        settings->write(keys::cameraSerial(binding.tile), binding.serial);
        needsRestart = needsRestart || binding.needsRestart;
    }
    return needsRestart;
}

QSize Station::frameSize() const {
    const QSize size = count > 0 && !isDemo() ? Cameras::frameSize(0) : QSize();
    return size.isEmpty() ? QSize(settings->read(keys::kWidth), settings->read(keys::kHeight)) : size;
}

QPointF Station::placeOf(int tile) const {
    return {double(tilePosition(settings->read(keys::tileX(tile)))),
            double(tilePosition(settings->read(keys::tileY(tile))))};
}

void Station::storePlace(int tile, QPointF place) {
    settings->store(keys::tileX(tile), place.x());
    settings->store(keys::tileY(tile), place.y());
}

int Station::patience() {
    constexpr int kMargin = 1000;        // ms
    constexpr int kLongestAnswer = 500;  // ms
    // The library counts as it likes; where it counts in something else than ms, the file's number is no
    // better.
    const int wait = std::max(cameras.longestWait(kLongestAnswer), settings->read(keys::kTimeout));
    return std::clamp(wait, 0, kLongestPatience - kMargin) + kMargin;
}
