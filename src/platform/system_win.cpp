#include <qt_windows.h>

#include <QDir>

#include "platform/platform.h"

namespace {

constexpr int kRenameTries = 10;
constexpr DWORD kRenamePause = 20;  // ms

}  // namespace

QString platform::workingFolderFile(const QString& name) {
    return QStringLiteral(".\\") + name;
}

void* platform::takeZeroedMemory(size_t size) {
    return VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void platform::giveZeroedMemoryBack(void* memory, size_t size) {
    Q_UNUSED(size)
    VirtualFree(memory, 0, MEM_RELEASE);
}

QString platform::replaceByRename(const QString& from, const QString& to) {
    const QString source = QDir::toNativeSeparators(from);
    const QString target = QDir::toNativeSeparators(to);
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

void platform::startSync(const QFileDevice& file) {
    // NTFS writes a new file's bytes within seconds; a handle of its own would keep the file from being
    // renamed.
    Q_UNUSED(file)
}
