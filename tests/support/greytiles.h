// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

inline const QSize kFrame(64, 48);

/// Four cameras of the recording library that send nothing.
inline void attachFourCameras() {
    QVector<recording::Camera> cameras(4);
    for (int i = 0; i < 4; ++i) {
        cameras[i].serial = "SN" + QByteArray::number(i);
        cameras[i].queryStatus = 5;  // the frames of the test are the only ones
    }
    recording::reset(cameras);
}

/// A window with a tile of 64 x 48 px at each of the places, of grey 10, 20, 30 ...
inline void startWithTiles(WindowUnderTest& window, const QVector<QPoint>& places,
                           const QByteArray& ini = {}) {
    QByteArray settings = ini + "\n[Pos]\n";
    for (int i = 0; i < places.size(); ++i)
        settings +=
            QStringLiteral("X%1=%2\nY%1=%3\n").arg(i).arg(places[i].x()).arg(places[i].y()).toLatin1();
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), settings));
    recording::setReportedCount(places.size());
    window.start();
    QTRY_VERIFY(window->isMaximized());
    for (int i = 0; i < places.size(); ++i)
        window.sendFrame(i, 10 * (i + 1), 0, kFrame);
}
