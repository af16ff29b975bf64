// SPDX-License-Identifier: Apache-2.0
#include "live/resizefollower.h"

#include <QEvent>
#include <QWidget>

namespace {

constexpr int kResizeTime = 1000;  // ms, in which a desktop has resized a window it was asked to

}  // namespace

ResizeFollower::ResizeFollower(QWidget* widget, QObject* parent) : QObject(parent) {
    widget->installEventFilter(this);
}

void ResizeFollower::follow() {
    limit.setRemainingTime(kResizeTime);
}

bool ResizeFollower::eventFilter(QObject* watched, QEvent* event) {
    // Queued: the widget takes its new size when it handles the event, which is after this.
    if (event->type() == QEvent::Resize && !limit.hasExpired())
        QMetaObject::invokeMethod(this, &ResizeFollower::resized, Qt::QueuedConnection);
    return QObject::eventFilter(watched, event);
}
