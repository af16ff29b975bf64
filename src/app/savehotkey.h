// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <qwindowdefs.h>

/// Makes the key that `Platform/Hotkey` of a settings file names the desktop's key for saving, for this
/// top-level window (desktop.h says how its presses arrive); Ctrl+W if the file does not have that setting.
/// The file is only looked at. GUI thread.
///
/// False: the key is wanted and not there, because it is taken, or not on this keyboard, or the text is no
/// hot key; the log says which. Without a key, since the setting is empty, all is well.
bool registerConfiguredHotkey(WId window, const QString& settingsFile);
