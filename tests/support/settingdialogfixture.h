// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QLabel>
#include <QLineEdit>
#include <QSlider>
#include <QtTest>
#include <memory>

#include "settings/settingdialog.h"
#include "settings/settingsfile.h"
#include "support/recordingcamera.h"
#include "support/workingfolder.h"

/// A settings dialog in a folder of its own, on the recording library. Three tiles, of which the first shows
/// camera 2, the others 0 and 1; camera 2 has three resolutions.
class SettingDialogFixture {
protected:
    void setUp() {
        recording::reset(3);
        recording::Camera camera;
        camera.modes = 3;
        recording::setCamera(2, camera);
        folder = std::make_unique<WorkingFolder>();
        build({2, 0, 1});
    }

    void tearDown() {
        dialog.reset();
        settings.reset();
        folder.reset();
    }

    /// A new dialog on other cameras and another file.
    void build(const QVector<int32_t>& cameras, const QByteArray& ini = {}) {
        dialog.reset();
        settings.reset();
        QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), ini));
        settings = std::make_unique<SettingsFile>(QStringLiteral("./setting.ini"));
        recording::forgetCalls();
        dialog = std::make_unique<SettingDialog>(settings.get(), cameras);
    }

    template <class T>
    T* control(const char* name) const {
        T* found = dialog->findChild<T*>(QLatin1String(name));
        if (!found)
            qFatal("no %s", name);
        return found;
    }
    QSlider* slider(const char* name) const { return control<QSlider>(name); }
    /// What a label, or a field that serves as one, shows.
    QString label(const char* name) const {
        const auto* field = dialog->findChild<QLineEdit*>(QLatin1String(name));
        return field ? field->text() : control<QLabel>(name)->text();
    }
    static QString disk(const char* key) { return WorkingFolder::keyOnDisk(QLatin1String(key)); }

    /// What reading every parameter of a camera asks the library, in its order.
    static QStringList refreshCalls(int camera) {
        const QString c = QString::number(camera);
        QStringList calls;
        for (const char* name :
             {"Gamma", "Contrast", "Saturation", "BlackLevel", "AdvancedGain", "AGC", "Gain", "AEC",
              "Exposure", "Timeout", "AETarget", "AntiFlicker", "MirrorX", "MirrorY", "Highspeed"})
            calls.append(QStringLiteral("CameraGet%1(%2)").arg(QLatin1String(name), c));
        calls.append(QStringLiteral("CameraGetDelay(0)"));  // of camera 0, whatever camera is chosen
        calls.append(QStringLiteral("CameraGetSnapMode(%1)").arg(c));
        return calls;
    }

    std::unique_ptr<WorkingFolder> folder;
    std::unique_ptr<SettingsFile> settings;
    std::unique_ptr<SettingDialog> dialog;
};
