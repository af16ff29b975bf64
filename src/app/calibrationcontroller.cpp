#include "app/calibrationcontroller.h"

#include <QAction>
#include <QCoreApplication>
#include <QMessageBox>
#include <utility>

#include "app/statusline.h"
#include "calibration/calibratedialog.h"
#include "calibration/calibrationfile.h"
#include "calibration/calibrationrun.h"
#include "live/livetiles.h"
#include "marks/coordinatesmark.h"
#include "marks/interactivescene.h"
#include "settings/settingsfile.h"

namespace {

/// Where a corner's cross-hair is now, scene px; nothing for a mark that is none.
std::optional<QPointF> pointOf(const Mark* mark) {
    const auto* crossHair = dynamic_cast<const CoordinatesMark*>(mark);
    return crossHair ? std::optional(crossHair->point()) : std::nullopt;
}

}  // namespace

CalibrationController::CalibrationController(const Parts& what, QSize frameSize, int layoutMode,
                                             QWidget* window)
    : QObject(window), parts(what), boxParent(window), tileSize(frameSize) {
    corners.setTiles(frameSize, layoutMode, parts.live->count());
    connect(parts.scene, &InteractiveScene::removed, this, [this](Mark* mark) { corners.forget(mark); });
}

bool CalibrationController::load() {
    const QString unsettled = recoverCalibrations();
    QString problem = unsettled;
    const bool isWanted = parts.settings->read(keys::kTrans);
    Correction correction;
    bool isMissing = false;
    for (int i = 0; i < parts.live->count(); ++i) {
        const auto calibration = readCalibration(calibrationFileName(i));
        if (calibration && correction.take(i, *calibration, tileSize))
            corners.restore(i, pointsOf(calibration->cornerSrc));
        else if (!std::exchange(isMissing, true) && isWanted && problem.isEmpty())
            problem = QStringLiteral("Correction is off: no calibration for camera %1").arg(i);
    }
    parts.statusLine->note(StatusNote::About::Calibration, problem);
    parts.live->setCorrection(correction);
    parts.live->setTransEnabled(isWanted && !isMissing);
    parts.enable->setChecked(parts.live->isTransEnabled());
    if (isMissing)
        parts.enable->setEnabled(false);
    return unsettled.isEmpty();
}

void CalibrationController::enable(bool isOn) {
    parts.live->setTransEnabled(isOn);
    parts.settings->write(keys::kTrans, isOn);
}

void CalibrationController::place(int kind) {
    parts.scene->setMode(kind);
    if (kind == kCoordinatesMark) {
        // The stored setting stays: the next start corrects again.
        parts.live->setTransEnabled(false);
        parts.enable->setChecked(false);
    }
    // Without flags, so that clicks reach the scene and not the tiles.
    parts.live->setFlags({});
}

void CalibrationController::take(double x, double y, int kind, Mark* mark) {
    if (!parts.live->item(0))
        return;
    if (kind == kDateTimeTextMark && mark)
        parts.settings->write(keys::kDateTimeMark, mark->toText());
    else if (kind == kBarcodeTextMark && mark)
        parts.settings->write(keys::kBarcodeMark, mark->toText());
    const auto added = kind == kCoordinatesMark ? corners.add({x, y}, mark) : std::nullopt;
    if (!added)
        return;
    for (Mark* pushedOut : added->pushedOut)
        parts.scene->removeMark(pushedOut);
    parts.statusLine->showMessage(QCoreApplication::translate("MainWindow", "#%1: %2 %3 Total:%4")
                                      .arg(added->tile)
                                      .arg(added->point.x())
                                      .arg(added->point.y())
                                      .arg(added->total));
}

void CalibrationController::clear() {
    parts.scene->clearMarks();
    parts.live->setFlags(QGraphicsItem::ItemIsMovable);
    parts.settings->remove(keys::kDateTimeMark, keys::kBarcodeMark);
}

void CalibrationController::saveMarks() {
    parts.statusLine->note(StatusNote::About::Marks, parts.scene->saveMarks(0));
}

void CalibrationController::saveCorners() {
    if (parts.scene->markCount() == 0 &&
        QMessageBox::question(
            boxParent, QCoreApplication::translate("MainWindow", "Override?"),
            QCoreApplication::translate("MainWindow", "No marks in the curvas, do you still want to save?"),
            QMessageBox::Save | QMessageBox::Cancel, QMessageBox::Cancel) != QMessageBox::Save)
        return;
    saveMarks();
}

void CalibrationController::loadCorners() {
    clear();
    corners.clear();
    parts.statusLine->note(StatusNote::About::Marks, parts.scene->loadMarks(0));
}

void CalibrationController::tellMissingCorners() {
    QMessageBox::information(
        boxParent, QCoreApplication::translate("MainWindow", "Info"),
        QCoreApplication::translate("MainWindow", "Please mark 4 corners for each camera first."),
        QMessageBox::Ok);
}

void CalibrationController::execute() {
    const int tiles = parts.live->count();
    // Without a camera there is nothing to ask for, and no counts that could be stored.
    if (tiles == 0 || parts.scene->markCount() != CornerCount * tiles) {
        tellMissingCorners();
        return;
    }
    parts.live->setFlags(QGraphicsItem::ItemIsMovable);
    parts.dialog->setCounts(parts.settings->read(keys::kXCount), parts.settings->read(keys::kYCount), tiles);
    if (parts.dialog->exec() != QDialog::Accepted)
        return;
    parts.settings->write(keys::kXCount, CalibrateDialog::countText(parts.dialog->xCounts, tiles));
    parts.settings->write(keys::kYCount, CalibrateDialog::countText(parts.dialog->yCounts, tiles));
    if (!calibrate())
        return;
    saveMarks();
    enable(true);
    parts.enable->setEnabled(true);
    parts.enable->setChecked(true);
}

/// Everything is computed before anything is stored, and everything stored before it is used: the pictures
/// join only when all of it is new.
bool CalibrationController::calibrate() {
    const CalibrationRun run = runCalibration(corners.refreshed(pointOf), parts.dialog->xCounts,
                                              parts.dialog->yCounts, parts.live->count(), tileSize);
    const QString problem = run.problem.isEmpty() ? writeCalibrations(run.calibrations)
                                                  : QStringLiteral("Not calibrated: %1").arg(run.problem);
    parts.statusLine->note(StatusNote::About::Calibration, problem);
    if (!run.problem.isEmpty())
        tellMissingCorners();
    if (!problem.isEmpty())
        return false;
    corners.take(run.corners);
    parts.live->setCorrection(run.correction);
    return true;
}
