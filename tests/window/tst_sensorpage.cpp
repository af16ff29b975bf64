// SPDX-License-Identifier: Apache-2.0
#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
#include <QPushButton>
#include <QtTest>
#include <limits>

#include "camera/kvcap2.h"
#include "support/settingdialogfixture.h"

namespace {

/// Counts how often a widget is painted on the screen.
class PaintCounter : public QObject {
public:
    explicit PaintCounter(QWidget* widget) { widget->installEventFilter(this); }
    bool eventFilter(QObject* /*widget*/, QEvent* event) override {
        count += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }

    int count = 0;
};

}  // namespace

/// Every control of the settings dialog's first page: what it shows and what the camera gets.
class TestSensorPage : public QObject, private SettingDialogFixture {
    Q_OBJECT

private slots:
    void init() { setUp(); }
    void cleanup() { tearDown(); }
    void slidersReachTheCamera_data();
    void slidersReachTheCamera();
    void switchesReachTheCamera_data();
    void switchesReachTheCamera();
    void refreshShowsTheCamera();
    void refreshChangesNothing();
    void refreshWithFailingCamera();
    void roundingIsTruncation_data();
    void roundingIsTruncation();
    void absurdAnswersAreHarmless();
    void antiFlicker_data();
    void antiFlicker();
    void powerFrequencyAloneDoesNothing();
    void highspeedSetsCheckable();
    void autoExposureOffAsksCameraZero();
    void autoGainOffAsksCameraZero();
    void exposureScale();
    void exposureScaleDefaults();
    void exposureScaleIsNotSynced();
    void snapModeSleeps();
    void resolutions();
    void otherCamera();
    void slidersWithoutACamera();
    void saveAndDefault();
    void scaleAtTheTimeOfLoading();
};

void TestSensorPage::slidersReachTheCamera_data() {
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("call");
    QTest::addColumn<QByteArray>("label");
    QTest::addColumn<QString>("text");
    const auto row = [](const char* name, int value, const char* call, const char* label, const char* text) {
        QTest::addRow("%s %d", name, value) << QByteArray(name) << value << QString::fromLatin1(call)
                                            << QByteArray(label) << QString::fromLatin1(text);
    };
    row("hsGamma", 30, "CameraSetGamma(2, 0.3)", "lblGamm", "0.3");
    row("hsGamma", 300, "CameraSetGamma(2, 3)", "lblGamm", "3");
    row("hsContrast", 57, "CameraSetContrast(2, 0.57)", "lblContrast", "0.57");
    row("hsContrast", 0, "CameraSetContrast(2, 0)", "lblContrast", "0");
    row("hsSaturation", 199, "CameraSetSaturation(2, 1.99)", "lblSaturation", "1.99");
    row("hsBlackLevel", 255, "CameraSetBlackLevel(2, 255)", "lblBlack", "255");
    row("hsAdvancedGain", 3, "CameraSetAdvancedGain(2, 3)", "lblAdvancedGain", "3");
    row("hsGain", 200, "CameraSetGain(2, 200)", "lblGain", "200");
    row("hsAETarget", 7, "CameraSetAETarget(2, 7)", "lblTarget", "7");
    row("hsExposure", 100, "CameraSetExposure(2, 100)", "lblExposure", "100");
    row("hsTimeOut", 700, "CameraSetTimeout(2, 700)", "lblTimeOut", "1");  // the label stays
    row("hsFrameSpeed", 7, "CameraSetDelay(2, 700)", "leFrameSpeed", "7");
}

void TestSensorPage::slidersReachTheCamera() {
    QFETCH(QByteArray, name);
    QFETCH(int, value);
    QFETCH(QString, call);
    QFETCH(QByteArray, label);
    // The recording library answers 1 to every question: move away from it first where that is the value
    // tested.
    recording::forgetCalls();
    slider(name.constData())->setValue(value);
    QCOMPARE(recording::callsButFrames(), QStringList{call});
    QTEST(this->label(label.constData()), "text");
}

void TestSensorPage::switchesReachTheCamera_data() {
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QStringList>("off");
    QTest::addColumn<QStringList>("on");
    const auto list = [](std::initializer_list<const char*> calls) {
        QStringList texts;
        for (const char* call : calls)
            texts.append(QString::fromLatin1(call));
        return texts;
    };
    // The recording library answers "on" to every question.
    QTest::newRow("mirror x") << QByteArray("cbMirrorX") << list({"CameraSetMirrorX(2, 0)"})
                              << list({"CameraSetMirrorX(2, 1)"});
    QTest::newRow("mirror y") << QByteArray("cbMirrorY") << list({"CameraSetMirrorY(2, 0)"})
                              << list({"CameraSetMirrorY(2, 1)"});
    QTest::newRow("auto exposure") << QByteArray("chkAutoExposure")
                                   << list({"CameraGetExposure(0)", "CameraSetAEC(2, 0)"})
                                   << list({"CameraSetAEC(2, 1)"});
    QTest::newRow("auto gain") << QByteArray("chkAutoGain")
                               << list({"CameraGetGain(0)", "CameraSetAGC(2, 0)"})
                               << list({"CameraSetAGC(2, 1)"});
    QTest::newRow("anti-flicker") << QByteArray("chkAntiFlicker") << list({"CameraSetAntiFlicker(2, 0)"})
                                  << list({"CameraSetAntiFlicker(2, 1)"});
}

void TestSensorPage::switchesReachTheCamera() {
    QFETCH(QByteArray, name);
    QFETCH(QStringList, off);
    QFETCH(QStringList, on);
    dialog->loadFileOptions();
    auto* box = control<QCheckBox>(name.constData());
    QVERIFY(box->isChecked());
    recording::forgetCalls();
    box->click();
    QCOMPARE(recording::callsButFrames(), off);
    recording::forgetCalls();
    box->click();
    QCOMPARE(recording::callsButFrames(), on);
}

void TestSensorPage::refreshShowsTheCamera() {
    CameraSetGamma(2, 1.25);
    CameraSetContrast(2, 0.5);
    CameraSetSaturation(2, 1.75);
    CameraSetBlackLevel(2, 11);
    CameraSetAdvancedGain(2, 2);
    CameraSetAGC(2, false);
    CameraSetGain(2, 77);
    CameraSetAEC(2, true);
    CameraSetExposure(2, 640);
    CameraSetTimeout(2, 1500);
    CameraSetAETarget(2, 99);
    CameraSetAntiFlicker(2, 2);
    CameraSetMirrorX(2, true);
    CameraSetMirrorY(2, false);
    CameraSetHighspeed(2, true);
    CameraSetDelay(0, 750);
    CameraSetDelay(2, 100);
    CameraSetSnapMode(2, 2);
    dialog->loadFileOptions();
    recording::forgetCalls();
    dialog->refreshFromCamera();
    QCOMPARE(recording::callsButFrames(), refreshCalls(2));
    const auto shows = [this](const char* name, int value, const char* text, const char* shown) {
        QCOMPARE(slider(name)->value(), value);
        QCOMPARE(label(text), QString::fromLatin1(shown));
    };
    shows("hsGamma", 125, "lblGamm", "1.25");
    shows("hsContrast", 50, "lblContrast", "0.5");
    shows("hsSaturation", 175, "lblSaturation", "1.75");
    shows("hsBlackLevel", 11, "lblBlack", "11");
    shows("hsAdvancedGain", 2, "lblAdvancedGain", "2");
    shows("hsGain", 77, "lblGain", "77");
    shows("hsExposure", 320, "lblExposure", "640");  // scale 2, the default
    shows("hsTimeOut", 1500, "lblTimeOut", "1500");
    shows("hsAETarget", 99, "lblTarget", "99");
    QVERIFY(!control<QCheckBox>("chkAutoGain")->isChecked());
    QVERIFY(slider("hsGain")->isEnabled());
    QVERIFY(control<QCheckBox>("chkAutoExposure")->isChecked());
    QVERIFY(!slider("hsExposure")->isEnabled());
    QVERIFY(control<QCheckBox>("chkAntiFlicker")->isChecked());
    QCOMPARE(control<QComboBox>("cbPowerFreq")->currentIndex(), 1);
    QVERIFY(control<QCheckBox>("cbMirrorX")->isChecked());
    QVERIFY(!control<QCheckBox>("cbMirrorY")->isChecked());
    QCOMPARE(slider("hsFrameSpeed")->value(), 7);
    QCOMPARE(control<QLineEdit>("leFrameSpeed")->text(), QStringLiteral("7"));
    QVERIFY(control<QCheckBox>("cbSnapMode")->isChecked());
    // And the other way round.
    CameraSetAGC(2, true);
    CameraSetAEC(2, false);
    CameraSetSnapMode(2, 1);
    dialog->refreshFromCamera();
    QVERIFY(!slider("hsGain")->isEnabled());
    QVERIFY(slider("hsExposure")->isEnabled());
    QVERIFY(!control<QCheckBox>("cbSnapMode")->isChecked());
}

/// Values that no slider can show must not come back rounded.
void TestSensorPage::refreshChangesNothing() {
    CameraSetGamma(2, 1.2345);
    CameraSetGain(2, 4000);
    CameraSetExposure(2, 12345678);
    CameraSetTimeout(2, 100);
    CameraSetDelay(0, 12345);
    recording::forgetCalls();
    dialog->loadFileOptions();
    dialog->refreshFromCamera();
    dialog->loadFromCameraAndScale();
    for (const QString& call : recording::callsButFrames())
        QVERIFY2(!call.startsWith(QLatin1String("CameraSet")), qPrintable(call));
    QCOMPARE(label("lblGamm"), QStringLiteral("1.2345"));
    QCOMPARE(label("lblGain"), QStringLiteral("4000"));
    QCOMPARE(slider("hsGain")->value(), 255);
    settings->flush();
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), QByteArray());
    // A stored scale that no slider can show stays too.
    const QByteArray ini = "[Control]\nExposureScale=2.5\n";
    build({2}, ini);
    dialog->loadFileOptions();
    settings->flush();
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), ini);
}

void TestSensorPage::refreshWithFailingCamera() {
    recording::Camera camera;
    camera.status = 9;
    for (int i = 0; i < 3; ++i)
        recording::setCamera(i, camera);
    build({0});
    dialog->loadFileOptions();
    QCOMPARE(control<QComboBox>("cbResolution")->count(), 0);
    slider("hsGamma")->setValue(50);
    QCOMPARE(label("lblGamm"), QStringLiteral("0.5"));
    // What is asked of camera 0 when the automatics go off counts as 1 when it does not answer.
    control<QCheckBox>("chkAutoExposure")->setChecked(true);
    control<QCheckBox>("chkAutoExposure")->click();
    QCOMPARE(label("lblExposure"), QStringLiteral("1"));
    control<QCheckBox>("chkAutoGain")->setChecked(true);
    control<QCheckBox>("chkAutoGain")->click();
    QCOMPARE(label("lblGain"), QStringLiteral("1"));
    QCOMPARE(slider("hsGain")->value(), 1);
    QVERIFY(!control<QCheckBox>("chkAntiFlicker")->isChecked());
}

void TestSensorPage::roundingIsTruncation_data() {
    QTest::addColumn<double>("gamma");
    QTest::addColumn<int>("position");
    QTest::addColumn<QString>("text");
    QTest::newRow("1") << 1.0 << 100 << QStringLiteral("1");
    QTest::newRow("0.999") << 0.999 << 99 << QStringLiteral("0.999");
    QTest::newRow("1.29") << 1.29 << 129 << QStringLiteral("1.29");
    QTest::newRow("1.15 is a little less") << 1.15 << 114 << QStringLiteral("1.15");
    QTest::newRow("many digits") << 1.23456789 << 123 << QStringLiteral("1.23457");
    QTest::newRow("below the slider") << 0.1 << 30 << QStringLiteral("0.1");
    QTest::newRow("above the slider") << 99.0 << 300 << QStringLiteral("99");
}

void TestSensorPage::roundingIsTruncation() {
    QFETCH(double, gamma);
    CameraSetGamma(2, gamma);
    dialog->refreshFromCamera();
    QTEST(slider("hsGamma")->value(), "position");
    QTEST(label("lblGamm"), "text");
}

void TestSensorPage::absurdAnswersAreHarmless() {
    for (const double value : {qQNaN(), qInf(), -qInf(), 1e300}) {
        CameraSetGamma(2, value);
        CameraSetContrast(2, value);
        dialog->refreshFromCamera();
        if (qIsNaN(value))
            QCOMPARE(slider("hsContrast")->value(), 0);
    }
    recording::Camera many;
    for (const int modes : {-1, std::numeric_limits<int>::max()}) {
        many.modes = modes;
        recording::setCamera(0, many);
        control<QComboBox>("cbCamera")->setCurrentIndex(0);
        control<QComboBox>("cbCamera")->setCurrentIndex(1);
        QVERIFY(control<QComboBox>("cbResolution")->count() <= 1000);
    }
    control<QComboBox>("cbCamera")->setCurrentIndex(0);
    CameraSetAntiFlicker(2, -2000000000);
    CameraSetExposure(2, -2000000000);
    CameraSetDelay(0, -150);
    dialog->refreshFromCamera();
    QCOMPARE(slider("hsExposure")->value(), 1);
    QCOMPARE(control<QLineEdit>("leFrameSpeed")->text(), QStringLiteral("-1"));  // toward zero
    for (const char* scale : {"nan", "1e300", "-5", "0", "text"}) {
        build({2}, QByteArray("[Control]\nExposureScale=") + scale + "\n");
        dialog->loadFileOptions();
        slider("hsExposure")->setValue(4000);
        slider("hsExposure")->setValue(1);
    }
}

void TestSensorPage::antiFlicker_data() {
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("checked");
    QTest::addColumn<int>("frequency");
    QTest::newRow("off") << 0 << false << 1;
    QTest::newRow("50 Hz") << 1 << true << 0;
    QTest::newRow("60 Hz") << 2 << true << 1;
    QTest::newRow("unknown, as it was") << 3 << true << 1;
    QTest::newRow("negative, as it was") << -1 << true << 1;
}

void TestSensorPage::antiFlicker() {
    QFETCH(int, mode);
    dialog->loadFileOptions();
    CameraSetAntiFlicker(2, 2);
    dialog->refreshFromCamera();
    CameraSetAntiFlicker(2, mode);
    dialog->refreshFromCamera();
    QTEST(control<QCheckBox>("chkAntiFlicker")->isChecked(), "checked");
    QTEST(control<QComboBox>("cbPowerFreq")->currentIndex(), "frequency");
}

void TestSensorPage::powerFrequencyAloneDoesNothing() {
    dialog->loadFileOptions();
    CameraSetAntiFlicker(2, 1);
    dialog->refreshFromCamera();
    recording::forgetCalls();
    control<QComboBox>("cbPowerFreq")->setCurrentIndex(1);
    QCOMPARE(recording::callsButFrames(), QStringList());
    control<QCheckBox>("chkAntiFlicker")->click();
    control<QCheckBox>("chkAntiFlicker")->click();
    QCOMPARE(recording::callsButFrames(), (QStringList{QStringLiteral("CameraSetAntiFlicker(2, 0)"),
                                                       QStringLiteral("CameraSetAntiFlicker(2, 2)")}));
}

void TestSensorPage::highspeedSetsCheckable() {
    auto* box = control<QCheckBox>("cbHighspeed");
    CameraSetHighspeed(2, false);
    dialog->refreshFromCamera();
    QVERIFY(!box->isCheckable());
    CameraSetHighspeed(2, true);
    dialog->refreshFromCamera();
    QVERIFY(box->isCheckable());
    QVERIFY(!box->isChecked());
    recording::forgetCalls();
    box->click();
    box->click();
    QCOMPARE(recording::callsButFrames(), (QStringList{QStringLiteral("CameraSetHighspeed(2, 1)"),
                                                       QStringLiteral("CameraSetHighspeed(2, 0)")}));
    // Checked, then another camera without it: what is seen is what is so.
    dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(dialog.get()));
    PaintCounter paintings(box);
    box->click();
    QTRY_VERIFY(paintings.count > 0);
    dialog->repaint();  // nothing is left to be painted
    paintings.count = 0;
    CameraSetHighspeed(2, false);
    dialog->refreshFromCamera();
    QVERIFY(!box->isChecked());
    QTRY_VERIFY(paintings.count > 0);
    recording::forgetCalls();
    box->click();
    QCOMPARE(recording::callsButFrames(), QStringList());
}

void TestSensorPage::autoExposureOffAsksCameraZero() {
    CameraSetExposure(0, 111);
    CameraSetExposure(1, 222);
    control<QComboBox>("cbCamera")->setCurrentIndex(2);  // camera 1
    QCOMPARE(label("lblExposure"), QStringLiteral("222"));
    const int position = slider("hsExposure")->value();
    recording::forgetCalls();
    control<QCheckBox>("chkAutoExposure")->click();
    QCOMPARE(recording::callsButFrames(),
             (QStringList{QStringLiteral("CameraGetExposure(0)"), QStringLiteral("CameraSetAEC(1, 0)")}));
    QCOMPARE(label("lblExposure"), QStringLiteral("111"));
    QCOMPARE(slider("hsExposure")->value(), position);
    QVERIFY(slider("hsExposure")->isEnabled());
    control<QCheckBox>("chkAutoExposure")->click();
    QVERIFY(!slider("hsExposure")->isEnabled());
}

void TestSensorPage::autoGainOffAsksCameraZero() {
    CameraSetGain(0, 33);
    CameraSetGain(1, 44);
    control<QComboBox>("cbCamera")->setCurrentIndex(2);  // camera 1
    recording::forgetCalls();
    control<QCheckBox>("chkAutoGain")->click();
    // Moving the slider to it hands it to the chosen camera.
    QCOMPARE(recording::callsButFrames(),
             (QStringList{QStringLiteral("CameraGetGain(0)"), QStringLiteral("CameraSetGain(1, 33)"),
                          QStringLiteral("CameraSetAGC(1, 0)")}));
    QCOMPARE(label("lblGain"), QStringLiteral("33"));
    QCOMPARE(slider("hsGain")->value(), 33);
    QVERIFY(slider("hsGain")->isEnabled());
    control<QCheckBox>("chkAutoGain")->click();
    QVERIFY(!slider("hsGain")->isEnabled());
}

void TestSensorPage::exposureScale() {
    build({2}, "[Control]\nExposureScale=3\n");
    recording::forgetCalls();
    slider("hsExposure")->setValue(100);
    QCOMPARE(recording::callsButFrames(), QStringList{QStringLiteral("CameraSetExposure(2, 300)")});
    QCOMPARE(label("lblExposure"), QStringLiteral("300"));
    dialog->refreshFromCamera();
    QCOMPARE(slider("hsExposure")->value(), 100);
    QCOMPARE(label("lblExposure"), QStringLiteral("300"));
    // A broken scale: truncated on the way to the camera.
    build({2}, "[Control]\nExposureScale=2.5\n");
    QCOMPARE(slider("hsExposureScale")->value(), 2);
    QCOMPARE(label("lblExposureScale"), QStringLiteral("2.5"));
    recording::forgetCalls();
    slider("hsExposure")->setValue(101);
    QCOMPARE(recording::callsButFrames(), QStringList{QStringLiteral("CameraSetExposure(2, 252)")});
    // Moved: the exposure slider stays where it is.
    recording::forgetCalls();
    slider("hsExposureScale")->setValue(4);
    QCOMPARE(recording::callsButFrames(), QStringList());
    QCOMPARE(slider("hsExposure")->value(), 101);
    QCOMPARE(label("lblExposureScale"), QStringLiteral("4"));
    slider("hsExposure")->setValue(10);
    QCOMPARE(label("lblExposure"), QStringLiteral("40"));
}

void TestSensorPage::exposureScaleDefaults() {
    QCOMPARE(label("lblExposureScale"), QStringLiteral("1"));  // choosing a camera
    dialog->loadFromCameraAndScale();
    QCOMPARE(label("lblExposureScale"), QStringLiteral("2"));  // loading
    control<QComboBox>("cbCamera")->setCurrentIndex(1);
    QCOMPARE(label("lblExposureScale"), QStringLiteral("1"));
    build({2}, "[Control]\nExposureScale=0.25\n");
    QCOMPARE(label("lblExposureScale"), QStringLiteral("1"));
    dialog->loadFromCameraAndScale();
    QCOMPARE(label("lblExposureScale"), QStringLiteral("1"));
}

void TestSensorPage::exposureScaleIsNotSynced() {
    slider("hsExposureScale")->setValue(7);
    QVERIFY(disk("Control/ExposureScale").isNull());
    QCOMPARE(settings->read(keys::kExposureScale), 7.0);
    control<QCheckBox>("chkSave")->click();  // anything else that is written at once takes it along
    QCOMPARE(disk("Control/ExposureScale"), QStringLiteral("7"));
}

void TestSensorPage::snapModeSleeps() {
    CameraSetSnapMode(2, 1);
    dialog->refreshFromCamera();
    recording::forgetCalls();
    QElapsedTimer timer;
    timer.start();
    control<QCheckBox>("cbSnapMode")->click();
    QVERIFY(timer.elapsed() >= 190);
    QCOMPARE(recording::callsButFrames(), QStringList{QStringLiteral("CameraSetSnapMode(2, 2)")});
    // No sleep the other way: a busy machine may be late, but not every time.
    qint64 least = timer.elapsed();
    for (int attempt = 0; attempt < 20 && least >= 190; ++attempt) {
        CameraSetSnapMode(2, 2);
        dialog->refreshFromCamera();
        recording::forgetCalls();
        timer.restart();
        control<QCheckBox>("cbSnapMode")->click();
        least = std::min(least, timer.elapsed());
        QCOMPARE(recording::callsButFrames(), QStringList{QStringLiteral("CameraSetSnapMode(2, 1)")});
    }
    QVERIFY(least < 190);
}

void TestSensorPage::resolutions() {
    auto* list = control<QComboBox>("cbResolution");
    int32_t count = 0;
    QCOMPARE(CameraGetResolutionCount(2, &count), 0);
    QVERIFY(count > 1);
    QCOMPARE(list->count(), count);
    int32_t width = 0;
    int32_t height = 0;
    QCOMPARE(CameraGetResolution(2, count - 1, &width, &height), 0);
    QCOMPARE(list->itemText(count - 1), QStringLiteral("%1*%2").arg(width).arg(height));
    QCOMPARE(list->itemText(0), QStringLiteral("64*48"));
    recording::forgetCalls();
    list->setCurrentIndex(count - 1);
    const auto calls = recording::callsButFrames();
    QCOMPARE(calls.size(), 2);
    QVERIFY(calls[0].startsWith(QStringLiteral("CameraGetResolution(2")));
    QCOMPARE(calls[1],
             QStringLiteral("CameraSetResolution(2, %1, %2, %3)").arg(count - 1).arg(width).arg(height));
}

void TestSensorPage::otherCamera() {
    CameraSetGain(0, 55);
    recording::forgetCalls();
    control<QComboBox>("cbCamera")->setCurrentIndex(1);  // tile 1 shows camera 0
    QCOMPARE(label("lblGain"), QStringLiteral("55"));
    QCOMPARE(control<QComboBox>("cbResolution")->count(), 1);  // its own list, not that of the first
    for (const auto& call : recording::calls()) {
        QCOMPARE(call.index, 0);
        QVERIFY(!call.operation.startsWith(QLatin1String("CameraSet")));
    }
    recording::forgetCalls();
    slider("hsGain")->setValue(56);
    QCOMPARE(recording::callsButFrames(), QStringList{QStringLiteral("CameraSetGain(0, 56)")});
}

/// In demo mode a slider that is moved calls the library all the same, for camera 0.
void TestSensorPage::slidersWithoutACamera() {
    build({});
    slider("hsGamma")->setValue(200);
    QCOMPARE(recording::callsButFrames(), QStringList{QStringLiteral("CameraSetGamma(0, 2)")});
}

void TestSensorPage::saveAndDefault() {
    QStringList order;
    connect(dialog.get(), &SettingDialog::pauseVideo, this, [&] {
        order += recording::callsButFrames();
        order.append(QStringLiteral("pause"));
        recording::forgetCalls();
    });
    connect(dialog.get(), &SettingDialog::streamVideo, this, [&] {
        order += recording::callsButFrames();
        order.append(QStringLiteral("stream"));
        recording::forgetCalls();
    });
    recording::forgetCalls();
    control<QPushButton>("btnSaveParam")->click();
    QCOMPARE(order, (QStringList{QStringLiteral("pause"), QStringLiteral("CameraSaveParameter(2, 0)"),
                                 QStringLiteral("stream")}));
    order.clear();
    control<QPushButton>("btnDefault")->click();
    QCOMPARE(order, QStringList{QStringLiteral("pause")} +
                        QStringList{QStringLiteral("CameraLoadParameter(2, 0)")} + refreshCalls(2) +
                        QStringList{QStringLiteral("stream")});
    QCOMPARE(label("lblExposureScale"), QStringLiteral("2"));
}

/// The exposure slider is set by the scale before it is read anew, and by its whole number while options are
/// loaded.
void TestSensorPage::scaleAtTheTimeOfLoading() {
    CameraSetExposure(2, 300);
    build({2}, "[Control]\nExposureScale=3\n");
    QCOMPARE(slider("hsExposure")->value(), 300);
    CameraSetExposure(2, 1000);
    build({2}, "[Control]\nExposureScale=2.5\n");
    dialog->loadFileOptions();
    QCOMPARE(slider("hsExposure")->value(), 500);
    QCOMPARE(label("lblExposureScale"), QStringLiteral("2.5"));
    dialog->refreshFromCamera();
    QCOMPARE(slider("hsExposure")->value(), 400);
}

QTEST_MAIN(TestSensorPage)
#include "tst_sensorpage.moc"
