// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QVariant>

/// A fresh folder that is the working directory as long as the object lives.
class WorkingFolder {
public:
    WorkingFolder() : before(QDir::currentPath()) {
        QDir::setCurrent(folder.path());
        ++alive;
    }
    ~WorkingFolder() {
        QDir::setCurrent(before);
        --alive;
    }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

    /// False where no such folder is alive: a test writes nowhere else.
    static bool write(const QString& name, const QByteArray& content) {
        if (alive == 0)
            return false;
        QFile file(name);
        return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
    }

    static QByteArray read(const QString& name) {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    /// Sets one key of setting.ini, on disk at the return.
    static void setKey(const QString& key, const QVariant& value) {
        QSettings settings(QStringLiteral("./setting.ini"), QSettings::IniFormat);
        settings.setValue(key, value);
        settings.sync();
    }

    /// A key as it stands in the file on disk, past every cache of QSettings: the text behind "name=", or a
    /// null string.
    static QString keyOnDisk(const QString& key) {
        const QString section = QLatin1Char('[') + key.section(QLatin1Char('/'), 0, 0) + QLatin1Char(']');
        const QString name = key.section(QLatin1Char('/'), 1) + QLatin1Char('=');
        bool inSection = false;
        const auto lines = QString::fromUtf8(read(QStringLiteral("setting.ini"))).split(QLatin1Char('\n'));
        for (const QString& line : lines) {
            if (line.startsWith(QLatin1Char('[')))
                inSection = line.trimmed() == section;
            else if (inSection && line.startsWith(name))
                return line.mid(name.size()).trimmed();
        }
        return {};
    }

#ifdef TRANSLATION_FILE
    /// Puts the Chinese translation where the program looks for it.
    static bool installTranslation() {
        return QDir().mkpath(QStringLiteral("lang")) &&
               QFile::copy(QStringLiteral(TRANSLATION_FILE), QStringLiteral("lang/tilecam_zh_CN.qm"));
    }
#endif

    QString path() const {
        return folder.path();
    }

private:
    inline static int alive = 0;
    QString before;
    QTemporaryDir folder;
};
