// SPDX-License-Identifier: Apache-2.0
#include "marks/ellipsemark.h"

#include <QGraphicsEffect>
#include <QGraphicsView>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <limits>

#include "marks/marksurface.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

namespace {

constexpr int kOutlineCorners = 720;
constexpr double kFullTurn = 6.283185307179586;

/// Changes nothing that is seen. An effect may cover more than its item's rectangle, and Qt then draws the
/// item wherever the effect may show, and takes it away there when it moves.
class Overhang : public QGraphicsEffect {
public:
    explicit Overhang(const EllipseMark* owner) : mark(owner) {}

    /// The rectangle is in view px, of whichever view asks, or in item px while there is none.
    QRectF boundingRectFor(const QRectF& sourceRect) const override {
        double scale = 0.0;
        const auto views = mark->scene() ? mark->scene()->views() : QList<QGraphicsView*>();
        for (const QGraphicsView* view : views) {
            const QTransform transform = view->viewportTransform();
            scale = std::max({scale, std::hypot(transform.m11(), transform.m12()),
                              std::hypot(transform.m21(), transform.m22())});
        }
        // The same on all sides: a view may be turned.
        const double margin = mark->overhang() * (views.isEmpty() ? 1.0 : scale);
        return sourceRect.adjusted(-margin, -margin, margin, margin);
    }

protected:
    void draw(QPainter* painter) override { drawSource(painter); }

private:
    const EllipseMark* mark;  // owns this
};

}  // namespace

EllipseMark::EllipseMark(MarkSurface* scene)
    // "Ellispe" is what people have always seen there.
    : BoxMark(scene, kEllipseMark, Qt::red, QStringLiteral("Ellispe Mark")) {
    showMeasure = 0;
    setGraphicsEffect(new Overhang(this));  // owned by this
}

std::unique_ptr<Mark> EllipseMark::fromText(const QString& keyword, const QString& rest, MarkSurface* scene) {
    const MarkFields fields(rest);
    auto mark = read<EllipseMark>(keyword, fields, 5, scene);
    if (mark)
        mark->setAngle(fields.number(3));
    return mark;
}

QString EllipseMark::toText() {
    return boxText(kKeyword);
}

QRectF EllipseMark::boundingRect() const {
    return isDrawable(points) ? figureRect() : QRectF();
}

double EllipseMark::overhang() const {
    const QRectF inner = boundingRect();
    const QRectF outer = paintedRect();
    return std::max({0.0, inner.left() - outer.left(), inner.top() - outer.top(),
                     outer.right() - inner.right(), outer.bottom() - inner.bottom()});
}

void EllipseMark::drawFigure(QPainter* painter) const {
    painter->drawEllipse(figureRect());
}

QVector<FigureMark::Caption> EllipseMark::captions() const {
    return {sizeCaption()};
}

double EllipseMark::distanceToOutline(QPointF point) const {
    // As a polygon of many corners, which the largest ellipse that fits a screen leaves by a fraction of a
    // px; also right for one as flat as a line.
    const QRectF rect = figureRect();
    const auto at = [&rect](int step) {
        const double turn = kFullTurn * step / kOutlineCorners;
        return rect.center() +
               QPointF(rect.width() / 2.0 * std::cos(turn), rect.height() / 2.0 * std::sin(turn));
    };
    double nearest = std::numeric_limits<double>::infinity();
    for (int i = 0; i < kOutlineCorners; ++i)
        nearest = std::min(nearest, distanceToStretch(point, at(i), at(i + 1)));
    return nearest;
}
