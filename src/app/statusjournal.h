// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

#include "app/statusnote.h"

/// What the status bar has shown, as lines for the log: each begins with "Status bar: ". Pure: times are ms
/// of a clock that never goes back. Any one thread.
///
/// A station may save every second for weeks, and a camera's plug may be loose: of what comes often there are
/// a few lines a minute, so that the log's files keep the days before. kBurst are told as they come, and from
/// then on one each kShare; the others within a kPeriod are counted, and have one line with the last of them.
/// Messages have one share, the notes about each thing another.
class StatusJournal {
public:
    static constexpr int kBurst = 30;
    static constexpr qint64 kShare = 30'000;   // ms
    static constexpr qint64 kPeriod = 60'000;  // ms

    /// A message is shown on the left.
    QStringList message(const QString& text, qint64 now);
    /// A note is shown, or with an empty text is there no more. It is a line when it says something else; one
    /// about the cameras counts the seconds, and says something else when it names others.
    QStringList note(StatusNote::About about, const QString& problem, qint64 now);
    /// What was counted in periods that are over.
    QStringList due(qint64 now);
    /// All that was counted and not yet told.
    QStringList rest();

private:
    /// Lines of one kind.
    struct Share {
        QStringList take(const QString& text, const char* kind, qint64 now);
        QStringList due(qint64 now);
        QStringList rest();

        qint64 saved = kBurst * kShare;  // ms that may be spent
        qint64 until = 0;                // ms, up to where they are saved
        qint64 since = 0;                // begin of the period in which is counted, ms
        int counted = 0;                 // not told
        QString last;                    // of those
        const char* what = "";           // these are
    };

    QMap<StatusNote::About, QString> notes;  // as last shown
    Share messages;
    QMap<StatusNote::About, Share> shares;  // of notes
};
