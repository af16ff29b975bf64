#include <qt_windows.h>

#include "platform/platform.h"

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

void platform::startSync(const QFileDevice& file) {
    // NTFS writes a new file's bytes within seconds; a handle of its own would keep the file from being
    // renamed.
    Q_UNUSED(file)
}
