// SPDX-License-Identifier: Apache-2.0
#include "bareview.h"

#include <QGraphicsPixmapItem>
#include <QGuiApplication>
#include <QScreen>
#include <utility>

#include "camera/kvcap2.h"
#include "live/tile.h"
#include "livemeasure.h"

BareView::BareView(QGraphicsScene* scene) : QGraphicsView(scene) {
    setWindowFlags(Qt::BypassWindowManagerHint | Qt::WindowStaysOnTopHint);
    setViewportUpdateMode(QGraphicsView::MinimalViewportUpdate);
    setFrameShape(QFrame::NoFrame);
    setGeometry(QGuiApplication::primaryScreen()->geometry());
}

QGraphicsPixmapItem* addSmoothly(QGraphicsScene& scene, const QPixmap& pixmap, QPointF place) {
    QGraphicsPixmapItem* item = scene.addPixmap(pixmap);
    // The item's own mode counts, not the view's render hint.
    item->setTransformationMode(Qt::SmoothTransformation);
    item->setPos(place);
    return item;
}

BareStation::BareStation(bool inColour, std::function<void(qint64)> delivered) : shown(&scene) {
    const QPointF places[kCameras] = {{0, 0}, {2320, 0}, {0, 1300}, {2320, 1300}};
    scene.setSceneRect(0, 0, 4640, 2600);
    for (int i = 0; i < kCameras; ++i) {
        correction.take(i, calibrationOf(i), kFrame);
        items.append(addSmoothly(scene, QPixmap(2320, 1300), places[i]));
        CameraInit(i);
        CameraSetExposure(i, 100);  // 1 ms, as in the window's runs
    }
    shown.show();
    shown.fitInView(scene.sceneRect(), Qt::KeepAspectRatio);
    QObject::connect(
        &inbox, &FrameInbox::filled, &shown, [this] { show(); }, Qt::QueuedConnection);
    for (int i = 0; i < kCameras; ++i) {
        threads.append(new CaptureThread({i, i, false}, &shown));
        QObject::connect(
            threads.last(), &CaptureThread::captured, &shown,
            [this, delivered](int id, const QImage& image, unsigned char* buffer, quint64 timestamp) {
                Frame frame(image, buffer, timestamp);
                delivered(qint64(timestamp));
                inbox.put(id, std::move(frame));
            },
            Qt::DirectConnection);
        threads.last()->stream(inColour);
    }
}

BareStation::~BareStation() {
    for (auto* thread : qAsConst(threads))
        thread->stopCapturing();
    for (auto* thread : qAsConst(threads))
        thread->wait();
    for (int i = 0; i < kCameras; ++i)
        CameraFree(i);
}

void BareStation::show() {
    const auto deliveries = inbox.take();
    for (int i = 0; i < kCameras; ++i) {
        const auto& newest = deliveries[static_cast<size_t>(i)].newest;
        if (!newest)
            continue;
        items[i]->setPixmap(QPixmap::fromImage(correctedPicture(newest->image, correction, i, kCameras, 0)));
        items[i]->setData(kTimestampOfTile, newest->timestamp);
    }
}
