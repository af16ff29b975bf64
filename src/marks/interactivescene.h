// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QGraphicsScene>
#include <QList>
#include <QString>
#include <functional>
#include <memory>

#include "marks/marksurface.h"

class CoordinatesMark;
class Mark;
class TextMark;

/// The scene of the main view: the camera pictures (items made by the main window) and the marks laid over
/// them, which it owns. Cross-hairs and the two text overlays are placed with the mouse, cross-hairs are
/// moved with mouse and keys, and what a keyboard-wedge barcode reader types is collected. All points are
/// scene px. GUI thread.
class InteractiveScene : public QGraphicsScene, public MarkSurface {
    Q_OBJECT

public:
    /// Bits of `options`.
    enum Option { DeleteKeyDeletes = 1 };

    /// Message boxes are shown on `parent`, which should be a widget.
    explicit InteractiveScene(QObject* parent, int optionBits);

    /// What the next press of a mouse button places: 7 a cross-hair, which follows the mouse until then, 10
    /// the barcode overlay, 11 the date-time overlay. Other values place nothing; then only 0 lets marks be
    /// grabbed and keys work.
    void setMode(int m);
    /// Whether the next press of a mouse button, any but the right one, places something.
    bool isPlacing() const;
    /// Deletes all marks and both overlays, or, while a cross-hair is being placed, tells people to finish
    /// first.
    void clearMarks();
    /// Takes a mark out of the scene and deletes it; no effect on a mark that is not in the list.
    void removeMark(Mark* m);
    /// Number of marks, overlays and the one being placed not counted.
    int markCount() const { return marks.size(); }
    /// The marks in the order of creation or loading, overlays and the one being placed not among them.
    const QList<Mark*>& markList() const { return marks; }
    /// Takes a mark over, at a place of the list (-1: at its end), and adds it to the scene.
    Mark* insertMark(std::unique_ptr<Mark> mark, int at = -1);
    /// Its place in the list; -1 for a mark that is not in it.
    int indexOf(const Mark* mark) const;
    /// What is typed goes into a barcode.
    bool hasBarcodeOverlay() const { return barcodeMark; }
    /// What the barcode overlay holds; empty without one.
    QString barcode() const;
    /// The cross-hair that mouse and keys move; nothing when none is held.
    CoordinatesMark* heldCrossHair() const { return grabbedMark; }
    /// A cross-hair follows the mouse.
    bool isPlacingCrossHair() const { return activeMark; }

    using ToPlane = std::function<PlaneFigure(const QVector<QPointF>& scenePoints)>;
    /// How figures are measured from now on, from the GUI thread and in every painting; an empty function: as
    /// MarkSurface does. To be called again when the function would answer otherwise: captions are kept.
    void setPlane(ToPlane toPlane);
    PlaneFigure planeFigure(const QVector<QPointF>& scenePoints) const override;
    /// Sets figureZoom, view px per scene px; what is none counts as 1.
    void setFigureZoom(double zoom);
    /// Sets leavesCaptions.
    void setLeavesCaptions(bool isLeft);

    /// Writes the marks, without the overlays, to the mark file; does nothing in a scene without any item. A
    /// failure leaves the old file; it is a line in the log, and what went wrong is returned ("Marks not
    /// written..."), an empty text if nothing did.
    QString saveMarks(int index);
    /// Clears the marks and reads those of the mark file, as many as MarkFileReader gives; does nothing in a
    /// scene without any item. A refused clearing does not keep it from loading. Returns what could not be
    /// read ("Marks not read..."), an empty text if all was.
    QString loadMarks(int index);

    /// Makes an overlay from its saved line, unless there is one already or the line is none.
    void restoreBarcodeMark(const QString& line);
    void restoreDateTimeMark(const QString& line);

    /// Gives the scene a rectangle of its own. Until then it is as large as its items.
    void setSceneRect(const QRectF& rect);
    void setSceneRect(qreal x, qreal y, qreal w, qreal h) { setSceneRect(QRectF(x, y, w, h)); }
    /// The pattern of the date-time overlay, as QDateTime::toString takes it; for the one there is and those
    /// to come.
    void setDateTimeFormat(const QString& format);
    void repaintWhole() override { update(wholeRect()); }
    void updateOverlayGeometry() override;

signals:
    /// A mark was placed, or a cross-hair read: its first point in scene px, its kind number, itself (owned
    /// by the scene).
    void finished(double x, double y, int item_type, Mark* mark);
    /// A barcode was completed with Return or Enter.
    void scanned(QString barcode);
    /// A mark is about to be deleted; nobody may keep a pointer to it.
    void removed(Mark* mark);
    /// All marks were cleared, also when there were none.
    void cleared();
    /// isPlacing() is another one now.
    void placingChanged(bool isPlacing);

protected:
    void mousePressEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void noticePlacing();
    void placeCrossHair(QGraphicsSceneMouseEvent* event);
    void placeOverlay(TextMark* overlay, int kind, QGraphicsSceneMouseEvent* event);
    void grabCrossHair(QPointF point);
    void deleteSelectedMark();
    void nudge(int key);
    void typed(QKeyEvent* event);
    void destroy(Mark* mark);
    void aboutToMeasureAnew();
    TextMark* addOverlay(std::unique_ptr<TextMark> overlay);
    void takeSceneRect(const QRectF& rect);

    int mode = 0;
    bool wasPlacing = false;                 // as was last told
    CoordinatesMark* activeMark = nullptr;   // in the scene, not yet in marks; follows the mouse
    CoordinatesMark* grabbedMark = nullptr;  // in marks; moves with mouse and keys
    TextMark* barcodeMark = nullptr;         // in the scene, not in marks
    TextMark* dateTimeMark = nullptr;        // in the scene, not in marks
    QString barcodeBuffer;                   // typed since the last Return
    QString dateTimeFormat;                  // handed to the date-time overlay
    ToPlane plane;                           // none: as MarkSurface does
    int options;
    QList<Mark*> marks;       // owned, in order of creation or loading
    bool hasOwnRect = false;  // not that of its items
};
