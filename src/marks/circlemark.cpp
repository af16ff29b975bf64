#include "marks/circlemark.h"

#include <QPainter>

#include "marks/marksurface.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

CircleMark::CircleMark(MarkSurface* scene)
    : FigureMark(scene, kCircleMark, Qt::yellow, 1, QStringLiteral("Circle Mark"), 3) {}

std::unique_ptr<Mark> CircleMark::fromText(const QString& keyword, const QString& rest, MarkSurface* scene) {
    return read<CircleMark>(keyword, MarkFields(rest), 4, scene);
}

QString CircleMark::toText() {
    return lineStart(QLatin1String(kKeyword)) + QStringLiteral(" |") + pointsText();
}

void CircleMark::drawFigure(QPainter* painter) const {
    if (const auto circle = circleThrough(points[0], points[1], points[2])) {
        const auto [centre, radius] = *circle;
        const int diameter = static_cast<int>(2.0 * radius);
        painter->drawEllipse(static_cast<int>(centre.x() - radius), static_cast<int>(centre.y() - radius),
                             diameter, diameter);
        if (showMeasure)
            painter->drawLine(centre, QPointF(centre.x() + radius, centre.y()));
    }
    if (clickStep < points.size()) {
        for (const QPointF point : {points[0], points[1]})
            painter->drawEllipse(QRectF(point, QSizeF(1.0, 1.0)));
    }
}

QRectF CircleMark::figureRect() const {
    QRectF rect(points[0], QSizeF(1.0, 1.0));
    rect |= QRectF(points[1], QSizeF(1.0, 1.0));
    if (const auto circle = circleThrough(points[0], points[1], points[2])) {
        // One px more: the drawn circle lies on whole px.
        const double reach = circle->radius + 1.0;
        rect |= QRectF(circle->centre - QPointF(reach, reach), circle->centre + QPointF(reach, reach));
    }
    return rect;
}

QVector<FigureMark::Caption> CircleMark::captions() const {
    const auto circle = circleThrough(points[0], points[1], points[2]);
    if (!circle)
        return {};
    const double x = circle->centre.x() * zoom();
    const double y = circle->centre.y() * zoom();
    // Both texts begin with a space on purpose.
    const QString centreText =
        QStringLiteral(" O(%1,%2)[%3]")
            .arg(valueText(circle->centre.x()), valueText(circle->centre.y()), unitText());
    const QString radiusText = QStringLiteral(" R:%1").arg(lengthText(circle->radius));
    return {{QRectF(QPointF(x, y - 16.0), QPointF(x + 150.0, y - 32.0)), centreText},
            {QRectF(QPointF(x + 120.0, y + 20.0), QPointF(x + 10.0, y)), radiusText}};
}
