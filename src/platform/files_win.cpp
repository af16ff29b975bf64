#include "platform/files.h"

#include <qt_windows.h>

#include <QDir>
#include <QFileInfo>

namespace {

constexpr int kLongName = 240;  // of the 260 letters that Windows has for a path
constexpr int kRenameTries = 10;
constexpr DWORD kRenamePause = 20;  // ms

/// The name as Windows takes it whatever its length, also where long paths are not switched on: as Qt names
/// the files that it opens.
QString nativeName(const QString& name) {
    const QString path = QDir::toNativeSeparators(QDir::cleanPath(QFileInfo(name).absoluteFilePath()));
    if (path.size() < kLongName)
        return path;
    return path.startsWith(QLatin1String("\\\\")) ? QStringLiteral("\\\\?\\UNC") + path.mid(1)
                                                  : QStringLiteral("\\\\?\\") + path;
}

}  // namespace

QString platform::workingFolderFile(const QString& name) {
    return QStringLiteral(".\\") + name;
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
