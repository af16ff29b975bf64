// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

#include <memory>
#include <mutex>

#include "keeper.h"

namespace kvgen {

/// One camera of the library, open or not. Thread-safe: every function may be called at any time from any
/// thread. What needs an open camera goes to the keeper of the moment.
class Camera {
public:
    explicit Camera(Keeper::Place place);

    /// Waits at most 1 s for the camera, and no longer than a first try to open it takes. Disconnected: it
    /// counts as open all the same, and comes when it is there.
    Status init();
    /// Waits at most 0.9 s for the camera to be given back.
    Status free();

    /// Null: not open. May be used after free(), too.
    std::shared_ptr<Keeper> keeper() const;

private:
    const Keeper::Place place_;
    std::mutex lifeMutex_;  // of init() and free(), taken first
    mutable std::mutex mutex_;
    std::shared_ptr<Keeper> keeper_;
    std::shared_ptr<Keeper> previous_;  // that has been told to end
    Keeper::Known known_;
    bool isUnknownReported_ = false;  // that nobody knows its serial number
};

}  // namespace kvgen
