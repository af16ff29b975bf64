// SPDX-License-Identifier: Apache-2.0
#include "app/mainwindow.h"

#include <QCloseEvent>
#include <QCursor>
#include <QDebug>
#include <QMenu>
#include <QMessageBox>
#include <QThread>
#include <QTimer>
#include <cstdlib>
#include <utility>

#include "app/aboutdialog.h"
#include "app/calibrationcontroller.h"
#include "app/languagescope.h"
#include "app/measurecontroller.h"
#include "app/programicon.h"
#include "app/savehotkey.h"
#include "app/savingcontroller.h"
#include "app/station.h"
#include "app/statusline.h"
#include "app/viewmover.h"
#include "calibration/calibratedialog.h"
#include "camera/capturethread.h"
#include "control/commandexecutor.h"
#include "control/controllerline.h"
#include "live/framerate.h"
#include "live/livetiles.h"
#include "marks/interactivescene.h"
#include "marks/mark.h"
#include "platform/desktop.h"
#include "platform/files.h"
#include "settings/settingdialog.h"
#include "settings/settingsfile.h"
#include "ui_mainwindow.h"

namespace {
constexpr int kRatePeriod = 1000;      // ms
constexpr int kShutdownSleep = 600;    // ms
constexpr int kSizeWindowDelay = 100;  // ms

// Process-wide on purpose: it counts on whatever window there is.
int32_t cameraMessageCount = 0;

}  // namespace

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent), ui(new Ui::MainWindow) {
    createForm();
    registerHotkey();
    openSettings();
    createDialogsAndScene();
    openCameras();
    createTiles();
    showScene();
    startRateTimer();
    createStatusLine();
    connectActions();
    openSerialPort();
    createSettingDialog();
    createControllers();
    applyTitle();
    applyLanguage();
    ui->actionFreeze->setChecked(settingDialog->isFreezeImage());
    QTimer::singleShot(kSizeWindowDelay, this, &MainWindow::sizeWindow);
}

MainWindow::~MainWindow() {
    platform::unregisterSaveHotkey(winId());
    // Over at once after closeEvent; it matters when the program ends without the window being closed.
    const QVector<int> busyCameras = live->end();
    // What works on others goes before them; children would go in the order in which they came.
    qDeleteAll(QObjectList{executor, measure, calibration, saving, live, settingDialog});
    station->freeAllBut(busyCameras);
    delete ui;
}

// ---- start-up ----------------------------------------------------------------------------------

void MainWindow::createForm() {
    initProgramResources();
    ui->setupUi(this);
    setWindowIcon(programIcon());
    // Also the window's own, so that the keys work while the menu bar is hidden.
    addActions({ui->actionFull_screen, ui->actionExit_full_screen});
}

void MainWindow::registerHotkey() {
    if (!registerConfiguredHotkey(winId(), platform::workingFolderFile(QStringLiteral("setting.ini"))))
        QMessageBox::information(this, tr("Error"), tr("Register hotkey save img failed"), QMessageBox::Ok);
}

void MainWindow::openSettings() {
    settings = new SettingsFile(platform::workingFolderFile(QStringLiteral("setting.ini")), this);
}

void MainWindow::createDialogsAndScene() {
    aboutDialog = new AboutDialog(this);
    calibrateDialog = new CalibrateDialog(this);
    scene = new InteractiveScene(this, InteractiveScene::DeleteKeyDeletes);
}

void MainWindow::openCameras() {
    station = std::make_unique<Station>(settings);
}

void MainWindow::createTiles() {
    if (!station->assignCameras()) {
        // The text is literal: it names the kind of key, not the one at fault.
        QMessageBox box(QMessageBox::Warning, tr("Error"), tr("Set sn correctly first. Camera/Cam<i>"),
                        QMessageBox::Ok, this);
        box.setTextFormat(Qt::PlainText);  // or "<i>" were italics
        box.exec();
        std::exit(0);
    }
    live = new LiveTiles({station->layoutMode(), [this](int tile) { return station->placeOf(tile); },
                          [this] { return settingDialog->isFreezeImage(); }},
                         scene, ui->gvMain, this);
    connect(live, &LiveTiles::fitNeeded, this, &MainWindow::on_actionZoom_Fit_triggered);
    for (int tile = 0; tile < station->tileCount(); ++tile)
        live->addTile(new CaptureThread({tile, station->cameraOfTile()[tile], station->isDemo()}, this));
}

void MainWindow::showScene() {
    ui->gvMain->setScene(scene);
    connect(scene, &InteractiveScene::finished, this, &MainWindow::setMark);
    connect(scene, &InteractiveScene::scanned, this, &MainWindow::saveScanned);
    new ViewMover(ui->gvMain, scene, ui->actionZoom_Fit);
    // Barcode readers type into whatever has the focus.
    ui->gvMain->setFocus();
}

void MainWindow::startRateTimer() {
    fpsTimer = new QTimer(this);
    connect(fpsTimer, &QTimer::timeout, this, &MainWindow::updateFps);
    fpsTimer->start(kRatePeriod);
}

void MainWindow::createStatusLine() {
    statusLine = new StatusLine(ui->statusBar, this);
    statusLine->note(StatusNote::About::Settings, settings->problem());
    statusLine->follow(StatusNote::About::Settings, settings);
    statusLine->followTiles(live);
}

void MainWindow::connectActions() {
    // The other actions find their slots by name.
    connect(ui->action_Save, &QAction::triggered, this, &MainWindow::saveImage);
    connect(ui->action_Setting, &QAction::triggered, this, &MainWindow::openSetting);
    connect(ui->actionZoom_In, &QAction::triggered, this, &MainWindow::zoomIn);
    connect(ui->actionZoom_Out, &QAction::triggered, this, &MainWindow::zoomOut);
    connect(ui->actionReset, &QAction::triggered, this, &MainWindow::resetView);
    connect(ui->actionEnglish_Chinese, &QAction::triggered, this, &MainWindow::switchlanguage);
    connect(ui->actionExit, &QAction::triggered, this, &MainWindow::close);
    connect(ui->actionAbout, &QAction::triggered, this, &MainWindow::aboutMe);
}

void MainWindow::openSerialPort() {
    const QString name = settings->read(keys::kPort).trimmed();
    if (name.isEmpty())
        return;
    serialPort = new ControllerLine(name, this);
    connect(serialPort, &ControllerLine::readyRead, this, &MainWindow::CheckCom);
    statusLine->follow(StatusNote::About::SerialLine, serialPort);
    if (!serialPort->openLine(settings->read(keys::kPortRetry) != 0))
        statusLine->showMessage(tr("Serial port %1 open failed.").arg(name));
}

void MainWindow::createSettingDialog() {
    const auto cameras = station->isDemo() ? QVector<int>() : station->cameraOfTile();
    settingDialog = new SettingDialog(settings, cameras, this);
    connect(settingDialog, &SettingDialog::pauseVideo, this, &MainWindow::pauseVideo);
    connect(settingDialog, &SettingDialog::streamVideo, this, &MainWindow::streamVideo);
    connect(settingDialog, &SettingDialog::dateTimeFormatChanged, scene,
            &InteractiveScene::setDateTimeFormat);
    settingDialog->loadFileOptions();
}

void MainWindow::createControllers() {
    saving = new SavingController(settings, settingDialog, scene, live, statusLine, this);

    calibration =
        new CalibrationController({settings, scene, live, calibrateDialog, ui->actionEnable, statusLine},
                                  station->frameSize(), station->layoutMode(), this);
    saving->removeLeftOvers(calibration->load());
    measure = new MeasureController({this, ui->gvMain, settings, scene, live, calibration, saving,
                                     ui->actionEnable, ui->actionZoom_Fit, statusLine});

    CommandExecutor::Actions actions;
    actions.show = [this](const QString& echo) { statusLine->showMessage(echo); };
    actions.save = [this] { saveImage(); };
    actions.saveDelay = [this] { return settingDialog->saveDelay(); };
    actions.setSaveDelay = [this](int delay) { settingDialog->setSaveDelay(delay); };
    actions.parametersChanged = [this] { settingDialog->refreshFromCamera(); };
    executor = new CommandExecutor(station->tileCount(), actions, this);
}

void MainWindow::applyTitle() {
    setWindowTitle(settings->read(keys::kTitle));
}

void MainWindow::applyLanguage() {
    lang = settings->read(keys::kLang);
    if (lang == LanguageScope::kChinese)
        retranslate();
}

void MainWindow::retranslate() {
    const LanguageScope texts(lang);
    ui->retranslateUi(this);
    settingDialog->loadFileOptions();
    aboutDialog->retranslate();
    calibrateDialog->retranslate();
    measure->retranslate();
    applyTitle();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    qDebug() << "Close event";
    fpsTimer->stop();
    live->stop();
    if (serialPort)
        serialPort->close();
    QThread::msleep(kShutdownSleep);
    live->wait();
    saving->finish();
    QMainWindow::closeEvent(event);
}

// ---- messages of the desktop, the machine controller ---------------------------------------------

bool MainWindow::nativeEvent(const QByteArray& eventType, void* message, long* result) {
    switch (platform::classify(eventType, message)) {
        case platform::NativeMessage::CameraMessage:
            // One may come while the start waits in a box.
            if (const auto number = cameraMessageCount++; statusLine)
                statusLine->showMessage(tr("%1 WM_USERDEFMSG received.").arg(number));
            break;
        case platform::NativeMessage::SaveHotkey:
            saveImage();
            break;
        case platform::NativeMessage::None:
            break;
    }
    // Whatever it was, others may want it too.
    return QMainWindow::nativeEvent(eventType, message, result);
}

void MainWindow::CheckCom() {
    if (!serialPort || serialPort->bytesAvailable() == 0)
        return;
    const QByteArray received = serialPort->readAll();
    // What this command shows stays for a full minute.
    statusLine->keepMessage();
    executor->execute(parseSerialCommand(received));
}

// ---- frames ------------------------------------------------------------------------------------

void MainWindow::process(int id, QImage img, unsigned char* buffer, quint64 timestamp) {
    live->showNow(id, Frame(std::move(img), buffer, timestamp));
}

void MainWindow::updateFps() {
    statusLine->showRates(rateText(live->updatedRates()));
}

void MainWindow::streamVideo() {
    live->stream(settings->read(keys::kColor) != 0);
}

void MainWindow::pauseVideo() {
    live->pause();
}

void MainWindow::on_action_Play_triggered() {
    streamVideo();
}

void MainWindow::on_action_Stop_triggered() {
    pauseVideo();
}

void MainWindow::on_actionTrigger_triggered() {
    station->trigger();
}

void MainWindow::on_actionFreeze_triggered(bool checked) {
    settingDialog->setFreezeImage(checked);
    qDebug() << "MainWindow::on_actionFreeze_triggered" << checked;
}

// ---- marks, calibration, saved pictures ----------------------------------------------------------

void MainWindow::on_actionEnable_triggered(bool checked) {
    calibration->enable(checked);
}

void MainWindow::setMark(double x, double y, int item_type, Mark* mark) {
    calibration->take(x, y, item_type, mark);
}

void MainWindow::on_actionBarcode_triggered() {
    calibration->place(kBarcodeTextMark);
}

void MainWindow::on_actionDate_Time_triggered() {
    calibration->place(kDateTimeTextMark);
}

void MainWindow::on_actionTilt_triggered() {
    calibration->place(kCoordinatesMark);
}

void MainWindow::on_actionClear_triggered() {
    calibration->clear();
}

void MainWindow::on_actionSave_Corner_triggered() {
    calibration->saveCorners();
}

void MainWindow::on_actionLoad_Corner_triggered() {
    calibration->loadCorners();
}

void MainWindow::on_actionExecute_triggered() {
    calibration->execute();
}

void MainWindow::saveImage() {
    if (saving)  // the hot key works before the start is over
        saving->saveNow();
}

void MainWindow::saveScanned(const QString& barcode) {
    saving->saveScanned(barcode);
}

void MainWindow::saveImageByName(const QString& name) {
    saving->saveWholeView(name);
}

void MainWindow::on_actionSave_Single_triggered() {
    saving->saveSelectedTile();
}

// ---- the view, dialogs, language -----------------------------------------------------------------

void MainWindow::sizeWindow() {
    live->followResizes();
    setWindowState(Qt::WindowMaximized);
    streamVideo();
    calibration->restoreOverlays();
}

void MainWindow::on_actionRearrange_triggered() {
    if (!live->item(0))
        return;
    const QList<ImagePos> arranged = live->rearrange(settings->read(keys::kColumn), calibration->frameSize());
    const bool needsRestart = station->bindCameras(arranged);
    savePos(arranged);
    on_actionZoom_Fit_triggered();
    if (needsRestart)
        QMessageBox::warning(this, tr("Restart"), tr("Restart to continue."), QMessageBox::Ok);
}

void MainWindow::savePos(const QList<ImagePos>& lst) {
    for (int slot = 0; slot < live->count(); ++slot)
        station->storePlace(slot, live->placeInSlot(slot, lst));
}

void MainWindow::on_actionZoom_Fit_triggered() {
    const auto fit = live->fitted(ui->gvMain->size());
    if (!fit)
        return;
    scene->setSceneRect(fit->sceneRect);
    ui->gvMain->resetTransform();
    ui->gvMain->scale(fit->scale, fit->scale);
    settings->write(keys::kZoom, fit->scale);
}

void MainWindow::resetView() {
    ui->gvMain->resetTransform();
    settings->write(keys::kZoom, 1.0);
}

void MainWindow::zoomIn() {
    ui->gvMain->scale(kZoomStep, kZoomStep);
}

void MainWindow::zoomOut() {
    ui->gvMain->scale(kZoomStepBack, kZoomStepBack);
}

void MainWindow::on_actionFull_screen_triggered() {
    setBarsVisible(false);
    showFullScreen();
    ui->gvMain->showFullScreen();
    live->followResizes();
    on_actionZoom_Fit_triggered();
}

void MainWindow::on_actionExit_full_screen_triggered() {
    exitFullscreen();
}

void MainWindow::exitFullscreen() {
    setBarsVisible(true);
    showNormal();
    ui->gvMain->showNormal();
    live->followResizes();
    on_actionZoom_Fit_triggered();
}

void MainWindow::setBarsVisible(bool visible) {
    for (QWidget* bar : QWidgetList{ui->toolBar, ui->menuBar, ui->statusBar})
        bar->setVisible(visible);
    measure->setBarsVisible(visible);
}

void MainWindow::on_gvMain_customContextMenuRequested(const QPoint& point) {
    Q_UNUSED(point)
    QMenu menu(this);
    menu.addActions({ui->actionFull_screen, ui->actionExit_full_screen});
    menu.exec(QCursor::pos());
}

void MainWindow::openSetting() {
    settingDialog->refreshFromCamera();
    settingDialog->show();
    // It may be open already, behind the window or minimised.
    settingDialog->raise();
    settingDialog->activateWindow();
    settingDialog->cameraCount = live->count();
}

void MainWindow::switchlanguage() {
    lang = lang == LanguageScope::kEnglish ? LanguageScope::kChinese : LanguageScope::kEnglish;
    settings->write(keys::kLang, lang);
    retranslate();
}

void MainWindow::aboutMe() {
    aboutDialog->show();
}

void MainWindow::on_LOGO_triggered() {
    aboutMe();
}
