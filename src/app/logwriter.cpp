// SPDX-License-Identifier: Apache-2.0
#include "app/logwriter.h"

#include <QDateTime>
#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

struct LogWriter::State {
    QString name;
    Append append;
    Limits limits;

    std::mutex mutex;
    std::condition_variable changed;  // there is something to write, or the end
    std::condition_variable over;     // what there was to write, or all
    std::deque<LogRecord> queue;      // what is being written stays until it is
    qint64 letters = 0;               // of the queue
    quint64 lost = 0;                 // after the queue's last
    bool isUrgent = false;
    bool isEnding = false;
    bool isOver = false;
    QString trouble;                      // of the outage
    std::chrono::milliseconds waited{0};  // by flush() and finish()

    void put(const LogRecord& record);
    void run();
    /// Waits for what `over` tells, and counts the time. Whether nothing waits to be written any more.
    template <class Condition>
    bool waitFor(std::unique_lock<std::mutex>& lock, std::chrono::milliseconds limit, Condition condition) {
        const auto begin = std::chrono::steady_clock::now();
        over.wait_for(lock, limit, condition);
        waited +=
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
        return condition() && queue.empty();
    }

private:
    QString writeAll(std::unique_lock<std::mutex>& lock);
    void remove(size_t count);
};

/// With the mutex held.
void LogWriter::State::put(const LogRecord& record) {
    queue.push_back(record);
    queue.back().line.text = shortText(record.line.text);
    letters += queue.back().line.text.size();
}

/// With the mutex held.
void LogWriter::State::remove(size_t count) {
    for (; count > 0; --count) {
        letters -= queue.front().line.text.size();
        queue.pop_front();
    }
    if (const auto number = std::exchange(lost, 0); number > 0) {
        put({QDateTime::currentMSecsSinceEpoch(),
             "-",
             {QtWarningMsg, {}, QStringLiteral("%1 lines of the log were lost here").arg(number)}});
    }
}

/// Until nothing waits, or it fails. The mutex is held, but not while it writes.
QString LogWriter::State::writeAll(std::unique_lock<std::mutex>& lock) {
    while (!queue.empty()) {
        std::deque<LogRecord> batch;
        qint64 size = 0;
        for (const LogRecord& record : queue) {
            batch.push_back(record);
            // Six bytes a letter at most, and what stands before them.
            if ((size += 6 * record.line.text.size() + 100) > kBatch)
                break;
        }
        lock.unlock();
        QByteArray lines;
        for (const LogRecord& record : batch)
            lines += fileText(record);
        QString problem = append(lines);
        lock.lock();
        if (!problem.isEmpty())
            return problem;
        remove(batch.size());
    }
    return {};
}

void LogWriter::State::run() {
    bool isBroken = false;
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return isEnding || !queue.empty(); });
        const bool isBrokenNow = isBroken;
        changed.wait_for(lock, isBroken ? limits.again : limits.pause,
                         [&] { return isEnding || (isUrgent && !isBrokenNow); });
        const bool isLast = isEnding;
        isUrgent = false;
        const QString reason = writeAll(lock);
        trouble = reason;
        over.notify_all();
        if (isLast)
            break;
        if (std::exchange(isBroken, !reason.isEmpty()) == isBroken)
            continue;
        lock.unlock();
        if (isBroken)
            qWarning("%s cannot be written: %s", qUtf8Printable(name), qUtf8Printable(reason));
        else
            qWarning("%s is written again", qUtf8Printable(name));
        lock.lock();
    }
    isOver = true;
    over.notify_all();
}

LogWriter::LogWriter(const QString& name, Append append) : LogWriter(name, std::move(append), Limits()) {}

LogWriter::LogWriter(const QString& name, Append append, const Limits& limits)
    : state(std::make_shared<State>()) {
    state->name = name;
    state->append = std::move(append);
    state->limits = limits;
    try {
        std::thread([ours = state] { ours->run(); }).detach();
    } catch (const std::system_error& error) {
        state->isEnding = state->isOver = true;
        state->trouble = QString::fromLocal8Bit(error.what());
        qWarning("%s is not written: %s", qUtf8Printable(name), error.what());
    }
}

LogWriter::~LogWriter() {
    finish(patience());
}

void LogWriter::add(const LogRecord& record) {
    const std::lock_guard<std::mutex> lock(state->mutex);
    if (state->isEnding)
        return;
    const bool hasRoom = state->queue.size() < static_cast<size_t>(state->limits.records) &&
                         state->letters < state->limits.letters;
    // What is lost is lost at the end of the queue: until that is shorter nothing is taken.
    if (!hasRoom || state->lost > 0) {
        ++state->lost;
        return;
    }
    const bool wasEmpty = state->queue.empty();
    state->put(record);
    const bool isUrgent = record.line.type != QtDebugMsg && record.line.type != QtInfoMsg;
    state->isUrgent = state->isUrgent || isUrgent;
    if (wasEmpty || isUrgent)
        state->changed.notify_one();
}

QString LogWriter::problem() const {
    const std::lock_guard<std::mutex> lock(state->mutex);
    return state->trouble;
}

std::chrono::milliseconds LogWriter::patience() const {
    const std::lock_guard<std::mutex> lock(state->mutex);
    return std::max(kLongestEnd - state->waited, std::chrono::milliseconds(0));
}

bool LogWriter::flush(std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(state->mutex);
    state->isUrgent = true;
    state->changed.notify_all();
    return state->waitFor(lock, limit, [this] { return state->isOver || state->queue.empty(); });
}

bool LogWriter::finish(std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(state->mutex);
    state->isEnding = true;
    state->changed.notify_all();
    return state->waitFor(lock, limit, [this] { return state->isOver; });
}
