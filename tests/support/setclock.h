// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

/// The wall clock of a test program that is linked to bivista_test_setclock, set as the system's can be set:
/// what asks for the time of day, in this program and the libraries it is linked to, gets the set one.
/// Timers, waits and elapsed times have the monotonic clock, as on a real system, and notice nothing. Linux
/// only; any thread.
namespace setclock {

/// From now on the clock shows so many ms more than the system's; less than none sets it back.
void set(qint64 offset);
/// The clock stands at this time, ms since the epoch, until it is set.
void stop(qint64 time);

}  // namespace setclock
