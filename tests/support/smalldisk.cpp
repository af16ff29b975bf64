// SPDX-License-Identifier: Apache-2.0
#include "support/smalldisk.h"

#include <QDir>
#include <QFile>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "support/fulldisk.h"

namespace {

bool areMountsOurs = false;

bool writeLine(const char* fileName, const QByteArray& line) {
    QFile file(QString::fromLatin1(fileName));
    return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write(line) == line.size();
}

QString filler(const QString& folder) {
    return folder + QStringLiteral("/.filler");
}

}  // namespace

void SmallDisk::useOwnMounts() {
    const uid_t user = getuid();
    const gid_t group = getgid();
    if (unshare(CLONE_NEWNS) != 0) {
        // As the root of a name space of our own, where the system lets everybody have one.
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 || !writeLine("/proc/self/setgroups", "deny") ||
            !writeLine("/proc/self/uid_map", "0 " + QByteArray::number(user) + " 1") ||
            !writeLine("/proc/self/gid_map", "0 " + QByteArray::number(group) + " 1"))
            return;
    }
    areMountsOurs = mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

bool SmallDisk::canMount() {
    return areMountsOurs;
}

SmallDisk::SmallDisk(qint64 bytes, const QString& onFolder)
    : place(onFolder.isEmpty() ? folder.path() : onFolder) {
    const QByteArray size = "mode=0755,size=" + QByteArray::number(bytes);
    isMounted = areMountsOurs &&
                mount("tmpfs", QFile::encodeName(path()).constData(), "tmpfs", 0, size.constData()) == 0;
}

SmallDisk::~SmallDisk() {
    makeRoom();
    setReadOnly(false);
    if (isMounted)
        umount2(QFile::encodeName(path()).constData(), MNT_DETACH);
}

void SmallDisk::fill() {
    if (!isMounted) {
        limit = std::make_unique<FullDisk>(0);
        return;
    }
    QFile file(filler(path()));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered))
        return;
    for (const int block : {4096, 1}) {
        const QByteArray bytes(block, 'x');
        while (file.write(bytes) == block) {
        }
    }
}

void SmallDisk::makeRoom() {
    limit.reset();
    QFile::remove(filler(path()));
}

bool SmallDisk::setReadOnly(bool isOn) {
    const QByteArray name = QFile::encodeName(path());
    if (isMounted)
        return mount("none", name.constData(), nullptr, MS_REMOUNT | (isOn ? MS_RDONLY : 0), nullptr) == 0;
    if (geteuid() == 0)
        return !isOn;
    const auto all = QFile::ReadOwner | QFile::ExeOwner;
    return QFile::setPermissions(path(), isOn ? all : all | QFile::WriteOwner);
}

FixedFile::FixedFile(const QString& fileName) : name(fileName) {
    const QByteArray place = QFile::encodeName(name);
    isMounted = areMountsOurs && mount(place.constData(), place.constData(), nullptr, MS_BIND, nullptr) == 0;
}

FixedFile::~FixedFile() {
    if (isMounted)
        umount2(QFile::encodeName(name).constData(), MNT_DETACH);
}
