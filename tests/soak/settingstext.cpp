// SPDX-License-Identifier: Apache-2.0
#include "soak/settingstext.h"

#include <QFile>

SettingsText parseSettings(const QByteArray& bytes) {
    SettingsText result;
    if (bytes.isEmpty())
        result.fault = QStringLiteral("empty");
    else if (!bytes.endsWith('\n'))
        result.fault = QStringLiteral("cut off in a line");
    QString section;
    const auto lines = QString::fromUtf8(bytes).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString& line : lines) {
        const int equals = line.indexOf(QLatin1Char('='));
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']')))
            section = line.mid(1, line.size() - 2);
        else if (equals > 0 && !section.isEmpty())
            result.values.insert(section + QLatin1Char('/') + line.left(equals), line.mid(equals + 1));
        else if (result.fault.isEmpty())
            result.fault = QStringLiteral("a line that is none: ") + line.left(40);
    }
    return result;
}

SettingsText readSettings(const QString& fileName) {
    QFile file(fileName);
    if (file.open(QIODevice::ReadOnly))
        return parseSettings(file.readAll());
    SettingsText result;
    result.fault = file.errorString();
    return result;
}

bool mayVanish(const QString& key) {
    return key == QLatin1String("File/BarcodeMark") || key == QLatin1String("File/DTMark");
}
