// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

/// What the text of a key stands for.
template <typename T>
struct SettingValue {
    T value;
    /// Why that is hardly what was meant, and what is taken instead, to stand behind the key's name: "is no
    /// number; taken as 0". Empty when all is well.
    QString oddity;
};

/// The one reading of a key's text, for those who use the value and those who warn of it. Numbers are
/// decimal and count as 0 when they are none, or none that the type can hold. A bool is false for "false",
/// "0" and an empty text, in any case of letters, else true. Pure; any thread.
template <typename T>
SettingValue<T> settingValue(const QString& text);
template <>
SettingValue<int> settingValue(const QString& text);
template <>
SettingValue<double> settingValue(const QString& text);
template <>
SettingValue<bool> settingValue(const QString& text);
template <>
SettingValue<QString> settingValue(const QString& text);
