#include <qt_windows.h>

#include <QDir>

#include "platform/fileset.h"

bool platform::syncFile(const QString& name) {
    // The prefix takes names of any length.
    QString path = QDir::toNativeSeparators(QDir::cleanPath(QDir::current().absoluteFilePath(name)));
    path.prepend(path.startsWith(QLatin1String("\\\\")) ? QString() : QStringLiteral("\\\\?\\"));
    const HANDLE file = CreateFileW(reinterpret_cast<const wchar_t*>(path.utf16()), GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    const bool isSynced = FlushFileBuffers(file) != FALSE;
    CloseHandle(file);
    return isSynced;
}

void platform::syncFolder(const QString& folder) {
    // NTFS keeps its names in a journal.
    Q_UNUSED(folder)
}
