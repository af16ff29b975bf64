// SPDX-License-Identifier: Apache-2.0
#include "live/frameinbox.h"

#include <utility>

namespace {

// Of more frames than this, one after the other without being taken, the oldest are not told. They are
// seconds old then.
constexpr int kMostOvertaken = 1000;

}  // namespace

void FrameInbox::put(int tile, Frame frame) {
    std::optional<Frame> overtaken;  // freed when the mutex is not held any more
    bool isFirst = false;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        Delivery& delivery = deliveries[static_cast<size_t>(tile)];
        overtaken = std::exchange(delivery.newest, std::move(frame));
        if (overtaken) {
            if (delivery.overtaken.size() == kMostOvertaken)
                delivery.overtaken.removeFirst();
            delivery.overtaken.append(overtaken->timestamp);
        }
        isFirst = !std::exchange(isFilled, true);
    }
    if (isFirst)
        emit filled();
}

FrameInbox::Deliveries FrameInbox::take() {
    const std::lock_guard<std::mutex> lock(mutex);
    isFilled = false;
    return std::exchange(deliveries, {});
}

bool FrameInbox::holds(int tile) const {
    const std::lock_guard<std::mutex> lock(mutex);
    return deliveries[static_cast<size_t>(tile)].newest.has_value();
}
