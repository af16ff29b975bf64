// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPointF>
#include <QRectF>
#include <QTransform>
#include <QVector>
#include <memory>

#include "marks/figure.h"
#include "marks/mark.h"
#include "marks/marksurface.h"
#include "marks/measure.h"

/// A caption of a figure as it is seen.
struct SeenCaption {
    QPointF middle;  ///< scene px, turned with the figure
    QString text;
};

/// Base of the marks that measure: a figure through a few points, with captions of constant size on screen.
/// Each kind says what it draws; how pens, captions, clicks and lines of the mark file go is the same for
/// all.
class FigureMark : public Mark {
public:
    /// The whole scene, and what lies beyond it.
    QRectF boundingRect() const override;
    /// Where the figure is: tool tips appear there and not all over the scene.
    QPainterPath shape() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

    /// Each click fixes a point; those not yet fixed go with it. A mark of one point can be put anew at any
    /// time.
    bool pressPoint(QGraphicsSceneMouseEvent* event) override;
    void dragPoint(QGraphicsSceneMouseEvent* event) override;
    void shiftBy(double dx, double dy) override;

    virtual FigureKind kind() const = 0;
    /// As it is now, also while it is being clicked.
    Figure figure() const;
    /// Becomes that figure, complete. Without effect for one of another kind, or with a number of points that
    /// the kind does not have.
    void setFigure(const Figure& figure);
    /// All of its points are set.
    virtual bool isComplete() const { return clickStep >= points.size(); }
    /// Points set so far.
    virtual int pointsTaken() const { return clickStep; }
    /// Whether the next click at this point, scene px, would make nothing that can be measured: a length, an
    /// area or a radius that is none or beyond what is drawn. A complete figure takes no click, unless it has
    /// one point only.
    bool isDegenerateWith(QPointF next) const;
    /// Two clicks at the same place, for all that can be told.
    static bool coincide(QPointF a, QPointF b);
    /// Ends a figure whose number of points is open. False: it is not one, or not yet anything to measure.
    virtual bool finish() { return false; }
    /// Where the points set so far are seen, scene px: turned with the figure. None of a figure that is not
    /// drawn because its points are absurd.
    QVector<QPointF> handles() const;
    /// That handle goes there, scene px; of a turned box the opposite one stays where it is seen. Without
    /// effect for a handle that there is not, or a place that is absurd.
    void moveHandle(int index, QPointF to);
    /// The distance from a point to what is drawn, scene px: its outline, not its captions. Of a circle that
    /// is none, to its points, so that it can still be picked. Infinite for what is not drawn.
    double distanceTo(QPointF scenePoint) const;
    /// Its captions as paint() has them, wherever they are painted: middles, scene px, and texts.
    QVector<SeenCaption> seenCaptions() const;
    /// The letters of captions, on every device.
    static QFont captionFont() { return markFont(); }
    /// What it measures, in the order of its captions; nothing when it is none that can be measured.
    QVector<Measure> measures() const;
    bool isDraft = false;  ///< still being drawn: nobody's figure yet, see MarkSurface::hidesDrafts
    /// To be called before anything changes that it is drawn and measured by: points, zoom, unit, plane.
    void aboutToChange();

protected:
    /// A text and where it is centred. The area is in screen px: scene px times zoom.
    struct Caption {
        QRectF area;
        QString text;
    };

    FigureMark(MarkSurface* owner, int kind, const QColor& color, int width, const QString& toolTip,
               int pointCount);

    /// Draws the figure; pen and rotation are set.
    virtual void drawFigure(QPainter* painter) const = 0;
    /// What drawFigure covers, before rotation and without the pen.
    virtual QRectF figureRect() const = 0;
    /// Made anew only after a change: of the figure, or of what the scene says of unit, plane, zoom and size.
    virtual QVector<Caption> captions() const = 0;
    /// measures(), of points that are drawable.
    virtual QVector<Measure> measured() const = 0;
    /// isDegenerateWith(), of points that are drawable and a figure that is not complete.
    virtual bool isDegenerateAt(QPointF next) const = 0;
    /// distanceTo(), of points that are drawable; the point as if the figure were not turned.
    virtual double distanceToOutline(QPointF point) const = 0;
    /// Whether the kind can have so many points.
    virtual bool canHave(int pointCount) const { return pointCount == points.size(); }
    /// Makes the figure one whose points are all set.
    virtual void complete() { clickStep = points.size(); }
    /// Degrees clockwise on screen that the figure is turned by.
    virtual double turn() const { return 0.0; }
    virtual void setTurn(double degrees) { Q_UNUSED(degrees) }
    /// Besides viewZoom also figureZoom.
    double zoom() const override;
    /// Points, scene px, in the plane that figures are measured in. What no plane can be made of is measured
    /// in px.
    PlaneFigure inPlane(const QVector<QPointF>& scenePoints) const;
    /// Rotation of figure and captions.
    virtual QTransform rotation() const { return {}; }
    /// All of the scene's area.
    QRectF wholeScene() const;
    /// All that paint() covers.
    QRectF paintedRect() const { return layout().painted; }
    /// An area of ample size around a point (screen px), for captions without a size of their own.
    static QRectF around(double x, double y);
    /// " 1 2 3 4": the points as the mark file has them.
    QString pointsText() const;
    /// The reader of kinds with a fixed number of points, which are the last fields of their lines: a
    /// complete mark of kind M when the keyword is its own and there are enough fields, else nothing. Points
    /// begin at field `first`.
    template <class M>
    static std::unique_ptr<M> read(const QString& keyword, const MarkFields& fields, int first,
                                   MarkSurface* scene) {
        auto mark = std::make_unique<M>(scene);
        if (!mark->FigureMark::readLine(keyword == QLatin1String(M::kKeyword), fields, first))
            return nullptr;
        return mark;
    }

    QVector<QPointF> points;  // defining points, scene px
    int clickStep = 0;        // clicks taken; points.size() = complete, unless a kind says otherwise

private:
    /// What captions and rectangles are made of, besides the figure.
    struct Circumstances {
        double zoom = 0.0;  // none: nothing is laid out
        double unitScale = 0.0;
        int unit = 0;
        int plane = 0;  // its version
        int showMeasure = 0;
        QRectF wholeScene;
        bool operator==(const Circumstances& other) const;
    };
    /// Kept, because Qt asks for rectangles many times per painting and measuring texts takes long.
    struct Layout {
        Circumstances madeFor;
        QVector<Caption> captions;  // none while measures are off
        QRectF painted;             // item px
    };
    const Layout& layout() const;
    static QRectF paintedArea(const Caption& caption);
    bool readLine(bool isOwnKeyword, const MarkFields& fields, int first);

    mutable Layout kept;
};
