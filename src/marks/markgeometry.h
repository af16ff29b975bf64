// SPDX-License-Identifier: Apache-2.0
/// The arithmetic of the measuring marks. Points and lengths are scene px unless said otherwise; y grows
/// downwards. Pure; any thread.
#pragma once

#include <QPointF>
#include <QVector>
#include <optional>

/// Coordinates and lengths beyond this are not painted: no picture is that large, and neither Qt's rasteriser
/// nor an int is made for what a damaged file can hold.
constexpr double kDrawableLimit = 1e6;

/// Every coordinate is a number within the limit.
bool isDrawable(QPointF point, double limit = kDrawableLimit);
bool isDrawable(const QVector<QPointF>& points);

/// The pen width that looks about one px wide on screen, px: 1 from zoom 1 up, else 1/zoom rounded, at most
/// 1000; also 1 for a zoom that is none (0, negative, no number).
int penWidthAt(double zoom);

struct Circle {
    QPointF centre;
    double radius;
};

/// The circle through three points: its centre is where the perpendicular bisectors of the chords a-b and a-c
/// meet. Nothing when they do not meet (points on one line, two of them equal) or meet beyond the limit.
std::optional<Circle> circleThrough(QPointF a, QPointF b, QPointF c, double limit = kDrawableLimit);

/// The length of a vector, in single precision.
float lengthOf(QPointF vector);

/// The angle at `vertex` between the arms to p and q, radians in 0 ... pi, by the law of cosines in single
/// precision. Not a number when an arm has no length.
float angleAt(QPointF vertex, QPointF p, QPointF q);

/// The same in double precision.
double exactAngleAt(QPointF vertex, QPointF p, QPointF q);

/// The direction of the arm from `vertex` to p, degrees counter-clockwise from the x axis as they are seen on
/// screen, 0 ... 360. Not a number when the arm has no length.
double armDirection(QPointF vertex, QPointF p);

/// The distance between a point and the nearest one of the stretch a-b.
double distanceToStretch(QPointF point, QPointF a, QPointF b);

/// The length of a closed polygon's edge.
double perimeterOf(const QVector<QPointF>& vertices);

/// The area that a closed polygon encloses, px^2 (shoelace formula); 0 below three vertices.
double enclosedArea(const QVector<QPointF>& vertices);
