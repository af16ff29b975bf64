#pragma once

#include <QBasicTimer>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QGraphicsItem>
#include <QMainWindow>
#include <array>
#include <cstdint>
#include <optional>

#include "app/tilelayout.h"
#include "calibration/calibration.h"
#include "calibration/cornermarking.h"
#include "calibration/correction.h"
#include "calibration/framepictures.h"
#include "camera/cameratable.h"
#include "camera/tile.h"

class AboutDialog;
class CalibrateDialog;
class InteractiveScene;
class Mark;
class QLabel;
class QSerialPort;
class QTimer;
class SettingDialog;
struct SerialCommand;
class SettingsFile;

namespace Ui {
class MainWindow;
}

/// The program's one window: owns the cameras, the tiles that show them and everything that acts on them. GUI
/// thread.
///
/// The slots translate between signals and the rooms that do the work; what they compute is in free
/// functions.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    /// Starts everything up, streams excepted: those start 100 ms later, when the window is on screen. Ends
    /// the process with exit code 0 when the configured serial numbers do not fit the attached cameras.
    explicit MainWindow(QWidget* parent);
    /// Ends the capture threads if closing has not done so, and frees the cameras.
    ~MainWindow() override;

public slots:
    // Frames (px: frame coordinates; times: ms since the epoch).

    /// Shows one frame of tile `id`, unless it is older than 300 ms, and frees `buffer` (allocated with
    /// `new[]`).
    void process(int id, QImage img, unsigned char* buffer, quint64 timestamp);
    /// Once a second: rates into the status bar; once a minute: clears the message there.
    void updateFps();
    void streamVideo();
    void pauseVideo();

    // Saved pictures.

    /// The whole view under a name made of the time.
    void saveImage();
    /// The whole view under the name `barcode`, used as it is.
    void saveScanned(const QString& barcode);
    /// The whole view under a base name, in the folder and format of the settings.
    void saveImageByName(const QString& name);

    // The view.

    /// Stores the tiles' positions (scene px) for the next start, not yet on disk. An empty list stores where
    /// each tile is; otherwise slot k gets the place of the tile in entry k.
    void savePos(QList<ImagePos> lst);
    /// Maximises the window, starts the streams and puts the saved overlays back.
    void sizeWindow();
    void resetView();
    void zoomIn();
    void zoomOut();
    void exitFullscreen();

    void openSetting();
    void switchlanguage();
    void aboutMe();
    /// A mark was placed at x, y (scene px).
    void setMark(double x, double y, int item_type, Mark* mark);
    /// Bytes have come in on the serial line.
    void CheckCom();

private slots:
    void on_action_Play_triggered();
    void on_action_Stop_triggered();
    void on_actionTrigger_triggered();
    void on_actionZoom_Fit_triggered();
    void on_actionRearrange_triggered();
    void on_actionFull_screen_triggered();
    void on_actionExit_full_screen_triggered();
    void on_actionFreeze_triggered(bool checked);
    void on_actionEnable_triggered(bool checked);
    void on_actionSave_Single_triggered();
    void on_actionBarcode_triggered();
    void on_actionDate_Time_triggered();
    void on_actionClear_triggered();
    void on_actionTilt_triggered();
    void on_actionSave_Corner_triggered();
    void on_actionLoad_Corner_triggered();
    void on_actionExecute_triggered();
    void on_LOGO_triggered();
    void on_gvMain_customContextMenuRequested(const QPoint& point);

protected:
    void closeEvent(QCloseEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    bool nativeEvent(const QByteArray& eventType, void* message, long* result) override;

private:
    // Start-up, in this order.
    void createForm();
    void registerHotkey();
    void openSettings();
    void createDialogsAndScene();
    void countCameras();
    void openCameras();
    void assignTiles();
    void createTile(int tile);
    void showScene();
    void startRateTimer();
    void createStatusLabels();
    void connectActions();
    void openSerialPort();
    void createSettingDialog();
    void readFrameSize();
    void loadCalibration();
    void applyTitle();
    void applyLanguage();

    void retranslate();
    void stopThreads();
    void waitForThreads();
    /// Corrects a frame if that is on, and shows it in its tile.
    void showFrame(int id, const QImage& frame, quint64 timestamp);
    void showInTile(int id, const QImage& picture, quint64 timestamp);
    /// Shows the frames that wait, of each tile the newest.
    void showWaiting();
    /// Lets waiting frames be shown as soon as the events that are there are handled.
    void showWaitingSoon();
    /// The last pictures have been painted, or cannot be.
    void pictureIsOut();
    void pushHeldImages();
    QPointF tilePlace(int tile) const;
    QList<ImagePos> arrangeInSlots(bool& restartNeeded);
    void bindSlot(int slot, int tile, bool& restartNeeded);
    void arrangeCorrected();
    void setBarsVisible(bool visible);
    void setTileFlags(QGraphicsItem::GraphicsItemFlags flags);
    void forgetMark(Mark* mark);
    /// The corners, taken from where their cross-hairs are now, each tile's four in order.
    CornerMarking::Refreshed refreshCorners() const;
    /// Fits the view now, and again at each size that the desktop gives it within the next moment.
    void fitToNewWindowState();
    void tellPathInvalid();
    void execute(const SerialCommand& command);
    void setOnCameras(const SerialCommand& command);
    /// A message for the left of the status bar; silently nothing before the status bar is there.
    void showMessage(const QString& text);

    Ui::MainWindow* ui;                          // freed in the destructor
    SettingsFile* settings = nullptr;            // child of this
    AboutDialog* aboutDialog = nullptr;          // child of this
    CalibrateDialog* calibrateDialog = nullptr;  // child of this
    SettingDialog* settingDialog = nullptr;      // child of this
    InteractiveScene* scene = nullptr;           // child of this
    QTimer* fpsTimer = nullptr;                  // child of this
    QLabel* statusLeft = nullptr;                // child of the status bar
    QLabel* statusRight = nullptr;               // child of the status bar
    QSerialPort* serialPort = nullptr;           // child of this; none without `File/Port`

    int32_t cameraCount = 0;                 // tiles in use, 0 ... 4
    int32_t demo = 0;                        // not 0: frames from files, cameras stay closed
    int32_t layoutMode = 1;                  // 0 = 2 x 2 grid, else one row
    int32_t lang = 2;                        // 1 English, 2 Chinese
    char serialNumbers[kMaxTiles][16] = {};  // per camera library index, terminated
    std::array<Tile, kMaxTiles> tiles;
    std::array<FramePictures, kMaxTiles> pictures;  // what the tiles show is made here
    QBasicTimer waitingTimer;                       // runs out when waiting frames are to be shown
    QElapsedTimer shownTime;                        // since those pictures were set
    QBasicTimer paintDeadline;                      // runs while shown pictures wait to be painted
    std::array<int32_t, kMaxTiles> cameraOfTile{};  // camera library index per tile
    Correction correction;
    CornerMarking corners;
    bool isPathBoxUp = false;
    bool transEnabled = false;  // frames are shown corrected
    int32_t tileWidth = 0;      // px of a frame
    int32_t tileHeight = 0;
    QDeadlineTimer fitDeadline;  // until then a resized view is fitted
};
