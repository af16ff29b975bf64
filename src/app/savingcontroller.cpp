// SPDX-License-Identifier: Apache-2.0
#include "app/savingcontroller.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGraphicsPixmapItem>
#include <QMessageBox>
#include <QScopedValueRollback>
#include <QStringList>
#include <QThread>

#include "app/statusline.h"
#include "control/picturefile.h"
#include "control/pictureworker.h"
#include "control/scenepicture.h"
#include "control/snapshotname.h"
#include "live/livetiles.h"
#include "marks/interactivescene.h"
#include "measure/measuretable.h"
#include "platform/files.h"
#include "settings/settingdialog.h"
#include "settings/settingsfile.h"

namespace {

constexpr int kCleanerPatience = 1000;  // ms

/// As long as it lives, figures are as saved pictures have them: how far a view is zoomed makes no difference
/// to a file, and what is still being drawn is no figure yet, as in the table of measures.
class FilesFigures {
public:
    explicit FilesFigures(InteractiveScene* itemScene) : scene(itemScene), zoom(itemScene->figureZoom) {
        scene->setFigureZoom(1.0);
        scene->hidesDrafts = true;
    }
    ~FilesFigures() {
        scene->hidesDrafts = false;
        scene->setFigureZoom(zoom);
    }
    FilesFigures(const FilesFigures&) = delete;
    FilesFigures& operator=(const FilesFigures&) = delete;

private:
    InteractiveScene* scene;
    const double zoom;
};

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
    live->showArrived();
    live->pushHeldImages();
}

QString SavingController::nameOfNow(QDateTime* time) {
    // Saves that waited come back to back, and a small picture takes less than the millisecond that its name
    // ends with: the next would replace it. By a clock that stands still the name stays the same for ever, so
    // the wait has a limit: longer than a tick of the coarsest clock, 16 ms on Windows.
    constexpr int kPatience = 20;                 // ms
    constexpr unsigned long kBetweenLooks = 100;  // us
    QDateTime now = QDateTime::currentDateTime();
    QString name = snapshotName(now);
    QElapsedTimer waited;
    waited.start();
    while (name == lastName && waited.elapsed() < kPatience) {
        QThread::usleep(kBetweenLooks);
        now = QDateTime::currentDateTime();
        name = snapshotName(now);
    }
    if (time)
        *time = now;
    return lastName = name;
}

void SavingController::saveNow() {
    refreshTiles();
    if (!options->isSaveCaptured())
        return;
    Moment moment{{}, scene->barcode()};
    const QString name = nameOfNow(&moment.time);
    saveWholeView(name, moment);
}

void SavingController::saveScanned(const QString& barcode) {
    refreshTiles();
    if (options->isSaveCaptured())
        saveWholeView(barcode, {QDateTime::currentDateTime(), barcode});
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
    // A name made of the time comes again when the clock is set back. A barcode that comes again is meant to.
    if (isSnapshotName(baseName) && QFile::exists(fileName))
        replaced.insert(fileName);
    return fileName;
}

void SavingController::tell(const QString& fileName, const QString& problem) {
    const bool wasThere = replaced.remove(fileName);
    QString text;
    if (!problem.isEmpty())
        text = QStringLiteral("Picture not written: %1 (%2)").arg(problem, fileName);
    else if (wasThere)
        text = QStringLiteral("Picture replaced: %1").arg(QFileInfo(fileName).fileName());
    // The note goes with the next picture. What was not written has a line already.
    if (problem.isEmpty() && wasThere)
        qWarning("%s", qUtf8Printable(text));
    statusLine->note(StatusNote::About::Picture, text);
}

void SavingController::tellTable(const QString& problem) {
    statusLine->note(StatusNote::About::Measures,
                     problem.isEmpty() ? problem : QStringLiteral("Measures not written: %1").arg(problem));
}

void SavingController::tellWritten() {
    const auto results = worker->takeResults();
    for (const PictureWorker::Result& result : results) {
        tell(result.fileName, result.problem);
        tellTable(result.companionProblem);
    }
}

void SavingController::finish() {
    waitForPictures();
    if (worker)
        tellWritten();
}

void SavingController::waitForPictures() {
    if (worker)
        worker->waitForAll();
}

void SavingController::write(const QString& fileName, const std::function<QImage()>& take,
                             const std::function<QString(int quality)>& save,
                             const PictureWorker::Companion& companion) {
    const int quality = settings->read(keys::kQuality);
    if (settings->read(keys::kBackground) != 0) {
        if (!worker) {
            worker = std::make_unique<PictureWorker>();
            connect(worker.get(), &PictureWorker::written, this, &SavingController::tellWritten,
                    Qt::QueuedConnection);
        }
        // Before there is one more: memory is bounded. What the tiles show stays, the time was taken before.
        worker->waitForRoom();
        if (worker->add(take(), fileName, quality, companion))
            return;
        // It may be the waiting ones that leave no memory: once more without them.
    }
    finish();
    const QString problem = save(quality);
    tell(fileName, problem);
    // Never beside an older picture.
    if (problem.isEmpty() && !companion.fileName.isEmpty())
        tellTable(writeCompanion(companion.fileName, companion.content));
}

PictureWorker::Companion SavingController::tableFor(const QString& fileName, const Moment& moment) const {
    if (settings->read(keys::kMeasures) == 0)
        return {};
    const QFileInfo picture(fileName);
    // Also without figures: whoever reads the tables finds one for each picture, and none that was left
    // beside an earlier picture of the name.
    return {
        picture.path() + QLatin1Char('/') + picture.completeBaseName() + QStringLiteral(".csv"),
        csvTable(measureRows(scene->markList()), moment.time.toString(Qt::ISODateWithMs), moment.barcode)};
}

void SavingController::saveWholeView(const QString& baseName) {
    saveWholeView(baseName, {QDateTime::currentDateTime(), scene->barcode()});
}

void SavingController::saveWholeView(const QString& baseName, const Moment& moment) {
    live->showWaiting();
    if (!live->item(0)) {
        statusLine->showMessage(QCoreApplication::translate("MainWindow", "No image"));
        return;
    }
    const QString fileName = fileFor(QLatin1Char('/'), baseName);
    if (fileName.isEmpty())
        return;
    emit takingView();
    const FilesFigures figures(scene);
    write(
        fileName, [&] { return takeScene(scene, fileName); },
        [&](int quality) { return saveScene(scene, fileName, quality); }, tableFor(fileName, moment));
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
    const QString fileName = fileFor(QDir::separator(), nameOfNow());
    if (fileName.isEmpty())
        return;
    const auto take = [item] { return tilePicture(*item); };
    write(fileName, take, [&](int quality) { return writePicture(take(), fileName, quality); });
}
