// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QVector>

/// What a test program asks of the disk: linked to it, its waits for the disk (fsync) are written down, and
/// can be kept waiting or be made to fail; the renaming of files can be kept waiting, too. Linux only. Any
/// thread.
namespace diskcalls {

/// One wait for the disk.
struct Sync {
    QString path;         ///< of the file or folder, as it was called then
    bool isInMainThread;  ///< otherwise whoever asked for it does not wait
};

/// Those since the last call.
QVector<Sync> takeSyncs();

/// While it lives, every wait for the disk lasts, but at most ten seconds.
class SlowDisk {
public:
    SlowDisk();
    ~SlowDisk();
    SlowDisk(const SlowDisk&) = delete;
    SlowDisk& operator=(const SlowDisk&) = delete;
};

/// While it lives, every wait for the disk fails with this error number.
class BrokenDisk {
public:
    explicit BrokenDisk(int error);
    ~BrokenDisk();
    BrokenDisk(const BrokenDisk&) = delete;
    BrokenDisk& operator=(const BrokenDisk&) = delete;
};

/// The next waits for the disk, so many, are interrupted by a signal, as the system calls it, and not over.
void interruptSyncs(int times);

/// While it lives, files that threads beside the main one have written do not get their names, but each waits
/// at most ten seconds.
class HeldNames {
public:
    HeldNames();
    ~HeldNames();
    HeldNames(const HeldNames&) = delete;
    HeldNames& operator=(const HeldNames&) = delete;

    /// How many wait for their names now.
    static int waiting();
    /// So many get theirs after all.
    static void letThrough(int count);
};

/// How many files, pipes and whatever else this process has open; of a folder, how many files in it.
int openDescriptors(const QString& folder = {});

}  // namespace diskcalls
