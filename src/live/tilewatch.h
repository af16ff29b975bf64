// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QVector>
#include <QtGlobal>
#include <array>
#include <optional>

/// Says which tiles get no pictures although they should, and whether the PC keeps up with those that come.
///
/// Is told about once a second what has come, and the time, ms of a clock that nobody sets. A tile that has
/// been silent for a while is told apart from one whose camera waits for a trigger by asking the camera, and
/// only then: questions() says whom, answer() takes what it said, whenever that comes. Pure; any one thread.
class TileWatch {
public:
    struct Limits {
        qint64 silence = 3000;    ///< a tile without a frame for so long is silent, ms
        qint64 question = 10000;  ///< its camera is asked no sooner again, frames in between or not, ms
        qint64 overload = 10000;  ///< pictures that are late for so long mean that the PC is overloaded, ms
        qint64 recovery = 3000;   ///< and in time for so long, that it is not any more, ms
    };

    /// One tile since the last look.
    struct Seen {
        bool isRunning = false;  ///< frames are fetched for it now
        bool hasCamera = false;  ///< there is a camera to ask
        bool isAlive = false;    ///< at least one frame has come, whatever became of it
        // One that a newer frame has overtaken while it was young is neither: nobody has missed it.
        int inTime = 0;  ///< frames that were shown soon
        int late = 0;    ///< frames that were dropped for their age or shown late
    };

    TileWatch() = default;
    explicit TileWatch(const Limits& chosen) : limits(chosen) {}

    /// Frames are fetched for a tile, 0 ... 3, from now on.
    void start(int tile, qint64 now);
    /// What has come for the tiles, at most four, since the last look.
    void look(const QVector<Seen>& tiles, qint64 now);
    /// Tiles whose camera is to be asked whether it waits for a trigger; none whose question is under way.
    QVector<int> questions() const;
    /// A tile's camera is asked now. Until the next look it counts as waiting for a trigger; from then on,
    /// and until it answers, as one that does not. One that has said in this silence that it waits has as
    /// long as there is between two questions.
    void ask(int tile);
    /// What the camera says. Nothing where none is asked; of no use when a frame has come since it was asked.
    void answer(int tile, bool isTriggered);

    /// The tiles that get no pictures although they should.
    QVector<int> silentTiles() const;
    /// "Camera 0: no picture for 12 s", "Cameras 0, 2: no picture for 12 s, 5 min"; empty when all is well.
    QString silence() const;
    /// "The PC is overloaded: pictures are shown late", or empty.
    QString overload() const;

private:
    struct Tile {
        qint64 lastSign = 0;  // of life: a frame, or that none was to be fetched
        bool isSilent = false;
        bool hasCamera = false;
        bool isAsked = false;           // a question is under way
        bool isQuestionStale = false;   // since then there was a sign of life
        std::optional<qint64> askedAt;  // when it was last asked, in this silence or before
        std::optional<bool> isWaiting;  // for a trigger, as its camera said in this silence
    };

    void seeSign(Tile& tile, qint64 now);
    bool countsAsWaiting(const Tile& tile) const;
    void judgePace(const QVector<Seen>& tiles);

    Limits limits;
    std::array<Tile, 4> watched;
    qint64 lastLook = 0;
    std::optional<qint64> lateSince;  // the first late look of those in a row
    qint64 lastLate = 0;
    bool isOverloaded = false;
};
