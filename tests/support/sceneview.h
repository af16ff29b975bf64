// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QGraphicsRectItem>
#include <QGraphicsView>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QtTest>

#include "marks/coordinatesmark.h"
#include "marks/interactivescene.h"
#include "marks/textmark.h"
#include "support/marktest.h"
#include "support/workingfolder.h"

/// A scene with a tile in a view: mouse and keys take the way that they take in the window.
class SceneView {
protected:
    void setUp();
    void tearDown();

    Mark* place(QPointF point);
    void press(QPointF point, Qt::MouseButton button = Qt::LeftButton);
    void release(QPointF point, Qt::MouseButton button = Qt::LeftButton);
    void click(QPointF point, Qt::MouseButton button = Qt::LeftButton);
    void move(QPointF point, Qt::MouseButtons buttons = Qt::NoButton);
    void key(int key) { QTest::keyClick(view.get(), static_cast<Qt::Key>(key)); }
    /// A line end is the Return key.
    void type(const QByteArray& text) {
        QTest::keyClicks(view.get(), QString::fromLatin1(text.endsWith('\n') ? text.chopped(1) : text));
        if (text.endsWith('\n'))
            key(Qt::Key_Return);
    }
    QList<CoordinatesMark*> crossHairs() const;
    QStringList texts() const;
    void build(int options);

    std::unique_ptr<WorkingFolder> folder;
    std::unique_ptr<InteractiveScene> scene;
    std::unique_ptr<QGraphicsView> view;
    QGraphicsRectItem* tile = nullptr;
    std::unique_ptr<QSignalSpy> finished;
    std::unique_ptr<QSignalSpy> scanned;
};

inline void SceneView::setUp() {
    qRegisterMetaType<Mark*>("Mark*");
    folder = std::make_unique<WorkingFolder>();
    build(1);
}

inline void SceneView::build(int options) {
    tearDown();
    folder = std::make_unique<WorkingFolder>();
    scene = std::make_unique<InteractiveScene>(nullptr, options);
    scene->setSceneRect(0, 0, 640, 480);
    tile = scene->addRect(0, 0, 640, 480, Qt::NoPen, Qt::lightGray);
    view = std::make_unique<QGraphicsView>(scene.get());
    view->setFrameShape(QFrame::NoFrame);
    view->viewport()->setMouseTracking(true);
    view->setGeometry(0, 0, 640, 480);
    view->show();
    QVERIFY(QTest::qWaitForWindowExposed(view.get()));
    finished = std::make_unique<QSignalSpy>(scene.get(), &InteractiveScene::finished);
    scanned = std::make_unique<QSignalSpy>(scene.get(), &InteractiveScene::scanned);
}

inline void SceneView::tearDown() {
    finished.reset();
    scanned.reset();
    view.reset();
    scene.reset();
    folder.reset();
}

inline void SceneView::press(QPointF point, Qt::MouseButton button) {
    QTest::mousePress(view->viewport(), button, {}, view->mapFromScene(point));
}

inline void SceneView::release(QPointF point, Qt::MouseButton button) {
    QTest::mouseRelease(view->viewport(), button, {}, view->mapFromScene(point));
}

inline void SceneView::click(QPointF point, Qt::MouseButton button) {
    press(point, button);
    release(point, button);
}

/// QTest's own moves carry no buttons.
inline void SceneView::move(QPointF point, Qt::MouseButtons buttons) {
    const QPointF local = view->mapFromScene(point);
    QMouseEvent event(QEvent::MouseMove, local, view->viewport()->mapToGlobal(local.toPoint()), Qt::NoButton,
                      buttons, Qt::NoModifier);
    QCoreApplication::sendEvent(view->viewport(), &event);
}

inline Mark* SceneView::place(QPointF point) {
    scene->setMode(7);
    move(point);
    click(point);
    return crossHairs().last();
}

/// In the order of placing.
inline QList<CoordinatesMark*> SceneView::crossHairs() const {
    QList<CoordinatesMark*> found;
    const auto items = scene->items(Qt::AscendingOrder);
    for (QGraphicsItem* item : items) {
        if (auto* mark = dynamic_cast<CoordinatesMark*>(item))
            found.append(mark);
    }
    return found;
}

/// The overlays' lines.
inline QStringList SceneView::texts() const {
    QStringList lines;
    const auto items = scene->items(Qt::AscendingOrder);
    for (QGraphicsItem* item : items) {
        if (auto* mark = dynamic_cast<TextMark*>(item))
            lines.append(mark->toText());
    }
    return lines;
}
