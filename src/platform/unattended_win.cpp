// SPDX-License-Identifier: Apache-2.0
#include "platform/unattended.h"

#include <QDebug>
#include <qt_windows.h>

namespace {

constexpr int kLongestCommandLine = 1023;  // what RegisterApplicationRestart takes, without its end

using Register = HRESULT(WINAPI*)(PCWSTR, DWORD);

}  // namespace

void platform::keepAwake(bool isOn) {
    SetThreadExecutionState(isOn ? ES_CONTINUOUS | ES_SYSTEM_REQUIRED | ES_DISPLAY_REQUIRED : ES_CONTINUOUS);
}

void platform::restartAfterCrash(const QStringList& arguments) {
    const QString line = commandLineOf(arguments);
    if (line.size() > kLongestCommandLine) {
        qWarning("Windows will not restart the program after a crash: its command line is too long");
        return;
    }
    // Older import libraries have no such function.
    const auto address = GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "RegisterApplicationRestart");
    const auto registerRestart = reinterpret_cast<Register>(reinterpret_cast<void*>(address));
    // After all that it can do: a crash, a hang, an update, a restart of Windows.
    const HRESULT result =
        registerRestart != nullptr ? registerRestart(reinterpret_cast<PCWSTR>(line.utf16()), 0) : E_NOTIMPL;
    if (FAILED(result))
        qWarning("Windows will not restart the program after a crash: 0x%lx",
                 static_cast<unsigned long>(result));
}
