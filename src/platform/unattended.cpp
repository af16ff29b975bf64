// SPDX-License-Identifier: Apache-2.0
#include "platform/unattended.h"

QString platform::commandLineOf(const QStringList& arguments) {
    QString line;
    for (const QString& argument : arguments) {
        if (!line.isEmpty())
            line += QLatin1Char(' ');
        const bool isPlain = !argument.isEmpty() && !argument.contains(QLatin1Char(' ')) &&
                             !argument.contains(QLatin1Char('\t')) && !argument.contains(QLatin1Char('"'));
        if (isPlain) {
            line += argument;
            continue;
        }
        // Backslashes stand for themselves unless a quote follows; then they are doubled.
        line += QLatin1Char('"');
        int backslashes = 0;
        for (const QChar character : argument) {
            if (character == QLatin1Char('"'))
                line += QString(backslashes + 1, QLatin1Char('\\'));
            backslashes = character == QLatin1Char('\\') ? backslashes + 1 : 0;
            line += character;
        }
        line += QString(backslashes, QLatin1Char('\\')) + QLatin1Char('"');
    }
    return line;
}
