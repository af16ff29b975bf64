// SPDX-License-Identifier: Apache-2.0
#include "platform/desktop.h"

#include <qt_windows.h>

namespace {

// Both are names that the whole desktop shares, so they are asked for once, before main runs.
const ATOM hotkeyAtom = GlobalAddAtomA("hotkey_save_img");
const UINT cameraMessage = RegisterWindowMessageW(L"KV CAMERA");

HWND handleOf(WId window) {
    return reinterpret_cast<HWND>(window);
}

// On a window-less Qt platform a WId is no HWND, and a key registered for none would belong to the thread.
bool isWindow(WId window) {
    return window != 0 && IsWindow(handleOf(window)) != FALSE;
}

}  // namespace

QString platform::registerSaveHotkey(WId window, const Hotkey& hotkey) {
    if (!isWindow(window))
        return QStringLiteral("there are no hot keys here");
    const WindowsHotkey key =
        windowsHotkey(hotkey, [](ushort character) { return int(VkKeyScanW(wchar_t(character))); });
    if (key.key == 0)
        return QStringLiteral("the keyboard layout has no %1").arg(hotkey.text());
    if (RegisterHotKey(handleOf(window), hotkeyAtom, key.modifiers, key.key) != FALSE)
        return {};
    const DWORD error = GetLastError();
    if (error == ERROR_HOTKEY_ALREADY_REGISTERED)
        return QStringLiteral("%1 is in use by another program").arg(hotkey.text());
    return qt_error_string(static_cast<int>(error)).trimmed();
}

void platform::unregisterSaveHotkey(WId window) {
    if (isWindow(window))
        UnregisterHotKey(handleOf(window), hotkeyAtom);
}

platform::NativeMessage platform::classify(const QByteArray& eventType, const void* message) {
    if (message == nullptr || (eventType != "windows_generic_MSG" && eventType != "windows_dispatcher_MSG"))
        return NativeMessage::None;
    const MSG& msg = *static_cast<const MSG*>(message);
    // A number of 0 means that the system could not register the name; WM_NULL must not count as it.
    if (cameraMessage != 0 && msg.message == cameraMessage)
        return NativeMessage::CameraMessage;
    if (msg.message == WM_HOTKEY && msg.wParam == hotkeyAtom)
        return NativeMessage::SaveHotkey;
    return NativeMessage::None;
}
