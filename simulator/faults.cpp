// SPDX-License-Identifier: Apache-2.0
#include "faults.h"

namespace kvsim {

FaultRun::FaultRun(const FaultPlan& plan) : plan_(plan) {}

void FaultRun::start(TimePoint now) {
    queries_ = 0;
    frames_ = 0;
    cableOut_.reset();
    if (plan_.cableOutAtTime >= 0)
        cableOut_ = now + std::chrono::milliseconds(plan_.cableOutAtTime);
    else if (plan_.cableOutAtFrame == 0)
        cableOut_ = now;
}

bool FaultRun::queryFails() {
    ++queries_;
    return plan_.failEvery > 0 && queries_ % plan_.failEvery == 0;
}

std::optional<int> FaultRun::frameDelivered(TimePoint now) {
    ++frames_;
    if (frames_ == plan_.cableOutAtFrame && !cableOut_)
        cableOut_ = now;
    if (frames_ == plan_.sizeChangeAfter)
        return plan_.sizeChangeMode;
    return std::nullopt;
}

bool FaultRun::isCableOut(TimePoint now) const {
    if (!cableOut_ || now < *cableOut_)
        return false;
    const auto back = cableBack();
    return !back || now < *back;
}

std::optional<TimePoint> FaultRun::nextCableEvent(TimePoint now) const {
    if (cableOut_ && now < *cableOut_)
        return cableOut_;
    const auto back = cableBack();
    return back && now < *back ? back : std::nullopt;
}

std::optional<TimePoint> FaultRun::cableBack() const {
    if (!cableOut_ || plan_.cableOutFor < 0)
        return std::nullopt;
    return *cableOut_ + std::chrono::milliseconds(plan_.cableOutFor);
}

}  // namespace kvsim
