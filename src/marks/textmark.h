// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPointF>
#include <QString>
#include <memory>

#include "marks/mark.h"

class QFont;

/// A text over the pictures: date and time, a barcode, a free text. It is composed anew at every paint, so
/// the time in it is that of the picture on screen or in the saved file.
class TextMark : public Mark {
public:
    static constexpr const char* kKeyword = "Text";

    explicit TextMark(MarkSurface* scene);
    /// The overlay of a whole saved line; nothing when it is none. Fields are taken by position, and an empty
    /// text or a space within one shifts those behind it. This is deliberate: saved lines rely on it.
    static std::unique_ptr<TextMark> fromText(const QString& line, MarkSurface* scene);

    /// Left end of the base line, scene px; also after the mouse has moved the item.
    QPointF anchor() const { return origin + pos(); }

    void showDateTime(const QString& format);
    void setDateTimeFormat(const QString& format);
    void showBarcode();
    void setBarcode(const QString& text);
    QString barcodeText() const { return barcode; }
    /// What was painted last, or will be: "########" instead while measures are off.
    QString text() const { return showMeasure ? displayText : placeholder(); }

    QRectF boundingRect() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

    bool pressPoint(QGraphicsSceneMouseEvent* event) override;
    void dragPoint(QGraphicsSceneMouseEvent* event) override;
    void shiftBy(double dx, double dy) override;
    QString toText() override;

    /// Makes room for a text that has grown since the last change, as the time does when the month gets a
    /// longer name.
    void updateGeometry();

private:
    void compose();
    QFont font() const;
    static QString placeholder();
    QRectF textRect() const;
    void moveTo(QPointF scenePoint);

    QPointF origin;     // item px: scene px unless the mouse has moved the item
    QPointF farCorner;  // scene px, of the last paint
    bool isDateTimeOn = false;
    QString dateTimeFormat;
    bool isFreeTextOn = false;
    QString freeText;
    bool isBarcodeOn = false;
    QString barcode;
    // Kept for the saved line, of no effect.
    int firstFlag = 0;
    int secondFlag = 0;
    double extra = 0.0;

    QString displayText;
    QRectF extent;  // item px, relative to origin: what boundingRect answers
};
