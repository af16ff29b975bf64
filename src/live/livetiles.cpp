#include "live/livetiles.h"

#include <QDateTime>
#include <QDebug>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QThread>
#include <algorithm>
#include <utility>

#include "calibration/cropgeometry.h"
#include "live/framerate.h"

namespace {

quint64 millisecondsSinceEpoch() {
    return static_cast<quint64>(QDateTime::currentMSecsSinceEpoch());
}

/// Whether a frame is too old to be shown; says so if it is.
bool isDropped(quint64 timestamp) {
    const bool isTooOld = isStale(millisecondsSinceEpoch(), timestamp);
    if (isTooOld)
        qDebug() << "drop";
    return isTooOld;
}

}  // namespace

LiveTiles::LiveTiles(const Setup& options, QGraphicsScene* itemScene, QGraphicsView* view, QObject* parent)
    : QObject(parent), setup(options), scene(itemScene), pacer(view->viewport()), resizes(view) {
    // How much of the view is painted anew at a change is left at the tiles that changed: the other modes and
    // the optimization flags made no difference where all cameras keep time, and they paint too much where
    // they don't.
    view->setViewportUpdateMode(QGraphicsView::MinimalViewportUpdate);
    connect(&inbox, &FrameInbox::filled, this, &LiveTiles::deliver, Qt::QueuedConnection);
    connect(&resizes, &ResizeFollower::resized, this, &LiveTiles::fitNeeded);
    connect(&pacer, &PaintPacer::show, this, &LiveTiles::showWaiting);
}

// ---- tiles and streams ---------------------------------------------------------------------------

void LiveTiles::addTile(CaptureThread* thread) {
    Q_ASSERT(tileCount < static_cast<int>(tiles.size()));
    tiles[tileCount++].thread = thread;
    // Direct: the capture thread itself hands its frames over. Somebody else who sends one in its name, on
    // the GUI thread, sees it shown at once.
    const auto take = [this](int id, const QImage& image, unsigned char* buffer, quint64 timestamp) {
        Frame frame(image, buffer, timestamp);
        if (QThread::currentThread() == this->thread())
            showNow(id, std::move(frame));
        else
            handOver(id, std::move(frame));
    };
    connect(thread, &CaptureThread::captured, this, take, Qt::DirectConnection);
}

QGraphicsPixmapItem* LiveTiles::item(int tile) const {
    return isTile(tile) ? tiles[tile].item : nullptr;
}

QPointF LiveTiles::placeOf(int tile) const {
    return tiles[tile].item ? tiles[tile].item->pos() : setup.savedPlace(tile);
}

void LiveTiles::setFlags(QGraphicsItem::GraphicsItemFlags flags) {
    for (const Tile& tile : tiles) {
        if (tile.item)
            tile.item->setFlags(flags);
    }
}

void LiveTiles::stream(bool inColour) {
    for (Tile& tile : tiles) {
        tile.frameCount = 0;
        tile.frameCount2 = 0;
        if (tile.thread)
            tile.thread->stream(inColour);
    }
}

void LiveTiles::pause() {
    for (const Tile& tile : tiles) {
        if (tile.thread)
            tile.thread->pauseCapturing();
    }
}

void LiveTiles::stop() {
    for (const Tile& tile : tiles) {
        if (tile.thread)
            tile.thread->stopCapturing();
    }
}

void LiveTiles::wait() {
    for (const Tile& tile : tiles) {
        if (tile.thread)
            tile.thread->wait();
    }
}

void LiveTiles::end() {
    stop();
    wait();
    for (Tile& tile : tiles)
        delete std::exchange(tile.thread, nullptr);
}

// ---- frames --------------------------------------------------------------------------------------

void LiveTiles::handOver(int tile, Frame frame) {
    if (isTile(tile))
        inbox.put(tile, std::move(frame));
}

void LiveTiles::deliver() {
    FrameInbox::Deliveries deliveries = inbox.take();
    for (int i = 0; i < tileCount; ++i) {
        FrameInbox::Delivery& delivery = deliveries[i];
        Tile& tile = tiles[i];
        // They were overtaken before anybody could have seen them; they count all the same.
        for (const quint64 timestamp : qAsConst(delivery.overtaken))
            tile.frameCount += isDropped(timestamp) ? 0 : 1;
        if (!delivery.newest || isDropped(delivery.newest->timestamp))
            continue;
        ++tile.frameCount;
        tile.waiting = std::move(delivery.newest);  // one that waited is freed, uncorrected
        // A tile that has no picture yet does not wait for others to be painted.
        if (tile.item)
            pacer.pictureWaits();
        else
            showFrame(i, *std::exchange(tile.waiting, std::nullopt));
    }
}

void LiveTiles::showNow(int index, Frame frame) {
    if (isDropped(frame.timestamp) || !isTile(index))
        return;
    ++tiles[index].frameCount;
    tiles[index].waiting.reset();
    showFrame(index, frame);
}

void LiveTiles::showWaiting() {
    pacer.nothingWaits();
    for (int i = 0; i < tileCount; ++i) {
        Tile& tile = tiles[i];
        const std::optional<Frame> frame = std::exchange(tile.waiting, std::nullopt);
        if (!frame)
            continue;
        // One that has become too old while the window was busy is shown only if no other follows it: of a
        // camera that is triggered it may be the only one for a long time.
        if (inbox.holds(i) && isDropped(frame->timestamp)) {
            tile.frameCount = std::max(0, tile.frameCount - 1);
            continue;
        }
        showFrame(i, *frame);
        pacer.pictureSet();
    }
}

void LiveTiles::showFrame(int index, const Frame& frame) {
    FramePictures& pictures = tiles[index].pictures;
    QImage picture = transEnabled
                         ? pictures.corrected(frame.image, correction, index, tileCount, setup.layoutMode)
                         : pictures.plain(frame.image);
    if (picture.constBits() == frame.image.constBits())
        picture = picture.copy();  // the frame's own pixels are freed soon
    showPicture(index, picture, frame.timestamp);
}

void LiveTiles::showPicture(int index, const QImage& picture, quint64 timestamp) {
    Tile& tile = tiles[index];
    const bool isFirst = !tile.item;
    if (isFirst) {
        const QPointF place = setup.savedPlace(index);
        tile.item = scene->addPixmap(QPixmap::fromImage(picture));
        tile.item->setPos(place);
        tile.item->setFlags(QGraphicsItem::ItemIsMovable);
    } else if (setup.isFrozen()) {
        tile.heldImage = picture;
        tile.heldTimestamp = timestamp;
        tile.hasHeldImage = true;
        return;
    } else {
        tile.item->setPixmap(QPixmap::fromImage(picture));
        // A live picture is newer than any held one: a later save must not bring the old one back.
        tile.heldImage = QImage();
        tile.hasHeldImage = false;
    }
    tile.item->setData(kTimestampOfTile, timestamp);
    if (isFirst)
        emit fitNeeded();
}

void LiveTiles::pushHeldImages() {
    for (const Tile& tile : tiles) {
        if (!tile.hasHeldImage || !tile.item)
            continue;
        tile.item->setPixmap(QPixmap::fromImage(tile.heldImage));
        tile.item->setData(kTimestampOfTile, tile.heldTimestamp);
    }
}

QVector<float> LiveTiles::updatedRates() {
    QVector<float> rates;
    for (int i = 0; i < tileCount; ++i) {
        Tile& tile = tiles[i];
        tile.fps = smoothedRate(tile.fps, tile.frameCount);
        tile.frameCount = 0;
        tile.frameCount2 = 0;
        rates.append(tile.fps);
    }
    return rates;
}

// ---- places --------------------------------------------------------------------------------------

QList<ImagePos> LiveTiles::rearrange(int columns, QSize frameSize) {
    if (transEnabled) {
        placeCorrected(frameSize);
        return {};
    }
    QList<ImagePos> places;
    for (int i = 0; i < tileCount; ++i)
        places.append({placeOf(i).x(), placeOf(i).y(), i});
    const QSize size = tiles[0].item->pixmap().size();
    places =
        rearranged(places, size, arrangedColumns(columns, setup.layoutMode, tileCount), setup.layoutMode);
    for (const ImagePos& place : qAsConst(places)) {
        if (tiles[place.index].item)
            tiles[place.index].item->setPos(place.x, place.y);
    }
    return places;
}

void LiveTiles::placeCorrected(QSize frameSize) {
    QVector<QSize> sizes;
    for (int i = 0; i < tileCount; ++i)
        sizes.append((tiles[i].item ? tiles[i] : tiles[0]).item->pixmap().size());
    // Without corners for the layout the pictures are shown uncut: then their own widths count.
    std::array<int, 4> rowWidths{};
    std::transform(sizes.begin(), sizes.end(), rowWidths.begin(), [](QSize size) { return size.width(); });
    if (const auto geometry =
            computeCropGeometry(correction.dstCorners, tileCount, setup.layoutMode, frameSize))
        rowWidths = geometry->rowWidths;
    const auto positions = correctedPositions(sizes, rowWidths, setup.layoutMode);
    for (int i = 0; i < tileCount; ++i) {
        if (tiles[i].item)
            tiles[i].item->setPos(positions[i]);
    }
}

QPointF LiveTiles::placeInSlot(int slot, const QList<ImagePos>& slotPlaces) const {
    if (slot >= slotPlaces.size())
        return placeOf(slot);
    const ImagePos& entry = slotPlaces[slot];
    const QGraphicsPixmapItem* shown = item(entry.index);
    return shown ? shown->pos() : QPointF(entry.x, entry.y);
}

std::optional<ZoomFit> LiveTiles::fitted(QSize viewSize) const {
    QVector<QPointF> positions;
    for (int i = 0; i < tileCount; ++i) {
        if (!tiles[i].item)
            return {};
        positions.append(tiles[i].item->pos());
    }
    return positions.isEmpty() ? std::nullopt : zoomFit(positions, tiles[0].item->pixmap().size(), viewSize);
}
