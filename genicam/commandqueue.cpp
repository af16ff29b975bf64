// SPDX-License-Identifier: Apache-2.0
#include "commandqueue.h"

#include <QDebug>

#include <algorithm>
#include <exception>

namespace kvgen {

Status CommandQueue::call(Work work, Duration within, Late late) {
    const auto command = std::make_shared<Command>();
    command->work = std::move(work);
    const TimePoint begin = Clock::now();

    std::unique_lock<std::mutex> lock(mutex_);
    if (refusal_ != Status::Ok)
        return refusal_;
    const auto isStuck = [&] { return isBusy_ && Clock::now() - progress_ >= within; };
    if (isStuck())
        return Status::NoAnswer;
    waiting_.push_back(command);
    forWorker_.notify_one();
    if (forCallers_.wait_until(lock, begin + within, [&] { return command->isDone; }))
        return command->status;
    if (late == Late::Dropped || !isBusy_ || isStuck())
        waiting_.erase(std::remove(waiting_.begin(), waiting_.end(), command), waiting_.end());
    return Status::NoAnswer;
}

void CommandQueue::refuse(Status status) {
    const std::lock_guard<std::mutex> lock(mutex_);
    refusal_ = status;
    if (status == Status::Ok)
        return;
    for (const std::shared_ptr<Command>& command : waiting_) {
        command->status = status;
        command->isDone = true;
    }
    waiting_.clear();
    forCallers_.notify_all();
}

bool CommandQueue::serve(TimePoint until) {
    std::shared_ptr<Command> command;
    {
        std::unique_lock<std::mutex> lock(mutex_);
        forWorker_.wait_until(lock, until, [this] { return !waiting_.empty() || isWoken_; });
        isWoken_ = false;
        if (waiting_.empty())
            return false;
        command = waiting_.front();
        waiting_.pop_front();
        isBusy_ = true;
        progress_ = Clock::now();
    }
    Status status = Status::DeviceFailure;
    try {
        status = command->work();
    } catch (const std::exception& fault) {
        qWarning("KVCap2: an operation fails: %s", fault.what());
    }
    command->work = nullptr;
    const std::lock_guard<std::mutex> lock(mutex_);
    isBusy_ = false;
    command->status = status;
    command->isDone = true;
    forCallers_.notify_all();
    return true;
}

void CommandQueue::wake() {
    const std::lock_guard<std::mutex> lock(mutex_);
    isWoken_ = true;
    forWorker_.notify_one();
}

void CommandQueue::progress() {
    const std::lock_guard<std::mutex> lock(mutex_);
    progress_ = Clock::now();
}

void CommandQueue::setBusy(bool busy) {
    const std::lock_guard<std::mutex> lock(mutex_);
    isBusy_ = busy;
    progress_ = Clock::now();
}

CommandQueue::Occupied::Occupied(CommandQueue& queue) : queue_(queue) {
    queue_.setBusy(true);
}

CommandQueue::Occupied::~Occupied() {
    queue_.setBusy(false);
}

}  // namespace kvgen
