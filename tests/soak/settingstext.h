// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

/// What a reader of setting.ini sees at one moment, read without the program's own code: what that takes for
/// whole must not be what decides here.
struct SettingsText {
    QString fault;                  ///< why it is no whole settings file; empty when it is one
    QMap<QString, QString> values;  ///< "Section/Name" and the text behind the equals sign
};

/// Pure; any thread.
SettingsText parseSettings(const QByteArray& bytes);
/// An unreadable or missing file has that as its fault. Any thread.
SettingsText readSettings(const QString& fileName);
/// Keys that go when the operator clears the marks, all others stay for ever once they are there.
bool mayVanish(const QString& key);
