// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QColor>
#include <QFont>
#include <QFontMetrics>
#include <QHash>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QVector>

#include "marks/interactivescene.h"

class FigureMark;
class QPaintDevice;
class QTransform;

/// A caption of a figure on a plate of its own, so that it can be read on every picture. View px.
struct CaptionPlate {
    QRectF area;
    QString text;
    QColor color;          ///< the figure's
    bool isOnTop = false;  ///< of the figure that is selected
    bool operator==(const CaptionPlate& other) const {
        return area == other.area && text == other.text && color == other.color && isOnTop == other.isOnTop;
    }
};

/// How large the plates of texts are, view px. Kept from painting to painting, since measuring texts takes
/// longer than all else that has to be done for a caption.
class PlateSizes {
public:
    PlateSizes();
    /// The letters of the texts on their device; what was measured in others is forgotten.
    void setLetters(const QFont& font, const QPaintDevice& device);
    QSizeF of(const QString& text);
    /// No plate of so many letters is larger; without measuring.
    QSizeF mostOf(const QString& text) const;

private:
    QFont letters;
    int dotsPerInch = 0;
    QFontMetrics metrics;
    QHash<QString, QSizeF> kept;
};

/// The plates of a scene's figures where the marks have their captions, then those of `draft` (nothing:
/// none). Left out are captions out of the room (view px) of figures without a point in it; lines across the
/// picture are in it where any of the line is.
QVector<CaptionPlate> wishedPlates(const InteractiveScene& scene, const FigureMark* draft,
                                   const FigureMark* selected, const QTransform& sceneToView,
                                   const QRectF& room, PlateSizes& sizes);

/// The same inside the room, and with as few as possible over one another. One that comes later makes way, a
/// little and no more: it has to stay beside what it measures. In their order, but for those on top, which
/// are last.
QVector<CaptionPlate> placedPlates(QVector<CaptionPlate> wished, const QRectF& room);
