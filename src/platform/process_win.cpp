// SPDX-License-Identifier: Apache-2.0
#include "platform/process.h"

#include <qt_windows.h>

#include <QDir>
#include <iterator>
#include <optional>
#include <shellapi.h>

namespace {

const wchar_t* wide(const QString& text) {
    return reinterpret_cast<const wchar_t*>(text.utf16());
}

/// A text that the installer has written; empty if there is none.
QString registered(HKEY root, const wchar_t* name) {
    wchar_t text[MAX_PATH * 4] = {};
    auto size = static_cast<DWORD>(sizeof text);
    // (A program of 64 bits sees the registry of 64 bits, which is the installer's.)
    if (RegGetValueW(root, L"Software\\Bivista", name, RRF_RT_REG_SZ, nullptr, text, &size) != ERROR_SUCCESS)
        return {};
    return QDir::fromNativeSeparators(QString::fromWCharArray(text));
}

/// Who a folder is, on this PC or another.
struct Identity {
    DWORD volume;
    DWORD high;
    DWORD low;
};

std::optional<Identity> identityOf(const QString& folder) {
    const QString name = QDir::toNativeSeparators(folder);
    const HANDLE handle = CreateFileW(wide(name), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return std::nullopt;
    BY_HANDLE_FILE_INFORMATION information{};
    const bool isKnown = GetFileInformationByHandle(handle, &information) != FALSE;
    CloseHandle(handle);
    if (!isKnown)
        return std::nullopt;
    return Identity{information.dwVolumeSerialNumber, information.nFileIndexHigh, information.nFileIndexLow};
}

bool writeTo(HANDLE handle, const QString& text) {
    DWORD written = 0;
    DWORD mode = 0;
    if (GetConsoleMode(handle, &mode) != FALSE)
        return WriteConsoleW(handle, text.utf16(), static_cast<DWORD>(text.size()), &written, nullptr) !=
               FALSE;
    const QByteArray bytes = text.toUtf8();
    return WriteFile(handle, bytes.constData(), static_cast<DWORD>(bytes.size()), &written, nullptr) != FALSE;
}

}  // namespace

void platform::prepareProcess() {
    SetDllDirectoryW(L"");
}

QStringList platform::arguments(int, const char* const*) {
    // Those of main have lost the letters that the system's old code page lacks.
    QStringList result;
    int count = 0;
    wchar_t** const values = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 0; i < count; ++i)
        result.append(QString::fromWCharArray(values[i]));
    LocalFree(values);
    return result;
}

bool platform::write(Channel channel, const QString& text) {
    const HANDLE given = GetStdHandle(channel == Channel::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
    if (given != nullptr && given != INVALID_HANDLE_VALUE && writeTo(given, text))
        return true;
    // Only for as long as it takes: closing a console ends the programs that are attached to it.
    if (AttachConsole(ATTACH_PARENT_PROCESS) == FALSE)
        return false;
    const HANDLE console =
        CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    OPEN_EXISTING, 0, nullptr);
    bool isWritten = false;
    if (console != INVALID_HANDLE_VALUE) {
        // The shell has not waited for a program with windows: its prompt is there already.
        isWritten = writeTo(console, QStringLiteral("\r\n") +
                                         QString(text).replace(QLatin1Char('\n'), QLatin1String("\r\n")));
        CloseHandle(console);
    }
    FreeConsole();
    return isWritten;
}

void platform::tell(Channel channel, const QString& text) {
    if (write(channel, text))
        return;
    const UINT icon = channel == Channel::Output ? MB_ICONINFORMATION : MB_ICONERROR;
    MessageBoxW(nullptr, wide(text.trimmed()), L"Bivista", MB_OK | icon);
}

QVector<platform::Installation> platform::registeredInstallations() {
    QVector<Installation> result;
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        const Installation installation{registered(root, L"Folder"), registered(root, L"WorkingFolder")};
        if (!installation.programFolder.isEmpty() && !installation.workingFolder.isEmpty())
            result.append(installation);
    }
    return result;
}

QString platform::systemFolder() {
    wchar_t folder[MAX_PATH] = {};
    const UINT length = GetSystemDirectoryW(folder, static_cast<UINT>(std::size(folder)));
    return length < std::size(folder) ? QString::fromWCharArray(folder) : QString();
}

bool platform::isSameFolder(const QString& one, const QString& other) {
    const auto first = identityOf(one);
    const auto second = identityOf(other);
    return first && second && first->volume == second->volume && first->high == second->high &&
           first->low == second->low;
}

bool platform::isHeld(const QString& lockFile) {
    const QString name = QDir::toNativeSeparators(lockFile);
    // Who holds it has it open for writing, and that is what this does not share.
    const HANDLE handle = CreateFileW(wide(name), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return GetLastError() == ERROR_SHARING_VIOLATION;
    CloseHandle(handle);
    return false;
}

platform::FileNumber platform::numberOfHeld(const QString&) {
    return {};
}

platform::HeldName platform::meaningOf(const QString&, const FileNumber&) {
    return HeldName::Ours;
}
