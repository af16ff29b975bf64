// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <chrono>
#include <functional>
#include <memory>

#include "app/logrecord.h"

/// The queue of the log's file, and the one thread that writes it. Whoever logs only puts a record into the
/// queue, whatever the disk does. Records are on their way to the disk a second later at most, warnings and
/// above at once.
///
/// What cannot be written waits, and is tried again every few seconds; the outage and its end have a line by
/// qWarning() each. When too much waits, what comes then is lost, and a line says how much.
class LogWriter {
public:
    /// Writes whole lines, all of them or none, and returns what went wrong. Called on the writer's thread,
    /// with at most kBatch bytes and one record.
    using Append = std::function<QString(const QByteArray& lines)>;

    struct Limits {
        int records = 10'000;                   ///< that wait
        qint64 letters = 4'000'000;             ///< of all that wait
        std::chrono::milliseconds pause{1000};  ///< what is no warning waits so long for more
        std::chrono::milliseconds again{5000};  ///< between two tries of what could not be written
    };

    static constexpr int kBatch = 400'000;                         // bytes
    static constexpr std::chrono::milliseconds kLongestEnd{2000};  // all that an end waits for a disk

    /// `name` is what the log calls the file.
    LogWriter(const QString& name, Append append);
    LogWriter(const QString& name, Append append, const Limits& limits);
    /// finish(patience())
    ~LogWriter();
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;

    /// Any thread; waits for no disk.
    void add(const LogRecord& record);

    /// Why nothing can be written, since the last try; empty when it can. Any thread.
    QString problem() const;

    /// What is left of kLongestEnd for flush() and finish(), which have taken the rest: of an end there are
    /// several steps, and a disk that is stuck keeps all of them together no longer. Any thread.
    std::chrono::milliseconds patience() const;

    /// Has all that waits written now, and waits until it is; but for `limit` at most, and in an outage for
    /// all of that. Returns whether nothing waits any more. Any thread but the writer's.
    bool flush(std::chrono::milliseconds limit);

    /// Writes all that waits, and tries once where writing has failed; from now on nothing is taken. Returns
    /// whether all is written. A disk that takes longer than `limit` keeps the thread and what it works on;
    /// it ends when the disk lets it. Any thread.
    bool finish(std::chrono::milliseconds limit);

private:
    struct State;
    std::shared_ptr<State> state;  // the thread's, too
};
