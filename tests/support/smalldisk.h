// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QTemporaryDir>
#include <memory>

class FullDisk;

/// A disk of its own for a test: a small file system in memory, mounted on a folder that goes with the
/// object. Where nothing may be mounted it is a plain folder, and full by a limit of this process: then it is
/// full for this process alone. POSIX; GUI thread.
class SmallDisk {
public:
    /// Gives this process and its children mounts that nobody else sees, so that none is left when a test is
    /// killed. To be called first thing in main(), while there is one thread.
    static void useOwnMounts();
    /// Whether disks are mounted ones.
    static bool canMount();

    /// On this folder, whose content is hidden meanwhile, or on one of its own.
    explicit SmallDisk(qint64 bytes, const QString& onFolder = {});
    ~SmallDisk();
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    QString path() const { return place; }
    /// Not a byte more goes into a new file.
    void fill();
    void makeRoom();
    /// False where it cannot be done: nothing may be mounted, and file permissions do not count for this
    /// user.
    bool setReadOnly(bool isOn);

private:
    QTemporaryDir folder;
    QString place;
    bool isMounted = false;
    std::unique_ptr<FullDisk> limit;
};

/// While it lives, a file is a mount of its own, as a container is given one: it is read and written as ever,
/// but no other file can take its place. Needs SmallDisk::canMount(). Linux; GUI thread.
class FixedFile {
public:
    explicit FixedFile(const QString& fileName);
    ~FixedFile();
    FixedFile(const FixedFile&) = delete;
    FixedFile& operator=(const FixedFile&) = delete;

    bool isFixed() const { return isMounted; }

private:
    QString name;
    bool isMounted = false;
};
