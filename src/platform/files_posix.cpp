// SPDX-License-Identifier: Apache-2.0
#include "platform/files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
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
    returnToWorkingFolder();
    return QStringLiteral("./") + name;
}

void platform::returnToWorkingFolder() {
    static std::mutex mutex;
    static QString path;
    const std::lock_guard<std::mutex> lock(mutex);
    // Its last link goes with the folder; one whose disk is only away keeps it.
    struct stat folder {};
    QString now;
    if (stat(".", &folder) != 0 || folder.st_nlink > 0)
        now = QDir::currentPath();
    // Where the system says neither, the folder is gone as well.
    if (!now.isEmpty())
        path = now;
    else if (!path.isEmpty() && QDir::setCurrent(path))
        qWarning("The working folder was removed and is there again: %s", qUtf8Printable(path));
}

QString platform::replaceByRename(const QString& from, const QString& to) {
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0)
        return {};
    return qt_error_string(errno);
}

QString platform::appendLines(const QString& fileName, const QByteArray& lines) {
    const QByteArray name = QFile::encodeName(fileName);
    constexpr int kFlags = O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY;
    int descriptor = open(name.constData(), O_RDWR | kFlags, 0666);
    // One may be allowed to write what one may not read.
    if (descriptor == -1 && errno == EACCES)
        descriptor = open(name.constData(), O_WRONLY | kFlags, 0666);
    if (descriptor == -1)
        return qt_error_string(errno);
    struct stat before {};
    const bool isFile = fstat(descriptor, &before) == 0 && S_ISREG(before.st_mode);
    QByteArray bytes = lines;
    char last = '\n';
    if (isFile && before.st_size > 0 && pread(descriptor, &last, 1, before.st_size - 1) == 1 && last != '\n')
        bytes.prepend('\n');
    int error = 0;
    for (int done = 0; done < bytes.size() && error == 0;) {
        const ssize_t written =
            write(descriptor, bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
        if (written >= 0)
            done += static_cast<int>(written);
        else if (errno != EINTR)
            error = errno;
        struct stat now {};
        // A part of a line is of no use, unless somebody else has gone on behind it.
        if (error != 0 && done > 0 && isFile && fstat(descriptor, &now) == 0 &&
            now.st_size == before.st_size + done)
            static_cast<void>(!ftruncate(descriptor, before.st_size));
    }
    // Some disks say only now that there is no room.
    if (close(descriptor) != 0 && error == 0)
        error = errno;
    return error == 0 ? QString() : qt_error_string(error);
}

QString platform::makeFolder(const QString& folder) {
    if (mkdir(QFile::encodeName(folder).constData(), 0777) == 0)
        return {};
    const int error = errno;
    if (error == EEXIST)
        return QFileInfo(folder).isDir() ? QString() : qt_error_string(ENOTDIR);
    return qt_error_string(error);
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
