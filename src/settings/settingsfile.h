// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QBasicTimer>
#include <QHash>
#include <QObject>
#include <QPair>
#include <QSettings>
#include <QString>
#include <QVariant>
#include <QVector>
#include <optional>
#include <type_traits>

#include "settings/settingkeys.h"
#include "settings/settingvalue.h"

/// The configuration file `setting.ini`: INI, UTF-8, one object for the whole run, for the GUI thread.
///
/// A file that is there but cannot be understood (not readable, binary, not UTF-8, no INI at all) is never
/// written: it may be all that is left of somebody's set-up. What can be read of it serves, defaults for the
/// rest, and changes hold for this run only. A file with stray lines among its keys is understood but for
/// those: before the first write loses them, it is copied to setting.ini.bak, and not written without that.
///
/// What the disk does not take (it is full, or away, or lets nobody replace the file) is tried again: with
/// the next write, every few seconds, and at the end.
class SettingsFile : public QObject {
    Q_OBJECT

public:
    explicit SettingsFile(const QString& fileName, QObject* parent = nullptr);
    /// Writes what was stored and not yet written.
    ~SettingsFile() override;

    /// The value of one key as it stands in a file, else its default: for what is needed before there is an
    /// object. It only looks: nothing is written, warned of or kept.
    template <typename T>
    static T peek(const QString& fileName, const SettingKey<T>& key) {
        const auto stored = textInFile(fileName, key.name);
        return stored ? settingValue<T>(*stored).value : key.fallback;
    }

    /// The file with its whole path, since the working folder can change.
    QString fileName() const { return file.fileName(); }
    /// False when the file exists and cannot be understood.
    bool isIntact() const { return intact; }
    /// Why changes are not in the file, a short sentence for the operator; empty while they are. Also in the
    /// log, once each time it changes.
    QString problem() const { return problemText; }

    /// The value of this run, else that of the file, else the key's default. What counts where a text is no
    /// value of its type says settingValue().
    template <typename T>
    T read(const SettingKey<T>& key) const {
        const auto stored = text(key.name);
        return stored ? settingValue<T>(*stored).value : key.fallback;
    }

    /// Sets the value and writes the file at once.
    template <typename T>
    void write(const SettingKey<T>& key, const T& value) {
        set(key.name, stored(key, value));
        flush();
    }

    /// Sets the value without writing the file now; it is on disk with the next `write`, or when the event
    /// loop runs again.
    template <typename T>
    void store(const SettingKey<T>& key, const T& value) {
        set(key.name, stored(key, value));
        flushSoon();
    }

    /// Removes the keys, so that their defaults hold, and writes the file at once.
    template <typename... Types>
    void remove(const SettingKey<Types>&... keys) {
        (set(keys.name, QVariant()), ...);
        flush();
    }

    /// Writes what is not yet written, and reads what others wrote into the file meanwhile.
    void flush();

signals:
    /// problem() is another one now, or none any more. Not sent for what was found when the object was made.
    void problemChanged(const QString& problem);

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    template <typename T>
    static QVariant stored(const SettingKey<T>& key, const T& value) {
        if constexpr (std::is_same_v<T, bool>) {
            if (key.written == Written::AsInteger)
                return int(value);
        }
        return value;
    }
    static std::optional<QString> textInFile(const QString& fileName, const QString& name);
    std::optional<QString> text(const QString& name) const;
    void set(const QString& name, const QVariant& value);
    void flushSoon();
    QString takeChangesOver();
    QString writeProblem();
    bool isWritten() const;
    void setProblem(const QString& text);

    // Gets changes only just before it writes them: it writes whenever it likes, also when it goes.
    QSettings file;
    // In the order in which they came, which can be that of new lines in the file; without a value: removed.
    QVector<QPair<QString, QVariant>> changes;
    QHash<QString, QString> commaTexts;  // texts with bare commas, which `file` has as lists
    bool intact = true;
    bool needsCopy = false;  // there are stray lines, and no copy of them yet
    bool flushIsDue = false;
    QBasicTimer retry;  // runs while there is a problem
    QString problemText;
};
