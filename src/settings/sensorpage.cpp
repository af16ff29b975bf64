// SPDX-License-Identifier: Apache-2.0
#include <QThread>
#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

#include "camera/kvcap2.h"
#include "settings/quietly.h"
#include "settings/settingdialog.h"
#include "settings/settingsfile.h"
#include "ui_settingdialog.h"

// The first page of the dialog: the parameters of one camera.

namespace {

constexpr int32_t kParameterSlot = 0;
constexpr int32_t kDelayUnit = 100;         // library units of delay per step of its slider
constexpr unsigned long kSnapSleep = 200;   // ms that a camera takes to change over
constexpr int32_t kMostResolutions = 1000;  // no camera has as many; a damaged answer may
constexpr double kFactor = 100.0;           // steps of a slider for 1.0

/// Truncation that is defined for whatever a camera or a file says.
int truncated(double value) {
    constexpr double kLimit = std::numeric_limits<int>::max();
    return std::isnan(value) ? 0 : static_cast<int>(std::clamp(value, -kLimit, kLimit));
}

/// At least 1, also where the file has no number.
double atLeastOne(double scale) {
    return scale >= 1.0 ? scale : 1.0;
}

using Form = Ui_SettingDialog;

/// A parameter with a slider and a label. A slider sets a double in hundredths, a whole number as it is.
template <typename Value>
struct Parameter {
    QSlider* Form::*slider;
    QLabel* Form::*label;
    int32_t (*get)(int32_t, Value*);
    int32_t (*set)(int32_t, Value);
};

constexpr Parameter<double> kGamma{&Form::hsGamma, &Form::lblGamm, &CameraGetGamma, &CameraSetGamma};
constexpr Parameter<double> kContrast{&Form::hsContrast, &Form::lblContrast, &CameraGetContrast,
                                      &CameraSetContrast};
constexpr Parameter<double> kSaturation{&Form::hsSaturation, &Form::lblSaturation, &CameraGetSaturation,
                                        &CameraSetSaturation};
constexpr Parameter<int32_t> kBlackLevel{&Form::hsBlackLevel, &Form::lblBlack, &CameraGetBlackLevel,
                                         &CameraSetBlackLevel};
constexpr Parameter<int32_t> kAdvancedGain{&Form::hsAdvancedGain, &Form::lblAdvancedGain,
                                           &CameraGetAdvancedGain, &CameraSetAdvancedGain};
constexpr Parameter<int32_t> kGain{&Form::hsGain, &Form::lblGain, &CameraGetGain, &CameraSetGain};
constexpr Parameter<int32_t> kTimeout{&Form::hsTimeOut, &Form::lblTimeOut, &CameraGetTimeout,
                                      &CameraSetTimeout};
constexpr Parameter<int32_t> kAETarget{&Form::hsAETarget, &Form::lblTarget, &CameraGetAETarget,
                                       &CameraSetAETarget};

int positionOf(double value) {
    return truncated(value * kFactor);
}

int positionOf(int32_t value) {
    return value;
}

QString shown(double value) {
    return QString::number(value, 'g', 6);
}

QString shown(int32_t value) {
    return QString::number(value);
}

/// Shows what the camera says, one parameter after the other.
template <typename... Values>
void load(const Form* form, int32_t camera, const Parameter<Values>&... parameters) {
    const auto loadOne = [=](const auto& parameter, auto value) {
        parameter.get(camera, &value);
        showOnSlider(form->*parameter.slider, positionOf(value));
        (form->*parameter.label)->setText(shown(value));
    };
    (loadOne(parameters, Values{}), ...);
}

template <typename Value>
void send(const Form* form, int32_t camera, const Parameter<Value>& parameter, int position) {
    const Value value = std::is_same_v<Value, double> ? Value(position / kFactor) : Value(position);
    parameter.set(camera, value);
    (form->*parameter.label)->setText(shown(value));
}

bool isOn(int32_t (*get)(int32_t, bool*), int32_t camera) {
    bool on = false;
    get(camera, &on);
    return on;
}

}  // namespace

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

void SettingDialog::prepareSensorPage() {
    showQuietly(ui->cbPowerFreq, [](QComboBox* quiet) {
        quiet->clear();
        quiet->addItems({QStringLiteral("50Hz"), QStringLiteral("60Hz")});
        quiet->setCurrentIndex(0);
    });
    exposureScale = atLeastOne(truncated(settings->read(keys::kExposureScale)));
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
    load(ui, camera, kGamma, kContrast, kSaturation, kBlackLevel, kAdvancedGain);
    loadAutomatics();
    load(ui, camera, kTimeout, kAETarget);
    loadAntiFlicker();
    loadSwitches();
}

void SettingDialog::loadAutomatics() {
    const bool isGainAuto = isOn(&CameraGetAGC, camera);
    showOnBox(ui->chkAutoGain, isGainAuto);
    ui->hsGain->setEnabled(!isGainAuto);
    load(ui, camera, kGain);

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
    ui->lblExposureScale->setText(shown(exposureScale));
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
    send(ui, camera, kGamma, value);
}

void SettingDialog::on_hsContrast_valueChanged(int value) {
    send(ui, camera, kContrast, value);
}

void SettingDialog::on_hsSaturation_valueChanged(int value) {
    send(ui, camera, kSaturation, value);
}

void SettingDialog::on_hsBlackLevel_valueChanged(int value) {
    send(ui, camera, kBlackLevel, value);
}

void SettingDialog::on_hsAdvancedGain_valueChanged(int value) {
    send(ui, camera, kAdvancedGain, value);
}

void SettingDialog::on_hsGain_valueChanged(int value) {
    send(ui, camera, kGain, value);
}

void SettingDialog::on_hsAETarget_valueChanged(int value) {
    send(ui, camera, kAETarget, value);
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
