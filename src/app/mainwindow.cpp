#include "app/mainwindow.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QCursor>
#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QGraphicsPixmapItem>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QScopedValueRollback>
#include <QSerialPort>
#include <QStatusBar>
#include <QTimer>
#include <QTranslator>
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <utility>

#include "app/aboutdialog.h"
#include "calibration/calibratedialog.h"
#include "calibration/calibrationfile.h"
#include "calibration/calibrationrun.h"
#include "camera/framerate.h"
#include "camera/kvcap2.h"
#include "control/serialcommand.h"
#include "control/picturefile.h"
#include "control/snapshotname.h"
#include "marks/coordinatesmark.h"
#include "marks/interactivescene.h"
#include "marks/mark.h"
#include "platform/desktop.h"
#include "platform/files.h"
#include "settings/settingdialog.h"
#include "settings/settingsfile.h"
#include "ui_mainwindow.h"

/// The icons lie in a static library, whose resources have to be asked for. Outside any namespace: the macro
/// needs it.
static void initResources() {
    Q_INIT_RESOURCE(bivista);
}

namespace {

constexpr int kRatePeriod = 1000;      // ms
constexpr int kMessageTicks = 60;      // rate updates that a message in the status bar outlives at most
constexpr int kShutdownSleep = 600;    // ms
constexpr int kSizeWindowDelay = 100;  // ms
constexpr int kResizeTime = 1000;      // ms, in which a desktop has resized a window it was asked to
constexpr int kPaintTime = 40;  // ms after which a picture that was not painted is taken as not to be seen
// Four tiles keep within 400 MB while the window is busy. By the time so many frames have come most of them
// are too old to be shown anyway.
constexpr qint64 kMostBytesUnderWay = 96LL * 1024 * 1024;
constexpr double kZoomStep = 1.1;
constexpr double kZoomStepBack = 0.9090909090909091;
constexpr int kChinese = 2;

// Process-wide on purpose: they count on whatever window there is.
int32_t cameraMessageCount = 0;
int32_t fpsTicks = 0;

/// "5,3,5": the counts of the cameras in use, as the settings hold them.
QString countText(const GridCounts& counts, int cameraCount) {
    QStringList parts;
    for (int i = 0; i < cameraCount; ++i)
        parts.append(QString::number(counts[i]));
    return parts.join(QLatin1Char(','));
}

}  // namespace

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent), ui(new Ui::MainWindow) {
    createForm();
    registerHotkey();
    openSettings();
    createDialogsAndScene();
    countCameras();
    openCameras();
    assignTiles();
    showScene();
    startRateTimer();
    createStatusLabels();
    connectActions();
    openSerialPort();
    createSettingDialog();
    readFrameSize();
    loadCalibration();
    applyTitle();
    applyLanguage();
    ui->actionFreeze->setChecked(settingDialog->isFreezeImage());
    QTimer::singleShot(kSizeWindowDelay, this, &MainWindow::sizeWindow);
}

MainWindow::~MainWindow() {
    platform::unregisterSaveHotkey(winId());
    // After closeEvent this is over at once; it matters when the program ends without the window being
    // closed.
    stopThreads();
    waitForThreads();
    // Frames that are still queued own buffers: delivered here, to tiles that are none any more, they are
    // freed.
    const int32_t opened = std::exchange(cameraCount, 0);
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
    // It uses the settings file, which is an earlier child and would go first.
    delete settingDialog;
    for (Tile& tile : tiles)
        delete tile.thread;
    if (demo == 0) {
        for (int i = 0; i < opened; ++i)
            CameraFree(i);
    }
    delete ui;
}

// ---- start-up ----------------------------------------------------------------------------------

void MainWindow::createForm() {
    initResources();
    ui->setupUi(this);
    QIcon icon(QStringLiteral(":/icon/app"));
    for (const int size : {16, 24, 32, 48, 64, 128})
        icon.addFile(QStringLiteral(":/icon/app-%1.png").arg(size));
    setWindowIcon(icon);
    ui->gvMain->installEventFilter(this);
    // Also the window's own, so that the keys work while the menu bar is hidden.
    addActions({ui->actionFull_screen, ui->actionExit_full_screen});
}

void MainWindow::registerHotkey() {
    if (!platform::registerSaveHotkey(winId()))
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

void MainWindow::countCameras() {
    const int camNum = settings->read(keys::kCamNum);
    int32_t attached = 0;
    CameraGetCount(&attached);
    demo = settings->read(keys::kDemo);
    cameraCount = tilesInUse(attached, camNum, demo);
    qDebug() << "Device count:" << cameraCount;
    layoutMode = settings->read(keys::kMode);
}

void MainWindow::openCameras() {
    if (demo != 0)
        return;
    const int timeout = settings->read(keys::kTimeout);
    for (int i = 0; i < cameraCount; ++i) {
        CameraInit(i);
        CameraSetTimeout(i, timeout);
        CameraReadSerialNumber(i, serialNumbers[i], kSerialNumberLength);
        serialNumbers[i][kSerialNumberLength] = '\0';
        qDebug() << "sn" << i << serialNumbers[i] << settings->read(keys::cameraSerial(i));
    }
}

void MainWindow::assignTiles() {
    QVector<QString> configured;
    for (int tile = 0; tile < kMaxTiles; ++tile)
        configured.append(settings->read(keys::cameraSerial(tile)));
    const bool firstRun = std::all_of(configured.begin(), configured.end(),
                                      [](const QString& serial) { return serial.isEmpty(); });

    CameraTable table = camerasInOrder(cameraCount);
    if (demo == 0 && firstRun) {
        // The order of detection becomes the order kept.
        for (int i = 0; i < cameraCount; ++i)
            settings->store(keys::cameraSerial(i), serialText(serialNumbers[i]));
        settings->flush();
    } else if (demo == 0) {
        QVector<QByteArray> serials;
        for (int i = 0; i < cameraCount; ++i)
            serials.append(serialNumbers[i]);
        table = matchCameras(configured, serials);
    }

    for (int tile = 0; tile < cameraCount; ++tile) {
        if (tile == table.unmatchedTile) {
            qDebug() << "no camera for tile" << tile << configured[tile];
            // The text is literal: it names the kind of key, not the one at fault.
            QMessageBox box(QMessageBox::Warning, tr("Error"), tr("Set sn correctly first. Camera/Cam<i>"),
                            QMessageBox::Ok, this);
            box.setTextFormat(Qt::PlainText);  // or "<i>" were italics
            box.exec();
            std::exit(0);
        }
        cameraOfTile[tile] = table.cameraOfTile[tile];
        createTile(tile);
    }
}

void MainWindow::createTile(int index) {
    Tile& tile = tiles[index];
    tile.frameCount = 0;
    tile.frameCount2 = 0;
    tile.cameraIndex = cameraOfTile[index];
    tile.thread = new CaptureThread(this);
    tile.thread->tileIndex = index;
    tile.thread->cameraIndex = tile.cameraIndex;
    tile.thread->demo = demo != 0;
    tile.thread->settingsFile = settings->fileName();
    tile.thread->limitUnderWay(kMostBytesUnderWay);
    connect(tile.thread, &CaptureThread::captured, this, &MainWindow::process);
}

void MainWindow::showScene() {
    ui->gvMain->setScene(scene);
    connect(scene, &InteractiveScene::finished, this, &MainWindow::setMark);
    connect(scene, &InteractiveScene::scanned, this, &MainWindow::saveScanned);
    connect(scene, &InteractiveScene::removed, this, &MainWindow::forgetMark);
    ui->gvMain->viewport()->installEventFilter(this);
    // The cross-hair that is being placed follows the mouse without a button.
    ui->gvMain->viewport()->setMouseTracking(true);
    // How much of the view is painted anew at a change is left at the tiles that changed: the other modes and
    // the optimization flags made no difference where all cameras keep time, and they paint too much where
    // they don't.
    ui->gvMain->setViewportUpdateMode(QGraphicsView::MinimalViewportUpdate);
    // Barcode readers type into whatever has the focus.
    ui->gvMain->setFocus();
}

void MainWindow::startRateTimer() {
    fpsTimer = new QTimer(this);
    connect(fpsTimer, &QTimer::timeout, this, &MainWindow::updateFps);
    fpsTimer->start(kRatePeriod);
}

void MainWindow::createStatusLabels() {
    statusLeft = new QLabel(QString(36, QLatin1Char(' ')), this);
    // Names from outside (ports, barcodes, folders) are shown as they are, whatever brackets they hold.
    statusLeft->setTextFormat(Qt::PlainText);
    statusLeft->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    statusLeft->setMinimumSize(statusLeft->sizeHint());
    // Of a text of several lines (a command with its line end) the first is seen; the bar does not grow.
    statusLeft->setMaximumHeight(statusLeft->sizeHint().height());
    ui->statusBar->addWidget(statusLeft, 0);

    statusRight = new QLabel(this);
    statusRight->setIndent(3);
    statusRight->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    statusRight->setMinimumSize(statusRight->sizeHint());
    ui->statusBar->addWidget(statusRight, 1);
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
    serialPort = new QSerialPort(name, this);
    connect(serialPort, &QSerialPort::readyRead, this, &MainWindow::CheckCom);
    connect(serialPort, &QSerialPort::errorOccurred, this,
            [port = serialPort](QSerialPort::SerialPortError error) {
                if (error != QSerialPort::ResourceError && error != QSerialPort::ReadError)
                    return;
                // A line that was pulled is reported at every turn of the event loop for as long as it is
                // open. Not closed in here: the port is at work.
                const auto close = [port] {
                    if (port->isOpen()) {
                        qWarning("Serial port %s lost: %s", qUtf8Printable(port->portName()),
                                 qUtf8Printable(port->errorString()));
                        port->close();
                    }
                };
                QMetaObject::invokeMethod(port, close, Qt::QueuedConnection);
            });
    serialPort->setBaudRate(QSerialPort::Baud9600);
    serialPort->open(QIODevice::ReadWrite);
    if (!serialPort->isOpen())
        showMessage(tr("Serial port %1 open failed.").arg(name));
}

void MainWindow::createSettingDialog() {
    QVector<int32_t> tileCameras;
    if (demo == 0)
        std::copy_n(cameraOfTile.begin(), cameraCount, std::back_inserter(tileCameras));
    settingDialog = new SettingDialog(settings, tileCameras, this);
    connect(settingDialog, &SettingDialog::pauseVideo, this, &MainWindow::pauseVideo);
    connect(settingDialog, &SettingDialog::streamVideo, this, &MainWindow::streamVideo);
    connect(settingDialog, &SettingDialog::dateTimeFormatChanged, scene,
            &InteractiveScene::setDateTimeFormat);
    settingDialog->loadFileOptions();
}

void MainWindow::readFrameSize() {
    transEnabled = settings->read(keys::kTrans);
    tileWidth = settings->read(keys::kWidth);
    tileHeight = settings->read(keys::kHeight);
    if (cameraCount == 0 || demo != 0)
        return;
    int32_t width = 0;
    int32_t height = 0;
    CameraGetImageSize(0, &width, &height);
    if (width > 0 && height > 0) {
        tileWidth = width;
        tileHeight = height;
    }
}

void MainWindow::loadCalibration() {
    bool missing = false;
    corners.setTiles({tileWidth, tileHeight}, layoutMode, cameraCount);
    recoverCalibrations();
    for (int i = 0; i < cameraCount; ++i) {
        const auto calibration = readCalibration(calibrationFileName(i));
        if (!calibration || !correction.take(i, *calibration, {tileWidth, tileHeight})) {
            transEnabled = false;
            missing = true;
            continue;
        }
        corners.restore(i, pointsOf(calibration->cornerSrc));
    }
    ui->actionEnable->setChecked(transEnabled);
    if (missing)
        ui->actionEnable->setEnabled(false);
}

void MainWindow::applyTitle() {
    setWindowTitle(settings->read(keys::kTitle));
}

void MainWindow::applyLanguage() {
    lang = settings->read(keys::kLang);
    if (lang != kChinese)
        return;
    // Gone again at the end of this function: only the texts set by the re-translation are Chinese, whatever
    // is looked up later is English. This is deliberate.
    QTranslator translator;
    if (translator.load(QStringLiteral("lang/tilecam_zh_CN")))
        QCoreApplication::installTranslator(&translator);
    retranslate();
    applyTitle();
}

void MainWindow::retranslate() {
    ui->retranslateUi(this);
    settingDialog->loadFileOptions();
    aboutDialog->retranslate();
    calibrateDialog->retranslate();
}

// ---- shutdown ----------------------------------------------------------------------------------

void MainWindow::closeEvent(QCloseEvent* event) {
    qDebug() << "Close event";
    fpsTimer->stop();
    stopThreads();
    QThread::msleep(kShutdownSleep);
    waitForThreads();
    QMainWindow::closeEvent(event);
}

void MainWindow::stopThreads() {
    for (Tile& tile : tiles) {
        if (tile.thread)
            tile.thread->stopCapturing();
    }
}

void MainWindow::waitForThreads() {
    for (Tile& tile : tiles) {
        if (tile.thread)
            tile.thread->wait();
    }
}

// ---- messages of the desktop -------------------------------------------------------------------

bool MainWindow::nativeEvent(const QByteArray& eventType, void* message, long* result) {
    switch (platform::classify(eventType, message)) {
        case platform::NativeMessage::CameraMessage:
            showMessage(tr("%1 WM_USERDEFMSG received.").arg(cameraMessageCount++));
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

// ---- machine controller ------------------------------------------------------------------------

void MainWindow::CheckCom() {
    if (!serialPort)
        return;
    const QByteArray received = serialPort->readAll();
    if (received.isEmpty())
        return;
    // What this command shows stays for a full minute.
    fpsTicks = 0;
    execute(parseSerialCommand(received));
    // What has come while a box was up is not announced again.
    if (serialPort->bytesAvailable() > 0)
        QMetaObject::invokeMethod(this, &MainWindow::CheckCom, Qt::QueuedConnection);
}

void MainWindow::execute(const SerialCommand& command) {
    using Kind = SerialCommand::Kind;
    if (command.kind == Kind::None)
        return;
    showMessage(command.echo);
    switch (command.kind) {
        case Kind::Trigger:
            // Each has its own time; none cancels another.
            if (settingDialog->saveDelay() < 1)
                saveImage();
            else
                QTimer::singleShot(settingDialog->saveDelay(), Qt::PreciseTimer, this,
                                   &MainWindow::saveImage);
            break;
        case Kind::SetDelay:
            if (command.delay >= 1)
                settingDialog->setSaveDelay(command.delay);
            break;
        case Kind::Save:
            setOnCameras(command);
            break;
        default:
            setOnCameras(command);
            settingDialog->refreshFromCamera();
            break;
    }
}

void MainWindow::setOnCameras(const SerialCommand& command) {
    using Kind = SerialCommand::Kind;
    const int first = command.camera < 0 ? 0 : command.camera;
    const int last = command.camera < 0 ? cameraCount - 1 : std::min(command.camera, cameraCount - 1);
    // A camera that is not there: nobody is called and nobody told.
    for (int i = first; i <= last; ++i) {
        switch (command.kind) {
            case Kind::Gamma:
                CameraSetGamma(i, command.value);
                break;
            case Kind::Contrast:
                CameraSetContrast(i, command.value);
                break;
            case Kind::Exposure:
                CameraSetExposure(i, wholeValue(command.value));
                break;
            case Kind::Gain:
                CameraSetGain(i, wholeValue(command.value));
                break;
            case Kind::AdvancedGain:
                CameraSetAdvancedGain(i, wholeValue(command.value));
                break;
            case Kind::Save:
                CameraSaveParameter(i, 0);  // the parameter set that the settings dialog uses
                break;
            default:
                break;
        }
    }
}

void MainWindow::showMessage(const QString& text) {
    if (statusLeft)
        statusLeft->setText(text);
}

// ---- frames ------------------------------------------------------------------------------------

/// Frames that come from a camera are not shown one by one. Of those that are there the newest of each tile
/// is shown, then the screen is painted, and only then the next are looked at: nothing is corrected that
/// nobody could have seen, a pass over four tiles is painted once, and however fast frames come, the window
/// stays as quick as painting is.
void MainWindow::process(int id, QImage img, unsigned char* buffer, quint64 timestamp) {
    std::unique_ptr<unsigned char[]> owned(buffer);
    const bool isKnown = id >= 0 && id < cameraCount;
    const bool isQueued = isKnown && tiles[id].thread->takeDelivered(buffer);
    if (isStale(static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()), timestamp)) {
        qDebug() << "drop";
        return;
    }
    if (!isKnown)
        return;
    Tile& tile = tiles[id];
    ++tile.frameCount;
    if (tile.item && isQueued) {
        tile.waitingFrame = std::move(img);
        tile.waitingBlock = std::move(owned);  // the frame that waited is freed, uncorrected
        tile.waitingSince = timestamp;
        if (!paintDeadline.isActive())
            showWaitingSoon();
        return;
    }
    // What waits is older.
    tile.waitingFrame = QImage();
    tile.waitingBlock.reset();
    const bool isFirst = !tile.item;
    showFrame(id, img, timestamp);
    if (isFirst)
        on_actionZoom_Fit_triggered();
}

void MainWindow::showWaitingSoon() {
    if (!waitingTimer.isActive())
        waitingTimer.start(0, this);
}

void MainWindow::timerEvent(QTimerEvent* event) {
    if (event->timerId() == waitingTimer.timerId())
        showWaiting();
    else if (event->timerId() == paintDeadline.timerId())
        pictureIsOut();
    else
        QMainWindow::timerEvent(event);
}

void MainWindow::showWaiting() {
    waitingTimer.stop();
    const auto now = static_cast<quint64>(QDateTime::currentMSecsSinceEpoch());
    for (int i = 0; i < cameraCount; ++i) {
        Tile& tile = tiles[i];
        if (!tile.waitingBlock)
            continue;
        // One that has become too old while the window was busy is shown only if no other follows it: of a
        // camera that is triggered it may be the only one for a long time.
        if (isStale(now, tile.waitingSince) && tile.thread->isMoreUnderWay()) {
            qDebug() << "drop";
            tile.frameCount = std::max(0, tile.frameCount - 1);
        } else {
            showFrame(i, tile.waitingFrame, tile.waitingSince);
            paintDeadline.start(kPaintTime, this);
            shownTime.start();
        }
        tile.waitingFrame = QImage();
        tile.waitingBlock.reset();
    }
}

void MainWindow::pictureIsOut() {
    paintDeadline.stop();
    const bool isWaiting = std::any_of(tiles.begin(), tiles.end(),
                                       [](const Tile& tile) { return tile.waitingBlock != nullptr; });
    if (isWaiting)
        showWaitingSoon();
}

void MainWindow::showFrame(int id, const QImage& frame, quint64 timestamp) {
    QImage picture = transEnabled ? pictures[id].corrected(frame, correction, id, cameraCount, layoutMode)
                                  : pictures[id].plain(frame);
    if (picture.constBits() == frame.constBits())
        picture = picture.copy();  // the frame's own pixels are freed soon
    showInTile(id, picture, timestamp);
}

void MainWindow::showInTile(int id, const QImage& picture, quint64 timestamp) {
    Tile& tile = tiles[id];
    if (!tile.item) {
        tile.item = scene->addPixmap(QPixmap::fromImage(picture));
        tile.item->setPos(tilePosition(settings->read(keys::tileX(id))),
                          tilePosition(settings->read(keys::tileY(id))));
        tile.item->setFlags(QGraphicsItem::ItemIsMovable);
    } else if (settingDialog->isFreezeImage()) {
        tile.heldImage = picture;
        tile.heldTimestamp = timestamp;
        tile.hasHeldImage = true;
        return;
    } else {
        tile.item->setPixmap(QPixmap::fromImage(picture));
        // A live picture is newer than any held one: a later save must not bring the old one back.
        tile.heldImage = QImage();
        tile.hasHeldImage = false;
    }
    tile.item->setData(kTimestampOfTile, timestamp);
}

void MainWindow::updateFps() {
    QVector<float> rates;
    for (int i = 0; i < cameraCount; ++i) {
        Tile& tile = tiles[i];
        tile.fps = smoothedRate(tile.fps, tile.frameCount);
        tile.frameCount = 0;
        tile.frameCount2 = 0;
        rates.append(tile.fps);
    }
    statusRight->setText(rateText(rates));
    if (++fpsTicks % kMessageTicks == 0)
        statusLeft->clear();
}

void MainWindow::streamVideo() {
    for (int i = 0; i < cameraCount; ++i) {
        Tile& tile = tiles[i];
        tile.frameCount = 0;
        tile.frameCount2 = 0;
        // A thread told to end is never started again: the window is closing.
        if (tile.thread->isStopRequested())
            continue;
        tile.thread->start(QThread::InheritPriority);
        tile.thread->startCapturing();
    }
}

void MainWindow::pauseVideo() {
    for (int i = 0; i < cameraCount; ++i)
        tiles[i].thread->pauseCapturing();
}

void MainWindow::on_action_Play_triggered() {
    streamVideo();
}

void MainWindow::on_action_Stop_triggered() {
    pauseVideo();
}

void MainWindow::on_actionTrigger_triggered() {
    if (demo != 0)
        return;
    for (int i = 0; i < cameraCount; ++i)
        CameraTriggerShot(i);
}

void MainWindow::on_actionFreeze_triggered(bool checked) {
    settingDialog->setFreezeImage(checked);
    qDebug() << "MainWindow::on_actionFreeze_triggered" << checked;
}

void MainWindow::on_actionEnable_triggered(bool checked) {
    transEnabled = checked;
    settings->write(keys::kTrans, checked);
}

// ---- marks -------------------------------------------------------------------------------------

void MainWindow::setMark(double x, double y, int item_type, Mark* mark) {
    if (!tiles[0].item)
        return;
    if (item_type == kDateTimeTextMark || item_type == kBarcodeTextMark) {
        if (mark)
            settings->write(item_type == kDateTimeTextMark ? keys::kDateTimeMark : keys::kBarcodeMark,
                            mark->toText());
        return;
    }
    if (item_type != kCoordinatesMark)
        return;
    const auto added = corners.add({x, y}, mark);
    if (!added)
        return;
    for (Mark* old : added->pushedOut)
        scene->removeMark(old);
    showMessage(tr("#%1: %2 %3 Total:%4")
                    .arg(added->tile)
                    .arg(added->point.x())
                    .arg(added->point.y())
                    .arg(added->total));
}

void MainWindow::forgetMark(Mark* mark) {
    corners.forget(mark);
}

/// While marks are placed, tiles have no flags, so that clicks reach the scene.
void MainWindow::setTileFlags(QGraphicsItem::GraphicsItemFlags flags) {
    for (int i = 0; i < cameraCount; ++i) {
        if (tiles[i].item)
            tiles[i].item->setFlags(flags);
    }
}

void MainWindow::on_actionBarcode_triggered() {
    scene->setMode(kBarcodeTextMark);
    setTileFlags({});
}

void MainWindow::on_actionDate_Time_triggered() {
    scene->setMode(kDateTimeTextMark);
    setTileFlags({});
}

void MainWindow::on_actionTilt_triggered() {
    scene->setMode(kCoordinatesMark);
    // Corners are marked in the uncorrected pictures. The stored setting stays: the next start corrects
    // again.
    transEnabled = false;
    ui->actionEnable->setChecked(false);
    setTileFlags({});
}

void MainWindow::on_actionClear_triggered() {
    scene->clearMarks();
    setTileFlags(QGraphicsItem::ItemIsMovable);
    settings->remove(keys::kDateTimeMark, keys::kBarcodeMark);
}

void MainWindow::on_actionSave_Corner_triggered() {
    if (scene->markCount() == 0 &&
        QMessageBox::question(this, tr("Override?"), tr("No marks in the curvas, do you still want to save?"),
                              QMessageBox::Save | QMessageBox::Cancel,
                              QMessageBox::Cancel) != QMessageBox::Save)
        return;
    scene->saveMarks(0);
}

void MainWindow::on_actionLoad_Corner_triggered() {
    on_actionClear_triggered();
    corners.clear();
    scene->loadMarks(0);
}

// ---- calibration -------------------------------------------------------------------------------

void MainWindow::on_actionExecute_triggered() {
    const auto tellMissingCorners = [this] {
        QMessageBox::information(this, tr("Info"), tr("Please mark 4 corners for each camera first."),
                                 QMessageBox::Ok);
    };
    // Without a camera there is nothing to ask for, and no counts that could be stored.
    if (cameraCount == 0 || scene->markCount() != CornerCount * cameraCount) {
        tellMissingCorners();
        return;
    }
    setTileFlags(QGraphicsItem::ItemIsMovable);
    calibrateDialog->setCounts(settings->read(keys::kXCount), settings->read(keys::kYCount), cameraCount);
    if (calibrateDialog->exec() != QDialog::Accepted)
        return;
    settings->write(keys::kXCount, countText(calibrateDialog->xCounts, cameraCount));
    settings->write(keys::kYCount, countText(calibrateDialog->yCounts, cameraCount));
    const CalibrationRun run = runCalibration(refreshCorners(), calibrateDialog->xCounts,
                                              calibrateDialog->yCounts, cameraCount, {tileWidth, tileHeight});
    if (!run.problem.isEmpty()) {
        tellMissingCorners();
        return;
    }
    // Nothing is touched until all tiles are new, on the disk too: the pictures join only then.
    if (!writeCalibrations(run.calibrations).isEmpty())
        return;
    corners.take(run.corners);
    correction = run.correction;
    scene->saveMarks(0);
    transEnabled = true;
    settings->write(keys::kTrans, true);
    ui->actionEnable->setEnabled(true);
    ui->actionEnable->setChecked(true);
}

CornerMarking::Refreshed MainWindow::refreshCorners() const {
    return corners.refreshed([](const Mark* mark) -> std::optional<QPointF> {
        const auto* crossHair = dynamic_cast<const CoordinatesMark*>(mark);
        return crossHair ? std::optional<QPointF>(crossHair->point()) : std::nullopt;
    });
}

// ---- saved pictures ----------------------------------------------------------------------------

void MainWindow::pushHeldImages() {
    showWaiting();
    for (int i = 0; i < cameraCount; ++i) {
        const Tile& tile = tiles[i];
        if (!tile.hasHeldImage || !tile.item)
            continue;
        tile.item->setPixmap(QPixmap::fromImage(tile.heldImage));
        tile.item->setData(kTimestampOfTile, tile.heldTimestamp);
    }
}

void MainWindow::saveImage() {
    pushHeldImages();
    if (settingDialog && settingDialog->isSaveCaptured())
        saveImageByName(snapshotName(QDateTime::currentDateTime()));
}

void MainWindow::saveScanned(const QString& barcode) {
    pushHeldImages();
    if (settingDialog->isSaveCaptured())
        saveImageByName(barcode);
}

/// One box at a time: a machine controller goes on sending triggers while nobody is there to answer.
void MainWindow::tellPathInvalid() {
    if (isPathBoxUp)
        return;
    const QScopedValueRollback<bool> guard(isPathBoxUp, true);
    QMessageBox::information(this, tr("notice"), tr("Please select valid path!"), QMessageBox::Ok);
}

void MainWindow::saveImageByName(const QString& name) {
    showWaiting();
    if (cameraCount == 0 || !tiles[0].item) {
        showMessage(tr("No image"));
        return;
    }
    const QString path = settings->read(keys::kPath);
    if (path.isNull()) {
        tellPathInvalid();
        return;
    }
    const QString fileName = path + QLatin1Char('/') + name + snapshotSuffix(settings->read(keys::kType));
    saveScene(scene, fileName, settings->read(keys::kQuality));
    // Whatever became of it; a failure is in the log.
    showMessage(tr("Saved image ") + fileName);
}

void MainWindow::on_actionSave_Single_triggered() {
    showWaiting();
    const QList<QGraphicsItem*> selected = scene->selectedItems();
    const auto* item =
        selected.isEmpty() ? nullptr : qgraphicsitem_cast<QGraphicsPixmapItem*>(selected.first());
    if (!item)
        return;
    const QString path = settings->read(keys::kPath);
    QString fileName;
    if (path.isNull())
        tellPathInvalid();
    else
        fileName = path + QDir::separator() + snapshotName(QDateTime::currentDateTime()) +
                   snapshotSuffix(settings->read(keys::kType));
    writePicture(item->pixmap().toImage(), fileName, settings->read(keys::kQuality));
}

// ---- the view ----------------------------------------------------------------------------------

void MainWindow::sizeWindow() {
    fitDeadline.setRemainingTime(kResizeTime);
    setWindowState(Qt::WindowMaximized);
    streamVideo();
    scene->restoreBarcodeMark(settings->read(keys::kBarcodeMark));
    scene->setDateTimeFormat(settings->read(keys::kDateTimeFormat));
    scene->restoreDateTimeMark(settings->read(keys::kDateTimeMark));
}

/// Where a tile is; one that has had no picture yet counts where it will appear.
QPointF MainWindow::tilePlace(int tile) const {
    if (tiles[tile].item)
        return tiles[tile].item->pos();
    return {double(tilePosition(settings->read(keys::tileX(tile)))),
            double(tilePosition(settings->read(keys::tileY(tile))))};
}

void MainWindow::on_actionRearrange_triggered() {
    if (!tiles[0].item)
        return;
    QList<ImagePos> arranged;
    bool restartNeeded = false;
    if (transEnabled)
        arrangeCorrected();
    else
        arranged = arrangeInSlots(restartNeeded);
    savePos(arranged);
    on_actionZoom_Fit_triggered();
    if (restartNeeded)
        QMessageBox::warning(this, tr("Restart"), tr("Restart to continue."), QMessageBox::Ok);
}

QList<ImagePos> MainWindow::arrangeInSlots(bool& restartNeeded) {
    const int columns = arrangedColumns(settings->read(keys::kColumn), layoutMode, cameraCount);
    const QSize size = tiles[0].item->pixmap().size();
    QList<ImagePos> list;
    for (int i = 0; i < cameraCount; ++i)
        list.append({tilePlace(i).x(), tilePlace(i).y(), i});
    list = readingOrder(list, layoutMode);
    for (int slot = 0; slot < cameraCount; ++slot) {
        ImagePos& entry = list[slot];
        bindSlot(slot, entry.index, restartNeeded);
        const QPointF place = slotPosition(slot, columns, size);
        entry.x = place.x();
        entry.y = place.y();
        if (tiles[entry.index].item)
            tiles[entry.index].item->setPos(place);
    }
    return list;
}

/// From the next start on, slot `slot` shows the camera of `tile`; until then tiles keep their cameras.
void MainWindow::bindSlot(int slot, int tile, bool& restartNeeded) {
    const int camera = cameraOfTile[tile];
    const QString serial = serialText(serialNumbers[camera]);
    // Without a serial number (demo mode, a camera that told none) there is nothing to bind, and the file
    // keeps what it knows of real cameras.
    if (serial.isEmpty())
        return;
    if (camera != cameraOfTile[slot])
        restartNeeded = true;
    else if (settings->read(keys::cameraSerial(slot)) == serial)
        return;
    // Also when the tile is back where it started: an earlier arrangement of this run may stand in the file.
    settings->write(keys::cameraSerial(slot), serial);
}

void MainWindow::arrangeCorrected() {
    QVector<QSize> sizes;
    for (int i = 0; i < cameraCount; ++i)
        sizes.append((tiles[i].item ? tiles[i] : tiles[0]).item->pixmap().size());
    // Without corners for the layout the pictures are shown uncut: then their own widths count.
    std::array<int, 4> rowWidths{};
    std::transform(sizes.begin(), sizes.end(), rowWidths.begin(), [](QSize size) { return size.width(); });
    if (const auto geometry =
            computeCropGeometry(correction.dstCorners, cameraCount, layoutMode, {tileWidth, tileHeight}))
        rowWidths = geometry->rowWidths;
    const auto positions = correctedPositions(sizes, rowWidths, layoutMode);
    for (int i = 0; i < cameraCount; ++i) {
        if (tiles[i].item)
            tiles[i].item->setPos(positions[i]);
    }
}

void MainWindow::savePos(QList<ImagePos> lst) {
    for (int slot = 0; slot < cameraCount; ++slot) {
        QPointF place = tilePlace(slot);
        if (slot < lst.size()) {
            const ImagePos& entry = lst[slot];
            const bool isShown = entry.index >= 0 && entry.index < cameraCount && tiles[entry.index].item;
            place = isShown ? tiles[entry.index].item->pos() : QPointF(entry.x, entry.y);
        }
        settings->store(keys::tileX(slot), place.x());
        settings->store(keys::tileY(slot), place.y());
    }
}

void MainWindow::on_actionZoom_Fit_triggered() {
    QVector<QPointF> positions;
    for (int i = 0; i < cameraCount; ++i) {
        if (!tiles[i].item)
            return;
        positions.append(tiles[i].item->pos());
    }
    if (positions.isEmpty())
        return;
    const auto fit = zoomFit(positions, tiles[0].item->pixmap().size(), ui->gvMain->size());
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
    fitToNewWindowState();
}

void MainWindow::on_actionExit_full_screen_triggered() {
    exitFullscreen();
}

void MainWindow::exitFullscreen() {
    setBarsVisible(true);
    showNormal();
    ui->gvMain->showNormal();
    fitToNewWindowState();
}

void MainWindow::fitToNewWindowState() {
    // A window manager resizes the window some time after it was asked: fitted only now, the view would be
    // fitted to the size it is about to lose.
    fitDeadline.setRemainingTime(kResizeTime);
    on_actionZoom_Fit_triggered();
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
    const bool handled = QMainWindow::eventFilter(watched, event);
    if (watched == ui->gvMain->viewport() && event->type() == QEvent::Paint && paintDeadline.isActive()) {
        // After a long block the pictures that are to be painted are as old as it was long.
        if (shownTime.hasExpired(kOldestFrame))
            showWaiting();
        pictureIsOut();
    }
    // Queued: the view takes its new size when it handles the event, which is after this.
    if (watched == ui->gvMain && event->type() == QEvent::Resize && !fitDeadline.hasExpired())
        QMetaObject::invokeMethod(this, &MainWindow::on_actionZoom_Fit_triggered, Qt::QueuedConnection);
    return handled;
}

void MainWindow::setBarsVisible(bool visible) {
    ui->toolBar->setVisible(visible);
    ui->menuBar->setVisible(visible);
    ui->statusBar->setVisible(visible);
}

void MainWindow::on_gvMain_customContextMenuRequested(const QPoint& point) {
    Q_UNUSED(point)
    QMenu menu(this);
    menu.addActions({ui->actionFull_screen, ui->actionExit_full_screen});
    menu.exec(QCursor::pos());
}

// ---- dialogs and language ----------------------------------------------------------------------

void MainWindow::openSetting() {
    settingDialog->refreshFromCamera();
    settingDialog->show();
    // It may be open already, behind the window or minimised.
    settingDialog->raise();
    settingDialog->activateWindow();
    settingDialog->cameraCount = cameraCount;
}

void MainWindow::switchlanguage() {
    QTranslator translator;
    if (lang == 1) {
        lang = kChinese;
        if (translator.load(QStringLiteral("lang/tilecam_zh_CN")))
            QCoreApplication::installTranslator(&translator);
    } else {
        lang = 1;
    }
    settings->write(keys::kLang, lang);
    retranslate();
    applyTitle();
}

void MainWindow::aboutMe() {
    aboutDialog->show();
}

void MainWindow::on_LOGO_triggered() {
    aboutDialog->show();
}
