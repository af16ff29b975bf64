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

bool platform::registerSaveHotkey(WId window) {
    return isWindow(window) && RegisterHotKey(handleOf(window), hotkeyAtom, MOD_CONTROL, 'W') != FALSE;
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
