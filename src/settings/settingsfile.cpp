#include "settings/settingsfile.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QTextCodec>

namespace {

/// What a configuration file's bytes are worth.
enum class Content { Ini, IniWithStrayLines, Foreign };

bool isUtf8(const QByteArray& bytes) {
    QTextCodec::ConverterState state;
    QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
}

/// Looks at the lines by itself: QSettings calls a byte order mark and a "#" comment errors, too.
Content contentOf(const QByteArray& bytes) {
    if (bytes.contains('\0') || !isUtf8(bytes))
        return Content::Foreign;
    bool hasKeys = false;
    bool hasStrayLines = false;
    const auto lines = (bytes.startsWith("\xef\xbb\xbf") ? bytes.mid(3) : bytes).split('\n');
    for (const QByteArray& line : lines) {
        const QByteArray text = line.trimmed();
        if (text.isEmpty() || text.startsWith(';') || text.startsWith('#') || text.startsWith('['))
            continue;
        (text.contains('=') ? hasKeys : hasStrayLines) = true;
    }
    if (!hasStrayLines)
        return Content::Ini;
    return hasKeys ? Content::IniWithStrayLines : Content::Foreign;
}

/// Says which numbers are none. They count as 0, which is rarely what was meant.
void warnOfTextInNumbers(const QSettings& settings) {
    for (const auto& key : keys::all()) {
        const auto type = key.fallback.type();
        bool isNumber = true;
        if (settings.contains(key.name) && (type == QVariant::Int || type == QVariant::Double))
            settings.value(key.name).toDouble(&isNumber);
        if (!isNumber)
            qWarning("%s is no number; taken as 0", qUtf8Printable(key.name));
    }
}

}  // namespace

SettingsFile::SettingsFile(const QString& fileName, QObject* parent)
    : QSettings(fileName, QSettings::IniFormat, parent) {
    setIniCodec("UTF-8");
    const QFileInfo info(fileName);
    if (!info.exists() && !info.isSymLink())
        return;
    QFile file(fileName);
    const bool isReadable = info.isFile() && file.open(QIODevice::ReadOnly);
    const Content content = isReadable ? contentOf(file.readAll()) : Content::Foreign;
    intact = content != Content::Foreign;
    keepCopy = content == Content::IniWithStrayLines;
    if (!intact)
        qWarning("%s cannot be understood; it stays as it is and changes of this run are not kept",
                 qUtf8Printable(fileName));
    warnOfTextInNumbers(*this);
}

/// Whether the file may be written; keeps a copy first of what the writing would lose.
bool SettingsFile::prepareWrite() {
    if (keepCopy) {
        const QString copy = fileName() + QStringLiteral(".bak");
        QFile::remove(copy);
        keepCopy = !QFile::copy(fileName(), copy);
        if (keepCopy)
            qWarning("%s has lines that are no settings and cannot be copied; it stays as it is",
                     qUtf8Printable(fileName()));
        else
            qWarning("%s had lines that are no settings; the old file is %s", qUtf8Printable(fileName()),
                     qUtf8Printable(copy));
    }
    return intact && !keepCopy;
}

template <>
QString SettingsFile::read(const SettingKey<QString>& key) const {
    const QVariant stored = value(key.name, key.fallback);
    if (stored.type() == QVariant::StringList)
        return stored.toStringList().join(QLatin1Char(','));
    return stored.toString();
}

void SettingsFile::store(const QString& name, const QVariant& newValue) {
    if (prepareWrite())
        setValue(name, newValue);
}

void SettingsFile::removeKeys(const QStringList& names) {
    if (!prepareWrite())
        return;
    for (const QString& name : names)
        remove(name);
    flush();
}

void SettingsFile::flush() {
    if (!intact)
        return;
    sync();
    // Not any other status: what was odd about the file when it was read stays on record there.
    if (status() != QSettings::AccessError) {
        failureLogged = false;
    } else if (!failureLogged) {
        failureLogged = true;
        qWarning("%s cannot be written", qUtf8Printable(fileName()));
    }
}
