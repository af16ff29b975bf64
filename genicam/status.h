// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace kvgen {

/// What the operations return. Callers of the library only tell 0 from the rest; the numbers are for people
/// who look at a log, and those up to -9 mean what they mean in the simulated cameras.
enum class Status : int32_t {
    Ok = 0,
    BadIndex = -1,        ///< no camera of that index
    NotOpen = -2,         ///< CameraInit has not come, or CameraFree came meanwhile
    BadArgument = -3,     ///< null pointer, unknown format, mode or slot, value that is not a number
    TimeOut = -4,         ///< no frame within the time-out
    BufferTooSmall = -5,  ///< the frame does not fit
    DeviceFailure = -6,   ///< the camera refuses or answers nonsense
    Disconnected = -7,    ///< no camera there (any more): cable, power, held by another program
    WrongMode = -8,       ///< a shot in continuous mode, or where a line triggers
    StorageFailure = -9,  ///< a parameter slot cannot be read or written
    Unsupported = -10,    ///< the camera has nothing of the kind
    NoAnswer = -11,       ///< the camera has not answered in time; what was wanted may come later
};

}  // namespace kvgen
