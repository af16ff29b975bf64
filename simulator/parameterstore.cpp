// SPDX-License-Identifier: Apache-2.0
#include "parameterstore.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QMutexLocker>
#include <QSaveFile>
#include <QString>

namespace kvsim {

namespace {

QString fileName() {
    return QStringLiteral("kvcap2-slots.json");
}

/// Serial numbers may be any bytes, keys are text.
QString keyOf(const QByteArray& serial) {
    return QString::fromLatin1(serial.toPercentEncoding());
}

std::optional<QJsonObject> readAll() {
    QFile file(fileName());
    if (!file.exists())
        return QJsonObject();
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    return document.object();
}

}  // namespace

std::optional<QJsonObject> ParameterStore::load(const QByteArray& serial, int slot) {
    const QMutexLocker lock(&mutex_);
    const auto all = readAll();
    if (!all)
        return std::nullopt;
    return all->value(keyOf(serial)).toObject().value(QString::number(slot)).toObject();
}

ParameterStore::Result ParameterStore::save(const QByteArray& serial, int slot, const QJsonObject& content) {
    const QMutexLocker lock(&mutex_);
    // A file that is torn is given up: a camera whose memory is bad can still be written.
    QJsonObject all = readAll().value_or(QJsonObject());
    QJsonObject slots_ = all.value(keyOf(serial)).toObject();
    slots_.insert(QString::number(slot), content);
    all.insert(keyOf(serial), slots_);

    QSaveFile file(fileName());
    if (!file.open(QIODevice::WriteOnly))
        return Result::Failed;
    file.write(QJsonDocument(all).toJson());
    return file.commit() ? Result::Ok : Result::Failed;
}

}  // namespace kvsim
