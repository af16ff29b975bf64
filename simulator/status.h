// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace kvsim {

/// What the operations return. Callers of the library only tell 0 from the rest; the numbers are for people
/// who look at a log.
enum class Status : int32_t {
    Ok = 0,
    BadIndex = -1,        ///< no camera of that index is attached
    NotOpen = -2,         ///< CameraInit has not succeeded, or CameraFree came meanwhile
    BadArgument = -3,     ///< null pointer, unknown format, mode or slot, value that is not a number
    TimeOut = -4,         ///< no frame within the time-out
    BufferTooSmall = -5,  ///< the frame does not fit; it stays available
    DeviceFailure = -6,   ///< the camera reports a fault
    Disconnected = -7,    ///< the cable is out
    WrongMode = -8,       ///< a shot in continuous mode
    StorageFailure = -9,  ///< a parameter slot cannot be read or written
};

}  // namespace kvsim
