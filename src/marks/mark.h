#pragma once

#include <QColor>
#include <QGraphicsItem>
#include <QString>

class QGraphicsSceneMouseEvent;

/// Kind numbers that the main window tells apart; marks keep theirs in `markType`.
constexpr int kCoordinatesMark = 7;
constexpr int kBarcodeTextMark = 10;
constexpr int kDateTimeTextMark = 11;

/// Base of everything that people lay over the camera pictures. Points are scene px. GUI thread; owned by the
/// scene.
class Mark : public QGraphicsItem {
public:
    Mark() = default;
    ~Mark() override;

    /// Takes the event's scene position as the next defining point; true when the mark is complete.
    virtual bool pressPoint(QGraphicsSceneMouseEvent* event) = 0;
    /// Moves the point being defined to the event's scene position. The base does nothing.
    virtual void dragPoint(QGraphicsSceneMouseEvent* event);
    /// Moves every defining point, px.
    virtual void shiftBy(double dx, double dy) = 0;
    /// The mark's line of the mark file, without line end.
    virtual QString toText() = 0;

    int markType = 0;     ///< kind number
    QColor penColor;      ///< set by each kind
    int penWidth = 1;     ///< px
    int showMeasure = 1;  ///< not 0: measurement texts are drawn
};
