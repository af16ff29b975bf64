// SPDX-License-Identifier: Apache-2.0
#include "live/paintpacer.h"

#include <QEvent>
#include <QTimerEvent>
#include <QWidget>

#include "live/framerate.h"

namespace {

constexpr int kPaintTime = 40;  // ms after which a picture that was not painted is taken as not to be seen

}  // namespace

PaintPacer::PaintPacer(QWidget* viewport, QObject* parent) : QObject(parent) {
    viewport->installEventFilter(this);
}

void PaintPacer::pictureWaits() {
    isWaiting = true;
    if (!deadline.isActive() && !soon.isActive())
        soon.start(0, this);
}

void PaintPacer::pictureSet() {
    deadline.start(kPaintTime, this);
    sincePictures.start();
}

void PaintPacer::nothingWaits() {
    isWaiting = false;
    soon.stop();
}

void PaintPacer::picturesAreOut() {
    deadline.stop();
    if (isWaiting)
        pictureWaits();
}

void PaintPacer::timerEvent(QTimerEvent* event) {
    if (event->timerId() == soon.timerId()) {
        soon.stop();
        emit show();
    } else if (event->timerId() == deadline.timerId()) {
        picturesAreOut();
    }
}

bool PaintPacer::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Paint && deadline.isActive()) {
        // After a long block the pictures that are to be painted are as old as it was long.
        if (isWaiting && sincePictures.hasExpired(kOldestFrame))
            emit show();
        picturesAreOut();
    }
    return QObject::eventFilter(watched, event);
}
