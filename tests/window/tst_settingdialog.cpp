// SPDX-License-Identifier: Apache-2.0
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QPushButton>
#include <QTabWidget>
#include <QtTest>

#include "support/settingdialogfixture.h"

/// The settings dialog as a whole: its form, what it asks when it is made, and that loading writes nothing.
class TestSettingDialog : public QObject, private SettingDialogFixture {
    Q_OBJECT

private slots:
    void init() { setUp(); }
    void cleanup() { tearDown(); }
    void controlsOfTheForm_data();
    void controlsOfTheForm();
    void boxesOfTheForm();
    void textsOfTheForm();
    void tabsAndTitle();
    void noButtonIsPressedByReturn();
    void construction();
    void constructionWithoutACamera();
    void loadingWritesNothing();
    void loadingTwice();
};

void TestSettingDialog::controlsOfTheForm_data() {
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("page");
    const auto row = [](const char* name, int from, int to, int value, int page = 10) {
        QTest::newRow(name) << from << to << value << page;
    };
    row("hsGamma", 30, 300, 100);
    row("hsContrast", 0, 200, 100);
    row("hsSaturation", 0, 200, 100);
    row("hsBlackLevel", 0, 255, 0);
    row("hsAdvancedGain", 0, 3, 0, 1);
    row("hsGain", 0, 255, 16);
    row("hsExposure", 1, 4000, 8);
    row("hsExposureScale", 1, 20, 1, 1);
    row("hsTimeOut", 500, 5000, 500, 100);
    row("hsAETarget", 0, 255, 0);
    row("hsFrameSpeed", 0, 10, 0, 1);
    row("sdQuality", 1, 100, 75);
}

void TestSettingDialog::controlsOfTheForm() {
    build({});  // nothing is loaded into the controls
    const auto* found = slider(QTest::currentDataTag());
    QCOMPARE(found->orientation(), Qt::Horizontal);
    QTEST(found->minimum(), "from");
    QTEST(found->maximum(), "to");
    QTEST(found->value(), "value");
    QTEST(found->pageStep(), "page");
    QCOMPARE(found->singleStep(), 1);
}

void TestSettingDialog::boxesOfTheForm() {
    build({});
    for (const char* name : {"chkAutoGain", "chkAutoExposure", "chkSave"})
        QVERIFY2(control<QCheckBox>(name)->isChecked(), name);
    for (const char* name : {"chkAntiFlicker", "cbMirrorX", "cbMirrorY", "cbHighspeed", "cbSnapMode"})
        QVERIFY2(!control<QCheckBox>(name)->isChecked(), name);
    QVERIFY(!control<QLineEdit>("leQuality")->isEnabled());
    const auto* frequency = control<QComboBox>("cbPowerFreq");
    QCOMPARE(frequency->count(), 2);
    QCOMPARE(frequency->itemText(0), QStringLiteral("50Hz"));
    QCOMPARE(frequency->itemText(1), QStringLiteral("60Hz"));
    QCOMPARE(frequency->currentIndex(), 0);
}

void TestSettingDialog::textsOfTheForm() {
    QStringList titles;
    for (const auto* group : dialog->findChildren<QGroupBox*>())
        titles.append(group->title());
    for (const char* title : {"Select Camera", "Image Enhancement", "Frame Control", "Parameter",
                              "File Format", "Port", "Overlay"})
        QVERIFY2(titles.contains(QLatin1String(title)), title);
    QStringList labels;
    for (const auto* found : dialog->findChildren<QLabel*>())
        labels.append(found->text());
    for (const char* text :
         {"Gamma",     "Contrast",          "Saturation", "Black Level",    "Advanced Gain",
          "Auto Gain", "Auto Exposure",     "Exposure",   "Exposure Scale", "Timeout",
          "AE Target", "Flicker Avoidence", "Mirror X",   "Mirror Y",       "HighSpeed",
          "Delay",     "Quality",           "Delay ",     "ms to save",     "Date time format"})
        QVERIFY2(labels.contains(QLatin1String(text)), text);
    QCOMPARE(control<QCheckBox>("cbSnapMode")->text(), QStringLiteral("Enter trigger mode"));
    QCOMPARE(control<QCheckBox>("chkSave")->text(), QStringLiteral("Save the captured image"));
    QCOMPARE(control<QPushButton>("btnDefault")->text(), QStringLiteral("Default"));
    QCOMPARE(control<QPushButton>("btnSaveParam")->text(), QStringLiteral("Save"));
    QCOMPARE(control<QPushButton>("btnSelectPath")->text(), QStringLiteral("Browse..."));
}

void TestSettingDialog::tabsAndTitle() {
    QCOMPARE(dialog->windowTitle(), QStringLiteral("Setting"));
    QVERIFY(!dialog->isModal());
    const auto* tabs = dialog->findChild<QTabWidget*>();
    QCOMPARE(tabs->count(), 2);
    QCOMPARE(tabs->tabText(0), QStringLiteral("Sensor"));
    QCOMPARE(tabs->tabText(1), QStringLiteral("Capture"));
}

/// Return ends an entry; it must not press the first button there is, which would load other parameters.
void TestSettingDialog::noButtonIsPressedByReturn() {
    dialog->loadFileOptions();
    dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(dialog.get()));
    dialog->findChild<QTabWidget*>()->setCurrentIndex(1);
    recording::forgetCalls();
    QTest::keyClick(control<QLineEdit>("leDelaySave"), Qt::Key_Return);
    QVERIFY(dialog->isVisible());
    QCOMPARE(recording::callsButFrames(), QStringList());
    for (const auto* button : dialog->findChildren<QPushButton*>())
        QVERIFY(!button->autoDefault() && !button->isDefault());
}

void TestSettingDialog::construction() {
    const auto* list = control<QComboBox>("cbCamera");
    QCOMPARE(list->count(), 3);
    QCOMPARE(list->itemText(2), QStringLiteral("Cam2"));
    QCOMPARE(list->currentIndex(), 0);
    const QStringList expected =
        QStringList{QStringLiteral("CameraGetResolutionCount(2)"),
                    QStringLiteral("CameraGetResolution(2, 0)"), QStringLiteral("CameraGetResolution(2, 1)"),
                    QStringLiteral("CameraGetResolution(2, 2)")} +
        refreshCalls(2);
    QCOMPARE(recording::callsButFrames(), expected);
    QVERIFY(disk("Control/ExposureScale").isNull());
}

void TestSettingDialog::constructionWithoutACamera() {
    build({});
    dialog->loadFileOptions();
    dialog->refreshFromCamera();
    QCOMPARE(control<QComboBox>("cbCamera")->count(), 0);
    QCOMPARE(control<QComboBox>("cbResolution")->count(), 0);
    QCOMPARE(recording::callsButFrames(), QStringList());
}

void TestSettingDialog::loadingWritesNothing() {
    const QByteArray ini =
        "[File]\nPath=x\nType=0\nQuality=5\nPort=COM1\nDelay=9\n[Control]\nExposureScale=3\n";
    build({2}, ini);
    dialog->loadFileOptions();
    dialog->loadFileOptions();
    settings->flush();
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), ini);
}

/// Loading twice, as a language switch does, leaves the lists as long as they are.
void TestSettingDialog::loadingTwice() {
    dialog->loadFileOptions();
    dialog->loadFileOptions();
    QCOMPARE(control<QComboBox>("cbCom")->count(), 6);
    QCOMPARE(control<QComboBox>("cbPowerFreq")->count(), 2);
    QCOMPARE(control<QComboBox>("cbCamera")->count(), 3);
    QCOMPARE(control<QComboBox>("cbResolution")->count(), 3);
}

QTEST_MAIN(TestSettingDialog)
#include "tst_settingdialog.moc"
