#pragma once

#include <QGraphicsItem>
#include <QList>
#include <QObject>
#include <QVector>
#include <array>
#include <functional>
#include <optional>

#include "calibration/correction.h"
#include "live/frameinbox.h"
#include "live/paintpacer.h"
#include "live/resizefollower.h"
#include "live/tile.h"
#include "live/tilelayout.h"

class QGraphicsScene;
class QGraphicsView;

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
    };

    /// `itemScene` gets the tiles' items and owns them, `view` shows it. Both outlive the streams.
    LiveTiles(const Setup& options, QGraphicsScene* itemScene, QGraphicsView* view,
              QObject* parent = nullptr);
    /// The streams have ended by then: see end().
    ~LiveTiles() override = default;

    /// Adds the next tile, fed by a thread that is not started yet.
    void addTile(CaptureThread* thread);
    int count() const { return tileCount; }
    /// None until the tile's first frame is shown, and for a number that is no tile.
    QGraphicsPixmapItem* item(int tile) const;
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
    /// Ends the threads and deletes them. What they have brought and nobody has seen is freed with this
    /// object.
    void end();

    // The two doors for frames.

    /// Any thread: the frame waits for its turn. It is dropped if it is more than 300 ms old when the GUI
    /// thread comes to look at it, and only the newest of a tile is shown.
    void handOver(int tile, Frame frame);
    /// GUI thread: the frame is on the tile when this returns, unless it is more than 300 ms old. What waited
    /// for the tile is older and goes.
    void showNow(int tile, Frame frame);

    /// Shows the frames that the GUI thread has looked at and that wait for the screen.
    void showWaiting();
    /// Puts the frames that are kept while the display is frozen on their tiles. They stay kept.
    void pushHeldImages();
    /// The smoothed rates, a second after they were last asked for; frames per second.
    QVector<float> updatedRates();

    // Correction and places.

    /// The correction that frames are shown with from now on while it is enabled.
    void setCorrection(const Correction& newCorrection) { correction = newCorrection; }
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
    /// The view is to be fitted to the tiles: one has shown its first picture, or the view has another size.
    void fitNeeded();

private:
    void deliver();
    void showFrame(int index, const Frame& frame);
    void showPicture(int index, const QImage& picture, quint64 timestamp);
    void placeCorrected(QSize frameSize);
    bool isTile(int index) const { return index >= 0 && index < tileCount; }

    Setup setup;
    QGraphicsScene* scene;  // not owned
    std::array<Tile, 4> tiles;
    int tileCount = 0;
    Correction correction;
    bool transEnabled = false;  // frames are shown corrected
    PaintPacer pacer;
    ResizeFollower resizes;
    FrameInbox inbox;
};
