// SPDX-License-Identifier: Apache-2.0
#include "app/calibrationcontroller.h"

#include <QAction>
#include <QCoreApplication>
#include <QMessageBox>
#include <algorithm>
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

/// "1 other mark", "3 other marks"
QString counted(qint64 count, const QString& what) {
    return QStringLiteral("%1 %2%3").arg(count).arg(what, count == 1 ? QString() : QStringLiteral("s"));
}

}  // namespace

CalibrationController::CalibrationController(const Parts& what, QSize frameSize, int layoutMode,
                                             QWidget* window)
    : QObject(window),
      parts(what),
      boxParent(window),
      tileSize(frameSize),
      isSmooth(what.settings->read(keys::kSmooth) != 0) {
    corners.setTiles(frameSize, layoutMode, parts.live->count());
    // What Execute said of the marks is not true any more when some have gone.
    connect(parts.scene, &InteractiveScene::removed, this, [this](Mark* mark) {
        corners.forget(mark);
        noteOtherMarks(0);
    });
    connect(parts.scene, &InteractiveScene::cleared, this, [this] { noteOtherMarks(0); });
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
    use(std::move(correction));
    parts.live->setTransEnabled(isWanted && !isMissing);
    parts.enable->setChecked(parts.live->isTransEnabled());
    if (isMissing)
        parts.enable->setEnabled(false);
    return unsettled.isEmpty();
}

void CalibrationController::use(Correction correction) {
    correction.isSmooth = isSmooth;
    parts.live->setCorrection(correction);
    emit correctionChanged();
}

void CalibrationController::enable(bool isOn) {
    parts.live->setTransEnabled(isOn);
    parts.settings->write(keys::kTrans, isOn);
    emit correctionChanged();
}

void CalibrationController::place(int kind) {
    parts.scene->setMode(kind);
    if (kind == kCoordinatesMark) {
        // The stored setting stays: the next start corrects again.
        parts.live->setTransEnabled(false);
        parts.enable->setChecked(false);
        emit correctionChanged();
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

void CalibrationController::restoreOverlays() {
    parts.scene->restoreBarcodeMark(parts.settings->read(keys::kBarcodeMark));
    parts.scene->setDateTimeFormat(parts.settings->read(keys::kDateTimeFormat));
    parts.scene->restoreDateTimeMark(parts.settings->read(keys::kDateTimeMark));
}

void CalibrationController::noteOtherMarks(int wanted) {
    const auto& marks = parts.scene->markList();
    const auto crossHairs = std::count_if(marks.cbegin(), marks.cend(),
                                          [](const Mark* mark) { return pointOf(mark).has_value(); });
    const auto others = marks.size() - crossHairs;
    parts.statusLine->note(StatusNote::About::Corners,
                           wanted > 0 && others > 0
                               ? QStringLiteral("%1 and %2 are there; Execute wants %3 cross-hairs alone")
                                     .arg(counted(crossHairs, QStringLiteral("cross-hair")),
                                          counted(others, QStringLiteral("other mark")))
                                     .arg(wanted)
                               : QString());
}

void CalibrationController::tellMissingCorners() {
    QMessageBox::information(
        boxParent, QCoreApplication::translate("MainWindow", "Info"),
        QCoreApplication::translate("MainWindow", "Please mark 4 corners for each camera first."),
        QMessageBox::Ok);
}

void CalibrationController::execute() {
    const int tiles = parts.live->count();
    noteOtherMarks(CornerCount * tiles);
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
    emit calibrated(parts.dialog->xCounts[0], parts.dialog->yCounts[0]);
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
    use(run.correction);
    return true;
}
