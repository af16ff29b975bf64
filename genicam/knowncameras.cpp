// SPDX-License-Identifier: Apache-2.0
#include "knowncameras.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include "configuration.h"

namespace kvgen {

namespace {

constexpr char kCameras[] = "cameras";
constexpr qint64 kMaxFile = 64LL * 1024;  // bytes
constexpr int kMaxCameras = 64;
constexpr int kMaxName = 256;  // bytes

}  // namespace

KnownCameras::KnownCameras(QString file) : file_(std::move(file)) {
    read();
}

void KnownCameras::read() {
    const QFileInfo info(file_);
    if (!info.exists())
        return;
    QString reason;
    QJsonObject root;
    QFile file(file_);
    if (!info.isFile() || info.size() > kMaxFile) {
        reason = QStringLiteral("it is no such file");
    } else if (!file.open(QIODevice::ReadOnly)) {
        reason = file.errorString();
    } else {
        QJsonParseError error{};
        root = QJsonDocument::fromJson(file.readAll(), &error).object();
        if (error.error != QJsonParseError::NoError)
            reason = error.errorString();
        else if (!root.value(QLatin1String(kCameras)).isObject())
            reason = QStringLiteral("it has no \"cameras\"");
    }
    if (!reason.isEmpty()) {
        qWarning().noquote()
            << QStringLiteral(
                   "KVCap2: which camera was where cannot be read from %1: %2. It is written "
                   "anew when cameras are open")
                   .arg(file_, reason);
        return;
    }
    const QJsonObject cameras = root.value(QLatin1String(kCameras)).toObject();
    for (auto it = cameras.begin(); it != cameras.end() && serials_.size() < kMaxCameras; ++it) {
        const QByteArray serial = it.value().toString().toUtf8();
        const QByteArray name = it.key().toUtf8();
        if (isSerial(serial) && name.size() <= kMaxName)
            serials_.insert(name, serial);
    }
}

QByteArray KnownCameras::serialOf(const QByteArray& name) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return serials_.value(name);
}

void KnownCameras::remember(const QByteArray& name, const QByteArray& serial, const QSet<QByteArray>& here) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!isSerial(serial) || serials_.value(name) == serial)
        return;
    for (auto it = serials_.begin(); it != serials_.end();) {
        const bool hasMoved = it.value() == serial || serials_.size() >= kMaxCameras;
        it = hasMoved && !here.contains(it.key()) ? serials_.erase(it) : std::next(it);
    }
    serials_.insert(name, serial);
    write();
}

/// Under `mutex_`.
void KnownCameras::write() {
    QJsonObject cameras;
    for (auto it = serials_.cbegin(); it != serials_.cend(); ++it)
        cameras.insert(QString::fromUtf8(it.key()), QString::fromLatin1(it.value()));
    const QByteArray text = QJsonDocument(QJsonObject{{QLatin1String(kCameras), cameras}}).toJson();
    QSaveFile file(file_);
    if (file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.commit())
        return;
    if (!isReported_)
        qWarning().noquote()
            << QStringLiteral(
                   "KVCap2: which camera is where cannot be written to %1: %2. The next start "
                   "needs every camera switched on")
                   .arg(file_, file.errorString());
    isReported_ = true;
}

QString knownCamerasFile() {
    return QDir::current().absoluteFilePath(QStringLiteral("kvcap2-genicam-cameras.json"));
}

}  // namespace kvgen
