// SPDX-License-Identifier: Apache-2.0
// bivista_send_message WINDOW [NAME]
//
// Another process that sends a message to a window: posts the registered message NAME ("KV CAMERA" if none is
// given) to the window of the given number (decimal, or hexadecimal with 0x), or else to the top-level window
// of that title. Returns 0 when the message stands in the window's queue.

#include <windows.h>
#include <shellapi.h>

#include <cstdint>
#include <cstdio>
#include <cwchar>

namespace {

int failed(const char* what) {
    std::fprintf(stderr, "bivista_send_message: %s\n", what);
    return 1;
}

HWND windowOf(const wchar_t* text) {
    wchar_t* end = nullptr;
    const auto number = static_cast<std::uintptr_t>(std::wcstoull(text, &end, 0));
    if (end != text && *end == L'\0')
        return reinterpret_cast<HWND>(number);
    return FindWindowW(nullptr, text);
}

}  // namespace

int main() {
    // Titles are not held to the characters of main's arguments.
    int count = 0;
    wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (arguments == nullptr || count < 2)
        return failed("no window given");
    const UINT message = RegisterWindowMessageW(count > 2 ? arguments[2] : L"KV CAMERA");
    if (message == 0)
        return failed("no message of that name");
    // To post to no window would be to post to this thread, and succeed.
    const HWND window = windowOf(arguments[1]);
    if (window == nullptr || PostMessageW(window, message, 0, 0) == FALSE)
        return failed("no such window");
    return 0;
}
