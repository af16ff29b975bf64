// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QList>
#include <QMainWindow>
#include <cstdint>
#include <memory>

#include "app/orderlyend.h"
#include "live/tilelayout.h"

class AboutDialog;
class CalibrateDialog;
class CalibrationController;
class CommandExecutor;
class InteractiveScene;
class LiveTiles;
class Mark;
class MeasureController;
class QTimer;
class SavingController;
class ControllerLine;
class SettingDialog;
class SettingsFile;
class Station;
class StatusLine;

namespace Ui {
class MainWindow;
}

/// The program's one window: owns the cameras, the tiles that show them and everything that acts on them. GUI
/// thread.
///
/// It is form, wiring and slots: each slot translates between widgets and the room that does the work.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    /// Starts everything up, streams excepted: those start 100 ms later, when the window is on screen. Ends
    /// the process with exit code 0 when the configured serial numbers do not fit the attached cameras.
    explicit MainWindow(QWidget* parent);
    /// Ends the capture threads if closing has not done so, and frees the cameras.
    ~MainWindow() override;

    /// What has to be in order when the program ends, for whoever ends it while the window is there.
    OrderlyEnd::Parts parts() const { return {live, station.get(), settings, saving, serialPort}; }

public slots:
    // Frames (px: frame coordinates; times: ms since the epoch).

    /// Shows one frame of tile `id` at once, unless it is older than 300 ms, and frees `buffer` (allocated
    /// with `new[]`). The frames of the capture threads do not come here, but by LiveTiles::handOver().
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
    void savePos(const QList<ImagePos>& lst);
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
    bool nativeEvent(const QByteArray& eventType, void* message, long* result) override;

private:
    // Start-up, in this order.
    void createForm();
    void registerHotkey();
    void openSettings();
    void createDialogsAndScene();
    void openCameras();
    void createTiles();
    void showScene();
    void startRateTimer();
    void createStatusLine();
    void connectActions();
    void openSerialPort();
    void createSettingDialog();
    void createControllers();
    void applyTitle();
    void applyLanguage();

    void retranslate();
    void setBarsVisible(bool visible);

    Ui::MainWindow* ui;                            // freed in the destructor
    SettingsFile* settings = nullptr;              // child of this
    AboutDialog* aboutDialog = nullptr;            // child of this
    CalibrateDialog* calibrateDialog = nullptr;    // child of this
    SettingDialog* settingDialog = nullptr;        // child of this
    InteractiveScene* scene = nullptr;             // child of this
    std::unique_ptr<Station> station;              // cameras and tiles as the settings have them
    LiveTiles* live = nullptr;                     // child of this
    QTimer* fpsTimer = nullptr;                    // child of this
    StatusLine* statusLine = nullptr;              // child of this
    ControllerLine* serialPort = nullptr;          // child of this; none without `File/Port`
    SavingController* saving = nullptr;            // child of this
    CalibrationController* calibration = nullptr;  // child of this
    MeasureController* measure = nullptr;          // child of this
    CommandExecutor* executor = nullptr;           // child of this
    int32_t lang = 2;                              // 1 English, 2 Chinese
};
