// SPDX-License-Identifier: Apache-2.0
#include "support/diskcalls.h"

#include <QDir>
#include <QFile>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <fcntl.h>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr auto kLongestWait = std::chrono::seconds(10);

std::mutex mutex;
std::condition_variable isFast;
bool isSlow = false;
int syncError = 0;
int interruptions = 0;
QVector<diskcalls::Sync> syncs;
std::condition_variable namesChanged;
bool areNamesHeld = false;
int namesLetThrough = 0;
int namesWaiting = 0;

}  // namespace

/// In place of the system's, for the program and the libraries that it is linked to.
extern "C" int fsync(int descriptor) {
    std::unique_lock<std::mutex> lock(mutex);
    const QString entry = QStringLiteral("/proc/self/fd/%1").arg(descriptor);
    syncs.append({QFile::symLinkTarget(entry), getpid() == syscall(SYS_gettid)});
    if (!isFast.wait_for(lock, kLongestWait, [] { return !isSlow; }))
        isSlow = false;
    if (interruptions > 0) {
        --interruptions;
        errno = EINTR;
        return -1;
    }
    if (syncError != 0) {
        errno = syncError;
        return -1;
    }
    lock.unlock();
    return int(syscall(SYS_fsync, descriptor));
}

/// As above.
extern "C" int rename(const char* from, const char* to) noexcept {
    if (getpid() != syscall(SYS_gettid)) {
        std::unique_lock<std::mutex> lock(mutex);
        ++namesWaiting;
        const bool isAllowed =
            namesChanged.wait_for(lock, kLongestWait, [] { return !areNamesHeld || namesLetThrough > 0; });
        --namesWaiting;
        if (isAllowed && areNamesHeld)
            --namesLetThrough;
    }
    return int(syscall(SYS_renameat, AT_FDCWD, from, AT_FDCWD, to));
}

QVector<diskcalls::Sync> diskcalls::takeSyncs() {
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(syncs, {});
}

diskcalls::SlowDisk::SlowDisk() {
    const std::lock_guard<std::mutex> lock(mutex);
    isSlow = true;
}

diskcalls::SlowDisk::~SlowDisk() {
    const std::lock_guard<std::mutex> lock(mutex);
    isSlow = false;
    isFast.notify_all();
}

diskcalls::BrokenDisk::BrokenDisk(int error) {
    const std::lock_guard<std::mutex> lock(mutex);
    syncError = error;
}

diskcalls::BrokenDisk::~BrokenDisk() {
    const std::lock_guard<std::mutex> lock(mutex);
    syncError = 0;
}

diskcalls::HeldNames::HeldNames() {
    const std::lock_guard<std::mutex> lock(mutex);
    areNamesHeld = true;
    namesLetThrough = 0;
}

diskcalls::HeldNames::~HeldNames() {
    const std::lock_guard<std::mutex> lock(mutex);
    areNamesHeld = false;
    namesChanged.notify_all();
}

int diskcalls::HeldNames::waiting() {
    const std::lock_guard<std::mutex> lock(mutex);
    return namesWaiting;
}

void diskcalls::HeldNames::letThrough(int count) {
    const std::lock_guard<std::mutex> lock(mutex);
    namesLetThrough += count;
    namesChanged.notify_all();
}

void diskcalls::interruptSyncs(int times) {
    const std::lock_guard<std::mutex> lock(mutex);
    interruptions = times;
}

int diskcalls::openDescriptors(const QString& folder) {
    const QDir descriptors(QStringLiteral("/proc/self/fd"));
    int count = 0;
    for (const QString& number :
         descriptors.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)) {
        const QString path = QFile::symLinkTarget(descriptors.filePath(number));
        count += folder.isEmpty() || path.startsWith(folder + QLatin1Char('/')) ? 1 : 0;
    }
    return count;
}
