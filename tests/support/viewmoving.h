// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QMouseEvent>
#include <QScreen>
#include <QScrollBar>
#include <QWheelEvent>
#include <optional>

#include "live/livetiles.h"
#include "marks/coordinatesmark.h"
#include "marks/interactivescene.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

/// A window with two tiles of 640 x 480 px side by side, and the mouse in its view.
class ViewMoving {
protected:
    void setUp();
    void tearDown() { window.reset(); }

    using Type = QEvent::Type;

    QGraphicsView* view() const { return window->view(); }
    QWidget* viewport() const { return view()->viewport(); }
    InteractiveScene* scene() const { return qobject_cast<InteractiveScene*>(view()->scene()); }
    QPoint middle() const { return viewport()->rect().center(); }
    double scale() const { return view()->transform().m11(); }
    QPointF scenePoint(QPointF place) const { return view()->viewportTransform().inverted().map(place); }
    QPointF placeOf(QPointF point) const { return view()->viewportTransform().map(point); }
    QPoint scrolled() const {
        return {view()->horizontalScrollBar()->value(), view()->verticalScrollBar()->value()};
    }
    void setScrolled(QPoint value) const {
        view()->horizontalScrollBar()->setValue(value.x());
        view()->verticalScrollBar()->setValue(value.y());
    }
    QList<CoordinatesMark*> crossHairs() const;
    void placeCrossHair(QPointF point) const;

    /// 3 view px a scene px, the middle of the scene in the middle.
    void zoomIn() const;
    void wheel(QPointF place, QPoint angle, Qt::KeyboardModifiers modifiers = {}, QPoint px = {},
               Qt::ScrollPhase phase = Qt::NoScrollPhase,
               Qt::MouseEventSource source = Qt::MouseEventNotSynthesized) const;
    void notches(QPointF place, double count) const { wheel(place, {0, qRound(count * 120.0)}); }
    void mouse(Type type, QPointF place, Qt::MouseButton button, Qt::MouseButtons held) const;
    void press(QPointF place) const {
        mouse(Type::MouseButtonPress, place, Qt::MiddleButton, Qt::MiddleButton);
    }
    void moveTo(QPointF place, Qt::MouseButtons held = Qt::MiddleButton) const {
        mouse(Type::MouseMove, place, Qt::NoButton, held);
    }
    void release(QPointF place) const { mouse(Type::MouseButtonRelease, place, Qt::MiddleButton, {}); }
    void doubleClick(QPointF place) const;

    std::optional<WindowUnderTest> window;
};

inline void ViewMoving::setUp() {
    QVector<recording::Camera> cameras(2);
    for (auto& camera : cameras) {
        camera.width = 640;
        camera.height = 480;
        camera.queryStatus = 5;  // the frames of the test are the only ones
    }
    recording::reset(cameras);
    window.emplace();
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[File]\nLang=1\n[Pos]\nX0=0\nY0=0\nX1=640\nY1=0\n"));
    window->start();
    QTRY_VERIFY((*window)->isMaximized());
    if (QByteArray(QTest::currentTestFunction()) == "wheelBeforeAnyPicture")
        return;
    window->sendFrame(0, 50, 0, {640, 480});
    window->sendFrame(1, 150, 0, {640, 480});
    QCOMPARE(scene()->sceneRect(), QRectF(0, 0, 1280, 480));
    // The platform may give the window its size a moment later, and then it would be fitted once more.
    auto* live = (*window)->findChild<LiveTiles*>();
    QVERIFY(live);
    QObject::disconnect(live, &LiveTiles::fitNeeded, nullptr, nullptr);
    QTRY_VERIFY((*window)->width() > (*window)->screen()->size().width() - 50);
    QCoreApplication::processEvents();
    window->action("actionZoom_Fit")->trigger();
    QVERIFY(window->isFitted());
}

inline QList<CoordinatesMark*> ViewMoving::crossHairs() const {
    QList<CoordinatesMark*> found;
    const auto items = scene()->items(Qt::AscendingOrder);
    for (QGraphicsItem* item : items) {
        if (auto* mark = dynamic_cast<CoordinatesMark*>(item))
            found.append(mark);
    }
    return found;
}

inline void ViewMoving::placeCrossHair(QPointF point) const {
    window->action("actionTilt")->trigger();
    QTest::mouseClick(viewport(), Qt::LeftButton, {}, placeOf(point).toPoint());
}

inline void ViewMoving::zoomIn() const {
    view()->resetTransform();
    view()->scale(3.0, 3.0);
    QCoreApplication::processEvents();  // scroll bars come a little later
    view()->centerOn(640, 240);
}

inline void ViewMoving::wheel(QPointF place, QPoint angle, Qt::KeyboardModifiers modifiers, QPoint px,
                              Qt::ScrollPhase phase, Qt::MouseEventSource source) const {
    QWheelEvent event(place, viewport()->mapToGlobal(place.toPoint()), px, angle, Qt::NoButton, modifiers,
                      phase, false, source);
    QCoreApplication::sendEvent(viewport(), &event);
    QVERIFY(event.isAccepted());
}

inline void ViewMoving::mouse(Type type, QPointF place, Qt::MouseButton button, Qt::MouseButtons held) const {
    QMouseEvent event(type, place, viewport()->mapToGlobal(place.toPoint()), button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(viewport(), &event);
}

/// As a system tells of it.
inline void ViewMoving::doubleClick(QPointF place) const {
    press(place);
    release(place);
    mouse(Type::MouseButtonDblClick, place, Qt::MiddleButton, Qt::MiddleButton);
    release(place);
}
