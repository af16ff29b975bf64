// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QColor>
#include <QFont>
#include <QGraphicsItem>
#include <QString>

class MarkSurface;
class MarkFields;
class QGraphicsSceneMouseEvent;

/// Kind numbers. Two of them look like slips and are not to be mended, since files and programs know them:
/// upright lines share number 1 with lines, and there is no 5.
constexpr int kLineMark = 1;
constexpr int kCircleMark = 2;
constexpr int kRectangleMark = 3;
constexpr int kArcMark = 4;
constexpr int kHLineMark = 6;
constexpr int kCoordinatesMark = 7;
constexpr int kPolygonMark = 8;
constexpr int kEllipseMark = 9;
constexpr int kBarcodeTextMark = 10;
constexpr int kDateTimeTextMark = 11;
constexpr int kVLineMark = kLineMark;

/// Flags of a mark that people can take hold of; the others have none.
constexpr QGraphicsItem::GraphicsItemFlags kPlacedFlags =
    QGraphicsItem::ItemIsMovable | QGraphicsItem::ItemIsSelectable | QGraphicsItem::ItemSendsGeometryChanges;
constexpr double kPlacedZ = 1000.0;
constexpr double kLoadedZ = 5.0;

/// Base of everything that people lay over the camera pictures. Points are scene px. GUI thread; owned by the
/// scene.
class Mark : public QGraphicsItem {
public:
    ~Mark() override;

    /// Takes the event's scene position as the next defining point; true when the mark is complete.
    virtual bool pressPoint(QGraphicsSceneMouseEvent* event) = 0;
    /// Moves the point being defined, or the only one, to the event's scene position. The base does nothing.
    virtual void dragPoint(QGraphicsSceneMouseEvent* event);
    /// Moves every defining point, px.
    virtual void shiftBy(double dx, double dy) = 0;
    /// The mark's line of the mark file, without line end.
    virtual QString toText() = 0;

    int markType = 0;     ///< kind number
    QColor penColor;      ///< set by each kind
    int penWidth = 1;     ///< px, for viewZoom; set by the last paint
    int showMeasure = 1;  ///< not 0: measurement texts are drawn

protected:
    /// `owner` is the scene whose unit and zoom the mark uses; it outlives the mark.
    Mark(MarkSurface* owner, int kind, const QColor& color, int width, const QString& toolTip);

    /// Zoom that pens and texts are made for, view px per scene px, greater than 0.
    virtual double zoom() const;
    /// A zoom that can be reckoned with: 1 for one that is none.
    static double usableZoom(double zoom);
    /// Sets the painter's pen, as wide as the zoom asks for, and keeps the width for viewZoom alone: a saved
    /// mark has the width of its last paint, however far somebody had zoomed in to measure.
    void applyPen(QPainter* painter);
    /// The default font, with all that it has said: what it left open would be that of the widget it is
    /// painted on, and a saved picture would differ from the view.
    static QFont markFont();
    /// How lines begin: keyword, colour, width, measurements on.
    QString lineStart(const QString& keyword) const;
    /// Reads what every line begins with, from the given field on.
    void readLineStart(const MarkFields& fields, int first);

    MarkSurface* const surface;  // not owned
};
