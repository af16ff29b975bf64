// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "marks/boxmark.h"

/// An ellipse and its size.
class EllipseMark : public BoxMark {
public:
    static constexpr const char* kKeyword = "Ellipse";

    explicit EllipseMark(MarkSurface* scene);
    /// The mark of a line of the mark file, split at its first space; nothing when it is none of this kind.
    static std::unique_ptr<Mark> fromText(const QString& keyword, const QString& rest, MarkSurface* scene);

    FigureKind kind() const override { return FigureKind::Ellipse; }
    QString toText() override;
    /// The rectangle of the two corners and nothing more. Rotation, pen and captions reach beyond it; the
    /// view knows of that by the mark's effect.
    QRectF boundingRect() const override;
    /// How far painting reaches beyond that rectangle, on the side where it reaches farthest, scene px.
    double overhang() const;

protected:
    void drawFigure(QPainter* painter) const override;
    QVector<Caption> captions() const override;
    double distanceToOutline(QPointF point) const override;
};
