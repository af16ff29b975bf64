// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QStringList>
#include <QtTest>
#include <limits>

#include "marks/figuremark.h"
#include "support/marktest.h"

Q_DECLARE_METATYPE(Figure)
Q_DECLARE_METATYPE(FigureKind)

inline const QRectF kScene(0, 0, 400, 300);
inline const double kNoNumber = std::numeric_limits<double>::quiet_NaN();

constexpr FigureKind kKinds[] = {FigureKind::Line,      FigureKind::Circle,  FigureKind::Arc,
                                 FigureKind::Rectangle, FigureKind::Ellipse, FigureKind::Polygon,
                                 FigureKind::HLine,     FigureKind::VLine};

inline Figure figure(FigureKind kind, const QVector<QPointF>& points, double angle = 0.0) {
    return {kind, points, angle, Qt::red, 1, 1};
}

/// One of each kind, well inside kScene.
inline Figure sample(FigureKind kind) {
    switch (kind) {
        case FigureKind::Line:
            return figure(kind, {{60, 200}, {300, 120}});
        case FigureKind::Circle:
            return figure(kind, {{120, 150}, {260, 150}, {190, 80}});
        case FigureKind::Arc:
            return figure(kind, {{150, 150}, {250, 130}, {180, 240}});
        case FigureKind::Rectangle:
            return figure(kind, {{120, 100}, {260, 200}}, 20.0);
        case FigureKind::Ellipse:
            return figure(kind, {{120, 100}, {260, 200}}, -30.0);
        case FigureKind::Polygon:
            return figure(kind, {{60, 60}, {200, 80}, {180, 220}, {40, 180}});
        case FigureKind::HLine:
            return figure(kind, {{200, 150}});
        case FigureKind::VLine:
            return figure(kind, {{200, 150}});
    }
    return {};
}

inline void addKinds() {
    QTest::addColumn<FigureKind>("kind");
    for (const FigureKind kind : kKinds)
        QTest::newRow(qPrintable(keywordOf(kind))) << kind;
}

/// "L 12.3 mm", measure by measure.
inline QString told(const QVector<Measure>& measures) {
    QStringList texts;
    for (const Measure& measure : measures)
        texts << measure.name + QLatin1Char(' ') + valueText(measure) + QLatin1Char(' ') + measure.unit;
    return texts.join(QStringLiteral(", "));
}
