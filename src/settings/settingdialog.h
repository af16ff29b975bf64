// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDialog>
#include <QString>
#include <QVector>
#include <cstdint>

class SettingsFile;

namespace Ui {
class SettingDialog;
}

/// The cameras' parameters and the options of picture taking. Made hidden with the main window, shown
/// non-modally, kept for the whole run; it also keeps the live copies of those options that other rooms ask
/// for with every frame or command. GUI thread.
///
/// A control that a person moves reaches the camera or the file at once. Loading writes nothing back, to
/// neither: the values shown are rounded to what a slider can show, and opening the dialog must not change a
/// camera.
class SettingDialog : public QDialog {
    Q_OBJECT

public:
    /// `settingsFile` outlives the dialog; `parent` is the main window. `tileCameras` has the library index
    /// of each tile's camera, and is empty in demo mode, where the cameras stay closed.
    SettingDialog(SettingsFile* settingsFile, const QVector<int32_t>& tileCameras, QWidget* parent = nullptr);
    ~SettingDialog() override;

    /// Reads every parameter of the chosen camera into the controls; asks the library nothing when there is
    /// no camera.
    void refreshFromCamera();
    /// The same, then the stored exposure scale.
    void loadFromCameraAndScale();
    /// Sets every text anew in the language of the moment and loads the options from the file, and the
    /// camera's parameters.
    void loadFileOptions();
    /// Sets the display freeze and stores it.
    void setFreezeImage(bool on);

    bool isSaveCaptured() const { return saveCaptured; }
    bool isFreezeImage() const { return freezeImage; }
    /// ms from the serial trigger to the picture; whatever was entered, so perhaps negative.
    int saveDelay() const { return delay; }
    /// The pattern of the date-time overlay.
    QString overlayFormat() const { return dateTimeFormat; }
    /// Sets the delay, shows and stores it.
    void setSaveDelay(int milliseconds);

    int cameraCount = 0;  ///< set by the main window each time it opens the dialog

signals:
    /// The streams have to rest while a camera loads or saves its parameters: they are told to before and to
    /// go on after. A query under way ends by itself.
    void pauseVideo();
    void streamVideo();
    /// The pattern of the date-time overlay was edited.
    void dateTimeFormatChanged(const QString& format);

private slots:
    void on_cbCamera_currentIndexChanged(int index);
    void on_cbResolution_currentIndexChanged(int index);
    void on_hsGamma_valueChanged(int value);
    void on_hsContrast_valueChanged(int value);
    void on_hsSaturation_valueChanged(int value);
    void on_hsBlackLevel_valueChanged(int value);
    void on_hsAdvancedGain_valueChanged(int value);
    void on_hsGain_valueChanged(int value);
    void on_hsExposure_valueChanged(int value);
    void on_chkAutoGain_toggled(bool on);
    void on_chkAutoExposure_toggled(bool on);
    void on_hsExposureScale_valueChanged(int value);
    void on_hsTimeOut_valueChanged(int value);
    void on_hsAETarget_valueChanged(int value);
    void on_chkAntiFlicker_toggled(bool on);
    void on_cbMirrorX_toggled(bool on);
    void on_cbMirrorY_toggled(bool on);
    void on_cbHighspeed_toggled(bool on);
    void on_hsFrameSpeed_valueChanged(int value);
    void on_cbSnapMode_clicked(bool checked);
    void on_btnDefault_clicked();
    void on_btnSaveParam_clicked();

    void on_btnSelectPath_clicked();
    void on_sdQuality_valueChanged(int value);
    void on_rbBMP_clicked();
    void on_rbJPG_clicked();
    void on_rbPNG_clicked();
    void on_leDelaySave_editingFinished();
    void on_cbCom_currentIndexChanged(const QString& name);
    void on_leDTFormat_editingFinished();
    void on_chkSave_clicked(bool checked);

private:
    // The sensor page.
    void listCameras();
    void listResolutions();
    void prepareSensorPage();
    void loadAutomatics();
    void loadAntiFlicker();
    void loadSwitches();
    void showExposureScale(double scale);
    // The capture page.
    void loadKeptOptions();
    void loadCapturePage();
    void listPorts();
    void setFileType(int type);

    SettingsFile* settings;      // owned by the main window
    Ui::SettingDialog* ui;       // freed in the destructor
    QVector<int32_t> cameras;    // library index per tile
    int32_t camera = 0;          // library index that the page acts on
    double exposureScale = 1.0;  // exposure value / slider, at least 1
    bool saveCaptured = true;    // whole-view saves write a file
    bool freezeImage = false;    // frames are kept, not shown
    int delay = 0;               // ms from the serial trigger to the picture
    QString dateTimeFormat;      // pattern of the date-time overlay
};
