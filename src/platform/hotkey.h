// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QtGlobal>
#include <qnamespace.h>

#include <functional>
#include <vector>

/// A key of the whole desktop as people write it down, and what the systems call it. Pure; any thread.
namespace platform {

/// A key and what is held down with it.
struct Hotkey {
    int key = Qt::Key_W;  ///< a Qt::Key; a printing key by its character, letters by their capital
    Qt::KeyboardModifiers modifiers = Qt::ControlModifier;  ///< of Shift, Ctrl, Alt and Meta

    /// "Ctrl+W", as readHotkey takes it.
    QString text() const;
};

/// What a text stands for.
struct HotkeyReading {
    Hotkey hotkey;
    QString problem;  ///< why the text is no hot key; empty if it is one
};

/// Reads a text such as "Ctrl+Shift+S", "F9" or "Meta+F2": one key sequence in Qt's portable form, in any
/// case of letters. None is: several keys one after the other; modifiers or a lock alone; keys of the number
/// pad, since not every system tells them from others; and without Ctrl, Alt or Meta, keys that programs are
/// operated with - all that print something, and Return, Tab, Escape, arrows and their like.
HotkeyReading readHotkey(const QString& text);

/// The X11 key symbols of a Qt::Key: the first is on it, or one of the others is. Empty if there is none.
std::vector<quint32> keySymbols(int key);

/// A hot key in the words of Windows.
struct WindowsHotkey {
    quint32 modifiers = 0;  ///< MOD_ALT, MOD_CONTROL, MOD_SHIFT, MOD_WIN and always MOD_NOREPEAT
    quint32 key = 0;        ///< virtual key; 0: there is none
};

/// Letters, digits and what prints nothing have their virtual keys. `scan` is asked for those of other
/// characters, and answers as VkKeyScanW does: -1 for none, else the virtual key, and above it 0x100 for
/// Shift (which is then a part of the hot key), 0x200 for Ctrl and 0x400 for Alt (which are not: there is no
/// key).
WindowsHotkey windowsHotkey(const Hotkey& hotkey, const std::function<int(ushort)>& scan);

}  // namespace platform
