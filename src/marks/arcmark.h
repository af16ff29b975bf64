// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "marks/figuremark.h"

/// Two arms from a vertex and the angle between them.
class ArcMark : public FigureMark {
public:
    static constexpr const char* kKeyword = "Arc";

    explicit ArcMark(MarkSurface* scene);
    /// The mark of a line of the mark file, split at its first space; nothing when it is none of this kind.
    static std::unique_ptr<Mark> fromText(const QString& keyword, const QString& rest, MarkSurface* scene);

    FigureKind kind() const override { return FigureKind::Arc; }
    QString toText() override;

protected:
    void drawFigure(QPainter* painter) const override;
    QRectF figureRect() const override;
    QVector<Caption> captions() const override;
    QVector<Measure> measured() const override;
    bool isDegenerateAt(QPointF next) const override;
    double distanceToOutline(QPointF point) const override;
};
