// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QElapsedTimer>
#include <QGraphicsItem>
#include <QList>
#include <QObject>
#include <QVector>
#include <array>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "calibration/correction.h"
#include "camera/askaside.h"
#include "live/frameinbox.h"
#include "live/paintpacer.h"
#include "live/resizefollower.h"
#include "live/tile.h"
#include "live/tilelayout.h"
#include "live/tileview.h"
#include "live/tilewatch.h"
#include "platform/unattended.h"

class QGraphicsScene;

/// What is on the screen: up to four tiles, each with the camera that feeds it and its picture in the scene.
///
/// The road of a frame is one line: capture thread, handOver(), inbox, deliver(), showWaiting(), showFrame(),
/// the tile's item. A frame that is given directly, by showNow(), enters at showFrame(). Whoever has a frame
/// owns its block. GUI thread, but for handOver().
class LiveTiles : public QObject {
    Q_OBJECT

public:
    struct Setup {
        int layoutMode = 1;                      ///< 0 = 2 x 2 grid, else one row
        std::function<QPointF(int)> savedPlace;  ///< where a new tile appears, scene px
        std::function<bool()> isFrozen;          ///< frames are kept, not shown; asked for every frame
        /// Told true when the tiles begin to stream and false when they no longer do.
        std::function<void(bool)> keepAwake = platform::keepAwake;
    };

    /// `itemScene` gets the tiles' items and owns them, `view` shows it. Both outlive the streams.
    LiveTiles(const Setup& options, QGraphicsScene* itemScene, TileView* view, QObject* parent = nullptr);
    /// The streams have ended by then: see end().
    ~LiveTiles() override = default;

    /// Adds the next tile, fed by a thread that is not started yet.
    void addTile(CaptureThread* thread);
    int count() const { return tileCount; }
    /// As it was set up.
    int layoutMode() const { return setup.layoutMode; }
    /// None until the tile's first frame is shown, and for a number that is no tile.
    QGraphicsPixmapItem* item(int tile) const;
    /// The tiles that have an item, as they lie upon one another in the scene: the upper of two comes later.
    QVector<int> tilesFromBelow() const;
    /// Where a tile is, scene px; one that has had no picture yet counts where it will appear.
    QPointF placeOf(int tile) const;
    /// Sets the flags of all items that are there.
    void setFlags(QGraphicsItem::GraphicsItemFlags flags);

    // Streams.

    /// Clears the counters and lets every thread fetch frames; starts those that do not run yet, for colour
    /// or monochrome frames.
    void stream(bool inColour);
    void pause();
    /// Tells every thread to end, without waiting.
    void stop();
    /// Waits, however long, until every thread has ended.
    void wait();
    /// Tells every thread to end and waits until all have, or for `patience` ms. Returns the cameras (library
    /// indices) of those that have not, and those that were asked something and have not answered half a
    /// second later: somebody is inside the library for them.
    QVector<int> stopWithin(int patience);
    /// Ends the threads and deletes them, however long that takes. What they have brought and nobody has seen
    /// is freed with this object. Returns the cameras that have not answered, as above.
    QVector<int> end();

    // The two doors for frames.

    /// Any thread: the frame waits for its turn. It is dropped if it is more than 300 ms old when the GUI
    /// thread comes to look at it, and only the newest of a tile is shown.
    void handOver(int tile, Frame frame);
    /// GUI thread: the frame is on the tile when this returns, unless it is more than 300 ms old. What waited
    /// for the tile is older and goes.
    void showNow(int tile, Frame frame);

    /// Shows the frames that the GUI thread has looked at and that wait for the screen.
    void showWaiting();
    /// The same, with all that has arrived by now: a picture that is saved shows its own moment, also when
    /// the window was too busy to look at the frames.
    void showArrived();
    /// Puts the frames that are kept while the display is frozen on their tiles. They stay kept.
    void pushHeldImages();
    /// The smoothed rates, a second after they were last asked for; frames per second. Looks on the way
    /// whether the tiles get what they should; a camera that has sent nothing for a while is asked for its
    /// snap mode, on a thread of its own; what it says counts when this is called again.
    QVector<float> updatedRates();
    /// Other limits than the usual ones; the watch begins anew.
    void setWatchLimits(const TileWatch::Limits& limits);

    // Correction and places.

    /// The correction that frames are shown with from now on while it is enabled.
    void setCorrection(const Correction& newCorrection);
    const Correction& usedCorrection() const { return correction; }
    /// Whether the picture that a tile shows at the moment was made with this correction, and it is on: after
    /// a change of either, frames that are paused or frozen stay as they were.
    bool showsCorrected(int tile) const;
    void setTransEnabled(bool isOn) { transEnabled = isOn; }
    bool isTransEnabled() const { return transEnabled; }
    /// Puts the tiles into a row or a grid: corrected ones where their pictures join, for frames of
    /// `frameSize` px; uncorrected ones into slots in reading order, `columns` a row as the settings have it.
    /// The slots are returned, empty when the correction is on. Needs the item of tile 0.
    QList<ImagePos> rearrange(int columns, QSize frameSize);
    /// Where the tile lies that is in a slot of rearranged tiles, scene px; without slots, where tile `slot`
    /// is.
    QPointF placeInSlot(int slot, const QList<ImagePos>& slotPlaces) const;
    /// The view of `viewSize` px that shows all tiles; nothing until all are there.
    std::optional<ZoomFit> fitted(QSize viewSize) const;
    /// The view is about to get another size from the desktop, and perhaps not at once.
    void followResizes() { resizes.follow(); }

signals:
    /// Some tile shows another picture.
    void pictureShown();
    /// The view is to be fitted to the tiles: one has shown its first picture, or the view has another size.
    void fitNeeded();
    /// Which tiles get no pictures although they should; empty when all do.
    void silenceChanged(const QString& problem);
    /// The PC does not keep up with the pictures; empty when it does.
    void overloadChanged(const QString& problem);

private:
    void deliver();
    void showFrame(int index, const Frame& frame);
    void showPicture(int index, const QImage& picture, quint64 timestamp, int correctedBy);
    void placeCorrected(QSize frameSize);
    void watchTiles();
    void takeAnswers();
    void askSilentCameras();
    void tellSilence();
    void setStreaming(bool isOn);
    void tellOverload();
    QVector<int> camerasThatOweAnAnswer();
    bool isTile(int index) const { return index >= 0 && index < tileCount; }

    Setup setup;
    QGraphicsScene* scene;  // not owned
    std::array<Tile, 4> tiles;
    std::shared_ptr<TileGroup> group = std::make_shared<TileGroup>();  // the items of the tiles
    int tileCount = 0;
    Correction correction;
    int correctionNumber = 1;   // another one for each correction
    bool transEnabled = false;  // frames are shown corrected
    bool isStreaming = false;   // as last told to setup.keepAwake
    PaintPacer pacer;
    ResizeFollower resizes;
    TileWatch watch;
    QElapsedTimer clock;                         // the watch's: a wall clock that is set makes no tile silent
    QString silence;                             // as last told
    QString overload;                            // as last told
    QVector<int> silentTiles;                    // as last logged
    std::map<int, std::future<bool>> questions;  // those under way, by camera: whether it is triggered
    FrameInbox inbox;
};
