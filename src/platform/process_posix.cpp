// SPDX-License-Identifier: Apache-2.0
#include "platform/process.h"

#include <QFile>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

void platform::prepareProcess() {
    // Or arguments() would read them as plain ASCII, and Qt would stay with that.
    std::setlocale(LC_ALL, "");
}

QStringList platform::arguments(int argc, const char* const* argv) {
    QStringList result;
    for (int i = 0; i < argc; ++i)
        result.append(QFile::decodeName(argv[i]));
    return result;
}

bool platform::write(Channel channel, const QString& text) {
    std::FILE* const file = channel == Channel::Output ? stdout : stderr;
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), file);
    std::fflush(file);
    // Also where standard error is closed or goes nowhere: whoever started the program wanted it so.
    return true;
}

void platform::tell(Channel channel, const QString& text) {
    write(channel, text);
}

QVector<platform::Installation> platform::registeredInstallations() {
    return {};
}

QString platform::systemFolder() {
    return {};
}

bool platform::isSameFolder(const QString& one, const QString& other) {
    struct stat first {};
    struct stat second {};
    return stat(QFile::encodeName(one).constData(), &first) == 0 &&
           stat(QFile::encodeName(other).constData(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

bool platform::isHeld(const QString& lockFile) {
    // To be read only: it may be another user's.
    const int file = open(QFile::encodeName(lockFile).constData(), O_RDONLY | O_CLOEXEC);
    if (file == -1)
        return false;
    const bool isOthers = flock(file, LOCK_SH | LOCK_NB) == -1 && errno == EWOULDBLOCK;
    close(file);
    return isOthers;
}

platform::FileNumber platform::numberOfHeld(const QString& lockFile) {
    struct stat file {};
    if (stat(QFile::encodeName(lockFile).constData(), &file) != 0)
        return {};
    return {static_cast<quint64>(file.st_dev), static_cast<quint64>(file.st_ino)};
}

platform::HeldName platform::meaningOf(const QString& lockFile, const FileNumber& held) {
    struct stat file {};
    if (stat(QFile::encodeName(lockFile).constData(), &file) != 0)
        return errno == ENOENT || errno == ENOTDIR ? HeldName::Gone : HeldName::Ours;
    const bool isSame = file.st_dev == held.device && file.st_ino == held.file;
    return isSame ? HeldName::Ours : HeldName::Another;
}
