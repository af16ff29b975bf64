// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>
#include <QtGlobal>

/// One line for the log.
struct LogLine {
    QtMsgType type = QtDebugMsg;
    QByteArray category;
    QString text;
};

/// Keeps a line that comes again and again from flooding the log. The first kToldAtOnce of a kind - type,
/// category and text - are told as they come, since each of four cameras may have the same to say; those that
/// follow within kPeriod of the first are counted, however many other lines come between them, and told as
/// one line with their number. While they go on coming, that is one line a period.
///
/// Pure: the time is whoever's clock, ms, never going back. Not safe for several threads at once. Memory is
/// bounded by kKinds; when another kind comes, the one that is watched longest is told and forgotten.
class RepeatedLines {
public:
    static constexpr int kToldAtOnce = 4;
    static constexpr qint64 kPeriod = 10'000;  // ms
    static constexpr int kKinds = 64;

    /// A line has come at `now`. Returns the lines to tell, in this order: what is due, and this one unless
    /// it is counted.
    QVector<LogLine> feed(const LogLine& line, qint64 now);
    /// What was counted in periods that are over.
    QVector<LogLine> due(qint64 now);
    /// All that was counted and not yet told; nothing is remembered any more.
    QVector<LogLine> rest(qint64 now);

private:
    struct Kind {
        LogLine line;
        qint64 since;       // start of its period, ms
        int told;           // in this period, as they came
        quint64 count = 0;  // in this period, not yet told
    };

    static LogLine summary(const Kind& kind, qint64 now);

    QVector<Kind> kinds;  // in the order in which their periods began
};
