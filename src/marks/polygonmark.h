// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "marks/figuremark.h"

/// A polygon of at most 50 vertices and the area it encloses. Clicks add vertices; one near the first vertex,
/// or the fiftieth, closes it.
class PolygonMark : public FigureMark {
public:
    static constexpr const char* kKeyword = "Polygon";
    static constexpr int kMostVertices = 50;

    explicit PolygonMark(MarkSurface* scene);
    /// The mark of a line of the mark file, split at its first space; nothing when it is none of this kind. A
    /// line whose count is not 1 ... 50, or that has fewer numbers than it says, is none.
    static std::unique_ptr<Mark> fromText(const QString& keyword, const QString& rest, MarkSurface* scene);

    bool pressPoint(QGraphicsSceneMouseEvent* event) override;
    void dragPoint(QGraphicsSceneMouseEvent* event) override;
    bool isComplete() const override { return clickStep == kComplete; }
    int pointsTaken() const override { return points.size(); }
    /// Closes a polygon of three or more vertices, as a click on the first one does.
    bool finish() override;
    FigureKind kind() const override { return FigureKind::Polygon; }
    QString toText() override;

protected:
    void drawFigure(QPainter* painter) const override;
    QRectF figureRect() const override;
    QVector<Caption> captions() const override;
    QVector<Measure> measured() const override;
    bool isDegenerateAt(QPointF next) const override;
    double distanceToOutline(QPointF point) const override;
    bool canHave(int pointCount) const override { return pointCount >= 1 && pointCount <= kMostVertices; }
    void complete() override;

private:
    /// Whether a click there closes it.
    bool closesAt(QPointF click) const;

    static constexpr int kComplete = 2;

    int isPlacing = 0;  // 1: the next vertex is at the cursor
    QPointF cursor;     // scene px
};
