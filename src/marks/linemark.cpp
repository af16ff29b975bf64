#include "marks/linemark.h"

#include <QPainter>
#include <algorithm>

#include "marks/interactivescene.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

namespace {

constexpr double kCaptionOffset = 16.0;  // screen px
constexpr double kLeftMargin = 20.0;     // screen px
constexpr double kTopMargin = 40.0;      // screen px
constexpr double kLeastX = 60.0;         // screen px, room for half a caption

}  // namespace

LineMark::LineMark(InteractiveScene* scene)
    : FigureMark(scene, kLineMark, Qt::red, 3, QStringLiteral("Line Mark"), 2) {}

std::unique_ptr<Mark> LineMark::fromText(const QString& keyword, const QString& rest,
                                         InteractiveScene* scene) {
    const MarkFields fields(rest);
    auto mark = read<LineMark>(keyword, fields, 4, scene);
    if (mark)
        mark->setZValue(kPlacedZ);
    return mark;
}

QString LineMark::toText() {
    return lineStart(QLatin1String(kKeyword)) + QStringLiteral(" |") + pointsText();
}

void LineMark::drawFigure(QPainter* painter) const {
    painter->drawLine(points[0], points[1]);
}

QRectF LineMark::figureRect() const {
    return {points[0], points[1]};
}

QVector<FigureMark::Caption> LineMark::captions() const {
    // Above the middle of the line, but inside the scene's left and top edges.
    const QPointF middle = (points[0] + points[1]) / 2.0 * zoom();
    const QPointF nearest(std::min(points[0].x(), points[1].x()), std::min(points[0].y(), points[1].y()));
    const double x = nearest.x() * zoom() < kLeftMargin ? std::max(middle.x(), kLeastX) : middle.x();
    const double y = middle.y() + (nearest.y() * zoom() < kTopMargin ? kCaptionOffset : -kCaptionOffset);
    const double length = static_cast<double>(lengthOf(points[1] - points[0]));
    return {{around(x, y), lengthText(length)}};
}
