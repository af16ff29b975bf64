// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "framequeue.h"
#include "status.h"

namespace kvgen {

/// What callers ask of the one thread that has the camera, one after the other. Thread-safe. Its mutex is
/// held for moments, never while a command runs, and nothing else is locked under it.
///
/// A caller waits for a limited time, and not at all while the worker is stuck: so twenty calls to a camera
/// that is dead take as long as one.
class CommandQueue {
public:
    using Duration = Clock::duration;
    /// Runs on the worker. What it refers to has to live as long as the worker: the caller may have left.
    using Work = std::function<Status()>;

    /// What becomes of a command that its caller could not wait for: nothing, if it had not begun; or it is
    /// done all the same, as long as the worker gets on.
    enum class Late { Dropped, Done };

    /// Callers: asks the worker, and waits no longer than `within`. NoAnswer: not in time; what had begun by
    /// then goes on and takes effect.
    Status call(Work work, Duration within, Late late = Late::Dropped);
    /// Anybody: from now on every call gets `status` at once, and so do those that wait. Ok: calls are taken.
    void refuse(Status status);

    /// Worker: waits for a command until `until`, or wake(), and runs it. False: there was none.
    bool serve(TimePoint until);
    /// Anybody: ends a serve() that waits, or the next one that would.
    void wake();
    /// Worker: a long piece of work gets on.
    void progress();

    /// Worker: while it lives, the worker is occupied with something else than a command.
    class Occupied {
    public:
        explicit Occupied(CommandQueue& queue);
        ~Occupied();
        Occupied(const Occupied&) = delete;
        Occupied& operator=(const Occupied&) = delete;

    private:
        CommandQueue& queue_;
    };

private:
    struct Command {
        Work work;
        bool isDone = false;
        Status status = Status::NoAnswer;
    };

    void setBusy(bool busy);

    std::mutex mutex_;
    std::condition_variable forWorker_;
    std::condition_variable forCallers_;
    std::deque<std::shared_ptr<Command>> waiting_;
    Status refusal_ = Status::Ok;
    bool isBusy_ = false;
    bool isWoken_ = false;
    TimePoint progress_;  // while busy: its beginning, or the last progress
};

}  // namespace kvgen
