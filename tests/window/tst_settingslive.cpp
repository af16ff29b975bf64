// SPDX-License-Identifier: Apache-2.0
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>

#include "camera/capturethread.h"
#include "camera/kvcap2.h"
#include "marks/textmark.h"
#include "settings/settingdialog.h"
#include "support/mainwindowtest.h"

/// The settings dialog in the main window, on simulated cameras whose pictures it changes.
class TestSettingsLive : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void slidersChangeThePicture();
    void draggingKeepsThePictureLive();
    void resolutionChangesThePicture();
    void openedItShowsTheCamera();
    void savedParametersComeBack();
    void formatReachesTheOverlay();
    void demoModeHasNoCameras();

private:
    static double brightness(const QGraphicsPixmapItem* tile);
    template <class T>
    static T* control(const WindowUnderTest& window, const char* name) {
        return window->findChild<SettingDialog*>()->findChild<T*>(QLatin1String(name));
    }

    QTemporaryDir configuration;
};

void TestSettingsLive::initTestCase() {
    QFile file(configuration.filePath(QStringLiteral("kvcap2.ini")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[Library]\nCount=2\n[Camera]\nModes=320x240,161x121\nRate=40\n[Scene]\nMoving=0\n");
    file.close();
    qputenv("KVCAP2_CONFIG", QFile::encodeName(file.fileName()));
}

/// Mean grey level, 0 ... 255.
double TestSettingsLive::brightness(const QGraphicsPixmapItem* tile) {
    const QImage grey = tile->pixmap().toImage().convertToFormat(QImage::Format_Grayscale8);
    double sum = 0.0;
    for (int y = 0; y < grey.height(); ++y) {
        for (int x = 0; x < grey.width(); ++x)
            sum += grey.constScanLine(y)[x];
    }
    return sum / (double(grey.width()) * grey.height());
}

void TestSettingsLive::slidersChangeThePicture() {
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[Pos]\nX1=400\n"));
    window.start();
    QVERIFY(window.waitForTiles(2));
    window.action("action_Setting")->trigger();
    QVERIFY(window->findChild<SettingDialog*>()->isVisible());
    const auto* tile = window.tiles()[0];
    const double before = brightness(tile);
    const double otherBefore = brightness(window.tiles()[1]);
    control<QSlider>(window, "hsExposure")->setValue(100);  // a fifth of the default at scale 2
    QTRY_VERIFY_WITH_TIMEOUT(brightness(tile) < before * 0.5, kWait);
    control<QSlider>(window, "hsBlackLevel")->setValue(120);
    QTRY_VERIFY_WITH_TIMEOUT(brightness(tile) > 110, kWait);
    QVERIFY(qAbs(brightness(window.tiles()[1]) - otherBefore) < 5);
}

/// Hundreds of changes, as a drag makes them: frames are shown between them, and the last value is the
/// camera's.
void TestSettingsLive::draggingKeepsThePictureLive() {
    WindowUnderTest window;
    window.start();
    QVERIFY(window.waitForTiles(2));
    window.action("action_Setting")->trigger();
    auto* slider = control<QSlider>(window, "hsBlackLevel");
    QSet<qint64> shown;
    int moves = 0;
    QTimer drag;
    drag.callOnTimeout([&] {
        slider->setValue(moves % 2 ? 200 - moves % 100 : moves % 100);
        ++moves;
        shown.insert(window.tiles()[0]->pixmap().cacheKey());
    });
    drag.start(0);  // as often as the loop can
    QTRY_VERIFY_WITH_TIMEOUT(moves > 500 && shown.size() > 10, kWait);
    drag.stop();
    slider->setValue(77);
    int32_t value = 0;
    QCOMPARE(CameraGetBlackLevel(0, &value), 0);
    QCOMPARE(value, 77);
}

void TestSettingsLive::resolutionChangesThePicture() {
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[Pos]\nX1=400\n"));
    window.start();
    QVERIFY(window.waitForTiles(2));
    window.action("action_Setting")->trigger();
    auto* list = control<QComboBox>(window, "cbResolution");
    QCOMPARE(list->count(), 2);
    QCOMPARE(list->itemText(1), QStringLiteral("161*121"));
    control<QComboBox>(window, "cbCamera")->setCurrentIndex(1);
    list->setCurrentIndex(1);
    QTRY_COMPARE_WITH_TIMEOUT(window.tiles()[1]->pixmap().size(), QSize(161, 121), kWait);
    QCOMPARE(window.tiles()[0]->pixmap().size(), QSize(320, 240));
}

void TestSettingsLive::openedItShowsTheCamera() {
    WindowUnderTest window;
    window.start();
    QVERIFY(window.waitForTiles(2));
    QCOMPARE(CameraSetGamma(0, 1.5), 0);  // by somebody else meanwhile
    QCOMPARE(control<QSlider>(window, "hsGamma")->value(), 100);
    window.action("action_Setting")->trigger();
    QCOMPARE(control<QSlider>(window, "hsGamma")->value(), 150);
    QCOMPARE(window->findChild<SettingDialog*>()->cameraCount, 2);
}

void TestSettingsLive::savedParametersComeBack() {
    WindowUnderTest window;
    window.start();
    QVERIFY(window.waitForTiles(2));
    window.action("action_Setting")->trigger();
    auto* slider = control<QSlider>(window, "hsContrast");
    slider->setValue(140);
    // The streams are told to rest before the parameters are touched. The dialog's own listener comes first.
    auto* dialog = window->findChild<SettingDialog*>();
    bool rested = false;
    connect(dialog, &SettingDialog::streamVideo, this, [&] { rested = true; });
    const auto threads = window->findChildren<CaptureThread*>();
    QCOMPARE(threads.size(), 2);
    const auto capturing = [&] {
        return std::count_if(threads.begin(), threads.end(),
                             [](const CaptureThread* thread) { return thread->isCapturing(); });
    };
    auto atTheRest = threads.size();
    connect(
        dialog, &SettingDialog::pauseVideo, this, [&] { atTheRest = int(capturing()); },
        Qt::DirectConnection);
    // Paused by hand: the streams run again after the button.
    window.action("action_Stop")->trigger();
    control<QPushButton>(window, "btnSaveParam")->click();
    const qint64 key = window.tiles()[0]->pixmap().cacheKey();
    QTRY_VERIFY_WITH_TIMEOUT(window.tiles()[0]->pixmap().cacheKey() != key, kWait);
    QVERIFY(rested);
    slider->setValue(60);
    QCOMPARE(int(capturing()), 2);
    control<QPushButton>(window, "btnDefault")->click();
    QCOMPARE(atTheRest, 0);
    QCOMPARE(slider->value(), 140);
    double contrast = 0.0;
    QCOMPARE(CameraGetContrast(0, &contrast), 0);
    QCOMPARE(contrast, 1.4);
}

void TestSettingsLive::formatReachesTheOverlay() {
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(
        QStringLiteral("setting.ini"),
        "[File]\nDTMark=Text #ff0000 1 1 | 10 100 0 0 | 1 yyyy-MM-dd HH:mm:ss 0  0 0 0 0\n"));
    window.start();
    QVERIFY(window.waitForTiles(2));
    window.action("action_Setting")->trigger();
    TextMark* overlay = nullptr;
    for (QGraphicsItem* item : window.view()->scene()->items()) {
        if (auto* text = dynamic_cast<TextMark*>(item))
            overlay = text;
    }
    QVERIFY(overlay);
    auto* field = control<QLineEdit>(window, "leDTFormat");
    field->setText(QStringLiteral("'day' d"));
    QTest::keyClick(field, Qt::Key_Return);
    QTRY_VERIFY_WITH_TIMEOUT(overlay->text().startsWith(QStringLiteral("day ")), kWait);
}

void TestSettingsLive::demoModeHasNoCameras() {
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[Camera]\nDemo=1\n"));
    window.start();
    window.action("action_Setting")->trigger();
    QCOMPARE(control<QComboBox>(window, "cbCamera")->count(), 0);
    QCOMPARE(control<QComboBox>(window, "cbResolution")->count(), 0);
    control<QSlider>(window, "hsGamma")->setValue(120);
    control<QPushButton>(window, "btnDefault")->click();
    control<QCheckBox>(window, "chkAutoGain")->click();
    QVERIFY(window->findChild<SettingDialog*>()->isVisible());
}

QTEST_MAIN(TestSettingsLive)
#include "tst_settingslive.moc"
