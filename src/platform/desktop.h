// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <qwindowdefs.h>

#include "platform/hotkey.h"

/// What the program needs of the desktop and Qt does not offer: a key that works while another program has
/// the keyboard, and messages that other programs send to the window.
///
/// Which source serves these functions is the build's choice (Windows, X11, none). GUI thread only, with the
/// application object alive. Nothing here throws.
namespace platform {

/// The native messages that mean something to the main window.
enum class NativeMessage {
    None,           ///< anything else
    CameraMessage,  ///< the registered message "KV CAMERA", sent by another program
    SaveHotkey,     ///< the save hot key was pressed
};

/// Makes a key one of the whole desktop. From now on each press of it, whatever program has the keyboard,
/// arrives as one native message SaveHotkey at the window, which must be a top-level widget's winId(). The
/// key with other modifiers is left alone; lock keys (Caps Lock, Num Lock) make no difference. A key held
/// down is one press.
///
/// A character that the layout has on a key with Shift is that key with Shift; but digits are their keys
/// alone, also where the layout has them with Shift. A character that takes AltGr is no key.
///
/// One window of the process can have one key. Returns why it does not have it, and has then changed nothing,
/// if another program or window has it, if the window does not exist, if the keyboard has no such key, or if
/// there is no such thing here; empty if it has it.
///
/// A key once registered follows its symbol to wherever a new keyboard layout has it, and in a layout without
/// it stays in its place. On Windows only letters and digits do; other characters stay where they were.
QString registerSaveHotkey(WId window, const Hotkey& hotkey);

/// Gives the key back. Does nothing if this window does not have it. The key is also given back when the
/// window or the process ends.
void unregisterSaveHotkey(WId window);

/// What an event handed to QWidget::nativeEvent means; the arguments are that function's. Works whether or
/// not the hot key could be registered.
NativeMessage classify(const QByteArray& eventType, const void* message);

}  // namespace platform
