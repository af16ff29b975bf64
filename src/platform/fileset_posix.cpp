#include <QFile>
#include <fcntl.h>
#include <unistd.h>

#include "platform/fileset.h"

namespace {

bool syncPath(const QString& name, int flags) {
    const int file = open(QFile::encodeName(name).constData(), flags | O_CLOEXEC);
    if (file == -1)
        return false;
    const bool isSynced = fsync(file) == 0;
    return close(file) == 0 && isSynced;
}

}  // namespace

bool platform::syncFile(const QString& name) {
    return syncPath(name, O_RDONLY);
}

void platform::syncFolder(const QString& folder) {
    // Some network disks know no such thing; then their names are as safe as they get.
    syncPath(folder, O_RDONLY | O_DIRECTORY);
}
