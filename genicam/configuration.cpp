// SPDX-License-Identifier: Apache-2.0
#include "configuration.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>
#include <QSettings>

#include <algorithm>

#include "network.h"

namespace kvgen {

namespace {

constexpr int kCameras = 8;
constexpr int kMaxRegions = 32;
constexpr int kMaxSide = 65535;                  // px
constexpr qint64 kMaxFile = 1024LL * 1024;       // bytes
constexpr int kMaxUnknown = 20;                  // lines about unknown keys
constexpr int64_t kMaxPacketDelay = 1000000000;  // ns
constexpr int kMaxSerial = 64;                   // characters
constexpr int kMaxShown = 80;                    // characters of a value in a line of the log

/// One line, whatever is in it.
QString shown(QString text) {
    const bool isLong = text.size() > kMaxShown;
    text.truncate(kMaxShown);
    for (QChar& c : text) {
        if (!c.isPrint())
            c = QLatin1Char('?');
    }
    return isLong ? text + QStringLiteral("...") : text;
}

/// A GenICam name: a feature's, an entry's.
bool isName(const QString& text) {
    const auto isPart = [](QChar c) {
        return c.unicode() < 128 && (c.isLetterOrNumber() || c == QLatin1Char('_'));
    };
    return !text.isEmpty() && text.size() <= 64 && std::all_of(text.begin(), text.end(), isPart);
}

/// An address or the name of a device: one word, or several ("Maker-Model with blanks-Serial").
bool isDeviceName(const QString& text) {
    return text.size() <= 256 && std::all_of(text.begin(), text.end(), [](QChar c) { return c.isPrint(); });
}

QStringList entriesOf(const QString& text) {
    QStringList entries;
    const QStringList parts = text.split(QLatin1Char(','));
    for (const QString& part : parts) {
        if (!part.trimmed().isEmpty())
            entries.append(part.trimmed());
    }
    return entries;
}

/// What has only an address's characters is meant as one; so are several without commas between them.
bool isBrokenAddress(const QString& text) {
    static const QRegularExpression kBlanks(QStringLiteral("\\s+"));
    static const QRegularExpression kAddress(QStringLiteral("^[0-9.:/]*[.:/][0-9.:/]*$"));
    const QStringList words = text.split(kBlanks);
    const auto isWhole = [](const QString& word) { return ipv4Of(word.toLatin1()).has_value(); };
    const auto isAlike = [](const QString& word) { return kAddress.match(word).hasMatch(); };
    return !isWhole(text) && (std::any_of(words.begin(), words.end(), isWhole) ||
                              std::all_of(words.begin(), words.end(), isAlike));
}

/// Looks keys up, converts, and complains about what it cannot use.
class Source {
public:
    explicit Source(const QString& file) : file_(file, QSettings::IniFormat) {
        file_.setIniCodec("UTF-8");
        if (file_.status() != QSettings::NoError)
            qWarning().noquote() << "KVCap2: cannot read all of" << file << "- see that it is a text file";
    }

    /// The section that the following keys come from.
    void setSection(const QString& section) { section_ = section; }

    /// A null string where there is no such key.
    QString lookUp(const char* key) {
        const QString path = section_ + QLatin1Char('/') + QLatin1String(key);
        known_.insert(path);
        if (!file_.contains(path))
            return {};
        // A list is what an INI file makes of a value with bare commas.
        const QString found = file_.value(path).toStringList().join(QLatin1Char(',')).trimmed();
        return found.isNull() ? QStringLiteral("") : found;
    }

    std::optional<int64_t> integer(const char* key, int64_t low, int64_t high) {
        const QString found = lookUp(key);
        if (found.isNull())
            return std::nullopt;
        bool isNumber = false;
        const qlonglong value = found.toLongLong(&isNumber);
        if (isNumber && value >= low && value <= high)
            return value;
        complain(key, found);
        return std::nullopt;
    }

    std::optional<double> real(const char* key, double low, double high) {
        const QString found = lookUp(key);
        if (found.isNull())
            return std::nullopt;
        bool isNumber = false;
        const double value = found.toDouble(&isNumber);
        if (isNumber && value >= low && value <= high)
            return value;
        complain(key, found);
        return std::nullopt;
    }

    void name(const char* key, QByteArray& target) {
        const QString found = lookUp(key);
        if (found.isNull())
            return;
        if (isName(found))
            target = found.toLatin1();
        else
            complain(key, found);
    }

    void complain(const char* key, const QString& value) const {
        qWarning().noquote() << QStringLiteral("KVCap2: %1/%2 = \"%3\" in %4 makes no sense and is left out")
                                    .arg(section_, QLatin1String(key), shown(value), file_.fileName());
    }

    QString fileName() const { return file_.fileName(); }

    /// Says which keys nobody asked for: most often they are misspelt.
    void complainAboutUnknownKeys() const {
        int unknown = 0;
        const QStringList keys = file_.allKeys();
        for (const QString& key : keys) {
            if (!known_.contains(key) && ++unknown <= kMaxUnknown)
                qWarning().noquote() << "KVCap2: unknown key" << shown(key) << "in" << file_.fileName();
        }
        if (unknown > kMaxUnknown)
            qWarning().noquote() << "KVCap2:" << unknown - kMaxUnknown << "more unknown keys in"
                                 << file_.fileName();
    }

private:
    QSettings file_;
    QString section_;
    QSet<QString> known_;
};

bool parseSize(const QString& text, int& width, int& height) {
    const QStringList sides = text.split(QLatin1Char('x'));
    bool isWidth = false;
    bool isHeight = false;
    width = sides.value(0).toInt(&isWidth);
    height = sides.value(1).toInt(&isHeight);
    return sides.size() == 2 && isWidth && isHeight && width >= 1 && width <= kMaxSide && height >= 1 &&
           height <= kMaxSide;
}

/// "1280x1024+100+50" or "640x480"; null: neither.
std::optional<QRect> parsedRegion(const QString& text) {
    const QStringList parts = text.toLower().split(QLatin1Char('+'));
    int width = 0;
    int height = 0;
    if ((parts.size() != 1 && parts.size() != 3) || !parseSize(parts[0].trimmed(), width, height))
        return std::nullopt;
    if (parts.size() == 1)
        return QRect(-1, -1, width, height);
    bool isX = false;
    bool isY = false;
    const int x = parts[1].toInt(&isX);
    const int y = parts[2].toInt(&isY);
    if (!isX || !isY || x < 0 || x > kMaxSide || y < 0 || y > kMaxSide)
        return std::nullopt;
    return QRect(x, y, width, height);
}

void readRegions(Source& source, QVector<QRect>& regions) {
    const QString text = source.lookUp("Regions");
    if (text.isNull())
        return;
    const QStringList entries = entriesOf(text);
    QVector<QRect> found;
    for (const QString& entry : entries) {
        const auto region = parsedRegion(entry);
        if (!region || found.size() == kMaxRegions) {
            source.complain("Regions", text);
            return;
        }
        found.append(*region);
    }
    regions = found;
}

void readInLibrary(Source& source, InLibrary& inLibrary) {
    const QString text = source.lookUp("InLibrary");
    if (text.isNull())
        return;
    InLibrary found;
    const QStringList entries = entriesOf(text.toLower());
    for (const QString& entry : entries) {
        if (entry == QLatin1String("gamma"))
            found.gamma = true;
        else if (entry == QLatin1String("contrast"))
            found.contrast = true;
        else if (entry == QLatin1String("saturation"))
            found.saturation = true;
        else if (entry == QLatin1String("blacklevel"))
            found.blackLevel = true;
        else if (entry == QLatin1String("mirrors"))
            found.mirrors = true;
        else {
            source.complain("InLibrary", text);
            return;
        }
    }
    inLibrary = found;
}

CameraConfiguration readCamera(Source& source, const QString& section, CameraConfiguration camera) {
    source.setSection(section);
    if (const auto size = source.integer("PacketSize", 576, 16000))
        camera.packetSize = static_cast<int>(*size);
    if (const auto delay = source.integer("PacketDelay", 0, kMaxPacketDelay))
        camera.packetDelay = *delay;
    if (const auto bytes = source.integer("SocketBuffer", 64LL * 1024, 256LL * 1024 * 1024))
        camera.socketBuffer = static_cast<int>(*bytes);
    if (const auto rate = source.real("FrameRate", 0.01, 10000))
        camera.frameRate = rate;
    source.name("PixelFormat", camera.pixelFormat);
    source.name("TriggerSource", camera.triggerSource);
    readRegions(source, camera.regions);
    camera.exposureUnit = source.real("ExposureUnit", 0.001, 1e6).value_or(camera.exposureUnit);
    readInLibrary(source, camera.inLibrary);
    return camera;
}

QStringList readAddresses(Source& source) {
    const QString text = source.lookUp("Addresses");
    if (text.isNull())
        return {};
    QStringList addresses = entriesOf(text);
    if (addresses.size() > kCameras || !std::all_of(addresses.begin(), addresses.end(), isDeviceName)) {
        source.complain("Addresses", text);
        return {};
    }
    QStringList result;
    for (const QString& address : qAsConst(addresses)) {
        if (isBrokenAddress(address))
            qWarning().noquote() << QStringLiteral(
                                        "KVCap2: Addresses in %1: \"%2\" is no address and is left out; an "
                                        "address is four numbers up to 255, and commas are between two")
                                        .arg(source.fileName(), shown(address));
        else if (result.contains(address, Qt::CaseInsensitive))
            qWarning().noquote() << QStringLiteral(
                                        "KVCap2: Addresses in %1: \"%2\" is there twice; it is taken once")
                                        .arg(source.fileName(), shown(address));
        else
            result.append(address);
    }
    return result;
}

/// What a semicolon cuts off is a comment, unless it is an address, too.
void complainAboutSemicolons(const QString& name) {
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return;
    static const QRegularExpression kCutOff(QStringLiteral("^\\s*Addresses\\s*=[^\";]*;(.*)$"));
    static const QRegularExpression kSeparators(QStringLiteral("[\\s,;]+"));
    while (!file.atEnd()) {
        const QString comment = kCutOff.match(QString::fromUtf8(file.readLine()).trimmed()).captured(1);
        const QStringList words = comment.split(kSeparators);
        if (std::any_of(words.begin(), words.end(),
                        [](const QString& word) { return ipv4Of(word.toLatin1()).has_value(); }))
            qWarning().noquote()
                << QStringLiteral(
                       "KVCap2: Addresses in %1: what follows the semicolon (%2) is a comment; "
                       "put commas between addresses")
                       .arg(name, shown(comment.trimmed()));
    }
}

/// Only where addresses say which camera has which number.
QByteArray readSerial(Source& source, bool hasAddresses) {
    const QString text = source.lookUp("Serial");
    if (text.isNull())
        return {};
    const QByteArray serial = text.toUtf8();
    if (!isSerial(serial)) {
        source.complain("Serial", text);
        return {};
    }
    if (!hasAddresses)
        qWarning().noquote() << "KVCap2: Serial in" << source.fileName()
                             << "is left out: cameras are looked for, there are no Addresses";
    return hasAddresses ? serial : QByteArray();
}

Configuration defaults() {
    Configuration configuration;
    configuration.cameras.fill(configuration.all, kCameras);
    return configuration;
}

}  // namespace

bool isSerial(const QByteArray& text) {
    return !text.isEmpty() && text.size() <= kMaxSerial &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
}

Configuration readConfiguration(const QString& file) {
    const QFileInfo info(file);
    if (!info.exists())
        return defaults();
    // Neither a folder, nor a pipe that nobody ends, nor what somebody dropped there by mistake.
    if (!info.isFile() || info.size() > kMaxFile) {
        qWarning().noquote() << "KVCap2:" << file << "is no configuration file, the defaults are used";
        return defaults();
    }
    if (!info.isReadable())
        qWarning().noquote() << "KVCap2: cannot read" << file << "- the defaults are used";

    Source source(info.absoluteFilePath());
    Configuration configuration;
    configuration.file = info.fileName();
    source.setSection(QStringLiteral("Library"));
    configuration.addresses = readAddresses(source);
    configuration.answerWithin =
        static_cast<int>(source.integer("AnswerWithin", 10, 5000).value_or(configuration.answerWithin));

    configuration.all = readCamera(source, QStringLiteral("Camera"), configuration.all);
    for (int i = 0; i < kCameras; ++i) {
        configuration.cameras.append(
            readCamera(source, QStringLiteral("Camera%1").arg(i), configuration.all));
        configuration.cameras.last().serial = readSerial(source, !configuration.addresses.isEmpty());
    }
    complainAboutSemicolons(info.absoluteFilePath());
    source.complainAboutUnknownKeys();
    return configuration;
}

QString configurationFile() {
    const QString named = qEnvironmentVariable("KVCAP2_GENICAM_CONFIG");
    if (named.isEmpty())
        return QDir::current().absoluteFilePath(QStringLiteral("kvcap2-genicam.ini"));
    if (!QFileInfo::exists(named))
        qWarning().noquote() << "KVCap2: there is no configuration file" << named;
    return QDir::current().absoluteFilePath(named);
}

}  // namespace kvgen
