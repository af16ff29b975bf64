// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QAction>
#include <QContextMenuEvent>
#include <QGraphicsPixmapItem>
#include <QGraphicsView>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>
#include <QtTest>
#include <memory>

#include "app/viewmover.h"
#include "marks/figuremark.h"
#include "marks/interactivescene.h"
#include "measure/figurelist.h"
#include "measure/measuretools.h"
#include "support/boxanswerer.h"
#include "support/viewmouse.h"
#include "support/workingfolder.h"

Q_DECLARE_METATYPE(FigureKind)
Q_DECLARE_METATYPE(MeasureTool)
// For signal spies.
Q_DECLARE_METATYPE(Mark*)

inline const double kZooms[] = {0.37, 1.0, 3.0};

/// A row for each of them.
inline void addZooms() {
    QTest::addColumn<double>("zoom");
    for (const double zoom : kZooms)
        QTest::addRow("%g", zoom) << zoom;
}

/// A view of 800 x 600 px with the mouse of the program, two tiles side by side and the tools on. Places are
/// view px from the middle of the viewport, so that they are in sight at every zoom.
class MeasureView {
public:
    static constexpr int kTile = 1000;  // px, side of a tile

    MeasureView()
        : scene(std::make_unique<InteractiveScene>(nullptr, InteractiveScene::DeleteKeyDeletes)),
          view(std::make_unique<QGraphicsView>(scene.get())),
          list(std::make_unique<FigureList>(scene.get())) {
        qRegisterMetaType<Mark*>("Mark*");
        for (int i = 0; i < 2; ++i) {
            pictures.append(QImage(kTile, kTile, QImage::Format_RGB32));
            pictures.last().fill(qRgb(200, 200, 200));
            items.append(scene->addPixmap(QPixmap::fromImage(pictures.last())));
            items.last()->setPos(i * kTile, 0);
        }
        scene->setSceneRect(0, 0, 2 * kTile, kTile);
        view->setFrameShape(QFrame::NoFrame);
        view->setContextMenuPolicy(Qt::CustomContextMenu);
        view->setGeometry(0, 0, 800, 600);
        new ViewMover(view.get(), scene.get(), &fit);
        tools = new MeasureTools(view.get(), scene.get(), list.get(), [this] { return tiles(); });
        tools->setOn(true);
        view->show();
        view->activateWindow();
        view->setFocus();
    }
    ~MeasureView() {
        view.reset();
        scene.reset();
    }

    QVector<TilePicture> tiles() const {
        QVector<TilePicture> all;
        for (int i = 0; i < items.size() && hasTiles; ++i)
            all.append({items[i]->pos(), pictures[i]});
        return all;
    }
    /// A dark rectangle of whole pixels in a tile's picture: its corners lie between pixels.
    void darken(int tile, const QRect& area) {
        QPainter painter(&pictures[tile]);
        painter.fillRect(area, QColor(40, 40, 40));
        painter.end();
        items[tile]->setPixmap(QPixmap::fromImage(pictures[tile]));
        tools->picturesChanged();
    }

    void zoomTo(double scale, QPointF centre = {500, 500}) const {
        view->resetTransform();
        view->scale(scale, scale);
        view->centerOn(centre);
        paint();
    }
    /// As far as the screen's next turn: painted, and what was put off is done.
    void paint() const {
        view->viewport()->repaint();
        QCoreApplication::processEvents();
        flush();
    }
    /// Paints what is to be painted, and nothing else.
    void flush() const {
        QCoreApplication::processEvents();
        QEvent update(QEvent::UpdateRequest);
        QCoreApplication::sendEvent(view->window(), &update);
    }

    QWidget* viewport() const { return view->viewport(); }
    /// View px of a place.
    QPointF place(QPointF fromMiddle) const { return viewport()->rect().center() + fromMiddle; }
    QPointF scenePoint(QPointF fromMiddle) const {
        return view->viewportTransform().inverted().map(place(fromMiddle));
    }
    /// The place nearest to a scene point that a mouse can be at.
    QPointF placeOf(QPointF point) const {
        return QPointF(view->viewportTransform().map(point).toPoint() - viewport()->rect().center());
    }

    void mouse(QEvent::Type type, QPointF fromMiddle, Qt::MouseButton button, Qt::MouseButtons held,
               Qt::KeyboardModifiers modifiers = {}) const {
        const QPointF at = place(fromMiddle);
        QMouseEvent event(type, at, viewport()->mapToGlobal(at.toPoint()), button, held, modifiers);
        QCoreApplication::sendEvent(viewport(), &event);
    }
    void press(QPointF at, Qt::MouseButton button = Qt::LeftButton,
               Qt::KeyboardModifiers modifiers = {}) const {
        mouse(QEvent::MouseButtonPress, at, button, button, modifiers);
    }
    void move(QPointF at, Qt::MouseButtons held = {}, Qt::KeyboardModifiers modifiers = {}) const {
        mouse(QEvent::MouseMove, at, Qt::NoButton, held, modifiers);
    }
    void release(QPointF at, Qt::MouseButton button = Qt::LeftButton,
                 Qt::KeyboardModifiers modifiers = {}) const {
        mouse(QEvent::MouseButtonRelease, at, button, {}, modifiers);
    }
    void click(QPointF at, Qt::MouseButton button = Qt::LeftButton,
               Qt::KeyboardModifiers modifiers = {}) const {
        move(at, {}, modifiers);
        press(at, button, modifiers);
        release(at, button, modifiers);
    }
    /// As a system tells of it.
    void doubleClick(QPointF at) const {
        click(at);
        mouse(QEvent::MouseButtonDblClick, at, Qt::LeftButton, Qt::LeftButton);
        release(at);
    }
    void drag(QPointF from, QPointF to, Qt::KeyboardModifiers modifiers = {}) const {
        move(from, {}, modifiers);
        press(from, Qt::LeftButton, modifiers);
        move((from + to) / 2.0, Qt::LeftButton, modifiers);
        move(to, Qt::LeftButton, modifiers);
        release(to, Qt::LeftButton, modifiers);
    }
    void wheel(QPointF at, int notches) const {
        const QPointF there = place(at);
        QWheelEvent event(there, viewport()->mapToGlobal(there.toPoint()), {}, {0, 120 * notches},
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(viewport(), &event);
        paint();
    }
    void key(int key, Qt::KeyboardModifiers modifiers = {}) const {
        QTest::keyClick(view.get(), static_cast<Qt::Key>(key), modifiers);
    }

    /// What is being drawn; nothing if nothing is.
    FigureMark* draft() const {
        const auto all = scene->items();
        for (QGraphicsItem* item : all) {
            auto* figure = dynamic_cast<FigureMark*>(item);
            if (figure && scene->indexOf(figure) < 0)
                return figure;
        }
        return nullptr;
    }
    FigureMark* figure(int index = 0) const {
        return index < scene->markCount() ? dynamic_cast<FigureMark*>(scene->markList()[index]) : nullptr;
    }
    /// All of them, as values.
    QVector<Figure> figures() const {
        QVector<Figure> all;
        for (int i = 0; i < scene->markCount(); ++i) {
            if (figure(i))
                all.append(withoutPen(figure(i)->figure()));
        }
        return all;
    }
    /// A figure's pen is as wide as its last painting asked for.
    static Figure withoutPen(Figure figure) {
        figure.penWidth = 1;
        return figure;
    }
    /// A line of two clicks.
    FigureMark* drawLine(QPointF from, QPointF to) const {
        tools->choose(MeasureTool::Line);
        click(from);
        click(to);
        return figure(scene->markCount() - 1);
    }
    QWidget* loupe() const { return view->findChild<QWidget*>(QStringLiteral("loupe")); }
    QWidget* overlay() const { return view->findChild<QWidget*>(QStringLiteral("measureOverlay")); }

    WorkingFolder folder;
    BoxAnswerer answerer;
    QVector<QImage> pictures;
    QList<QGraphicsPixmapItem*> items;
    bool hasTiles = true;
    QAction fit;
    std::unique_ptr<InteractiveScene> scene;
    std::unique_ptr<QGraphicsView> view;
    std::unique_ptr<FigureList> list;
    MeasureTools* tools = nullptr;  // child of the view
};
