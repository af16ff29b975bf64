// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QTimer>
#include <optional>

/// The program's log, while this object lives: every message of Qt's and ours, from whatever thread, goes
/// through RepeatedLines to the handler that was there before, and into a file. A fatal message goes there at
/// once, after all that was counted, and ends the process by abort().
///
/// The file has more than the handler gets: each record says when, by whom and how bad (LogRecord), what the
/// program is begins it (logHeader()), and there are the lines of noteInLog(). LogWriter writes it on a
/// thread of its own; LogFile says what becomes of a file that is full.
///
/// One at a time, made on the GUI thread with the application object alive. What is counted and not yet told
/// is told when the object goes, and when the process ends without that, by exit(); what is not yet in the
/// file gets there then, unless the disk takes longer than LogWriter::kLongestEnd: that is for all of the
/// end, with flushLog().
class ProgramLog {
public:
    /// Into this file; with an empty name, "logs/bivista.log" in the working folder; without one, into none.
    explicit ProgramLog(const std::optional<QString>& file = QString());
    ~ProgramLog();
    ProgramLog(const ProgramLog&) = delete;
    ProgramLog& operator=(const ProgramLog&) = delete;

    /// The file with its whole path; without a log, where one would be; empty for a log
    /// that has none. GUI thread.
    static QString fileName();

private:
    QTimer timer;  // for what is due while nothing else is said
};

/// Waits until the log's file has all that was said, LogWriter::kLongestEnd at most. For an end after which
/// nothing of the program may run any more.
void flushLog();

/// What an operator should know of the log, "The log cannot be written: No space left on device"; empty while
/// it is written, and where there is none. Any thread.
QString logProblem();

/// A line that only the log's file gets, as information; nothing where there is no log. Any thread.
void noteInLog(const QString& text);
