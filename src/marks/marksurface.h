#pragma once

#include <QRectF>
#include <QString>

/// What marks know of the scene that they lie in. Lengths are scene px. GUI thread; outlives its marks.
class MarkSurface {
public:
    MarkSurface(const MarkSurface&) = delete;
    MarkSurface& operator=(const MarkSurface&) = delete;

    /// 0, 0, width, height: where marks that go across the scene are drawn, px.
    QRectF wholeRect() const { return QRectF(QPointF(0.0, 0.0), extent); }
    /// "pix", "mm" or "um".
    QString unitText() const;
    /// Has all of it painted anew.
    virtual void repaintWhole() = 0;
    /// The text of an overlay has outgrown its place: mended as soon as the painting is over.
    virtual void updateOverlayGeometry() = 0;

    double unitScale = 1.0;  ///< display units per px
    int unit = 0;            ///< 0 pix, 1 mm, others um
    double viewZoom = 1.0;   ///< view px per scene px; pens and captions keep their size on screen by it

protected:
    MarkSurface() = default;
    ~MarkSurface() = default;

    QSizeF extent{0.0, 0.0};  // px, of the scene rectangle
};
