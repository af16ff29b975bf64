// SPDX-License-Identifier: Apache-2.0
#include "control/serialcommand.h"

#include <QStringList>
#include <QVector>
#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using Kind = SerialCommand::Kind;

/// No command needs more fields, and megabytes of spaces would make millions.
constexpr int kMostFields = 3;
/// Of the text that is shown: far more than any command, and yet no work for the status bar.
constexpr int kLongestEcho = 16384;

/// The first fields of a text between single spaces, empty ones kept.
QStringList firstFields(const QString& text) {
    QStringList fields;
    int from = 0;
    while (fields.size() < kMostFields) {
        const int space = text.indexOf(QLatin1Char(' '), from);
        fields.append(text.mid(from, space < 0 ? -1 : space - from));
        if (space < 0)
            break;
        from = space + 1;
    }
    return fields;
}

Kind kindOf(const QString& word) {
    static const QVector<QPair<QString, Kind>> kWords{
        {QStringLiteral("TRIGGER"), Kind::Trigger},
        {QStringLiteral("SETDELAY"), Kind::SetDelay},
        {QStringLiteral("GAMMA"), Kind::Gamma},
        {QStringLiteral("CONTRAST"), Kind::Contrast},
        {QStringLiteral("EXPOSURE"), Kind::Exposure},
        {QStringLiteral("GAIN"), Kind::Gain},
        {QStringLiteral("ADVANCEDGAIN"), Kind::AdvancedGain},
        {QStringLiteral("SAVE"), Kind::Save},
    };
    for (const auto& [text, kind] : kWords) {
        if (word == text)
            return kind;
    }
    return Kind::None;
}

}  // namespace

SerialCommand parseSerialCommand(const QByteArray& received) {
    // Controllers send the NUL that ends a string in C, and sometimes what lies behind it.
    const int end = received.indexOf('\0');
    const QString text = QString::fromUtf8(received.constData(), end < 0 ? received.size() : end);
    const QStringList fields = firstFields(text);
    const auto number = [&fields](int field) { return fields.value(field).trimmed(); };

    SerialCommand command;
    command.kind = kindOf(number(0).toUpper());
    command.echo = QStringLiteral("COMMAND:") + text.left(kLongestEcho);
    switch (command.kind) {
        case Kind::None:
            break;
        case Kind::Trigger:
            command.echo = QStringLiteral("COMMAND:TRIGGER");
            break;
        case Kind::SetDelay:
            if (fields.size() < 2)
                command.kind = Kind::None;
            command.delay = number(1).toInt();
            break;
        case Kind::Save:
            if (fields.size() > 1)
                command.camera = number(1).toInt();
            break;
        case Kind::Gamma:
        case Kind::Contrast:
        case Kind::Exposure:
        case Kind::Gain:
        case Kind::AdvancedGain:
            if (fields.size() >= 3)
                command.camera = number(1).toInt();
            command.value = fields.size() == 1 ? -1.0 : number(fields.size() - 1).toDouble();
            // Also what is not a number.
            if (!(command.value >= 0.0))
                command.kind = Kind::None;
            break;
    }
    return command;
}

int wholeValue(double value) {
    constexpr double kLimit = std::numeric_limits<int>::max();
    return std::isnan(value) ? 0 : static_cast<int>(std::clamp(value, -kLimit, kLimit));
}
