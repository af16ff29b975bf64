#include "settings/settingsfile.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QTextCodec>

namespace {

/// Whether the bytes of the file are text that a later writing would reproduce.
bool isUtf8Text(const QString& fileName) {
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = file.readAll();
    if (bytes.contains('\0'))
        return false;
    QTextCodec::ConverterState state;
    QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
}

}  // namespace

SettingsFile::SettingsFile(const QString& fileName, QObject* parent)
    : QSettings(fileName, QSettings::IniFormat, parent) {
    setIniCodec("UTF-8");
    const QFileInfo info(fileName);
    if (info.exists() || info.isSymLink()) {
        allKeys();  // the sections are parsed at their first use: now, so that status() knows
        intact = isUtf8Text(fileName) && status() == QSettings::NoError;
        if (!intact)
            qWarning("%s cannot be understood; it stays as it is and changes of this run are not kept",
                     qUtf8Printable(fileName));
    }
}

template <>
QString SettingsFile::read(const SettingKey<QString>& key) const {
    const QVariant stored = value(key.name, key.fallback);
    if (stored.type() == QVariant::StringList)
        return stored.toStringList().join(QLatin1Char(','));
    return stored.toString();
}

void SettingsFile::store(const QString& name, const QVariant& newValue) {
    if (intact)
        setValue(name, newValue);
}

void SettingsFile::removeKeys(const QStringList& names) {
    if (!intact)
        return;
    for (const QString& name : names)
        remove(name);
    flush();
}

void SettingsFile::flush() {
    if (!intact)
        return;
    sync();
    if (status() == QSettings::NoError) {
        failureLogged = false;
    } else if (!failureLogged) {
        failureLogged = true;
        qWarning("%s cannot be written", qUtf8Printable(fileName()));
    }
}
