#include "marks/ellipsemark.h"

#include <QPainter>

#include "marks/interactivescene.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

EllipseMark::EllipseMark(InteractiveScene* scene)
    // "Ellispe" is what people have always seen there.
    : BoxMark(scene, kEllipseMark, Qt::red, QStringLiteral("Ellispe Mark")) {
    showMeasure = 0;
}

std::unique_ptr<Mark> EllipseMark::fromText(const QString& keyword, const QString& rest,
                                            InteractiveScene* scene) {
    const MarkFields fields(rest);
    auto mark = read<EllipseMark>(keyword, fields, 5, scene);
    if (mark)
        mark->angle = fields.number(3);
    return mark;
}

QString EllipseMark::toText() {
    return boxText(kKeyword);
}

QRectF EllipseMark::boundingRect() const {
    return paintedRect();
}

void EllipseMark::drawFigure(QPainter* painter) const {
    painter->drawEllipse(figureRect());
}

QVector<FigureMark::Caption> EllipseMark::captions() const {
    return {sizeCaption()};
}
