// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <QVector>
#include <optional>

#include "live/resizefollower.h"
#include "measure/scale.h"
#include "measure/tileplane.h"

class CalibrationController;
class FigureList;
class InteractiveScene;
class LiveTiles;
class MeasureBar;
class MeasureTools;
class QAction;
class QGraphicsView;
class QLineF;
class QMainWindow;
class SavingController;
class SettingsFile;
class StatusLine;
struct TilePicture;

/// Measuring as the operator does it: the tool bar and its tools, the scale, measures in the plane that the
/// corrected tiles show. It stands beside everything else: with the bar hidden and no scale in the settings
/// it does nothing. GUI thread.
///
/// How large a cell is in the corrected pictures, px, is the calibration's own matter: its rectangle by the
/// counts of cells it was made with. Those are known when Execute succeeds; the stored counts may be others,
/// of a later Execute that failed. So the px are stored beside the size in mm, and never without it. At start
/// they are taken only if the calibration's rectangle is a whole number of such cells, else the stored counts
/// have to do: the calibration's files have been exchanged. Where there is no calibration the stored px
/// stand.
class MeasureController : public QObject {
    Q_OBJECT

public:
    /// What it works on; all outlive it.
    struct Parts {
        QMainWindow* window;  ///< gets the tool bar, and is the parent
        QGraphicsView* view;
        SettingsFile* settings;
        InteractiveScene* scene;
        LiveTiles* live;
        CalibrationController* calibration;
        SavingController* saving;
        QAction* enable;   ///< can be triggered once there is a calibration
        QAction* zoomFit;  ///< fits the view
        StatusLine* statusLine;
    };

    explicit MeasureController(const Parts& what);
    ~MeasureController() override;

    /// Sets the texts anew in the language of the moment.
    void retranslate();
    /// The bar goes and comes back with the window's others, if it is wanted at all. Its tools stay in work.
    void setBarsVisible(bool visible);

protected:
    /// A painting of the view is the moment at which tiles that were moved have to be noticed.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void connectBar();
    void setTexts();
    bool isFitted() const;
    void use(bool isWanted);
    void showStates();
    void showTool();
    void copyMeasures();
    void askScale();
    QSizeF cellAtStart() const;
    /// The scale as the settings have it, with the calibration's cell.
    CellScale knownScale() const;
    void storeScale(const CellScale& asked);
    /// Execute has succeeded with these counts.
    void takeCell(int xCount, int yCount);
    std::optional<QLineF> selectedLine() const;
    QVector<PlaneTile> planeTiles() const;
    QVector<TilePicture> tilePictures() const;
    void followTiles();
    void takeScale();
    void setPlane();

    const Parts parts;
    MeasureBar* bar;      // child of the window
    FigureList* figures;  // child of this
    MeasureTools* tools;  // child of the view, deleted here
    ResizeFollower barChanges;
    QString copiedText;
    QString missedText;
    QString refusedText;
    QString fullText;
    QSizeF cell;               // of the calibration in use, px; 0 where it is not known
    CellScale scale;           // as of the settings
    bool isScaled = false;     // measures are in its unit where they can be
    QVector<PlaneTile> tiles;  // as figures are measured now; none unless scaled
};
