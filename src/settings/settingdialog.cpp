#include "settings/settingdialog.h"

#include <QDir>
#include <QFileDialog>
#include <QSignalBlocker>
#include <QThread>
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "camera/kvcap2.h"
#include "settings/settingsfile.h"
#include "ui_settingdialog.h"

namespace {

constexpr int32_t kParameterSlot = 0;
constexpr int32_t kDelayUnit = 100;         // library units of delay per step of its slider
constexpr unsigned long kSnapSleep = 200;   // ms that a camera takes to change over
constexpr int32_t kMostResolutions = 1000;  // no camera has as many; a damaged answer may
// Stored numbers of the file formats.
constexpr int kTypeBmp = 0;
constexpr int kTypeJpg = 1;
constexpr int kTypePng = 2;
constexpr int kPorts = 5;  // COM0 ...

/// Truncation that is defined for whatever a camera or a file says.
int truncated(double value) {
    constexpr double kLimit = std::numeric_limits<int>::max();
    return std::isnan(value) ? 0 : static_cast<int>(std::clamp(value, -kLimit, kLimit));
}

/// At least 1, also where the file has no number.
double atLeastOne(double scale) {
    return scale >= 1.0 ? scale : 1.0;
}

QString plainNumber(double value) {
    return QString::number(value, 'g', 6);
}

using Form = Ui_SettingDialog;

/// A parameter that a slider sets in hundredths.
struct FactorParameter {
    QSlider* Form::*slider;
    QLabel* Form::*label;
    int32_t (*get)(int32_t, double*);
    int32_t (*set)(int32_t, double);
};

/// A parameter that a slider sets as it is.
struct PlainParameter {
    QSlider* Form::*slider;
    QLabel* Form::*label;
    int32_t (*get)(int32_t, int32_t*);
    int32_t (*set)(int32_t, int32_t);
};

constexpr double kFactor = 100.0;

constexpr FactorParameter kGamma{&Form::hsGamma, &Form::lblGamm, &CameraGetGamma, &CameraSetGamma};
constexpr FactorParameter kContrast{&Form::hsContrast, &Form::lblContrast, &CameraGetContrast,
                                    &CameraSetContrast};
constexpr FactorParameter kSaturation{&Form::hsSaturation, &Form::lblSaturation, &CameraGetSaturation,
                                      &CameraSetSaturation};
constexpr PlainParameter kBlackLevel{&Form::hsBlackLevel, &Form::lblBlack, &CameraGetBlackLevel,
                                     &CameraSetBlackLevel};
constexpr PlainParameter kAdvancedGain{&Form::hsAdvancedGain, &Form::lblAdvancedGain, &CameraGetAdvancedGain,
                                       &CameraSetAdvancedGain};
constexpr PlainParameter kGain{&Form::hsGain, &Form::lblGain, &CameraGetGain, &CameraSetGain};
constexpr PlainParameter kTimeout{&Form::hsTimeOut, &Form::lblTimeOut, &CameraGetTimeout, &CameraSetTimeout};
constexpr PlainParameter kAETarget{&Form::hsAETarget, &Form::lblTarget, &CameraGetAETarget,
                                   &CameraSetAETarget};

/// Shows a value without sending it back.
template <typename Control, typename Set>
void showQuietly(Control* control, const Set& set) {
    const QSignalBlocker blocker(control);
    set(control);
}

void showOnSlider(QSlider* slider, int value) {
    showQuietly(slider, [value](QSlider* quiet) { quiet->setValue(value); });
}

void showOnBox(QCheckBox* box, bool checked) {
    showQuietly(box, [checked](QCheckBox* quiet) { quiet->setChecked(checked); });
}

void load(const Form* form, const FactorParameter& parameter, int32_t camera) {
    double value = 0.0;
    parameter.get(camera, &value);
    showOnSlider(form->*parameter.slider, truncated(value * kFactor));
    (form->*parameter.label)->setText(plainNumber(value));
}

void load(const Form* form, const PlainParameter& parameter, int32_t camera) {
    int32_t value = 0;
    parameter.get(camera, &value);
    showOnSlider(form->*parameter.slider, value);
    (form->*parameter.label)->setText(QString::number(value));
}

void send(const Form* form, const FactorParameter& parameter, int32_t camera, int position) {
    const double value = position / kFactor;
    parameter.set(camera, value);
    (form->*parameter.label)->setText(plainNumber(value));
}

void send(const Form* form, const PlainParameter& parameter, int32_t camera, int value) {
    parameter.set(camera, value);
    (form->*parameter.label)->setText(QString::number(value));
}

bool isOn(int32_t (*get)(int32_t, bool*), int32_t camera) {
    bool on = false;
    get(camera, &on);
    return on;
}

}  // namespace

SettingDialog::SettingDialog(SettingsFile* settingsFile, const QVector<int32_t>& tileCameras, QWidget* parent)
    : QDialog(parent), settings(settingsFile), ui(new Ui::SettingDialog), cameras(tileCameras) {
    ui->setupUi(this);
    listCameras();
    saveCaptured = settings->read(keys::kSaveCaptured);
    ui->chkSave->setChecked(saveCaptured);
    freezeImage = settings->read(keys::kFreezeImage);
}

SettingDialog::~SettingDialog() {
    delete ui;
}

// ---- a camera's parameters ---------------------------------------------------------------------

void SettingDialog::listCameras() {
    showQuietly(ui->cbCamera, [this](QComboBox* quiet) {
        quiet->clear();
        for (int i = 0; i < cameras.size(); ++i)
            quiet->addItem(QStringLiteral("Cam%1").arg(i));
        quiet->setCurrentIndex(0);
    });
    if (!cameras.isEmpty())
        on_cbCamera_currentIndexChanged(0);
}

void SettingDialog::on_cbCamera_currentIndexChanged(int index) {
    if (index < 0 || index >= cameras.size())
        return;
    camera = cameras[index];
    listResolutions();
    refreshFromCamera();
    // Another default than where options are loaded; both are deliberate.
    showExposureScale(settings->read(keys::kExposureScaleOfSelection));
}

void SettingDialog::listResolutions() {
    showQuietly(ui->cbResolution, [this](QComboBox* quiet) {
        quiet->clear();
        int32_t count = 0;
        CameraGetResolutionCount(camera, &count);
        for (int32_t mode = 0; mode < std::min(count, kMostResolutions); ++mode) {
            int32_t width = 0;
            int32_t height = 0;
            CameraGetResolution(camera, mode, &width, &height);
            quiet->addItem(QStringLiteral("%1*%2").arg(width).arg(height));
        }
    });
}

void SettingDialog::refreshFromCamera() {
    if (cameras.isEmpty())
        return;
    load(ui, kGamma, camera);
    load(ui, kContrast, camera);
    load(ui, kSaturation, camera);
    load(ui, kBlackLevel, camera);
    load(ui, kAdvancedGain, camera);
    loadAutomatics();
    load(ui, kTimeout, camera);
    load(ui, kAETarget, camera);
    loadAntiFlicker();
    loadSwitches();
}

void SettingDialog::loadAutomatics() {
    const bool isGainAuto = isOn(&CameraGetAGC, camera);
    showOnBox(ui->chkAutoGain, isGainAuto);
    ui->hsGain->setEnabled(!isGainAuto);
    load(ui, kGain, camera);

    const bool isExposureAuto = isOn(&CameraGetAEC, camera);
    showOnBox(ui->chkAutoExposure, isExposureAuto);
    ui->hsExposure->setEnabled(!isExposureAuto);
    int32_t exposure = 0;
    CameraGetExposure(camera, &exposure);
    showOnSlider(ui->hsExposure, truncated(exposure / exposureScale));
    ui->lblExposure->setText(QString::number(exposure));
}

void SettingDialog::loadAntiFlicker() {
    int32_t mode = 0;
    CameraGetAntiFlicker(camera, &mode);
    if (mode < 0 || mode > 2)
        return;
    showOnBox(ui->chkAntiFlicker, mode != 0);
    if (mode != 0)
        ui->cbPowerFreq->setCurrentIndex(mode - 1);
}

void SettingDialog::loadSwitches() {
    showOnBox(ui->cbMirrorX, isOn(&CameraGetMirrorX, camera));
    showOnBox(ui->cbMirrorY, isOn(&CameraGetMirrorY, camera));
    // Whether it can be checked, not whether it is: deliberately unlike the mirrors.
    showQuietly(ui->cbHighspeed, [this](QCheckBox* quiet) {
        quiet->setCheckable(isOn(&CameraGetHighspeed, camera));
        quiet->update();  // a box that is no longer checkable loses its check mark without being drawn anew
    });
    // The delay is that of camera 0 whatever camera is chosen.
    int32_t cameraDelay = 0;
    CameraGetDelay(0, &cameraDelay);
    showOnSlider(ui->hsFrameSpeed, cameraDelay / kDelayUnit);
    ui->leFrameSpeed->setText(QString::number(cameraDelay / kDelayUnit));
    int32_t snapMode = 0;
    CameraGetSnapMode(camera, &snapMode);
    showOnBox(ui->cbSnapMode, snapMode == kSnapTriggered);
}

void SettingDialog::loadFromCameraAndScale() {
    refreshFromCamera();
    showExposureScale(settings->read(keys::kExposureScale));
}

void SettingDialog::showExposureScale(double scale) {
    exposureScale = atLeastOne(scale);
    showOnSlider(ui->hsExposureScale, truncated(exposureScale));
    ui->lblExposureScale->setText(plainNumber(exposureScale));
}

void SettingDialog::on_cbResolution_currentIndexChanged(int index) {
    if (index < 0)
        return;
    int32_t width = 0;
    int32_t height = 0;
    CameraGetResolution(camera, index, &width, &height);
    CameraSetResolution(camera, index, width, height);
}

void SettingDialog::on_hsGamma_valueChanged(int value) {
    send(ui, kGamma, camera, value);
}

void SettingDialog::on_hsContrast_valueChanged(int value) {
    send(ui, kContrast, camera, value);
}

void SettingDialog::on_hsSaturation_valueChanged(int value) {
    send(ui, kSaturation, camera, value);
}

void SettingDialog::on_hsBlackLevel_valueChanged(int value) {
    send(ui, kBlackLevel, camera, value);
}

void SettingDialog::on_hsAdvancedGain_valueChanged(int value) {
    send(ui, kAdvancedGain, camera, value);
}

void SettingDialog::on_hsGain_valueChanged(int value) {
    send(ui, kGain, camera, value);
}

void SettingDialog::on_hsAETarget_valueChanged(int value) {
    send(ui, kAETarget, camera, value);
}

void SettingDialog::on_hsTimeOut_valueChanged(int value) {
    // Its label shows what the camera said last.
    CameraSetTimeout(camera, value);
}

void SettingDialog::on_hsExposure_valueChanged(int value) {
    const int exposure = truncated(value * exposureScale);
    CameraSetExposure(camera, exposure);
    ui->lblExposure->setText(QString::number(exposure));
}

void SettingDialog::on_hsExposureScale_valueChanged(int value) {
    // Not on disk at once, and the exposure slider stays where it is.
    settings->store(keys::kExposureScale, double(value));
    exposureScale = atLeastOne(value);
    ui->lblExposureScale->setText(QString::number(value));
}

void SettingDialog::on_chkAutoGain_toggled(bool on) {
    if (!on) {
        // Camera 0 is asked, whatever camera is chosen.
        int32_t gain = 1;
        CameraGetGain(0, &gain);
        ui->lblGain->setText(QString::number(gain));
        ui->hsGain->setValue(gain);
    }
    CameraSetAGC(camera, on);
    ui->hsGain->setEnabled(!on);
}

void SettingDialog::on_chkAutoExposure_toggled(bool on) {
    if (!on) {
        // Camera 0 is asked, whatever camera is chosen.
        int32_t exposure = 1;
        CameraGetExposure(0, &exposure);
        ui->lblExposure->setText(QString::number(exposure));
    }
    CameraSetAEC(camera, on);
    ui->hsExposure->setEnabled(!on);
}

void SettingDialog::on_chkAntiFlicker_toggled(bool on) {
    CameraSetAntiFlicker(camera, on ? ui->cbPowerFreq->currentIndex() + 1 : 0);
}

void SettingDialog::on_cbMirrorX_toggled(bool on) {
    CameraSetMirrorX(camera, on);
}

void SettingDialog::on_cbMirrorY_toggled(bool on) {
    CameraSetMirrorY(camera, on);
}

void SettingDialog::on_cbHighspeed_toggled(bool on) {
    CameraSetHighspeed(camera, on);
}

void SettingDialog::on_hsFrameSpeed_valueChanged(int value) {
    ui->leFrameSpeed->setText(QString::number(value));
    CameraSetDelay(camera, value * kDelayUnit);
}

void SettingDialog::on_cbSnapMode_clicked(bool checked) {
    CameraSetSnapMode(camera, checked ? kSnapTriggered : kSnapContinuous);
    if (checked)
        QThread::msleep(kSnapSleep);
}

void SettingDialog::on_btnSaveParam_clicked() {
    emit pauseVideo();
    CameraSaveParameter(camera, kParameterSlot);
    emit streamVideo();
}

void SettingDialog::on_btnDefault_clicked() {
    emit pauseVideo();
    CameraLoadParameter(camera, kParameterSlot);
    loadFromCameraAndScale();
    emit streamVideo();
}

// ---- options of the file -----------------------------------------------------------------------

void SettingDialog::loadFileOptions() {
    ui->retranslateUi(this);
    showQuietly(ui->cbPowerFreq, [](QComboBox* quiet) {
        quiet->clear();
        quiet->addItems({QStringLiteral("50Hz"), QStringLiteral("60Hz")});
        quiet->setCurrentIndex(0);
    });
    exposureScale = atLeastOne(truncated(settings->read(keys::kExposureScale)));
    ui->leSavePath->setText(settings->read(keys::kPath));

    const int type = settings->read(keys::kType);
    // Radio buttons of one group cannot be unchecked one by one.
    for (QRadioButton* button : {ui->rbBMP, ui->rbJPG, ui->rbPNG}) {
        button->setAutoExclusive(false);
        button->setChecked(false);
    }
    ui->rbBMP->setChecked(type == kTypeBmp);
    ui->rbJPG->setChecked(type == kTypeJpg);
    ui->rbPNG->setChecked(type == kTypePng);
    for (QRadioButton* button : {ui->rbBMP, ui->rbJPG, ui->rbPNG})
        button->setAutoExclusive(true);

    const int quality = settings->read(keys::kQuality);
    ui->leQuality->setText(QString::number(quality));
    showOnSlider(ui->sdQuality, quality);
    listPorts();
    delay = settings->read(keys::kDelay);
    ui->leDelaySave->setText(QString::number(delay));
    dateTimeFormat = settings->read(keys::kDateTimeFormat);
    ui->leDTFormat->setText(dateTimeFormat);
    loadFromCameraAndScale();
}

void SettingDialog::listPorts() {
    const QString stored = settings->read(keys::kPort);
    showQuietly(ui->cbCom, [&stored](QComboBox* quiet) {
        quiet->clear();
        quiet->addItem(QString());
        for (int i = 0; i < kPorts; ++i)
            quiet->addItem(QStringLiteral("COM%1").arg(i));
        // A port of another name stays in the file as long as nobody chooses one here.
        const int index = quiet->findText(stored, Qt::MatchExactly | Qt::MatchCaseSensitive);
        if (index >= 0)
            quiet->setCurrentIndex(index);
    });
}

void SettingDialog::on_btnSelectPath_clicked() {
    // The system's own dialog may leave the process in the folder that was looked at; all files belong to
    // this one.
    const QString workingFolder = QDir::currentPath();
    const QString path = QFileDialog::getExistingDirectory(this, tr("Open Directory"), ui->leSavePath->text(),
                                                           QFileDialog::ShowDirsOnly);
    QDir::setCurrent(workingFolder);
    if (path.isNull())
        return;
    ui->leSavePath->setText(path);
    settings->write(keys::kPath, path);
}

void SettingDialog::on_sdQuality_valueChanged(int value) {
    ui->leQuality->setText(QString::number(value));
    settings->write(keys::kQuality, value);
}

void SettingDialog::setFileType(int type) {
    settings->write(keys::kType, type);
}

void SettingDialog::on_rbBMP_clicked() {
    setFileType(kTypeBmp);
}

void SettingDialog::on_rbJPG_clicked() {
    setFileType(kTypeJpg);
}

void SettingDialog::on_rbPNG_clicked() {
    setFileType(kTypePng);
}

void SettingDialog::setSaveDelay(int milliseconds) {
    delay = milliseconds;
    ui->leDelaySave->setText(QString::number(delay));
    settings->write(keys::kDelay, delay);
}

void SettingDialog::on_leDelaySave_editingFinished() {
    // Also called when the focus only passes by.
    if (ui->leDelaySave->text() == QString::number(delay))
        return;
    // What was no number is seen to be 0.
    setSaveDelay(ui->leDelaySave->text().toInt());
}

void SettingDialog::on_cbCom_currentIndexChanged(const QString& name) {
    // Opened at the next start.
    settings->write(keys::kPort, name);
}

void SettingDialog::on_leDTFormat_editingFinished() {
    if (ui->leDTFormat->text() == dateTimeFormat)
        return;
    dateTimeFormat = ui->leDTFormat->text();
    emit dateTimeFormatChanged(dateTimeFormat);
    settings->write(keys::kDateTimeFormat, dateTimeFormat);
}

void SettingDialog::on_chkSave_clicked(bool checked) {
    saveCaptured = checked;
    settings->write(keys::kSaveCaptured, checked);
}

void SettingDialog::setFreezeImage(bool on) {
    freezeImage = on;
    settings->write(keys::kFreezeImage, on);
}
