// SPDX-License-Identifier: Apache-2.0
#include "live/livetiles.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QDebug>
#include <QGraphicsScene>
#include <QThread>
#include <algorithm>
#include <utility>

#include "calibration/cropgeometry.h"
#include "camera/cameras.h"
#include "live/framerate.h"

namespace {

// How long the end of the streams waits for answers that are still to come, ms.
constexpr int kLongestAnswer = 500;

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

/// Shares the pixels of what a camera sends, whose formats are not the screen's. Another picture becomes
/// whatever pixmaps are made of.
QPixmap pixmapOf(const QImage& picture) {
    const QImage::Format format = picture.format();
    const bool isOfCamera = format == QImage::Format_Grayscale8 || format == QImage::Format_RGB888;
    return QPixmap::fromImage(picture, isOfCamera ? Qt::NoFormatConversion : Qt::AutoColor);
}

}  // namespace

LiveTiles::LiveTiles(const Setup& options, QGraphicsScene* itemScene, TileView* view, QObject* parent)
    : QObject(parent), setup(options), scene(itemScene), pacer(view->viewport()), resizes(view) {
    // How much of the view is painted anew at a change is left at the tiles that changed: the other modes and
    // the optimization flags made no difference where all cameras keep time, and they paint too much where
    // they don't.
    view->setViewportUpdateMode(QGraphicsView::MinimalViewportUpdate);
    view->setTiles(group);
    clock.start();
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

QVector<int> LiveTiles::tilesFromBelow() const {
    TileGroup items = *group;
    std::stable_sort(items.begin(), items.end(), [](const TileItem* lower, const TileItem* upper) {
        return lower->zValue() < upper->zValue();
    });
    QVector<int> found;
    for (const TileItem* item : items) {
        for (int i = 0; i < tileCount; ++i) {
            if (tiles[i].item == item)
                found.append(i);
        }
    }
    return found;
}

QPointF LiveTiles::placeOf(int tile) const {
    return tiles[tile].item ? tiles[tile].item->pos() : setup.savedPlace(tile);
}

void LiveTiles::setCorrection(const Correction& newCorrection) {
    correction = newCorrection;
    ++correctionNumber;
}

bool LiveTiles::showsCorrected(int tile) const {
    return transEnabled && isTile(tile) && tiles[tile].item && tiles[tile].correctedBy == correctionNumber;
}

void LiveTiles::setFlags(QGraphicsItem::GraphicsItemFlags flags) {
    for (const Tile& tile : tiles) {
        if (tile.item)
            tile.item->setFlags(flags);
    }
}

void LiveTiles::setStreaming(bool isOn) {
    if (isOn != std::exchange(isStreaming, isOn))
        setup.keepAwake(isOn);
}

void LiveTiles::stream(bool inColour) {
    setStreaming(tileCount > 0);
    for (int i = 0; i < tileCount; ++i) {
        Tile& tile = tiles[i];
        tile.frameCount = 0;
        tile.frameCount2 = 0;
        if (!tile.thread)
            continue;
        if (!tile.thread->isCapturing())
            watch.start(i, clock.elapsed());
        tile.thread->stream(inColour);
    }
}

void LiveTiles::pause() {
    setStreaming(false);
    for (const Tile& tile : tiles) {
        if (tile.thread)
            tile.thread->pauseCapturing();
    }
}

void LiveTiles::stop() {
    setStreaming(false);
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

QVector<int> LiveTiles::stopWithin(int patience) {
    stop();
    const QDeadlineTimer deadline(patience);
    QVector<int> busyCameras;
    for (const Tile& tile : tiles) {
        if (tile.thread && !tile.thread->wait(deadline))
            busyCameras.append(tile.thread->cameraIndex());
    }
    return busyCameras + camerasThatOweAnAnswer();
}

QVector<int> LiveTiles::end() {
    stop();
    wait();
    for (Tile& tile : tiles)
        delete std::exchange(tile.thread, nullptr);
    return camerasThatOweAnAnswer();
}

QVector<int> LiveTiles::camerasThatOweAnAnswer() {
    const QDeadlineTimer deadline(kLongestAnswer);
    QVector<int> cameras;
    for (auto& question : questions) {
        if (!answerWithin(question.second, deadline.remainingTime()) && question.second.valid())
            cameras.append(question.first);
    }
    return cameras;
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
            ++(isDropped(timestamp) ? tile.late : tile.frameCount);
        if (!delivery.newest)
            continue;
        tile.isAlive = true;
        if (isDropped(delivery.newest->timestamp)) {
            ++tile.late;
            continue;
        }
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
    const bool isTooOld = isDropped(frame.timestamp);
    if (!isTile(index))
        return;
    Tile& tile = tiles[index];
    tile.isAlive = true;
    if (isTooOld) {
        ++tile.late;
        return;
    }
    ++tile.frameCount;
    tile.waiting.reset();
    showFrame(index, frame);
}

void LiveTiles::showArrived() {
    deliver();
    showWaiting();
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
            ++tile.late;
            continue;
        }
        showFrame(i, *frame);
        pacer.pictureSet();
    }
}

void LiveTiles::showFrame(int index, const Frame& frame) {
    Tile& tile = tiles[index];
    ++(isLate(millisecondsSinceEpoch(), frame.timestamp) ? tile.late : tile.inTime);
    FramePictures& pictures = tile.pictures;
    FramePictures::Follower follower;
    if (tile.item && !setup.isFrozen())
        follower = [item = tile.item](const QImage& picture, int rows) { item->follow(picture, rows); };
    QImage picture = transEnabled ? pictures.corrected(frame.image, correction, index, tileCount,
                                                       setup.layoutMode, follower)
                                  : pictures.plain(frame.image, follower);
    if (picture.constBits() == frame.image.constBits())
        picture = picture.copy();  // the frame's own pixels are freed soon
    showPicture(index, picture, frame.timestamp, transEnabled ? correctionNumber : 0);
}

void LiveTiles::showPicture(int index, const QImage& picture, quint64 timestamp, int correctedBy) {
    Tile& tile = tiles[index];
    const bool isFirst = !tile.item;
    if (isFirst) {
        const QPointF place = setup.savedPlace(index);
        tile.item = new TileItem(pixmapOf(picture), group);
        scene->addItem(tile.item);
        tile.item->setPos(place);
        tile.item->setFlags(QGraphicsItem::ItemIsMovable);
    } else if (setup.isFrozen()) {
        tile.heldImage = picture;
        tile.heldTimestamp = timestamp;
        tile.hasHeldImage = true;
        tile.heldCorrectedBy = correctedBy;
        return;
    } else {
        tile.item->setPixmap(pixmapOf(picture));
        // A live picture is newer than any held one: a later save must not bring the old one back.
        tile.heldImage = QImage();
        tile.hasHeldImage = false;
    }
    tile.item->setData(kTimestampOfTile, timestamp);
    tile.correctedBy = correctedBy;
    if (isFirst)
        emit fitNeeded();
    emit pictureShown();
}

void LiveTiles::pushHeldImages() {
    for (Tile& tile : tiles) {
        if (!tile.hasHeldImage || !tile.item)
            continue;
        tile.item->setPixmap(pixmapOf(tile.heldImage));
        tile.item->setData(kTimestampOfTile, tile.heldTimestamp);
        tile.correctedBy = tile.heldCorrectedBy;
        emit pictureShown();
    }
}

QVector<float> LiveTiles::updatedRates() {
    watchTiles();
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

void LiveTiles::setWatchLimits(const TileWatch::Limits& limits) {
    watch = TileWatch(limits);
    for (int i = 0; i < tileCount; ++i)
        watch.start(i, clock.elapsed());
}

void LiveTiles::watchTiles() {
    QVector<TileWatch::Seen> seen;
    for (int i = 0; i < tileCount; ++i) {
        Tile& tile = tiles[i];
        const bool isRunning = tile.thread && tile.thread->isCapturing();
        const bool hasCamera = tile.thread && !tile.thread->isDemo();
        // The window may have been too busy to look at those in the inbox.
        seen.append({isRunning, hasCamera, tile.isAlive || inbox.holds(i), tile.inTime, tile.late});
        tile.isAlive = false;
        tile.inTime = 0;
        tile.late = 0;
    }
    watch.look(seen, clock.elapsed());
    takeAnswers();
    askSilentCameras();
    tellSilence();
    tellOverload();
}

void LiveTiles::tellSilence() {
    const QString text = watch.silence();
    // Not for each second: the log has a line when others are silent than before.
    if (const QVector<int> silent = watch.silentTiles(); std::exchange(silentTiles, silent) != silent)
        qWarning("%s", silent.isEmpty() ? "No camera is without pictures any more" : qUtf8Printable(text));
    if (std::exchange(silence, text) != text)
        emit silenceChanged(text);
}

void LiveTiles::tellOverload() {
    const QString text = watch.overload();
    if (std::exchange(overload, text) == text)
        return;
    qWarning("%s", text.isEmpty() ? "The PC is not overloaded any more" : qUtf8Printable(text));
    emit overloadChanged(text);
}

void LiveTiles::takeAnswers() {
    for (auto question = questions.begin(); question != questions.end();) {
        const std::optional<bool> isTriggered = answerWithin(question->second, 0);
        if (!isTriggered) {
            ++question;
            continue;
        }
        for (int i = 0; i < tileCount; ++i) {
            if (tiles[i].thread && tiles[i].thread->cameraIndex() == question->first)
                watch.answer(i, *isTriggered);
        }
        question = questions.erase(question);
    }
}

void LiveTiles::askSilentCameras() {
    const QVector<int> silent = watch.questions();
    for (const int tile : silent) {
        const int camera = tiles[tile].thread->cameraIndex();
        watch.ask(tile);
        // Another tile may show the same camera.
        if (questions.count(camera) > 0)
            continue;
        auto question = askAside<bool>([camera] { return Cameras::isTriggered(camera); });
        if (question.valid())
            questions.emplace(camera, std::move(question));
        else
            watch.answer(tile, false);
    }
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
