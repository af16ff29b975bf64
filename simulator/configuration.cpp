// SPDX-License-Identifier: Apache-2.0
#include "configuration.h"

#include <QDebug>
#include <QFileInfo>
#include <QSet>
#include <QSettings>
#include <QStringList>

#include <cmath>
#include <limits>

#include "camera/kvcap2.h"

namespace kvsim {

namespace {

constexpr int kDefaultCameras = 4;
constexpr int kMaxModes = 32;
constexpr int kMaxSide = 4096;  // px
constexpr double kMaxRate = 1000;
constexpr double kMaxPhase = 60000;  // ms
constexpr double kMaxJitter = 1000;  // ms
constexpr int64_t kMaxMilliseconds = 24LL * 3600 * 1000;
constexpr int64_t kMaxFrames = std::numeric_limits<int32_t>::max();
constexpr char kDefaultModes[] = "2560x1440,1920x1080,1280x720,640x480,1001x601";

/// "CableOutFor" -> "CABLE_OUT_FOR"
QByteArray variableName(const char* key) {
    QByteArray name;
    for (const char* c = key; *c != 0; ++c) {
        const bool isUpper = *c >= 'A' && *c <= 'Z';
        if (isUpper && !name.isEmpty())
            name += '_';
        name += isUpper ? *c : static_cast<char>(*c - 'a' + 'A');
    }
    return name;
}

/// The two sources as one: looks keys up, converts, and complains about what it cannot use.
class Source {
public:
    Source(const QString& iniFile, const Environment& environment)
        : file_(iniFile, QSettings::IniFormat), environment_(environment) {
        file_.setIniCodec("UTF-8");
        if (file_.status() != QSettings::NoError)
            qWarning().noquote() << "KVCap2: cannot read" << iniFile;
    }

    /// Sections that the following keys come from: the first one that has the key counts.
    void setSections(const QStringList& sections) { sections_ = sections; }

    QString text(const char* key, const QString& fallback) {
        const QString found = lookUp(key);
        return found.isNull() ? fallback : found;
    }

    bool flag(const char* key, bool fallback) {
        const QString found = lookUp(key).toLower();
        if (found.isNull())
            return fallback;
        if (QStringList{"1", "true", "yes", "on"}.contains(found))
            return true;
        if (QStringList{"0", "false", "no", "off", ""}.contains(found))
            return false;
        complain(key, found);
        return fallback;
    }

    int64_t integer(const char* key, int64_t fallback, int64_t low, int64_t high) {
        const QString found = lookUp(key);
        if (found.isNull())
            return fallback;
        bool isNumber = false;
        const qlonglong value = found.toLongLong(&isNumber);
        if (isNumber && value >= low && value <= high)
            return value;
        complain(key, found);
        return fallback;
    }

    double real(const char* key, double fallback, double low, double high) {
        const QString found = lookUp(key);
        if (found.isNull())
            return fallback;
        bool isNumber = false;
        const double value = found.toDouble(&isNumber);
        if (isNumber && value >= low && value <= high)
            return value;
        complain(key, found);
        return fallback;
    }

    /// Says which keys of the file nobody asked for: most often they are misspelt.
    void complainAboutUnknownKeys() const {
        for (const QString& key : file_.allKeys()) {
            if (!known_.contains(key))
                qWarning().noquote() << "KVCap2: unknown key" << key << "in" << file_.fileName();
        }
    }

    /// Once for each value, however many cameras it is for.
    void complain(const char* key, const QString& value) {
        const QString text = QStringLiteral("%1 = \"%2\"").arg(QLatin1String(key), value);
        if (complaints_.contains(text))
            return;
        complaints_.insert(text);
        qWarning().noquote() << "KVCap2:" << text << "makes no sense, the default is used";
    }

private:
    QString lookUp(const char* key) {
        const QByteArray variable = variableName(key);
        QString found;
        for (const QString& section : qAsConst(sections_)) {
            known_.insert(section + QLatin1Char('/') + QLatin1String(key));
            const bool isOneCamera = section.startsWith(QLatin1String("Camera")) && section.size() > 6;
            const QByteArray prefix = isOneCamera ? QByteArray("KVCAP2_") + section.toUpper().toLatin1() + '_'
                                                  : QByteArray("KVCAP2_");
            if (found.isNull())
                found = environment_((prefix + variable).constData());
        }
        for (const QString& section : qAsConst(sections_)) {
            const QString path = section + QLatin1Char('/') + QLatin1String(key);
            // A list is what an INI file makes of a value with bare commas.
            if (found.isNull() && file_.contains(path))
                found = file_.value(path).toStringList().join(QLatin1Char(','));
        }
        return found.isNull() ? found : found.trimmed();
    }

    QSettings file_;
    Environment environment_;
    QStringList sections_;
    QSet<QString> known_;
    QSet<QString> complaints_;
};

QVector<QSize> parsedModes(const QString& text) {
    QVector<QSize> modes;
    const QStringList entries = text.split(QLatin1Char(','));
    for (const QString& entry : entries) {
        const QStringList sides = entry.trimmed().toLower().split(QLatin1Char('x'));
        bool isWidth = false;
        bool isHeight = false;
        const int width = sides.value(0).toInt(&isWidth);
        const int height = sides.value(1).toInt(&isHeight);
        if (sides.size() != 2 || !isWidth || !isHeight || width < 1 || height < 1 || width > kMaxSide ||
            height > kMaxSide)
            return {};
        modes.append(QSize(width, height));
    }
    return modes.size() <= kMaxModes ? modes : QVector<QSize>();
}

QVector<QSize> readModes(Source& source) {
    const QString text = source.text("Modes", QString());
    if (!text.isNull()) {
        const QVector<QSize> modes = parsedModes(text);
        if (!modes.isEmpty())
            return modes;
        source.complain("Modes", text);
    }
    return parsedModes(QLatin1String(kDefaultModes));
}

QByteArray readSerial(Source& source, int index) {
    const QByteArray standard = QByteArray("KV25") + QByteArray::number(index + 1).rightJustified(8, '0');
    QByteArray serial = source.text("Serial", QString::fromLatin1(standard)).toUtf8();
    if (serial.size() > kSerialNumberLength) {
        source.complain("Serial", QString::fromUtf8(serial));
        serial = standard;
    }
    return serial;
}

FaultPlan readFaults(Source& source, int modes) {
    FaultPlan plan;
    plan.initFails = source.flag("InitFails", plan.initFails);
    plan.noFrames = source.flag("NoFrames", plan.noFrames);
    plan.failEvery = source.integer("FailEvery", plan.failEvery, 0, kMaxFrames);
    plan.cableOutAtFrame = source.integer("CableOutAtFrame", plan.cableOutAtFrame, -1, kMaxFrames);
    plan.cableOutAtTime = source.integer("CableOutAtTime", plan.cableOutAtTime, -1, kMaxMilliseconds);
    plan.cableOutFor = source.integer("CableOutFor", plan.cableOutFor, -1, kMaxMilliseconds);
    plan.sizeChangeAfter = source.integer("SizeChangeAfter", plan.sizeChangeAfter, 0, kMaxFrames);
    plan.sizeChangeMode = static_cast<int>(
        source.integer("SizeChangeMode", qMin(plan.sizeChangeMode, modes - 1), 0, modes - 1));
    plan.slowQuery = source.integer("SlowQuery", plan.slowQuery, 0, kMaxMilliseconds);
    plan.garbageSerial = source.flag("GarbageSerial", plan.garbageSerial);
    return plan;
}

CameraConfiguration readCamera(Source& source, int index) {
    source.setSections({QStringLiteral("Camera%1").arg(index), QStringLiteral("Camera")});
    CameraConfiguration camera;
    camera.serial = readSerial(source, index);
    camera.rate = source.real("Rate", camera.rate, 0, kMaxRate);
    camera.phase = source.real("Phase", camera.phase, 0, kMaxPhase);
    camera.jitter = source.real("Jitter", camera.jitter, 0, kMaxJitter);
    camera.modes = readModes(source);
    camera.mode = static_cast<int>(source.integer("Mode", 0, 0, camera.modes.size() - 1));
    camera.autoExposure = source.flag("AutoExposure", camera.autoExposure);
    camera.autoGain = source.flag("AutoGain", camera.autoGain);
    camera.faults = readFaults(source, camera.modes.size());
    return camera;
}

Arrangement readArrangement(Source& source) {
    const QString text = source.text("Arrangement", QStringLiteral("row")).toLower();
    if (text == QLatin1String("grid"))
        return Arrangement::Grid;
    if (text != QLatin1String("row"))
        source.complain("Arrangement", text);
    return Arrangement::Row;
}

}  // namespace

Configuration readConfiguration(const QString& iniFile, const Environment& environment) {
    Source source(iniFile, environment);
    Configuration configuration;

    source.setSections({QStringLiteral("Library")});
    const auto count = static_cast<int>(source.integer("Count", kDefaultCameras, 0, kMaxCameras));
    configuration.arrangement = readArrangement(source);
    configuration.seed = static_cast<uint32_t>(
        source.integer("Seed", configuration.seed, 0, std::numeric_limits<uint32_t>::max()));
    configuration.groundTruth = source.text("GroundTruth", QString());

    source.setSections({QStringLiteral("Scene")});
    configuration.image = source.text("Image", QString());
    configuration.moving = source.flag("Moving", configuration.moving);
    configuration.noise = source.real("Noise", configuration.noise, 0, 50);
    configuration.mainsFrequency =
        static_cast<int>(source.integer("MainsFrequency", configuration.mainsFrequency, 1, 1000));
    configuration.flicker = source.real("Flicker", configuration.flicker, 0, 1);
    configuration.perspective = source.real("Perspective", configuration.perspective, 0, 3);

    // Also the sections of cameras that are not attached are read, so that their keys are known ones.
    for (int i = 0; i < kMaxCameras; ++i) {
        const CameraConfiguration camera = readCamera(source, i);
        if (i < count)
            configuration.cameras.append(camera);
    }
    source.complainAboutUnknownKeys();
    return configuration;
}

Configuration readConfiguration() {
    const auto variable = [](const char* name) {
        return qEnvironmentVariableIsSet(name) ? qEnvironmentVariable(name, QLatin1String("")) : QString();
    };
    QString file = variable("KVCAP2_CONFIG");
    if (file.isNull())
        file = QStringLiteral("kvcap2.ini");
    else if (!QFileInfo::exists(file))
        qWarning().noquote() << "KVCap2: there is no configuration file" << file;
    return readConfiguration(QFileInfo(file).absoluteFilePath(), variable);
}

}  // namespace kvsim
