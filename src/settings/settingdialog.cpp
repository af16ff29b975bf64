#include "settings/settingdialog.h"

#include "settings/settingsfile.h"
#include "ui_settingdialog.h"

SettingDialog::SettingDialog(SettingsFile* settingsFile, QWidget* parent)
    : QDialog(parent), settings(settingsFile), ui(new Ui::SettingDialog) {
    ui->setupUi(this);
    saveCaptured = settings->read(keys::kSaveCaptured);
    ui->chkSave->setChecked(saveCaptured);
    freezeImage = settings->read(keys::kFreezeImage);
}

SettingDialog::~SettingDialog() {
    delete ui;
}

void SettingDialog::loadFileOptions() {
    ui->retranslateUi(this);
    delay = settings->read(keys::kDelay);
    dateTimeFormat = settings->read(keys::kDateTimeFormat);
}

void SettingDialog::setFreezeImage(bool on) {
    freezeImage = on;
    settings->write(keys::kFreezeImage, on);
}

void SettingDialog::on_chkSave_clicked(bool checked) {
    saveCaptured = checked;
    settings->write(keys::kSaveCaptured, checked);
}
