// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDateTime>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QString>
#include <functional>
#include <memory>

#include "control/pictureworker.h"

class InteractiveScene;
class LiveTiles;
class QThread;
class QWidget;
class SettingDialog;
class SettingsFile;
class StatusLine;

/// Takes pictures as the settings say: folder, type, quality. GUI thread. The file is written when a function
/// returns; where the settings want it in the background, the picture is taken then, and what became of it is
/// told later.
class SavingController : public QObject {
    Q_OBJECT

public:
    /// All arguments outlive it. `dialog` knows whether pictures are written at all; boxes are shown on
    /// `window`, which becomes the parent.
    SavingController(SettingsFile* file, SettingDialog* dialog, InteractiveScene* itemScene,
                     LiveTiles* liveTiles, StatusLine* line, QWidget* window);

    /// Waits until the pictures taken so far are written.
    ~SavingController() override;

    /// At start: removes what a killed program left half written where pictures go, in the background; also
    /// in the working folder, once no unfinished set of files needs it any more.
    void removeLeftOvers(bool alsoHere);
    /// Brings the tiles up to date, with what waits for the screen and what is kept while it is frozen. Then,
    /// if pictures are written, saves the whole view under a name made of the time.
    void saveNow();
    /// The same under the name `barcode`.
    void saveScanned(const QString& barcode);
    /// The whole view as it is, under this base name, whether pictures are written or not. Like all pictures
    /// of the whole view it shows figures as large as without measuring, and none that is still being drawn;
    /// where the settings want that, a table of the measures goes with it.
    void saveWholeView(const QString& baseName);
    /// The picture of the selected tile, under a name made of the time; nothing if none is selected.
    void saveSelectedTile();
    /// Waits until the pictures taken so far are written, or could not be, and tells what became of them.
    void finish();
    /// Waits for the same and tells nobody.
    void waitForPictures();

signals:
    /// The view is about to be painted into a picture: what is in the scene has to be up to date.
    void takingView();

private:
    /// What a saved picture is of.
    struct Moment {
        QDateTime time;
        QString barcode;
    };

    void refreshTiles();
    void saveWholeView(const QString& baseName, const Moment& moment);
    /// A name made of the time, and that time.
    QString nameOfNow(QDateTime* time = nullptr);
    /// The table that goes with the picture; none unless the settings want it.
    PictureWorker::Companion tableFor(const QString& fileName, const Moment& moment) const;
    /// The file for this base name in the folder of the settings; empty, and people are told, when there is
    /// no such folder.
    QString fileFor(QChar separator, const QString& baseName);

    /// Has what `take` returns written in the background if the settings want that. Otherwise, and where that
    /// cannot be had, writes by `save` at once, after all that is waiting.
    void write(const QString& fileName, const std::function<QImage()>& take,
               const std::function<QString(int quality)>& save,
               const PictureWorker::Companion& companion = {});
    /// What became of the pictures that were written in the background meanwhile.
    void tellWritten();
    /// What became of a picture.
    void tell(const QString& fileName, const QString& problem);
    /// What became of its table.
    void tellTable(const QString& problem);

    SettingsFile* settings;   // not owned
    SettingDialog* options;   // not owned
    InteractiveScene* scene;  // not owned
    LiveTiles* live;          // not owned
    StatusLine* statusLine;   // not owned
    QWidget* boxParent;       // not owned
    bool isPathBoxUp = false;
    QString lastName;        // made of the time, given last
    QSet<QString> replaced;  // files whose time-stamped names were given again, until they are told of
    std::unique_ptr<QThread> cleaner;       // removes left-overs at start
    std::unique_ptr<PictureWorker> worker;  // none before the first picture in the background
};
