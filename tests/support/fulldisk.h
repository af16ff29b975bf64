// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

// Windows has no limit of this kind.
#ifdef Q_OS_UNIX
#define HAS_FULL_DISK

#include <csignal>
#include <sys/resource.h>

/// While it lives, no file of this process can grow beyond `bytes`: writing more fails as on a full disk.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) {
        // Otherwise the process would be ended instead of told.
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit{bytes, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit before{};
};

#endif
