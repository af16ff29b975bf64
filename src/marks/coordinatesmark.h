// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPointF>
#include <memory>

#include "marks/mark.h"

/// A cross-hair: a corner of the reference rectangle that a camera's picture is corrected with.
class CoordinatesMark : public Mark {
public:
    static constexpr const char* kKeyword = "Coordinates";
    /// A press nearer than this takes hold of a cross-hair, scene px.
    static constexpr double kGrabDistance = 100.0;

    explicit CoordinatesMark(MarkSurface* scene);
    /// The mark of a line of the mark file, split at its first space; nothing when it is none of this kind.
    static std::unique_ptr<CoordinatesMark> fromText(const QString& keyword, const QString& rest,
                                                     MarkSurface* scene);

    /// Where it is now, scene px; also after the mouse has moved the item.
    QPointF point() const { return centre + pos(); }

    QRectF boundingRect() const override;
    /// The area in which a press takes hold of it, so that what is grabbed is also what stays selected.
    QPainterPath shape() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

    bool pressPoint(QGraphicsSceneMouseEvent* event) override;
    void dragPoint(QGraphicsSceneMouseEvent* event) override;
    void shiftBy(double dx, double dy) override;
    QString toText() override;

private:
    void moveTo(QPointF scenePoint);

    QPointF centre;  // item px: scene px unless the mouse has moved the item
};
