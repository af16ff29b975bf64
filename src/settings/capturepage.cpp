// SPDX-License-Identifier: Apache-2.0
#include <QDir>
#include <QFileDialog>

#include "settings/quietly.h"
#include "settings/settingdialog.h"
#include "settings/settingsfile.h"
#include "ui_settingdialog.h"

// The second page of the dialog: options of the file.

namespace {

// Stored numbers of the file formats.
constexpr int kTypeBmp = 0;
constexpr int kTypeJpg = 1;
constexpr int kTypePng = 2;
constexpr int kPorts = 5;  // COM0 ...

}  // namespace

void SettingDialog::loadKeptOptions() {
    saveCaptured = settings->read(keys::kSaveCaptured);
    ui->chkSave->setChecked(saveCaptured);
    freezeImage = settings->read(keys::kFreezeImage);
}

void SettingDialog::loadCapturePage() {
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
