#include "platform/files.h"

#include <QFile>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace {

constexpr int kMostSyncs = 4;
std::atomic<int> syncs{0};  // under way

QString sync(int descriptor) {
    int result = 0;
    do {
        result = fsync(descriptor);
    } while (result == -1 && errno == EINTR);
    // A pipe, or a file system that knows no such thing.
    if (result == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP)
        return {};
    return qt_error_string(errno);
}

}  // namespace

QString platform::workingFolderFile(const QString& name) {
    return QStringLiteral("./") + name;
}

QString platform::replaceByRename(const QString& from, const QString& to) {
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0)
        return {};
    return qt_error_string(errno);
}

QString platform::syncFile(const QFileDevice& file) {
    return sync(file.handle());
}

QString platform::syncFolder(const QString& folder) {
    const int descriptor = open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    // In a folder that may be written to and not be read nothing more can be done.
    if (descriptor == -1)
        return errno == EACCES ? QString() : qt_error_string(errno);
    QString problem = sync(descriptor);
    close(descriptor);
    return problem;
}

void platform::startSync(const QFileDevice& file) {
    const int copy = fcntl(file.handle(), F_DUPFD_CLOEXEC, 0);
    if (copy == -1)
        return;
    const auto syncAndClose = [copy] {
        fsync(copy);
        close(copy);
        --syncs;
    };
    try {
        // A disk that is slower than the pictures come is left to itself: files must not stay open without
        // end.
        if (++syncs <= kMostSyncs) {
            // Nobody waits for it, at the end of the program neither: the system goes on with what it has
            // begun.
            std::thread(syncAndClose).detach();
            return;
        }
    } catch (const std::system_error&) {
        // No thread to be had: left to itself, too.
    }
    --syncs;
    close(copy);
}

int platform::syncsUnderWay() {
    return syncs;
}
