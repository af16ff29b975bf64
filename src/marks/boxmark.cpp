#include "marks/boxmark.h"

#include <cmath>

#include "marks/markline.h"

BoxMark::BoxMark(MarkSurface* owner, int kind, const QColor& color, const QString& toolTip)
    : FigureMark(owner, kind, color, 1, toolTip, 2) {}

void BoxMark::setAngle(double degrees) {
    aboutToChange();
    angle = degrees;
}

QRectF BoxMark::figureRect() const {
    return QRectF(points[0], points[1]).normalized();
}

QTransform BoxMark::rotation() const {
    if (!std::isfinite(angle))
        return {};
    const QPointF centre = figureRect().center();
    return QTransform::fromTranslate(centre.x(), centre.y())
        .rotate(angle)
        .translate(-centre.x(), -centre.y());
}

FigureMark::Caption BoxMark::sizeCaption() const {
    const double x = points[0].x() * zoom();
    const double y = points[0].y() * zoom();
    // In single precision, as lengths are elsewhere.
    const float width = std::abs(static_cast<float>(points[1].x()) - static_cast<float>(points[0].x()));
    const float height = std::abs(static_cast<float>(points[1].y()) - static_cast<float>(points[0].y()));
    return {QRectF(QPointF(x + 150.0, y - 40.0), QPointF(x - 20.0, y - 20.0)),
            QStringLiteral("W:%1 H:%2")
                .arg(valueText(static_cast<double>(width)), lengthText(static_cast<double>(height)))};
}

QString BoxMark::boxText(const char* keyword) const {
    return lineStart(QLatin1String(keyword)) + QLatin1Char(' ') + markNumber(angle) + QStringLiteral(" |") +
           pointsText();
}
