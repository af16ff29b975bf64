// SPDX-License-Identifier: Apache-2.0
#include "app/savehotkey.h"

#include <QtGlobal>

#include "platform/desktop.h"
#include "settings/settingsfile.h"

bool registerConfiguredHotkey(WId window, const QString& settingsFile) {
    const QString text = SettingsFile::peek(settingsFile, keys::kHotkey).trimmed();
    if (text.isEmpty())
        return true;
    const platform::HotkeyReading reading = platform::readHotkey(text);
    const QString problem =
        reading.problem.isEmpty() ? platform::registerSaveHotkey(window, reading.hotkey) : reading.problem;
    if (problem.isEmpty())
        return true;
    // Nobody looks for a setting that nobody wrote.
    const bool isWritten =
        !SettingsFile::peek(settingsFile, SettingKey<QString>{keys::kHotkey.name, {}}).isEmpty();
    const QString setting = isWritten ? keys::kHotkey.name + QLatin1Char(' ') : QString();
    qWarning("No hot key, %s%s: %s", qUtf8Printable(setting), qUtf8Printable(text), qUtf8Printable(problem));
    return false;
}
