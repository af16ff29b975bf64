// SPDX-License-Identifier: Apache-2.0
#include "fakecameras.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "privatenetwork.h"

namespace {

constexpr int kStartLimit = 10000;  // ms
constexpr int kMostCameras = 8;

}  // namespace

FakeCameras::FakeCameras(int count, const QStringList& options) : options_(options) {
    for (int i = 0; i < qBound(0, count, kMostCameras); ++i)
        cameras_.push_back(std::make_unique<Camera>());
}

FakeCameras::~FakeCameras() {
    for (int i = 0; i < count(); ++i)
        kill(i);
}

void FakeCameras::setOptions(int camera, const QStringList& options) {
    cameras_[static_cast<size_t>(camera)]->options = options;
}

QString FakeCameras::address(int camera) const {
    if (isNetworkPrivate())
        return QStringLiteral("127.0.0.%1").arg(camera + 1);
    // Other tests may be running in the same network.
    const int process = static_cast<int>(getpid());
    return QStringLiteral("127.%1.%2.%3").arg(1 + process / 250 % 250).arg(1 + process % 250).arg(camera + 1);
}

QByteArray FakeCameras::serial(int camera) const {
    return "FAKE000" + QByteArray::number(camera + 1);
}

QString FakeCameras::launch(int camera) {
    Camera& one = *cameras_[static_cast<size_t>(camera)];
    one.process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // What comes last wins, so defaults come first.
    one.process.start(QStringLiteral(FAKE_GIGE_CAMERA),
                      QStringList{"--address", address(camera), "--serial",
                                  QString::fromLatin1(serial(camera)), "--scene", QString::number(camera)} +
                          options_ + one.options,
                      QIODevice::ReadOnly);
    return one.process.waitForStarted(kStartLimit)
               ? QString()
               : QStringLiteral("camera %1: %2").arg(camera).arg(one.process.errorString());
}

QString FakeCameras::awaitReady(int camera) {
    QProcess& process = cameras_[static_cast<size_t>(camera)]->process;
    QElapsedTimer timer;
    timer.start();
    while (!process.canReadLine()) {
        const auto left = static_cast<int>(kStartLimit - timer.elapsed());
        if (left <= 0 || !process.waitForReadyRead(left))
            return QStringLiteral("camera %1 does not listen on %2").arg(camera).arg(address(camera));
    }
    process.readAll();
    return {};
}

QString FakeCameras::start() {
    QVector<int> started;
    for (int i = 0; i < count(); ++i) {
        if (cameras_[static_cast<size_t>(i)]->process.state() != QProcess::NotRunning)
            continue;
        const QString reason = launch(i);
        if (!reason.isEmpty())
            return reason;
        started.append(i);
    }
    for (const int camera : started) {
        const QString reason = awaitReady(camera);
        if (!reason.isEmpty())
            return reason;
    }
    return {};
}

QString FakeCameras::start(int camera) {
    const QString reason = launch(camera);
    return reason.isEmpty() ? awaitReady(camera) : reason;
}

void FakeCameras::kill(int camera) {
    QProcess& process = cameras_[static_cast<size_t>(camera)]->process;
    if (process.state() == QProcess::NotRunning)
        return;
    process.kill();
    process.waitForFinished(kStartLimit);
}

void FakeCameras::freeze(int camera) {
    const auto process = static_cast<pid_t>(cameras_[static_cast<size_t>(camera)]->process.processId());
    ::kill(process, SIGSTOP);
    // Each of its threads stops in its own time: until the last one has, it may answer.
    QDeadlineTimer limit(1000);
    const auto isStopped = [process] {
        const QDir threads(QStringLiteral("/proc/%1/task").arg(process));
        const QStringList names = threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        return std::all_of(names.begin(), names.end(), [&](const QString& name) {
            QFile file(threads.filePath(name + QStringLiteral("/stat")));
            // "pid (name) state ...", whatever the name.
            const QByteArray stat = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
            return stat.mid(stat.lastIndexOf(')') + 2, 1) == "T";
        });
    };
    while (!isStopped() && !limit.hasExpired())
        ::usleep(1000);
}

void FakeCameras::thaw(int camera) {
    ::kill(static_cast<pid_t>(cameras_[static_cast<size_t>(camera)]->process.processId()), SIGCONT);
}

QString FakeCameras::restart(int camera) {
    kill(camera);
    return start(camera);
}

QByteArray FakeCameras::configuration(const QStringList& all, const QStringList& library) const {
    QStringList addresses;
    for (int i = 0; i < count(); ++i)
        addresses.append(address(i));
    const QStringList lines = QStringList{"[Library]", "Addresses=" + addresses.join(", ")} + library +
                              QStringList{QString(), "[Camera]"} + all + QStringList{QString()};
    return lines.join('\n').toUtf8();
}

QString FakeCameras::writeConfiguration(const QString& folder, const QStringList& all,
                                        const QStringList& library) const {
    QFile file(QDir(folder).filePath(QStringLiteral("kvcap2-genicam.ini")));
    const QByteArray text = configuration(all, library);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(text) == text.size() &&
        file.flush())
        return {};
    return file.fileName() + ": " + file.errorString();
}
