// SPDX-License-Identifier: Apache-2.0
#include "measure/captionplates.h"

#include <QLineF>
#include <QPaintDevice>
#include <QTransform>
#include <algorithm>
#include <cmath>

#include "marks/figuremark.h"

namespace {

// View px.
constexpr double kPadX = 5.0;  // from the text to the edge of its plate
constexpr double kPadY = 1.0;
constexpr double kGap = 1.0;         // between two plates
constexpr double kFarthest = 70.0;   // that a plate makes way
constexpr double kMargin = 2.0;      // to the edge of the room
constexpr double kBesideLine = 2.0;  // between a plate and a line across the picture

// Texts that change while a figure is dragged are many.
constexpr int kMostKept = 4000;

// With more of them there is no way to make.
constexpr int kMostMoved = 60;

QRectF movedInto(QRectF area, const QRectF& room) {
    if (area.right() > room.right())
        area.moveRight(room.right());
    if (area.left() < room.left())
        area.moveLeft(room.left());
    if (area.bottom() > room.bottom())
        area.moveBottom(room.bottom());
    if (area.top() < room.top())
        area.moveTop(room.top());
    return area;
}

/// How far the middle of a plate is from the line that it stands beside, with its sign: on the other side
/// where this one has no room, and never upon it.
double besideLine(double line, double middle, double halfSize, double from, double to) {
    double away = std::max(std::abs(middle - line), halfSize + kBesideLine);
    if (middle < line)
        away = -away;
    const bool hasRoom = line + away - halfSize >= from && line + away + halfSize <= to;
    return hasRoom ? away : -away;
}

void keepBesideLine(QRectF& area, const FigureMark& mark, const QTransform& sceneToView, const QRectF& room) {
    const QPointF line = sceneToView.map(mark.figure().points.first());
    QPointF middle = area.center();
    if (mark.kind() == FigureKind::HLine)
        middle.setY(line.y() +
                    besideLine(line.y(), middle.y(), area.height() / 2.0, room.top(), room.bottom()));
    else
        middle.setX(line.x() +
                    besideLine(line.x(), middle.x(), area.width() / 2.0, room.left(), room.right()));
    area.moveCenter(middle);
}

/// Whether it is a line across the picture that can be seen, whose caption always has a place then.
bool crossesRoom(const FigureMark& mark, const QTransform& sceneToView, const QRectF& room) {
    if (mark.kind() != FigureKind::HLine && mark.kind() != FigureKind::VLine)
        return false;
    const QPointF line = sceneToView.map(mark.figure().points.first());
    return mark.kind() == FigureKind::HLine ? line.y() >= room.top() && line.y() <= room.bottom()
                                            : line.x() >= room.left() && line.x() <= room.right();
}

bool isFree(const QRectF& area, const QVector<CaptionPlate>& others) {
    return std::none_of(others.cbegin(), others.cend(),
                        [&area](const CaptionPlate& other) { return other.area.intersects(area); });
}

/// The free place nearest to where it is, beside what is in its way; where it is if there is none near.
QRectF besideOthers(const QRectF& area, const QVector<CaptionPlate>& others, const QRectF& room) {
    if (isFree(area, others))
        return area;
    QRectF nearest = area;
    double distance = kFarthest;
    const auto consider = [&](const QRectF& place) {
        const double away = QLineF(area.center(), place.center()).length();
        if (away >= distance || !room.contains(place) || !isFree(place, others))
            return;
        nearest = place;
        distance = away;
    };
    for (const CaptionPlate& other : others) {
        const double above = other.area.top() - kGap - area.height();
        const double below = other.area.bottom() + kGap;
        const double before = other.area.left() - kGap - area.width();
        const double behind = other.area.right() + kGap;
        for (const QPointF corner : {QPointF(area.left(), above), QPointF(area.left(), below),
                                     QPointF(before, area.top()), QPointF(behind, area.top())})
            consider(QRectF(corner, area.size()));
    }
    return nearest;
}

bool hasPointIn(const FigureMark& mark, const QTransform& sceneToView, const QRectF& room) {
    const QVector<QPointF> points = mark.handles();
    return std::any_of(points.cbegin(), points.cend(),
                       [&](QPointF point) { return room.contains(sceneToView.map(point)); });
}

QRectF plateAround(QPointF middle, QSizeF size) {
    return {middle - QPointF(size.width(), size.height()) / 2.0, size};
}

}  // namespace

PlateSizes::PlateSizes() : metrics(letters) {}

void PlateSizes::setLetters(const QFont& font, const QPaintDevice& device) {
    if (font == letters && device.logicalDpiY() == dotsPerInch)
        return;
    letters = font;
    dotsPerInch = device.logicalDpiY();
    metrics = QFontMetrics(font, &device);
    kept.clear();
}

QSizeF PlateSizes::of(const QString& text) {
    const auto known = kept.constFind(text);
    if (known != kept.cend())
        return *known;
    if (kept.size() >= kMostKept)
        kept.clear();
    const QSizeF size(metrics.size(Qt::TextSingleLine, text).width() + 2.0 * kPadX,
                      metrics.height() + 2.0 * kPadY);
    kept.insert(text, size);
    return size;
}

QSizeF PlateSizes::mostOf(const QString& text) const {
    // No letter is wider than two lines are high.
    return {text.size() * 2.0 * metrics.height() + 2.0 * kPadX, metrics.height() + 2.0 * kPadY};
}

QVector<CaptionPlate> wishedPlates(const InteractiveScene& scene, const FigureMark* draft,
                                   const FigureMark* selected, const QTransform& sceneToView,
                                   const QRectF& room, PlateSizes& sizes) {
    QVector<CaptionPlate> plates;
    const auto add = [&](const FigureMark& mark) {
        const auto captions = mark.seenCaptions();
        if (captions.isEmpty())
            return;
        const bool isAcross = crossesRoom(mark, sceneToView, room);
        const bool isSeen = isAcross || hasPointIn(mark, sceneToView, room);
        for (const SeenCaption& caption : captions) {
            const QString text = caption.text.trimmed();
            const QPointF middle = sceneToView.map(caption.middle);
            // Most of many figures are elsewhere.
            if (!isSeen && !plateAround(middle, sizes.mostOf(text)).intersects(room))
                continue;
            QRectF area = plateAround(middle, sizes.of(text));
            if (isAcross)
                keepBesideLine(area, mark, sceneToView, room);
            if (isSeen || area.intersects(room))
                plates.append({area, text, mark.penColor, &mark == selected});
        }
    };
    for (const Mark* mark : scene.markList()) {
        if (const auto* figure = dynamic_cast<const FigureMark*>(mark))
            add(*figure);
    }
    if (draft)
        add(*draft);
    return plates;
}

QVector<CaptionPlate> placedPlates(QVector<CaptionPlate> wished, const QRectF& room) {
    const QRectF inside = room.adjusted(kMargin, kMargin, -kMargin, -kMargin);
    QVector<CaptionPlate> placed;
    placed.reserve(wished.size());
    for (CaptionPlate& plate : wished) {
        plate.area = movedInto(plate.area, inside);
        if (wished.size() <= kMostMoved)
            plate.area = besideOthers(plate.area, placed, inside);
        placed.append(plate);
    }
    std::stable_partition(placed.begin(), placed.end(),
                          [](const CaptionPlate& plate) { return !plate.isOnTop; });
    return placed;
}
