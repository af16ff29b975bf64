// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

/// Fake GigE cameras, each a process of its own, so that each can be killed, frozen and started again. Camera
/// i is on address(i), has the serial number "FAKE000" + (i + 1) and sees scene i, unless its options say
/// otherwise; it has all features. All end with this object, or with the process. GUI thread of the test.
class FakeCameras {
public:
    /// 0 ... 8 cameras with these options of fake_gige_camera; starts none.
    explicit FakeCameras(int count, const QStringList& options = {});
    ~FakeCameras();
    FakeCameras(const FakeCameras&) = delete;
    FakeCameras& operator=(const FakeCameras&) = delete;

    /// Options of one camera, behind those of all; from its next start on.
    void setOptions(int camera, const QStringList& options);

    /// Starts those that do not run and waits, at most 10 s, until they listen. What went wrong, or empty.
    QString start();
    QString start(int camera);
    /// As if the cable were pulled: no farewell.
    void kill(int camera);
    /// Does nothing any more, but keeps its sockets: packets to it pile up.
    void freeze(int camera);
    void thaw(int camera);
    /// A camera that was switched off and on: all registers have their defaults.
    QString restart(int camera);

    int count() const { return static_cast<int>(cameras_.size()); }
    QString address(int camera) const;
    QByteArray serial(int camera) const;

    /// Writes kvcap2-genicam.ini with the addresses into a folder. `library` and `all` are further lines
    /// ("Key=value") of [Library] and of [Camera]. What went wrong, or empty.
    QString writeConfiguration(const QString& folder, const QStringList& all = {},
                               const QStringList& library = {}) const;
    /// The same text.
    QByteArray configuration(const QStringList& all = {}, const QStringList& library = {}) const;

private:
    struct Camera {
        QProcess process;
        QStringList options;
    };
    QString launch(int camera);
    QString awaitReady(int camera);

    QStringList options_;
    std::vector<std::unique_ptr<Camera>> cameras_;
};
