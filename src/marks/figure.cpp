// SPDX-License-Identifier: Apache-2.0
#include "marks/figure.h"

#include <algorithm>

#include "marks/arcmark.h"
#include "marks/circlemark.h"
#include "marks/ellipsemark.h"
#include "marks/hlinemark.h"
#include "marks/linemark.h"
#include "marks/polygonmark.h"
#include "marks/rectanglemark.h"
#include "marks/vlinemark.h"

namespace {

std::unique_ptr<FigureMark> newMark(FigureKind kind, MarkSurface* scene) {
    switch (kind) {
        case FigureKind::Line:
            return std::make_unique<LineMark>(scene);
        case FigureKind::Circle:
            return std::make_unique<CircleMark>(scene);
        case FigureKind::Arc:
            return std::make_unique<ArcMark>(scene);
        case FigureKind::Rectangle:
            return std::make_unique<RectangleMark>(scene);
        case FigureKind::Ellipse:
            return std::make_unique<EllipseMark>(scene);
        case FigureKind::Polygon:
            return std::make_unique<PolygonMark>(scene);
        case FigureKind::HLine:
            return std::make_unique<HLineMark>(scene);
        case FigureKind::VLine:
            return std::make_unique<VLineMark>(scene);
    }
    return std::make_unique<LineMark>(scene);
}

}  // namespace

QString keywordOf(FigureKind kind) {
    switch (kind) {
        case FigureKind::Line:
            return QLatin1String(LineMark::kKeyword);
        case FigureKind::Circle:
            return QLatin1String(CircleMark::kKeyword);
        case FigureKind::Arc:
            return QLatin1String(ArcMark::kKeyword);
        case FigureKind::Rectangle:
            return QLatin1String(RectangleMark::kKeyword);
        case FigureKind::Ellipse:
            return QLatin1String(EllipseMark::kKeyword);
        case FigureKind::Polygon:
            return QLatin1String(PolygonMark::kKeyword);
        case FigureKind::HLine:
            return QLatin1String(HLineMark::kKeyword);
        case FigureKind::VLine:
            return QLatin1String(VLineMark::kKeyword);
    }
    return {};
}

bool Figure::operator==(const Figure& other) const {
    // Not QPointF's own comparison, which takes neighbours for equal.
    const auto same = [](QPointF a, QPointF b) { return a.x() == b.x() && a.y() == b.y(); };
    return kind == other.kind &&
           std::equal(points.begin(), points.end(), other.points.begin(), other.points.end(), same) &&
           angle == other.angle && color == other.color && penWidth == other.penWidth &&
           showMeasure == other.showMeasure;
}

std::unique_ptr<FigureMark> beginFigure(FigureKind kind, MarkSurface* scene) {
    auto mark = newMark(kind, scene);
    mark->showMeasure = 1;
    // As those of the mark file lie: what is drawn looks the same when it is read back.
    mark->setZValue(kind == FigureKind::Line ? kPlacedZ : kLoadedZ);
    return mark;
}

std::unique_ptr<FigureMark> makeFigure(const Figure& figure, MarkSurface* scene) {
    auto mark = beginFigure(figure.kind, scene);
    mark->setFigure(figure);
    return mark;
}
