// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QMenu>
#include <QToolBar>
#include <memory>

#include "marks/interactivescene.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

inline QToolBar* barOf(const WindowUnderTest& window) {
    return window->findChild<QToolBar*>(QStringLiteral("measureBar"));
}

inline InteractiveScene* sceneOf(const WindowUnderTest& window) {
    return qobject_cast<InteractiveScene*>(window.view()->scene());
}

/// The tool bars' own menu, as a right click on a bar opens it.
inline std::unique_ptr<QMenu> menuOf(const WindowUnderTest& window) {
    return std::unique_ptr<QMenu>(window->createPopupMenu());
}

/// Clicks at scene points.
inline void click(const WindowUnderTest& window, const QVector<QPoint>& points) {
    for (const QPoint point : points) {
        const QPoint place = window.view()->mapFromScene(point);
        QTest::mouseMove(window.view()->viewport(), place);
        QTest::mouseClick(window.view()->viewport(), Qt::LeftButton, {}, place);
    }
}

/// A main window with a picture and the tool bar of measuring.
class MeasureWindow {
protected:
    void setUp();

    static void start(WindowUnderTest& window, const QByteArray& ini = {}, int language = 1);
    static void show(const WindowUnderTest& window);
    static void low(const WindowUnderTest& window);
};

inline void MeasureWindow::setUp() {
    QVector<recording::Camera> cameras(2);
    for (auto& camera : cameras)
        camera.queryStatus = 5;  // the frames of the test are the only ones
    recording::reset(cameras);
}

/// Two tiles of 320 x 240 px.
inline void MeasureWindow::start(WindowUnderTest& window, const QByteArray& ini, int language) {
    QVERIFY(WorkingFolder::write(
        QStringLiteral("setting.ini"),
        ini + "[File]\nLang=" + QByteArray::number(language) + "\n[Pos]\nX0=0\nY0=0\nX1=320\nY1=0\n"));
    QVERIFY(WorkingFolder::installTranslation());
    window.start();
    QTRY_VERIFY(window->isMaximized());
    window.sendFrame(0, 50, 0, {320, 240});
    window.sendFrame(1, 150, 0, {320, 240});
    window.answerer.boxes.clear();  // the hot key's: there is none on this platform
}

inline void MeasureWindow::show(const WindowUnderTest& window) {
    menuOf(window)->actions().last()->trigger();
    QVERIFY(barOf(window)->isVisible());
    QTest::qWait(0);
}

/// A window that is so low that the height of the view decides its scale.
inline void MeasureWindow::low(const WindowUnderTest& window) {
    window->showNormal();
    window->resize(1440, 480);
    QTRY_COMPARE(window->size(), QSize(1440, 480));
    // As long as the window fits the view to any new size, since it was just opened; nothing tells when not.
    QTest::qWait(1200);
    window.action("actionZoom_Fit")->trigger();
    QVERIFY(window.isFitted());
}
