// SPDX-License-Identifier: Apache-2.0
#include "support/setclock.h"

#include <atomic>
#include <ctime>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr qint64 kNanosecond = 1000 * 1000 * 1000;
constexpr qint64 kPerMillisecond = 1000 * 1000;

std::atomic<qint64> shift{0};     // ns
std::atomic<qint64> stopped{-1};  // ns since the epoch; -1: it runs

/// The system's own clock, past whatever stands in for its function.
int systemTime(clockid_t clock, timespec* time) {
    return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

timespec wallTime(clockid_t clock) {
    timespec time{};
    systemTime(clock, &time);
    qint64 now = stopped;
    if (now < 0)
        now = time.tv_sec * kNanosecond + time.tv_nsec + shift;
    time.tv_sec = now / kNanosecond;
    time.tv_nsec = now % kNanosecond;
    return time;
}

}  // namespace

void setclock::set(qint64 offset) {
    shift = offset * kPerMillisecond;
    stopped = -1;
}

void setclock::stop(qint64 time) {
    stopped = time * kPerMillisecond;
}

// In place of the system's, for the program and the libraries that it is linked to.
extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    if (clock != CLOCK_REALTIME && clock != CLOCK_REALTIME_COARSE)
        return systemTime(clock, time);
    *time = wallTime(clock);
    return 0;
}

int gettimeofday(timeval* time, void* zone) noexcept {
    Q_UNUSED(zone)
    const timespec now = wallTime(CLOCK_REALTIME);
    time->tv_sec = now.tv_sec;
    time->tv_usec = now.tv_nsec / 1000;
    return 0;
}

time_t time(time_t* seconds) noexcept {
    const time_t now = wallTime(CLOCK_REALTIME_COARSE).tv_sec;
    if (seconds)
        *seconds = now;
    return now;
}

}  // extern "C"
