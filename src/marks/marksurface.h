// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QPointF>
#include <QRectF>
#include <QString>
#include <QVector>

/// "pix" for 0, "mm" for 1, "um" for all others.
QString unitName(int unit);

/// Points of the picture as points of the plane that it shows.
struct PlaneFigure {
    QVector<QPointF> points;  ///< in display units, without calibration px; y grows downwards
    int unit = 0;             ///< 0 pix, 1 mm, others um
    /// Size of a px in the unit, the larger one of both directions: what texts can be sure of. 0: nobody has
    /// calibrated, the points are those of the scene, and texts have two decimals as ever.
    double pixel = 0.0;
    /// What lengths between the points are multiplied by to be display units, areas twice: last, since that
    /// is how texts have always been rounded.
    double scale = 1.0;
};

/// What marks know of the scene that they lie in. Lengths are scene px. GUI thread; outlives its marks.
class MarkSurface {
public:
    MarkSurface(const MarkSurface&) = delete;
    MarkSurface& operator=(const MarkSurface&) = delete;

    /// 0, 0, width, height: where marks that go across the scene are drawn, px.
    QRectF wholeRect() const { return QRectF(QPointF(0.0, 0.0), extent); }
    /// What figures are measured by: as many points as given, scene px. By default the px with unitScale and
    /// unit, not calibrated.
    virtual PlaneFigure planeFigure(const QVector<QPointF>& scenePoints) const;
    /// Changes whenever planeFigure() may answer otherwise than before.
    int planeVersion() const { return planes; }
    /// Has all of it painted anew.
    virtual void repaintWhole() = 0;
    /// The text of an overlay has outgrown its place: mended as soon as the painting is over.
    virtual void updateOverlayGeometry() = 0;

    double unitScale = 1.0;  ///< display units per px
    int unit = 0;            ///< 0 pix, 1 mm, others um
    double viewZoom = 1.0;   ///< view px per scene px; pens and captions keep their size on screen by it
    /// The same besides viewZoom, for figures that are measured alone: letters of the overlays and arms of
    /// cross-hairs grow with the pen, which nobody expects of them while he measures.
    double figureZoom = 1.0;
    /// While the scene is painted into a file: figures that are still being drawn are not painted.
    bool hidesDrafts = false;
    /// In views the captions of figures are somebody else's: marks paint them only where there is no widget,
    /// as in files.
    bool leavesCaptions = false;

protected:
    MarkSurface() = default;
    ~MarkSurface() = default;

    QSizeF extent{0.0, 0.0};  // px, of the scene rectangle
    int planes = 0;           // see planeVersion()
};
