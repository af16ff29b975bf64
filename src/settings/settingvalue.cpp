// SPDX-License-Identifier: Apache-2.0
#include "settings/settingvalue.h"

#include <cmath>
#include <limits>

template <>
SettingValue<int> settingValue(const QString& text) {
    bool isInt = false;
    const int value = text.toInt(&isInt);
    if (isInt)
        return {value, {}};
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    if (!isNumber)
        return {0, QStringLiteral("is no number; taken as 0")};
    if (std::abs(number) > std::numeric_limits<int>::max())
        return {0, QStringLiteral("is out of range; taken as 0")};
    return {0, QStringLiteral("is no whole number; taken as 0")};
}

template <>
SettingValue<double> settingValue(const QString& text) {
    bool isNumber = false;
    const double value = text.toDouble(&isNumber);
    if (isNumber)
        return {value, {}};
    return {0.0, QStringLiteral("is no number; taken as 0")};
}

template <>
SettingValue<bool> settingValue(const QString& text) {
    const QString word = text.toLower();
    if (word == QLatin1String("true") || word == QLatin1String("1"))
        return {true, {}};
    if (word == QLatin1String("false") || word == QLatin1String("0"))
        return {false, {}};
    if (word.isEmpty())
        return {false, QStringLiteral("is neither true nor false; taken as false")};
    return {true, QStringLiteral("is neither true nor false; taken as true")};
}

template <>
SettingValue<QString> settingValue(const QString& text) {
    return {text, {}};
}
