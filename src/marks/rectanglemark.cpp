#include "marks/rectanglemark.h"

#include <QPainter>

#include "marks/marksurface.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

RectangleMark::RectangleMark(MarkSurface* scene)
    : BoxMark(scene, kRectangleMark, Qt::blue, QStringLiteral("Rectangle Mark")) {}

std::unique_ptr<Mark> RectangleMark::fromText(const QString& keyword, const QString& rest,
                                              MarkSurface* scene) {
    const MarkFields fields(rest);
    auto mark = read<RectangleMark>(keyword, fields, 5, scene);
    if (mark)
        mark->setAngle(fields.number(3));
    return mark;
}

QString RectangleMark::toText() {
    return boxText(kKeyword);
}

void RectangleMark::drawFigure(QPainter* painter) const {
    const QRectF rect = figureRect();
    painter->drawRects(&rect, 1);
}

QVector<FigureMark::Caption> RectangleMark::captions() const {
    const Caption size = sizeCaption();
    const QString corner =
        QStringLiteral("X:%1 Y:%2").arg(valueText(points[0].x()), valueText(points[0].y()));
    return {size, {size.area.translated(0.0, 20.0), corner}};
}
