#pragma once

#include <QSettings>
#include <QStringList>
#include <type_traits>

#include "settings/settingkeys.h"

/// The configuration file `setting.ini`: INI, UTF-8, one object for the GUI thread for the whole run. Another
/// thread makes an object of its own on the same file; `QSettings` keeps the two consistent.
///
/// A file that is there but cannot be understood (not readable, binary, not UTF-8, no INI at all) is never
/// written: it may be all that is left of somebody's set-up. What can be read of it serves, defaults for the
/// rest, and changes of this run are lost, with a line in the log. A file with stray lines among its keys is
/// understood but for those: before the first write loses them, it is copied to setting.ini.bak.
class SettingsFile : public QSettings {
    Q_OBJECT

public:
    explicit SettingsFile(const QString& fileName, QObject* parent = nullptr);

    /// False when the file exists and cannot be understood.
    bool isIntact() const { return intact; }

    /// The stored value, or the key's default when there is none. Text in a number reads as 0.
    template <typename T>
    T read(const SettingKey<T>& key) const {
        return value(key.name, key.fallback).template value<T>();
    }

    /// Sets the value and writes the file at once.
    template <typename T>
    void write(const SettingKey<T>& key, const T& newValue) {
        store(key.name, QVariant(newValue));
        flush();
    }

    /// Sets a value without writing the file now; it is on disk with the next `write`, or when the event loop
    /// runs again.
    void store(const QString& name, const QVariant& newValue);
    /// Removes keys and writes the file at once.
    void removeKeys(const QStringList& names);
    /// Writes the file now; a failure is a line in the log (once, not at every change).
    void flush();

private:
    bool prepareWrite();

    bool keepCopy = false;
    bool intact = true;
    bool failureLogged = false;
};

/// Reads one key of a configuration file from any thread: one QSettings object is not shared between threads.
template <typename T>
T readSetting(const QString& fileName, const SettingKey<T>& key) {
    QSettings settings(fileName, QSettings::IniFormat);
    settings.setIniCodec("UTF-8");
    static_assert(!std::is_same_v<T, QString>, "text needs SettingsFile, which keeps its commas");
    return settings.value(key.name, key.fallback).template value<T>();
}

/// Values with bare commas, as people write them by hand (`XCount=5,3,5`), arrive as a list: joined again
/// here.
template <>
QString SettingsFile::read(const SettingKey<QString>& key) const;
