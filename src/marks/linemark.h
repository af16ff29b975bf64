// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "marks/figuremark.h"

/// A straight line and its length.
class LineMark : public FigureMark {
public:
    static constexpr const char* kKeyword = "Line";

    explicit LineMark(MarkSurface* scene);
    /// The mark of a line of the mark file, split at its first space; nothing when it is none of this kind.
    static std::unique_ptr<Mark> fromText(const QString& keyword, const QString& rest, MarkSurface* scene);

    FigureKind kind() const override { return FigureKind::Line; }
    QString toText() override;

protected:
    void drawFigure(QPainter* painter) const override;
    QRectF figureRect() const override;
    QVector<Caption> captions() const override;
    QVector<Measure> measured() const override;
    bool isDegenerateAt(QPointF next) const override;
    double distanceToOutline(QPointF point) const override;
};
