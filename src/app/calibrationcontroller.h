// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <QSize>
#include <QString>

#include "calibration/cornermarking.h"

class CalibrateDialog;
class InteractiveScene;
class LiveTiles;
class Mark;
class QAction;
class QWidget;
class SettingsFile;
struct Correction;
class StatusLine;

/// Marking and calibrating as the operator does it: marks are placed, kept and cleared, corners counted,
/// corrections computed, stored, loaded, switched on and off. GUI thread.
class CalibrationController : public QObject {
    Q_OBJECT

public:
    /// What it works on; all outlive it.
    struct Parts {
        SettingsFile* settings;
        InteractiveScene* scene;
        LiveTiles* live;
        CalibrateDialog* dialog;  ///< asks for the grid counts
        QAction* enable;          ///< shows whether frames are corrected, and whether they can be
        StatusLine* statusLine;
    };

    /// Takes the corners that were marked for frames of `frameSize` px.
    /// Boxes are shown on `window`, which becomes the parent.
    CalibrationController(const Parts& what, QSize frameSize, int layoutMode, QWidget* window);

    /// At start: finishes what a killed program left of its calibration files, and loads the calibration of
    /// every tile. One that is missing switches the correction off. False if some files are still of
    /// different runs: then nothing that lies beside them may be removed.
    bool load();
    /// Size of the frames that corners are marked in, px.
    QSize frameSize() const { return tileSize; }
    /// Switches the correction on or off, and keeps that.
    void enable(bool isOn);

    /// The next press of a mouse button places a mark of this kind: a cross-hair, in an uncorrected picture,
    /// or an overlay.
    void place(int kind);
    /// A mark of `kind` was placed at x, y (scene px): corners are counted, the lines of overlays kept.
    void take(double x, double y, int kind, Mark* mark);
    /// Takes all marks and overlays away.
    void clear();
    void saveCorners();
    void loadCorners();
    /// Asks for the grid counts, then corrects all tiles by their corners, or says why not.
    void execute();
    /// Puts the overlays back as the settings have them.
    void restoreOverlays();

signals:
    /// The correction was switched on or off, or is another one.
    void correctionChanged();
    /// Execute has succeeded, with so many grid cells between the corners of tile 0.
    void calibrated(int xCount, int yCount);

private:
    /// What the box cannot say: that there are other marks among those that are counted, also where their
    /// number is the right one by accident. 0 wanted: nothing is to be said.
    void noteOtherMarks(int wanted);
    void tellMissingCorners();
    void saveMarks();
    /// Frames are shown with it from now on, while the correction is on.
    void use(Correction correction);
    /// Whether all corrections are new; if not, people have been told why.
    bool calibrate();

    const Parts parts;
    QWidget* boxParent;    // not owned
    const QSize tileSize;  // px of a frame
    const bool isSmooth;   // all corrections are, by the settings of the start
    CornerMarking corners;
};
