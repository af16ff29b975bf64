// SPDX-License-Identifier: Apache-2.0
#include "platform/machine.h"

#include <qt_windows.h>

#include <QDir>
#include <QSettings>
#include <QSysInfo>
#include <vector>

QString platform::fileOfLibrary(const QString& library, const char*) {
    // By its name: within the program, the address of a function is that of a jump to it.
    const HMODULE module = GetModuleHandleW(reinterpret_cast<const wchar_t*>(library.utf16()));
    if (!module)
        return {};
    constexpr DWORD kLongestPath = 32'768;
    std::vector<wchar_t> name(kLongestPath);
    const DWORD length = GetModuleFileNameW(module, name.data(), kLongestPath);
    return QDir::fromNativeSeparators(QString::fromWCharArray(name.data(), static_cast<int>(length)));
}

QString platform::processorName() {
    const QSettings registry(
        QStringLiteral("HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0"),
        QSettings::NativeFormat);
    const QString name = registry.value(QStringLiteral("ProcessorNameString")).toString().simplified();
    return name.isEmpty() ? QSysInfo::currentCpuArchitecture() : name;
}
