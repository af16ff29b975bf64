#pragma once

#include <QObject>
#include <QString>
#include <memory>

class InteractiveScene;
class LiveTiles;
class QThread;
class QWidget;
class SettingDialog;
class SettingsFile;
class StatusLine;

/// Takes pictures as the settings say: folder, type, quality. GUI thread; the file is written when a function
/// returns.
class SavingController : public QObject {
    Q_OBJECT

public:
    /// All arguments outlive it. `dialog` knows whether pictures are written at all; boxes are shown on
    /// `window`, which becomes the parent.
    SavingController(SettingsFile* file, SettingDialog* dialog, InteractiveScene* itemScene,
                     LiveTiles* liveTiles, StatusLine* line, QWidget* window);

    ~SavingController() override;

    /// At start: removes what a killed program left half written where pictures go, in the background; also
    /// in the working folder, once no unfinished set of files needs it any more.
    void removeLeftOvers(bool alsoHere);
    /// Brings the tiles up to date, with what waits for the screen and what is kept while it is frozen. Then,
    /// if pictures are written, saves the whole view under a name made of the time.
    void saveNow();
    /// The same under the name `barcode`.
    void saveScanned(const QString& barcode);
    /// The whole view as it is, under this base name, whether pictures are written or not.
    void saveWholeView(const QString& baseName);
    /// The picture of the selected tile, under a name made of the time; nothing if none is selected.
    void saveSelectedTile();

private:
    void refreshTiles();
    /// The file for this base name in the folder of the settings; empty, and people are told, when there is
    /// no such folder.
    QString fileFor(QChar separator, const QString& baseName);

    /// What became of a picture.
    void tell(const QString& fileName, const QString& problem);

    SettingsFile* settings;   // not owned
    SettingDialog* options;   // not owned
    InteractiveScene* scene;  // not owned
    LiveTiles* live;          // not owned
    StatusLine* statusLine;   // not owned
    QWidget* boxParent;       // not owned
    bool isPathBoxUp = false;
    std::unique_ptr<QThread> cleaner;  // removes left-overs at start
};
