// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

#include "support/diskcalls.h"

/// With files held by diskcalls::HeldNames: after a moment, on a thread of its own, lets some of them
/// through. Whoever waited for one of them sees that it has happened.
class SlowDisk {
public:
    explicit SlowDisk(int count, std::chrono::milliseconds time = std::chrono::milliseconds(150))
        : thread([this, count, time] {
              std::this_thread::sleep_for(time);
              isOver = true;
              diskcalls::HeldNames::letThrough(count);
          }) {}
    ~SlowDisk() { thread.join(); }
    SlowDisk(const SlowDisk&) = delete;
    SlowDisk& operator=(const SlowDisk&) = delete;

    std::atomic<bool> isOver{false};

private:
    std::thread thread;
};
