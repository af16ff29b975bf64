// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QSize>
#include <QString>
#include <QStringList>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

/// What tests of the library for GenICam cameras do with its operations, again and again.
namespace operations {

using Clock = std::chrono::steady_clock;

/// ms since then.
int since(Clock::time_point begin);

/// A query in mono, as the program makes it: asks for the size first.
struct Shot {
    int status = -1;
    int elapsed = 0;  ///< ms
    QSize size;       ///< px; empty: it has changed meanwhile
    QByteArray pixels;

    uint32_t number() const;
    /// Its two stamps differ, or it has none.
    bool isTorn() const;
};
Shot query(int camera);

/// Calls all getters of parameters, one after the other.
struct Sweep {
    int calls = 0;
    int good = 0;     ///< status 0
    int longest = 0;  ///< ms, of one call
    int elapsed = 0;  ///< ms
};
Sweep getAll(int camera);

/// Queries a camera on a thread of its own until it is stopped, and keeps account.
class Watcher {
public:
    explicit Watcher(int camera);
    ~Watcher();
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    void stop();
    int frames() const { return frames_; }
    int torn() const { return torn_; }
    int failures() const { return failures_; }
    /// ms, between two frames since begin() or the last reset; what lasts counts.
    int longestGap() const;
    /// ms: the shortest query that failed; -1: none.
    int quickestFailure() const { return quickestFailure_; }
    /// ms: the longest query.
    int slowest() const { return slowest_; }
    void reset();

private:
    void run();

    const int camera_;
    std::atomic<bool> isDone_{false};
    std::atomic<int> frames_{0};
    std::atomic<int> torn_{0};
    std::atomic<int> failures_{0};
    std::atomic<int> quickestFailure_{-1};
    std::atomic<int> slowest_{0};
    mutable std::mutex mutex_;
    int longestGap_ = 0;
    Clock::time_point last_;
    std::thread thread_;
};

/// Whether a frame comes within so many ms.
bool deliversWithin(int camera, int milliseconds);
/// Waits for a condition, looking every 10 ms.
bool becomes(const std::function<bool()>& condition, int milliseconds);

/// Lines of the log, from now on; one at a time. What is not the library's goes on to where it went.
class Log {
public:
    Log();
    ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    /// How many lines have all of these parts.
    int count(const QStringList& parts) const;
    int count(const QString& part) const { return count(QStringList{part}); }
    QString text() const;
    void clear();
};

}  // namespace operations
