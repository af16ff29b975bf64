#include <QFile>
#include <QThreadPool>
#include <cerrno>
#include <cstdio>
#include <sys/mman.h>
#include <unistd.h>

#include "platform/platform.h"

QString platform::workingFolderFile(const QString& name) {
    return QStringLiteral("./") + name;
}

void* platform::takeZeroedMemory(size_t size) {
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return nullptr;
#ifdef MADV_HUGEPAGE
    // In pieces of 4 KiB the system takes longer to hand the memory out than it takes to fill it. Where there
    // are no larger ones, nothing is lost.
    madvise(memory, size, MADV_HUGEPAGE);
#endif
    return memory;
}

void platform::giveZeroedMemoryBack(void* memory, size_t size) {
    munmap(memory, size);
}

QString platform::replaceByRename(const QString& from, const QString& to) {
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0)
        return {};
    return qt_error_string(errno);
}

void platform::startSync(const QFileDevice& file) {
    const int copy = dup(file.handle());
    if (copy == -1)
        return;
    const auto sync = [copy] {
        fsync(copy);
        close(copy);
    };
    // A disk that is slower than the pictures come is left to itself: files must not stay open without end.
    if (!QThreadPool::globalInstance()->tryStart(sync))
        close(copy);
}
