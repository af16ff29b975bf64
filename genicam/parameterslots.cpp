// SPDX-License-Identifier: Apache-2.0
#include "parameterslots.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QSaveFile>

#include <cmath>
#include <cstdint>

#include "camerafeatures.h"

namespace kvgen {

namespace {

constexpr int kGreatestTimeout = 600000;    // ms
constexpr int kGreatestResolution = 1000;   // modes
constexpr int kGreatestSide = 1000000;      // px
constexpr qint64 kMaxFile = 1024LL * 1024;  // bytes
constexpr char kResolution[] = "Resolution";
constexpr char kWidth[] = "ResolutionWidth";
constexpr char kHeight[] = "ResolutionHeight";
constexpr char kInCamera[] = "inCamera";
constexpr char kValues[] = "values";

std::optional<int> wholeOf(const QJsonValue& value, int greatest) {
    const double number = value.toDouble(-1);
    if (number < 0 || number > greatest || number != std::floor(number))
        return std::nullopt;
    return static_cast<int>(number);
}

/// What the library itself keeps to, whatever the camera has in its memory.
bool isOfLibrary(CameraFeatures& features, Parameter parameter) {
    return parameter == Parameter::AntiFlicker || parameter == Parameter::Highspeed ||
           parameter == Parameter::Delay || !features.has(parameter);
}

/// What is left to be set when the camera has loaded its own set: of the camera's own features those that
/// were `stored` and are others now.
Status leftToSet(CameraFeatures& features, const ParameterValues& all, const ParameterValues& stored,
                 ParameterValues& values) {
    values = all;
    for (const Mapping& mapping : mappings()) {
        if (isOfLibrary(features, mapping.parameter))
            continue;
        auto& value = values[mapping.parameter];
        value = stored[mapping.parameter];
        double now = 0;
        const Status status = value ? features.read(mapping.parameter, now) : Status::Ok;
        if (status == Status::Disconnected)
            return status;
        if (status == Status::Ok && value == now)
            value.reset();
    }
    // Rounded to the lamp's pulses, the exposure in the camera is not the one to go back to.
    if (all[Parameter::AntiFlicker].value_or(0) != 0)
        values[Parameter::Exposure] = all[Parameter::Exposure];
    return Status::Ok;
}

/// The file's content; empty if there is no file yet. None: it cannot be read, `reason` says why.
std::optional<QJsonObject> readFile(const QString& name, QString& reason) {
    QFile file(name);
    if (!file.exists())
        return QJsonObject();
    if (!QFileInfo(name).isFile() || file.size() > kMaxFile) {
        reason = QStringLiteral("it is no file of parameters");
        return std::nullopt;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        reason = file.errorString();
        return std::nullopt;
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        reason = QStringLiteral("it is torn; the next save replaces it");
        return std::nullopt;
    }
    return document.object();
}

/// Empty, or what went wrong.
QString writeFile(const QString& name, const QJsonObject& content) {
    QSaveFile file(name);
    const QByteArray bytes = QJsonDocument(content).toJson();
    // Flushed apart: a commit forgets why it failed.
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush() && file.commit())
        return {};
    const QString reason = file.errorString();
    return reason.isEmpty() ? QStringLiteral("the disk has not taken it") : reason;
}

bool isSlot(int slot) {
    return slot >= 0 && slot < kParameterSlots;
}

}  // namespace

void ParameterValues::merge(const ParameterValues& other) {
    for (size_t i = 0; i < values.size(); ++i) {
        if (other.values[i])
            values[i] = other.values[i];
    }
    if (other.timeout)
        timeout = other.timeout;
    if (other.resolution) {
        resolution = other.resolution;
        resolutionSize = other.resolutionSize;
    }
}

bool operator==(const ParameterValues& a, const ParameterValues& b) {
    return a.values == b.values && a.timeout == b.timeout && a.resolution == b.resolution &&
           a.resolutionSize == b.resolutionSize;
}

std::optional<int> resolutionOf(const ParameterValues& values, const QVector<QSize>& sizes) {
    if (!values.resolution)
        return std::nullopt;
    const int mode = *values.resolution;
    const bool isThere = mode >= 0 && mode < sizes.size();
    if (isThere && (values.resolutionSize.isEmpty() || sizes[mode] == values.resolutionSize))
        return mode;
    const int other = values.resolutionSize.isEmpty() ? -1 : sizes.indexOf(values.resolutionSize);
    return other >= 0 ? std::make_optional(other) : std::nullopt;
}

QJsonObject toJson(const ParameterValues& values) {
    QJsonObject object;
    for (const Mapping& mapping : mappings()) {
        const auto& value = values[mapping.parameter];
        if (!value)
            continue;
        const QString name = QString::fromLatin1(mapping.name);
        if (isSwitch(mapping.parameter))
            object.insert(name, *value != 0);
        else
            object.insert(name, *value);
    }
    if (values.timeout)
        object.insert(QStringLiteral("Timeout"), *values.timeout);
    if (values.resolution)
        object.insert(QLatin1String(kResolution), *values.resolution);
    if (values.resolution && !values.resolutionSize.isEmpty()) {
        object.insert(QLatin1String(kWidth), values.resolutionSize.width());
        object.insert(QLatin1String(kHeight), values.resolutionSize.height());
    }
    return object;
}

ParameterValues fromJson(const QJsonObject& object) {
    ParameterValues values;
    for (const Mapping& mapping : mappings()) {
        const QJsonValue value = object.value(QString::fromLatin1(mapping.name));
        if (isSwitch(mapping.parameter)) {
            if (value.isBool())
                values[mapping.parameter] = value.toBool() ? 1 : 0;
        } else if (value.isDouble()) {
            values[mapping.parameter] = accepted(mapping.parameter, value.toDouble());
        }
    }
    values.timeout = wholeOf(object.value(QStringLiteral("Timeout")), kGreatestTimeout);
    values.resolution = wholeOf(object.value(QLatin1String(kResolution)), kGreatestResolution);
    const auto width = wholeOf(object.value(QLatin1String(kWidth)), kGreatestSide);
    const auto height = wholeOf(object.value(QLatin1String(kHeight)), kGreatestSide);
    if (values.resolution && width && height && *width > 0 && *height > 0)
        values.resolutionSize = QSize(*width, *height);
    return values;
}

QString slotsFile(const QByteArray& serial) {
    // Also "_", "." and "~" are encoded, so that no name is hidden or special anywhere.
    const QByteArray name = serial.toPercentEncoding({}, "._~");
    return QStringLiteral("kvcap2-genicam-%1.json").arg(QString::fromLatin1(name));
}

Status saveSlot(CameraFeatures& features, const QByteArray& serial, int slot, const ParameterValues& wanted) {
    if (!isSlot(slot))
        return Status::BadArgument;
    const bool isInCamera = features.hasUserSet(slot + 1);
    if (isInCamera) {
        const Status status = features.saveUserSet(slot + 1);
        if (status != Status::Ok)
            return status;
    }
    const QString name = slotsFile(serial);
    QString reason;
    QJsonObject all = readFile(name, reason).value_or(QJsonObject());
    all.insert(QString::number(slot),
               QJsonObject{{QLatin1String(kInCamera), isInCamera}, {QLatin1String(kValues), toJson(wanted)}});
    reason = writeFile(name, all);
    if (reason.isEmpty())
        return Status::Ok;
    qWarning().noquote() << "KVCap2: camera" << QString::fromLatin1(serial.toPercentEncoding())
                         << "- its parameters cannot be written to" << name + QLatin1Char(':') << reason;
    return Status::StorageFailure;
}

Status loadSlot(CameraFeatures& features, const QByteArray& serial, int slot, const ParameterValues& asOpened,
                LoadedSlot& loaded) {
    if (!isSlot(slot))
        return Status::BadArgument;
    const QString name = slotsFile(serial);
    QString reason;
    const auto all = readFile(name, reason);
    if (!all) {
        qWarning().noquote() << "KVCap2: camera" << QString::fromLatin1(serial.toPercentEncoding())
                             << "- its parameters cannot be read from" << name + QLatin1Char(':') << reason;
        return Status::StorageFailure;
    }
    const QJsonValue entry = all->value(QString::number(slot));
    const bool isStored = entry.isObject();
    LoadedSlot result;
    result.values = asOpened;
    ParameterValues stored;
    if (isStored)
        stored = fromJson(entry.toObject().value(QLatin1String(kValues)).toObject());
    result.values.merge(stored);
    // A slot that went to the file because the camera had no such set then is not in the camera now.
    const bool isOnlyInFile = isStored && !entry.toObject().value(QLatin1String(kInCamera)).toBool();
    if (!isOnlyInFile && features.hasUserSet(slot + 1)) {
        Status status = features.loadUserSet(slot + 1);
        ParameterValues left;
        if (status == Status::Ok)
            status = leftToSet(features, result.values, stored, left);
        if (status != Status::Ok)
            return status;
        result.isFromCamera = true;
        result.values = left;
    }
    loaded = result;
    return Status::Ok;
}

}  // namespace kvgen
