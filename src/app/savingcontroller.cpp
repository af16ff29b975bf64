#include "app/savingcontroller.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QGraphicsPixmapItem>
#include <QMessageBox>
#include <QScopedValueRollback>

#include "app/statusline.h"
#include "control/picturefile.h"
#include "control/snapshotname.h"
#include "live/livetiles.h"
#include "marks/interactivescene.h"
#include "platform/files.h"
#include "settings/settingdialog.h"
#include "settings/settingsfile.h"

SavingController::SavingController(SettingsFile* file, SettingDialog* dialog, InteractiveScene* itemScene,
                                   LiveTiles* liveTiles, StatusLine* line, QWidget* window)
    : QObject(window),
      settings(file),
      options(dialog),
      scene(itemScene),
      live(liveTiles),
      statusLine(line),
      boxParent(window) {}

void SavingController::removeLeftOvers() {
    platform::removeLeftOvers(QStringLiteral("."));
    platform::removeLeftOvers(settings->read(keys::kPath));
}

void SavingController::refreshTiles() {
    live->showWaiting();
    live->pushHeldImages();
}

void SavingController::saveNow() {
    refreshTiles();
    if (options->isSaveCaptured())
        saveWholeView(snapshotName(QDateTime::currentDateTime()));
}

void SavingController::saveScanned(const QString& barcode) {
    refreshTiles();
    if (options->isSaveCaptured())
        saveWholeView(barcode);
}

QString SavingController::fileFor(QChar separator, const QString& baseName) {
    const QString fileName =
        snapshotFileName(settings->read(keys::kPath), separator, baseName, settings->read(keys::kType));
    // One box at a time: a machine controller goes on sending triggers while nobody is there to answer.
    if (fileName.isEmpty() && !isPathBoxUp) {
        const QScopedValueRollback<bool> guard(isPathBoxUp, true);
        QMessageBox::information(boxParent, QCoreApplication::translate("MainWindow", "notice"),
                                 QCoreApplication::translate("MainWindow", "Please select valid path!"),
                                 QMessageBox::Ok);
    }
    return fileName;
}

void SavingController::tell(const QString& problem) {
    statusLine->note(StatusNote::About::Picture,
                     problem.isEmpty() ? problem : QStringLiteral("Picture not written: %1").arg(problem));
}

void SavingController::saveWholeView(const QString& baseName) {
    live->showWaiting();
    if (!live->item(0)) {
        statusLine->showMessage(QCoreApplication::translate("MainWindow", "No image"));
        return;
    }
    const QString fileName = fileFor(QLatin1Char('/'), baseName);
    if (fileName.isEmpty())
        return;
    tell(saveScene(scene, fileName, settings->read(keys::kQuality)));
    // Whatever became of it: the note has what went wrong.
    statusLine->showMessage(QCoreApplication::translate("MainWindow", "Saved image ") + fileName);
}

void SavingController::saveSelectedTile() {
    live->showWaiting();
    const QList<QGraphicsItem*> selected = scene->selectedItems();
    const auto* item =
        selected.isEmpty() ? nullptr : qgraphicsitem_cast<QGraphicsPixmapItem*>(selected.first());
    if (!item)
        return;
    const QString fileName = fileFor(QDir::separator(), snapshotName(QDateTime::currentDateTime()));
    tell(writePicture(item->pixmap().toImage(), fileName, settings->read(keys::kQuality)));
}
