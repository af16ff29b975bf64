// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QFontDatabase>
#include <QGraphicsSceneMouseEvent>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <memory>

#include "marks/interactivescene.h"
#include "marks/mark.h"
#include "marks/markfile.h"

// For signal spies.
Q_DECLARE_METATYPE(Mark*)

/// Sets the letters that kept pictures are made with and that tests measure. False: they are not installed.
inline bool useKnownLetters() {
    QGuiApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 9));
    return QFontDatabase().families().contains(QStringLiteral("DejaVu Sans"));
}

/// A left press, or a move with the left button held, at a scene point, as a mark gets it.
inline std::unique_ptr<QGraphicsSceneMouseEvent> sceneMouse(QEvent::Type type, QPointF point) {
    auto event = std::make_unique<QGraphicsSceneMouseEvent>(type);
    event->setButton(Qt::LeftButton);
    event->setButtons(Qt::LeftButton);
    event->setScenePos(point);
    event->setButtonDownScenePos(Qt::LeftButton, point);
    return event;
}

inline bool press(Mark& mark, QPointF point) {
    return mark.pressPoint(sceneMouse(QEvent::GraphicsSceneMousePress, point).get());
}

inline void drag(Mark& mark, QPointF point) {
    mark.dragPoint(sceneMouse(QEvent::GraphicsSceneMouseMove, point).get());
}

/// The scene on white, `scale` px a scene px.
inline QImage rendered(QGraphicsScene& scene, double scale = 1.0) {
    QImage image((scene.sceneRect().size() * scale).toSize(), QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    scene.render(&painter);
    return image;
}

/// The smallest rectangle that holds every pixel that is not white.
inline QRect inked(const QImage& image) {
    QRect rect;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) != qRgb(255, 255, 255))
                rect |= QRect(x, y, 1, 1);
        }
    }
    return rect;
}

/// Adds the mark of a line of the mark file to the scene, which owns it as an item.
inline Mark* addFromLine(InteractiveScene& scene, const QString& line) {
    auto mark = markFromLine(line, &scene);
    if (mark)
        scene.addItem(mark.get());
    return mark.release();
}
