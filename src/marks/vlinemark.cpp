#include "marks/vlinemark.h"

#include <QPainter>

#include "marks/marksurface.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

VLineMark::VLineMark(MarkSurface* scene)
    : FigureMark(scene, kVLineMark, Qt::green, 1, QStringLiteral("Vertical Line Mark"), 1) {}

std::unique_ptr<Mark> VLineMark::fromText(const QString& keyword, const QString& rest, MarkSurface* scene) {
    return read<VLineMark>(keyword, MarkFields(rest), 4, scene);
}

QString VLineMark::toText() {
    return lineStart(QLatin1String(kKeyword)) + QStringLiteral(" |") + pointsText();
}

void VLineMark::drawFigure(QPainter* painter) const {
    const QRectF line = figureRect();
    painter->drawLine(line.topLeft(), line.bottomRight());
}

QRectF VLineMark::figureRect() const {
    return {points[0].x(), 0.0, 0.0, wholeScene().height()};
}

QVector<FigureMark::Caption> VLineMark::captions() const {
    // At the upper end, right of the line; left of it where there is no room on the right.
    const double x = points[0].x() * zoom();
    const bool atRightEdge = x > wholeScene().width() * zoom() - 100.0;
    return {{around(atRightEdge ? x - 55.0 : x + 55.0, 20.0), lengthText(points[0].x())}};
}
