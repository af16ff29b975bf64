// SPDX-License-Identifier: Apache-2.0
#include "camera.h"

#include <QDebug>

#include <atomic>

namespace kvgen {

namespace {

constexpr auto kOpening = std::chrono::milliseconds(1000);
constexpr auto kEnding = std::chrono::milliseconds(900);
// Where one hangs the next ones do as a rule: a program ends all of its cameras in a row.
constexpr auto kEndingToo = std::chrono::milliseconds(200);
constexpr auto kRow = std::chrono::seconds(10);

std::atomic<TimePoint> lastHang{TimePoint::min()};

}  // namespace

Camera::Camera(Keeper::Place place) : place_(std::move(place)) {}

std::shared_ptr<Keeper> Camera::keeper() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return keeper_;
}

Status Camera::init() {
    const TimePoint begin = Clock::now();
    const std::lock_guard<std::mutex> lifeLock(lifeMutex_);
    if (keeper())
        return Status::Ok;
    const std::shared_ptr<Keeper> keeper = Keeper::start(place_, known_, std::move(previous_));
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        keeper_ = keeper;
    }
    if (keeper->waitUntilOpen(begin + kOpening))
        return Status::Ok;
    if (place_.found.serial.isEmpty() && keeper->known().memory.serial.isEmpty() && !isUnknownReported_) {
        isUnknownReported_ = true;
        qWarning(
            "KVCap2: camera %d (%s): nobody knows its serial number yet, so no tile can be bound to it. "
            "Switch it on before the first start, or set Serial= in [Camera%d] of kvcap2-genicam.ini",
            place_.index, place_.found.name.constData(), place_.index);
    }
    return Status::Disconnected;
}

Status Camera::free() {
    const TimePoint begin = Clock::now();
    const std::lock_guard<std::mutex> lifeLock(lifeMutex_);
    std::shared_ptr<Keeper> keeper;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        keeper = std::move(keeper_);
        keeper_ = nullptr;
    }
    if (!keeper)
        return Status::NotOpen;
    keeper->end();
    const bool isInARow = lastHang.load() > begin - kRow;
    const bool hasEnded = keeper->waitUntilEnded(begin + (isInARow ? kEndingToo : kEnding));
    if (!hasEnded)
        lastHang = Clock::now();
    known_ = keeper->known();
    previous_ = hasEnded ? nullptr : keeper;
    return Status::Ok;
}

}  // namespace kvgen
