// SPDX-License-Identifier: Apache-2.0
// bivista_crash_other WINDOW
//
// Crashes another program: lets a thread run in it that begins where nothing is. WINDOW is the title of its
// window. Returns 0 when the thread was started.

#include <windows.h>

#include <cstdio>

namespace {

int failed(const char* what) {
    std::fprintf(stderr, "bivista_crash_other: %s (%lu)\n", what, GetLastError());
    return 1;
}

}  // namespace

int main(int count, char** arguments) {
    const HWND window = count == 2 ? FindWindowA(nullptr, arguments[1]) : nullptr;
    DWORD number = 0;
    if (window == nullptr || GetWindowThreadProcessId(window, &number) == 0)
        return failed("no such window");
    const HANDLE process = OpenProcess(PROCESS_ALL_ACCESS, FALSE, number);
    if (process == nullptr)
        return failed("the program cannot be had");
    // A page that is handed out and may not be run, as a wild jump finds it.
    void* const nothing = VirtualAllocEx(process, nullptr, 1, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    const auto start = reinterpret_cast<LPTHREAD_START_ROUTINE>(nothing);
    if (start == nullptr || CreateRemoteThread(process, nullptr, 0, start, nullptr, 0, nullptr) == nullptr)
        return failed("no thread could be started");
    return 0;
}
