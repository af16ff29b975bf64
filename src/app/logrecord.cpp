// SPDX-License-Identifier: Apache-2.0
#include "app/logrecord.h"

#include <QDateTime>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int kLevelWidth = 8;
constexpr int kThreadWidth = 11;

QByteArray levelName(QtMsgType type) {
    switch (type) {
        case QtDebugMsg:
            return "debug";
        case QtInfoMsg:
            return "info";
        case QtWarningMsg:
            return "warning";
        case QtCriticalMsg:
            return "critical";
        case QtFatalMsg:
            return "fatal";
    }
    return "?";
}

/// In plain C: within exit() Qt may have taken down already what it writes dates with.
QByteArray timeText(qint64 time) {
    const QDateTime local = QDateTime::fromMSecsSinceEpoch(time);
    const QDate day = local.date();
    const QTime hour = local.time();
    const int offset = local.offsetFromUtc() / 60;
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d %c%02d:%02d", day.year(),
                  day.month(), day.day(), hour.hour(), hour.minute(), hour.second(), hour.msec(),
                  offset < 0 ? '-' : '+', std::abs(offset) / 60, std::abs(offset) % 60);
    return text;
}

/// What ends a line for some reader or moves its cursor; a line feed is meant.
bool isHarmful(QChar letter) {
    const ushort code = letter.unicode();
    return (code < 0x20 && code != '\n' && code != '\t') || (code >= 0x7f && code < 0xa0) || code == 0x2028 ||
           code == 0x2029;
}

QString harmless(const QString& text) {
    QString result;
    result.reserve(text.size());
    for (const QChar letter : text) {
        if (letter == QLatin1Char('\n'))
            result += QLatin1String("\n    ");
        else if (isHarmful(letter))
            result += (letter.unicode() < 0x100 ? QStringLiteral("\\x%1") : QStringLiteral("\\u%1"))
                          .arg(letter.unicode(), 2, 16, QLatin1Char('0'));
        else
            result += letter;
    }
    return result;
}

}  // namespace

QString shortText(const QString& text) {
    if (text.size() <= kLongestText)
        return text;
    return text.left(kLongestText) + QStringLiteral(" ... (%1 letters)").arg(text.size());
}

QByteArray fileText(const LogRecord& record) {
    QString text = record.line.text;
    text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    while (text.endsWith(QLatin1Char('\n')))
        text.chop(1);
    const QByteArray& category = record.line.category;
    QByteArray result = timeText(record.time) + "  " +
                        levelName(record.line.type).leftJustified(kLevelWidth) + "  " +
                        record.thread.leftJustified(kThreadWidth) + "  ";
    if (!category.isEmpty() && category != "default")
        result += category + ": ";
    return result + harmless(text).toUtf8() + '\n';
}
