// SPDX-License-Identifier: Apache-2.0
#include "platform/files.h"

#include <QFileInfo>
#include <qt_windows.h>

#include "platform/nativename_win.h"

using platform::nativeName;

namespace {

constexpr int kRenameTries = 10;
constexpr DWORD kRenamePause = 20;  // ms
constexpr DWORD kSharedWithAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// A file to append to, while virus scanners and readers that share nothing hold it for a moment.
HANDLE openToAppend(const QString& name) {
    for (int tries = 0;; ++tries) {
        // Without the right to write elsewhere, each write goes to the end, whoever else writes.
        const HANDLE handle = CreateFileW(reinterpret_cast<const wchar_t*>(name.utf16()),
                                          FILE_APPEND_DATA | FILE_READ_DATA | SYNCHRONIZE, kSharedWithAll,
                                          nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (handle != INVALID_HANDLE_VALUE || tries == kRenameTries ||
            GetLastError() != ERROR_SHARING_VIOLATION)
            return handle;
        Sleep(kRenamePause);
    }
}

/// Whether the last line of an open file lacks its end.
bool endsWithinALine(HANDLE handle) {
    LARGE_INTEGER size{};
    LARGE_INTEGER place{};
    char last = '\n';
    DWORD count = 0;
    if (GetFileSizeEx(handle, &size) == FALSE || size.QuadPart == 0)
        return false;
    place.QuadPart = size.QuadPart - 1;
    return SetFilePointerEx(handle, place, nullptr, FILE_BEGIN) != FALSE &&
           ReadFile(handle, &last, 1, &count, nullptr) != FALSE && count == 1 && last != '\n';
}

}  // namespace

QString platform::workingFolderFile(const QString& name) {
    return QStringLiteral(".\\") + name;
}

void platform::returnToWorkingFolder() {
    // Windows lets nobody remove it.
}

QString platform::replaceByRename(const QString& from, const QString& to) {
    const QString source = nativeName(from);
    const QString target = nativeName(to);
    // Virus scanners and indexers hold a file that was just closed for a moment.
    for (int tries = 0;; ++tries) {
        if (MoveFileExW(reinterpret_cast<const wchar_t*>(source.utf16()),
                        reinterpret_cast<const wchar_t*>(target.utf16()), MOVEFILE_REPLACE_EXISTING) != FALSE)
            return {};
        const DWORD error = GetLastError();
        if (tries == kRenameTries || (error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION))
            return qt_error_string(static_cast<int>(error));
        Sleep(kRenamePause);
    }
}

QString platform::appendLines(const QString& fileName, const QByteArray& lines) {
    const HANDLE handle = openToAppend(nativeName(fileName));
    if (handle == INVALID_HANDLE_VALUE)
        return qt_error_string(static_cast<int>(GetLastError()));
    const QByteArray bytes = endsWithinALine(handle) ? '\n' + lines : lines;
    DWORD count = 0;
    DWORD error = ERROR_SUCCESS;
    if (WriteFile(handle, bytes.constData(), static_cast<DWORD>(bytes.size()), &count, nullptr) == FALSE)
        error = GetLastError();
    else if (count < static_cast<DWORD>(bytes.size()))
        error = ERROR_DISK_FULL;
    CloseHandle(handle);
    return error == ERROR_SUCCESS ? QString() : qt_error_string(static_cast<int>(error));
}

QString platform::makeFolder(const QString& folder) {
    if (CreateDirectoryW(reinterpret_cast<const wchar_t*>(nativeName(folder).utf16()), nullptr) != FALSE)
        return {};
    const DWORD error = GetLastError();
    return QFileInfo(folder).isDir() ? QString() : qt_error_string(static_cast<int>(error));
}

QString platform::syncFile(const QFileDevice& file) {
    // By its name: asking Qt for a handle makes another one that nobody closes.
    const QString name = nativeName(file.fileName());
    const HANDLE handle = CreateFileW(reinterpret_cast<const wchar_t*>(name.utf16()), GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return qt_error_string(static_cast<int>(GetLastError()));
    const DWORD error = FlushFileBuffers(handle) != FALSE ? ERROR_SUCCESS : GetLastError();
    CloseHandle(handle);
    if (error == ERROR_SUCCESS || error == ERROR_INVALID_FUNCTION || error == ERROR_NOT_SUPPORTED)
        return {};
    return qt_error_string(static_cast<int>(error));
}

QString platform::syncFolder(const QString&) {
    // NTFS keeps a journal of its names.
    return {};
}

int platform::syncsUnderWay() {
    return 0;
}

void platform::startSync(const QFileDevice&) {
    // NTFS writes a new file's bytes within seconds; a handle of its own would keep the file from being
    // renamed.
}
