#pragma once

#include <QPointF>
#include <QRectF>
#include <QTransform>
#include <QVector>
#include <memory>

#include "marks/mark.h"

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
    /// Made anew only after a change: of the figure, or of what the scene says of unit, zoom and size.
    virtual QVector<Caption> captions() const = 0;
    /// Rotation of figure and captions.
    virtual QTransform rotation() const { return {}; }
    /// All of the scene's area.
    QRectF wholeScene() const;
    /// All that paint() covers.
    QRectF paintedRect() const { return layout().painted; }
    /// To be called before anything changes that figureRect(), captions() or rotation() are made of.
    void aboutToChange();

    /// An area of ample size around a point (screen px), for captions without a size of their own.
    static QRectF around(double x, double y);
    /// "123.46[pix]": a length in the display unit, with two decimals.
    QString lengthText(double length) const;
    /// A length in the display unit, without the unit's name.
    QString valueText(double length) const;
    QString unitText() const;

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
