// SPDX-License-Identifier: Apache-2.0
#include "live/tilewatch.h"

#include <QStringList>
#include <algorithm>
#include <utility>

namespace {

constexpr qint64 kSecond = 1000;
constexpr qint64 kMinute = 60 * kSecond;
constexpr qint64 kHour = 60 * kMinute;
constexpr qint64 kDay = 24 * kHour;

/// "12 s", "10 min", "3 h", "2 days": a silence may last for months.
QString durationText(qint64 duration) {
    if (duration < 10 * kMinute)
        return QStringLiteral("%1 s").arg((duration + kSecond / 2) / kSecond);
    if (duration < 2 * kHour)
        return QStringLiteral("%1 min").arg(duration / kMinute);
    if (duration < 2 * kDay)
        return QStringLiteral("%1 h").arg(duration / kHour);
    return QStringLiteral("%1 days").arg(duration / kDay);
}

}  // namespace

void TileWatch::start(int tile, qint64 now) {
    seeSign(watched[static_cast<size_t>(tile)], now);
    watched[static_cast<size_t>(tile)].isSilent = false;
}

void TileWatch::seeSign(Tile& tile, qint64 now) {
    tile.lastSign = now;
    // What it said is over with the silence that it said it in.
    tile.isWaiting.reset();
    tile.isQuestionStale = tile.isAsked;
}

void TileWatch::look(const QVector<Seen>& tiles, qint64 now) {
    lastLook = now;
    for (int i = 0; i < tiles.size(); ++i) {
        Tile& tile = watched[static_cast<size_t>(i)];
        tile.hasCamera = tiles[i].hasCamera;
        if (!tiles[i].isRunning || tiles[i].isAlive)
            seeSign(tile, now);
        tile.isSilent = now - tile.lastSign >= limits.silence;
    }
    judgePace(tiles);
}

void TileWatch::judgePace(const QVector<Seen>& tiles) {
    const bool isRunning =
        std::any_of(tiles.begin(), tiles.end(), [](const Seen& tile) { return tile.isRunning; });
    const bool isLate = std::any_of(tiles.begin(), tiles.end(), [](const Seen& tile) {
        return tile.isRunning && tile.late > tile.inTime;
    });
    if (isLate) {
        // From the end of the first such second on, so that a single long one (a slow disk) does not do.
        lateSince = lateSince.value_or(lastLook);
        lastLate = lastLook;
        isOverloaded = isOverloaded || lastLook - *lateSince >= limits.overload;
        return;
    }
    lateSince.reset();
    if (!isRunning || lastLook - lastLate >= limits.recovery)
        isOverloaded = false;
}

QVector<int> TileWatch::questions() const {
    QVector<int> tiles;
    for (int i = 0; i < static_cast<int>(watched.size()); ++i) {
        const Tile& tile = watched[static_cast<size_t>(i)];
        const bool isDue = !tile.askedAt || lastLook - *tile.askedAt >= limits.question;
        if (tile.isSilent && tile.hasCamera && !tile.isAsked && isDue)
            tiles.append(i);
    }
    return tiles;
}

void TileWatch::ask(int tile) {
    Tile& asked = watched[static_cast<size_t>(tile)];
    asked.isAsked = true;
    asked.isQuestionStale = false;
    asked.askedAt = lastLook;
}

void TileWatch::answer(int tile, bool isTriggered) {
    Tile& told = watched[static_cast<size_t>(tile)];
    if (!std::exchange(told.isAsked, false))
        return;
    if (!told.isQuestionStale)
        told.isWaiting = isTriggered;
}

bool TileWatch::countsAsWaiting(const Tile& tile) const {
    if (!tile.hasCamera)
        return false;
    if (!tile.isAsked)
        return tile.isWaiting.value_or(true);
    const qint64 pending = lastLook - *tile.askedAt;
    return tile.isWaiting ? *tile.isWaiting && pending < limits.question : pending == 0;
}

QVector<int> TileWatch::silentTiles() const {
    QVector<int> tiles;
    for (int i = 0; i < static_cast<int>(watched.size()); ++i) {
        const Tile& tile = watched[static_cast<size_t>(i)];
        if (tile.isSilent && !countsAsWaiting(tile))
            tiles.append(i);
    }
    return tiles;
}

QString TileWatch::silence() const {
    QStringList names;
    QStringList durations;
    const QVector<int> tiles = silentTiles();
    for (const int tile : tiles) {
        names.append(QString::number(tile));
        durations.append(durationText(lastLook - watched[static_cast<size_t>(tile)].lastSign));
    }
    if (names.isEmpty())
        return {};
    if (std::all_of(durations.cbegin(), durations.cend(),
                    [&](const QString& duration) { return duration == durations[0]; }))
        durations = durations.mid(0, 1);
    const QString comma = QStringLiteral(", ");
    return QStringLiteral("%1 %2: no picture for %3")
        .arg(names.size() == 1 ? QStringLiteral("Camera") : QStringLiteral("Cameras"), names.join(comma),
             durations.join(comma));
}

QString TileWatch::overload() const {
    return isOverloaded ? QStringLiteral("The PC is overloaded: pictures are shown late") : QString();
}
