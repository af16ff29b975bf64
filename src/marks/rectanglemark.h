// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "marks/boxmark.h"

/// A rectangle, its size and its first corner.
class RectangleMark : public BoxMark {
public:
    static constexpr const char* kKeyword = "Rectangle";

    explicit RectangleMark(MarkSurface* scene);
    /// The mark of a line of the mark file, split at its first space; nothing when it is none of this kind.
    static std::unique_ptr<Mark> fromText(const QString& keyword, const QString& rest, MarkSurface* scene);

    FigureKind kind() const override { return FigureKind::Rectangle; }
    QString toText() override;

protected:
    void drawFigure(QPainter* painter) const override;
    QVector<Caption> captions() const override;
    QVector<Measure> measured() const override;
    double distanceToOutline(QPointF point) const override;
};
