// SPDX-License-Identifier: Apache-2.0
#include "platform/raising.h"

#include <qt_windows.h>

namespace {

/// Looks through the windows of the desktop, from the front to the back.
struct Search {
    DWORD process;
    HWND main = nullptr;  // shown, and nobody's
    HWND other =
        nullptr;  // shown, a box of the start perhaps: the window that it belongs to is not there yet
};

BOOL CALLBACK look(HWND window, LPARAM parameter) {
    auto* const search = reinterpret_cast<Search*>(parameter);
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process != search->process || IsWindowVisible(window) == FALSE)
        return TRUE;
    if (search->other == nullptr)
        search->other = window;
    if (search->main == nullptr && GetWindow(window, GW_OWNER) == nullptr)
        search->main = window;
    return TRUE;
}

}  // namespace

bool platform::raiseWindowsOf(qint64 process) {
    Search search{static_cast<DWORD>(process)};
    EnumWindows(look, reinterpret_cast<LPARAM>(&search));
    const HWND window = search.main != nullptr ? search.main : search.other;
    if (window == nullptr)
        return false;
    // Whoever started this one may hand over the keyboard, also to a box that the other has up.
    AllowSetForegroundWindow(search.process);
    // Without waiting: the other program may be busy.
    if (IsIconic(window) != FALSE)
        ShowWindowAsync(window, SW_RESTORE);
    HWND target = GetLastActivePopup(window);
    if (target == nullptr || IsWindowVisible(target) == FALSE)
        target = window;
    if (SetForegroundWindow(target) == FALSE) {
        FLASHWINFO flash{sizeof(FLASHWINFO), window, FLASHW_ALL | FLASHW_TIMERNOFG, 0, 0};
        FlashWindowEx(&flash);
    }
    return true;
}

bool platform::answers(qint64 process, int patience) {
    Search search{static_cast<DWORD>(process)};
    EnumWindows(look, reinterpret_cast<LPARAM>(&search));
    const HWND window = search.main != nullptr ? search.main : search.other;
    if (window == nullptr)
        return true;
    DWORD_PTR nothing = 0;
    return SendMessageTimeoutW(window, WM_NULL, 0, 0, SMTO_ABORTIFHUNG, static_cast<UINT>(patience),
                               &nothing) != 0;
}
