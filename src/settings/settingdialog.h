#pragma once

#include <QDialog>
#include <QString>

class SettingsFile;

namespace Ui {
class SettingDialog;
}

/// The options of picture taking. Made hidden with the main window, shown non-modally, kept for the whole
/// run; it also keeps the live copies of those options that other rooms ask for with every frame or command.
/// GUI thread.
class SettingDialog : public QDialog {
    Q_OBJECT

public:
    /// `settingsFile` outlives the dialog; `parent` is the main window.
    explicit SettingDialog(SettingsFile* settingsFile, QWidget* parent = nullptr);
    ~SettingDialog() override;

    /// Sets every text anew in the language of the moment and loads the options from the file. Writes
    /// nothing.
    void loadFileOptions();
    /// Sets the display freeze and stores it.
    void setFreezeImage(bool on);

    bool isSaveCaptured() const { return saveCaptured; }
    bool isFreezeImage() const { return freezeImage; }

    int cameraCount = 0;  ///< set by the main window each time it opens the dialog

private slots:
    void on_chkSave_clicked(bool checked);

private:
    SettingsFile* settings;    // owned by the main window
    Ui::SettingDialog* ui;     // freed in the destructor
    bool saveCaptured = true;  // whole-view saves write a file
    bool freezeImage = false;  // frames are kept, not shown
    int delay = 0;             // ms from the serial trigger to the picture
    QString dateTimeFormat;    // pattern of the date-time overlay
};
