// SPDX-License-Identifier: Apache-2.0
#include "settings/settingdialog.h"

#include "settings/settingsfile.h"
#include "ui_settingdialog.h"

// What the pages do is in sensorpage.cpp and capturepage.cpp.

SettingDialog::SettingDialog(SettingsFile* settingsFile, const QVector<int32_t>& tileCameras, QWidget* parent)
    : QDialog(parent), settings(settingsFile), ui(new Ui::SettingDialog), cameras(tileCameras) {
    ui->setupUi(this);
    listCameras();
    loadKeptOptions();
}

SettingDialog::~SettingDialog() {
    delete ui;
}

void SettingDialog::loadFileOptions() {
    ui->retranslateUi(this);
    prepareSensorPage();
    loadCapturePage();
    loadFromCameraAndScale();
}
