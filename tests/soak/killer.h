// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <atomic>
#include <thread>

#include "soak/workplace.h"

/// When the program is to be killed: after a time, or a little after a temporary file has appeared.
struct KillMoment {
    double after = 0;   ///< ms from now, or from the file
    QString folder;     ///< where the file is to appear; empty: by time alone
    QString beginning;  ///< of its name
    int skip = 0;       ///< files like it before that
};

/// Kills the program at such a moment, by a thread of its own; also when no such file comes within its
/// patience.
class Killer {
public:
    Killer(const Workplace& place, KillMoment moment);
    /// Waits for the kill.
    ~Killer();
    Killer(const Killer&) = delete;
    Killer& operator=(const Killer&) = delete;

    bool hasKilled() const { return killed; }

private:
    void waitForFile(int descriptor) const;

    const Workplace& workplace;
    const KillMoment when;
    std::atomic<bool> killed{false};
    std::thread thread;
};
