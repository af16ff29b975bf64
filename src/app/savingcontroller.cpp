#include "app/savingcontroller.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QGraphicsPixmapItem>
#include <QMessageBox>
#include <QScopedValueRollback>
#include <QStringList>
#include <QThread>

#include "app/statusline.h"
#include "control/picturefile.h"
#include "control/snapshotname.h"
#include "live/livetiles.h"
#include "marks/interactivescene.h"
#include "platform/files.h"
#include "settings/settingdialog.h"
#include "settings/settingsfile.h"

namespace {

constexpr int kCleanerPatience = 1000;  // ms

}  // namespace

SavingController::SavingController(SettingsFile* file, SettingDialog* dialog, InteractiveScene* itemScene,
                                   LiveTiles* liveTiles, StatusLine* line, QWidget* window)
    : QObject(window),
      settings(file),
      options(dialog),
      scene(itemScene),
      live(liveTiles),
      statusLine(line),
      boxParent(window) {}

SavingController::~SavingController() {
    // A folder that does not answer must not keep the program from ending.
    if (cleaner && !cleaner->wait(kCleanerPatience))
        static_cast<void>(cleaner.release());
}

void SavingController::removeLeftOvers(bool alsoHere) {
    QStringList folders{settings->read(keys::kPath)};
    if (alsoHere)
        folders.append(QStringLiteral("."));
    else if (QFileInfo(folders.first()).canonicalFilePath() == QDir().canonicalPath())
        return;
    // Elsewhere than on the GUI thread: pictures add up, and their folder may be a slow one.
    cleaner.reset(QThread::create([folders] {
        for (const QString& folder : folders)
            platform::removeLeftOvers(folder);
    }));
    cleaner->start();
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
    QString fileName =
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

void SavingController::tell(const QString& fileName, const QString& problem) {
    statusLine->note(
        StatusNote::About::Picture,
        problem.isEmpty() ? problem : QStringLiteral("Picture not written: %1 (%2)").arg(problem, fileName));
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
    tell(fileName, saveScene(scene, fileName, settings->read(keys::kQuality)));
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
    if (!fileName.isEmpty())
        tell(fileName, writePicture(item->pixmap().toImage(), fileName, settings->read(keys::kQuality)));
}
