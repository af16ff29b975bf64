// SPDX-License-Identifier: Apache-2.0
#include <QMutex>
#include <QTimer>

#include "camera/kvcap2.h"
#include "platform/desktop.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

namespace {

/// All log lines of a test, for "No matching signal" and "No such slot". Capture threads write, too.
QMutex logMutex;
QStringList logLines;
QtMessageHandler plainHandler = nullptr;

QStringList linesOfLog() {
    const QMutexLocker lock(&logMutex);
    return logLines;
}

void keepLog(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    {
        const QMutexLocker lock(&logMutex);
        logLines.append(text);
    }
    plainHandler(type, context, text);
}

QByteArray calibration() {
    return R"(<?xml version="1.0"?>
<opencv_storage>
<calibrate type_id="opencv-matrix"><rows>3</rows><cols>3</cols><dt>d</dt><data>
1. 0. 3. 0. 1. 0. 0. 0. 1.</data></calibrate>
<corner_src type_id="opencv-matrix"><rows>4</rows><cols>2</cols><dt>f</dt><data>
4. 4. 60. 4. 4. 44. 60. 44.</data></corner_src>
<corner_dst type_id="opencv-matrix"><rows>4</rows><cols>2</cols><dt>f</dt><data>
4. 4. 60. 4. 4. 44. 60. 44.</data></corner_dst>
</opencv_storage>
)";
}

/// Another window that has the hot key; where no window can have it, nothing.
class KeyHolder {
public:
    KeyHolder() { platform::registerSaveHotkey(window.winId(), {}); }
    ~KeyHolder() { platform::unregisterSaveHotkey(window.winId()); }
    KeyHolder(const KeyHolder&) = delete;
    KeyHolder& operator=(const KeyHolder&) = delete;

private:
    QWidget window;
};

}  // namespace

/// The start-up order, the cameras and the shutdown, with a library that records who is called when.
class TestStartup : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void callsOfAStart();
    void timeoutIsPassedUnchanged();
    void firstRunWritesSerialNumbers();
    void laterRunWritesNothing();
    void detectionOrderOfTheFirstRunStays();
    void serialNumberThatCouldNotBeRead();
    void negativeDemoOpensNothing();
    void frameSizeComesFromTheFirstCamera();
    void orderOfTheStart();
    void oneCameraAndCamNumOne();
    void fourCamerasButTwoWanted();
    void sixCameras();
    void serialNumbersChooseTheCameras();
    void twoTilesOfOneCamera();
    void unterminatedSerialNumber();
    void demoWithoutCamera();
    void demoWithOneCamera();
    void noCameraAtAll();
    void hotkeyBox();
    void threadsStartWithTheWindow();
    void titleIsKept_data();
    void titleIsKept();
    void statusLabels();
    void serialPortThatIsNotThere();
    void serialPortOfSpaces();
    void calibrationOfOneTileMissing();
    void allCalibrationsThere();
    void freezeIsRemembered();
    void deliveredSignatures_data();
    void deliveredSignatures();
    void formIsWired();
    void scannedBarcodeSaves();
    void closingEndsThreadsThenFreesCameras();
};

void TestStartup::initTestCase() {
    plainHandler = qInstallMessageHandler(keepLog);
}

void TestStartup::init() {
    recording::reset(4);
    const QMutexLocker lock(&logMutex);
    logLines.clear();
}

void TestStartup::callsOfAStart() {
    recording::reset(2);
    WindowUnderTest window;
    window.start();
    QVERIFY(window.waitForTiles(2));
    window.end();
    QStringList changes;
    for (const QString& call : recording::callsButFrames()) {
        // The settings dialog asks camera 0 for everything, and changes nothing.
        if (!call.startsWith(QLatin1String("CameraGet")) || call == QLatin1String("CameraGetCount()"))
            changes.append(call);
    }
    QCOMPARE(changes,
             (QStringList{QStringLiteral("CameraGetCount()"), QStringLiteral("CameraInit(0)"),
                          QStringLiteral("CameraSetTimeout(0, 1500)"),
                          QStringLiteral("CameraReadSerialNumber(0, 12)"), QStringLiteral("CameraInit(1)"),
                          QStringLiteral("CameraSetTimeout(1, 1500)"),
                          QStringLiteral("CameraReadSerialNumber(1, 12)"), QStringLiteral("CameraFree(0)"),
                          QStringLiteral("CameraFree(1)")}));
    // The capture threads make the three acquisition calls, the window everything else and one size question.
    int sizesAskedByTheWindow = 0;
    for (const auto& call : recording::calls()) {
        if (call.operation == QLatin1String("CameraQueryImage") ||
            call.operation == QLatin1String("CameraGetImageBufferSize"))
            QVERIFY(!call.onGuiThread);
        else if (call.operation != QLatin1String("CameraGetImageSize"))
            QVERIFY(call.onGuiThread);
        else if (call.onGuiThread)
            sizesAskedByTheWindow += call.index == 0 ? 1 : 100;
    }
    QCOMPARE(sizesAskedByTheWindow, 1);
    // Frames are asked for only between the start and the freeing.
    const auto calls = recording::calls();
    QCOMPARE(calls.last().text(), QStringLiteral("CameraFree(1)"));
    QCOMPARE(calls[calls.size() - 2].text(), QStringLiteral("CameraFree(0)"));
}

void TestStartup::timeoutIsPassedUnchanged() {
    recording::reset(1);
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("Control/Timeout"), -77);
    window.start();
    QCOMPARE(recording::callsOf(QStringLiteral("CameraSetTimeout")).first().value, QStringLiteral("-77"));
}

void TestStartup::firstRunWritesSerialNumbers() {
    recording::reset(3);
    WindowUnderTest window;
    window.start();
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Camera/Cam0")), QStringLiteral("SN0"));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Camera/Cam2")), QStringLiteral("SN2"));
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("Camera/Cam3")).isNull());
}

void TestStartup::laterRunWritesNothing() {
    recording::reset(1);
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[Camera]\nCam0=SN0\n"));
    window.start();
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("Camera/Cam1")).isNull());
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), QByteArray("[Camera]\nCam0=SN0\n"));
}

void TestStartup::detectionOrderOfTheFirstRunStays() {
    const WorkingFolder folder;
    recording::reset(2);
    {
        BoxAnswerer answerer;
        const MainWindow first(nullptr);
    }
    const QByteArray written = WorkingFolder::read(QStringLiteral("setting.ini"));
    QVector<recording::Camera> swapped(2);
    swapped[0].serial = "SN1";
    swapped[1].serial = "SN0";
    recording::reset(swapped);
    BoxAnswerer answerer;
    const MainWindow second(nullptr);
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), written);
    for (auto* thread : second.findChildren<CaptureThread*>())
        QCOMPARE(thread->cameraIndex(), 1 - thread->tileIndex());
}

void TestStartup::serialNumberThatCouldNotBeRead() {
    QVector<recording::Camera> cameras(2);
    cameras[0].serial = "SN0";
    cameras[1].status = 4;
    recording::reset(cameras);
    WindowUnderTest window;
    window.start();
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Camera/Cam0")), QStringLiteral("SN0"));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Camera/Cam1")), QString());
    QVERIFY(window.waitForTiles(1));  // the other one is a tile without frames
}

void TestStartup::negativeDemoOpensNothing() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("Camera/Demo"), -1);
    window.start();
    QVERIFY(window.waitForTiles(4));
    window.end();
    QCOMPARE(recording::calls().size(), 1);
}

void TestStartup::frameSizeComesFromTheFirstCamera() {
    // Tile 0 shows camera 1; the maps are still made for the size of camera 0.
    QVector<recording::Camera> cameras(2);
    cameras[0].serial = "A";
    cameras[0].width = 50;
    cameras[1].serial = "B";
    for (auto& camera : cameras)
        camera.queryStatus = 5;
    recording::reset(cameras);
    WindowUnderTest window;
    QVERIFY(
        WorkingFolder::write(QStringLiteral("setting.ini"), "[Camera]\nCam0=B\nCam1=A\n[File]\nTrans=1\n"));
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal0.xml"), calibration()));
    // Its rectangle lies right of such maps, so that they cannot be cut; maps for its own camera could.
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal1.xml"),
                                 calibration().replace("4. 4. 60. 4. 4. 44. 60. 44.</data></corner_dst>",
                                                       "55. 4. 60. 4. 55. 44. 60. 44.</data></corner_dst>")));
    window.start();
    window.sendFrame(1, 9);
    QCOMPARE(window.tiles().first()->pixmap().width(), 50);
}

void TestStartup::orderOfTheStart() {
    // Seen while the hot key's box is up: nothing of the later steps has happened.
    const WorkingFolder folder;
    const KeyHolder holder;
    bool looked = false;
    QTimer::singleShot(0, qApp, [&] {
        looked = true;
        QVERIFY(recording::calls().isEmpty());
        QVERIFY(!QFile::exists(QStringLiteral("setting.ini")));
        QApplication::activeModalWidget()->close();
    });
    const MainWindow window(nullptr);
    QVERIFY(looked);
    // The size of camera 0 is asked when every camera is open.
    QStringList order;
    for (const auto& call : recording::calls())
        order.append(call.operation);
    QCOMPARE(order.first(), QStringLiteral("CameraGetCount"));
    const int size = order.indexOf(QStringLiteral("CameraGetImageSize"));
    QVERIFY(size > order.lastIndexOf(QStringLiteral("CameraInit")));
    // The settings dialog has been made and loaded by then.
    QVERIFY(size > order.indexOf(QStringLiteral("CameraGetSnapMode")));
}

void TestStartup::oneCameraAndCamNumOne() {
    recording::reset(1);
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("Camera/CamNum"), 1);
    window.start();
    QVERIFY(window.waitForTiles(1));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Camera/Cam0")), QStringLiteral("SN0"));
}

void TestStartup::fourCamerasButTwoWanted() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("Camera/CamNum"), 2);
    window.start();
    QVERIFY(window.waitForTiles(2));
    QCOMPARE(recording::callsOf(QStringLiteral("CameraInit")).size(), 2);
    window.end();
    QCOMPARE(recording::callsOf(QStringLiteral("CameraFree")).size(), 2);
}

void TestStartup::sixCameras() {
    recording::reset(6);
    WindowUnderTest window;
    window.start();
    QVERIFY(window.waitForTiles(4));
    for (const auto& call : recording::calls())
        QVERIFY(call.index < 4);
}

void TestStartup::serialNumbersChooseTheCameras() {
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[Camera]\nCam0=SN2\nCam1=SN0\nCam2=SN3\nCam3=SN1\n"
                                 "[Pos]\nX0=0\nX1=100\nX2=200\nX3=300\n"));
    window.start();
    QVERIFY(window.waitForTiles(4));
    QVector<int> greys;
    for (auto* tile : window.tiles())
        greys.append(WindowUnderTest::greyOf(tile));
    QCOMPARE(greys, (QVector<int>{120, 40, 160, 80}));  // each camera sends its own grey
}

void TestStartup::twoTilesOfOneCamera() {
    recording::reset(2);
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[Camera]\nCam0=SN1\nCam1=SN1\n"));
    window.start();
    QVERIFY(window.waitForTiles(2));
    for (auto* tile : window.tiles())
        QCOMPARE(WindowUnderTest::greyOf(tile), 80);
}

void TestStartup::unterminatedSerialNumber() {
    recording::Camera camera;
    camera.serial = "ABCDEFGHIJKLMNOP";  // 16 bytes: 12 are taken
    recording::reset({camera});
    WindowUnderTest window;
    window.start();
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("Camera/Cam0")), QStringLiteral("ABCDEFGHIJKL"));
}

void TestStartup::demoWithoutCamera() {
    recording::reset(0);
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("Camera/Demo"), 3);
    window.start();
    QVERIFY(window.waitForTiles(3));  // empty pictures, but tiles
    window.end();
    QStringList texts;
    for (const auto& call : recording::calls())
        texts.append(call.text());
    QCOMPARE(texts, QStringList{QStringLiteral("CameraGetCount()")});
}

void TestStartup::demoWithOneCamera() {
    recording::reset(1);
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("Camera/Demo"), 2);
    QImage picture(64, 48, QImage::Format_RGB888);
    picture.fill(QColor(77, 77, 77));
    QVERIFY(picture.save(QStringLiteral("0.jpg"), "JPG", 100));
    window.start();
    QVERIFY(window.waitForTiles(1));
    QCOMPARE(WindowUnderTest::greyOf(window.tiles().first()), 77);
    window.action("actionTrigger")->trigger();
    window.end();
    QCOMPARE(recording::calls().size(), 1);
    QVERIFY(WorkingFolder::keyOnDisk(QStringLiteral("Camera/Cam0")).isNull());
}

void TestStartup::noCameraAtAll() {
    recording::reset(0);
    WindowUnderTest window;
    window.start();
    QVERIFY(window->findChildren<CaptureThread*>().isEmpty());
    window->updateFps();
    QCOMPARE(window.rightText(), QStringLiteral("Camera fps: ( no device)"));
    for (const char* name : {"action_Play", "action_Stop", "actionTrigger", "actionZoom_Fit", "actionReset"})
        window.action(name)->trigger();
    window->saveImage();
    QCOMPARE(window.leftText(), QStringLiteral("No image"));
}

void TestStartup::hotkeyBox() {
    const KeyHolder holder;
    WindowUnderTest window;
    window.start();
    QCOMPARE(window.answerer.boxes.size(), 1);
    const auto& box = window.answerer.boxes.first();
    QCOMPARE(box.icon, QMessageBox::Information);
    QCOMPARE(box.title, QStringLiteral("Error"));
    QCOMPARE(box.text, QStringLiteral("Register hotkey save img failed"));
    QCOMPARE(box.buttons, QMessageBox::Ok);
    QVERIFY(window.waitForTiles(4));  // and on it goes
}

void TestStartup::threadsStartWithTheWindow() {
    WindowUnderTest window;
    window.start();
    const auto threads = window->findChildren<CaptureThread*>();
    QCOMPARE(threads.size(), 4);
    for (auto* thread : threads)
        QVERIFY(!thread->isRunning());
    QVERIFY(!window->isMaximized());
    QTRY_VERIFY(window->isMaximized());
    for (auto* thread : threads)
        QTRY_VERIFY(thread->isRunning());
}

void TestStartup::titleIsKept_data() {
    QTest::addColumn<int>("lang");
    QTest::newRow("English") << 1;
    QTest::newRow("Chinese") << 2;
}

void TestStartup::titleIsKept() {
    QFETCH(int, lang);
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Title"), QStringLiteral("Line 3, station 7"));
    WorkingFolder::setKey(QStringLiteral("File/Lang"), lang);
    window.start();
    QCOMPARE(window->windowTitle(), QStringLiteral("Line 3, station 7"));
}

void TestStartup::statusLabels() {
    WindowUnderTest window;
    window.start();
    QCOMPARE(window.leftText(), QString(36, QLatin1Char(' ')));
    QCOMPARE(window.label(1)->indent(), 3);
    QVERIFY(window.label(1)->alignment() & Qt::AlignRight);
    QVERIFY(window.label(0)->alignment() & Qt::AlignLeft);
    QCOMPARE(window.label(0)->minimumSize(), window.label(0)->sizeHint());
}

void TestStartup::serialPortThatIsNotThere() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Port"), QStringLiteral(" NOPORT7 "));
    window.start();
    QCOMPARE(window.leftText(), QStringLiteral("Serial port NOPORT7 open failed."));
    QVERIFY(window.waitForTiles(4));
}

void TestStartup::serialPortOfSpaces() {
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nPort=\"   \"\n"));
    window.start();
    QCOMPARE(window.leftText().trimmed(), QString());
}

void TestStartup::calibrationOfOneTileMissing() {
    recording::reset(2);
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Trans"), 1);
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal0.xml"), calibration()));
    window.start();
    QVERIFY(!window.action("actionEnable")->isChecked());
    QVERIFY(!window.action("actionEnable")->isEnabled());
    // Frames are shown as they are.
    auto* buffer = new unsigned char[64 * 48]();
    for (int y = 0; y < 48; ++y)
        buffer[64 * y] = 255;
    window->process(0, QImage(buffer, 64, 48, 64, QImage::Format_Grayscale8), buffer,
                    static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
    QCOMPARE(window.tiles().first()->pixmap().size(), QSize(64, 48));
    QCOMPARE(WindowUnderTest::greyOf(window.tiles().first()), 255);
    // What is there has been loaded: a new corner in tile 0 pushes out one of the file's, tile 1 begins with
    // it.
    window->setMark(10, 10, 7, nullptr);
    QCOMPARE(window.leftText(), QStringLiteral("#0: 10 10 Total:4"));
    window->setMark(70, 10, 7, nullptr);
    QCOMPARE(window.leftText(), QStringLiteral("#1: 6 10 Total:1"));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Trans")), QStringLiteral("1"));
}

void TestStartup::allCalibrationsThere() {
    recording::reset(1);
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Trans"), 1);
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal0.xml"), calibration()));
    window.start();
    QVERIFY(window.action("actionEnable")->isChecked());
    QVERIFY(window.action("actionEnable")->isEnabled());
    window.sendFrame(0, 9);
    QCOMPARE(window.tiles().first()->pixmap().size(), QSize(60, 48));  // 64 less the rectangle's left edge
    // A colour frame goes the same way.
    auto* buffer = new unsigned char[64 * 48 * 3]();
    buffer[0] = 200;
    window->process(0, QImage(buffer, 64, 48, 64 * 3, QImage::Format_RGB888), buffer,
                    static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
    QCOMPARE(window.tiles().first()->pixmap().toImage().pixel(3, 0), qRgb(200, 0, 0));  // moved by 3 px
    window.action("actionEnable")->trigger();
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Trans")), QStringLiteral("0"));
    window.sendFrame(0, 9);
    QCOMPARE(window.tiles().first()->pixmap().size(), QSize(64, 48));
    window.action("actionEnable")->trigger();
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Trans")), QStringLiteral("1"));
}

void TestStartup::freezeIsRemembered() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/FreezeImage"), true);
    window.start();
    QVERIFY(window.action("actionFreeze")->isChecked());
}

void TestStartup::deliveredSignatures_data() {
    QTest::addColumn<QByteArray>("signature");
    for (const char* signature : {"process(int,QImage,unsigned char*,quint64)",
                                  "setMark(double,double,int,Mark*)",
                                  "saveScanned(QString)",
                                  "updateFps()",
                                  "saveImage()",
                                  "saveImageByName(QString)",
                                  "openSetting()",
                                  "zoomIn()",
                                  "zoomOut()",
                                  "resetView()",
                                  "switchlanguage()",
                                  "aboutMe()",
                                  "CheckCom()",
                                  "sizeWindow()",
                                  "streamVideo()",
                                  "pauseVideo()",
                                  "exitFullscreen()",
                                  "on_action_Play_triggered()",
                                  "on_action_Stop_triggered()",
                                  "on_actionTrigger_triggered()",
                                  "on_actionZoom_Fit_triggered()",
                                  "on_actionFreeze_triggered(bool)",
                                  "on_actionEnable_triggered(bool)",
                                  "on_LOGO_triggered()",
                                  "savePos(QList<ImagePos>)",
                                  "on_actionRearrange_triggered()",
                                  "on_actionFull_screen_triggered()",
                                  "on_actionExit_full_screen_triggered()",
                                  "on_gvMain_customContextMenuRequested(QPoint)",
                                  "on_actionSave_Single_triggered()"})
        QTest::newRow(signature) << QByteArray(signature);
}

void TestStartup::deliveredSignatures() {
    QFETCH(QByteArray, signature);
    const QMetaObject& meta = MainWindow::staticMetaObject;
    QVERIFY(meta.indexOfSlot(QMetaObject::normalizedSignature(signature.constData()).constData()) >= 0);
}

void TestStartup::formIsWired() {
    WindowUnderTest window;
    window.start();
    const QStringList log = linesOfLog();
    QVERIFY(!log.filter(QStringLiteral("Device count:")).isEmpty());  // it is kept
    for (const QString& line : log) {
        QVERIFY2(!line.contains(QLatin1String("No matching signal")), qPrintable(line));
        QVERIFY2(!line.contains(QLatin1String("No such")), qPrintable(line));
    }
}

void TestStartup::scannedBarcodeSaves() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Type"), 2);
    window.start();
    QVERIFY(window.waitForTiles(4));
    QVERIFY(QMetaObject::invokeMethod(window.view()->scene(), "scanned",
                                      Q_ARG(QString, QStringLiteral("4006381333931"))));
    QVERIFY(QFile::exists(QStringLiteral("4006381333931.png")));
    QCOMPARE(window.leftText(), QStringLiteral("Saved image ./4006381333931.png"));
}

void TestStartup::closingEndsThreadsThenFreesCameras() {
    WindowUnderTest window;
    window.start();
    QVERIFY(window.waitForTiles(4));
    QVector<QPointer<CaptureThread>> threads;
    for (auto* thread : window->findChildren<CaptureThread*>())
        threads.append(thread);
    auto* rates = window->findChild<QTimer*>();
    QVERIFY(rates->isActive());
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(window->close());
    QVERIFY(elapsed.elapsed() >= 600);
    QVERIFY(!rates->isActive());
    for (const auto& thread : threads)
        QVERIFY(thread->isFinished());
    QVERIFY(recording::callsOf(QStringLiteral("CameraFree")).isEmpty());
    QVERIFY(linesOfLog().contains(QStringLiteral("Close event")));
    window.end();
    for (const auto& thread : threads)
        QVERIFY(thread.isNull());
    QCOMPARE(recording::callsOf(QStringLiteral("CameraFree")).size(), 4);
}

QTEST_MAIN(TestStartup)
#include "tst_startup.moc"
