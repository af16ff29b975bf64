#pragma once

#include <QByteArray>
#include <qwindowdefs.h>

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

/// Makes Ctrl+W a key of the whole desktop. From now on each press of it, whatever program has the keyboard,
/// arrives as one native message SaveHotkey at the window, which must be a top-level widget's winId(). Ctrl+W
/// with other modifiers is left alone; lock keys (Caps Lock, Num Lock) make no difference. On X11 a key held
/// down is one press; Windows sends its repeats too.
///
/// One window of the process can have the key. Returns false, and changes nothing, if another program or
/// window has it, if the window does not exist, if the keyboard has no W, or if there is no such thing here.
/// A key once registered follows W to wherever a new keyboard layout has it; in a layout without W it stays
/// in its place.
bool registerSaveHotkey(WId window);

/// Gives the key back. Does nothing if this window does not have it. The key is also given back when the
/// window or the process ends.
void unregisterSaveHotkey(WId window);

/// What an event handed to QWidget::nativeEvent means; the arguments are that function's. Works whether or
/// not the hot key could be registered.
NativeMessage classify(const QByteArray& eventType, const void* message);

}  // namespace platform
