// SPDX-License-Identifier: Apache-2.0
#include "app/statusjournal.h"

#include <utility>

namespace {

QString shown(const QString& text) {
    return QStringLiteral("Status bar: ") + text;
}

/// What a note says, without how long it has been so.
QString substance(StatusNote::About about, const QString& text) {
    return about == StatusNote::About::Cameras ? text.section(QLatin1Char(':'), 0, 0) : text;
}

}  // namespace

QStringList StatusJournal::Share::take(const QString& text, const char* kind, qint64 now) {
    QStringList lines = due(now);
    saved = qMin(kBurst * kShare, saved + now - std::exchange(until, now));
    // What is counted comes first.
    if (counted == 0 && saved >= kShare) {
        saved -= kShare;
        lines.append(shown(text));
        return lines;
    }
    if (counted++ == 0)
        since = now;
    last = text;
    what = kind;
    return lines;
}

QStringList StatusJournal::Share::due(qint64 now) {
    return now - since >= kPeriod ? rest() : QStringList();
}

QStringList StatusJournal::Share::rest() {
    const int count = std::exchange(counted, 0);
    if (count == 0)
        return {};
    const QString text = std::exchange(last, {});
    if (count == 1)
        return {shown(text)};
    return {shown(QStringLiteral("%1 more %2, the last: %3").arg(count).arg(QLatin1String(what), text))};
}

QStringList StatusJournal::message(const QString& text, qint64 now) {
    return messages.take(text, "messages", now);
}

QStringList StatusJournal::note(StatusNote::About about, const QString& problem, qint64 now) {
    const QString before = std::exchange(notes[about], problem);
    if (substance(about, before) == substance(about, problem))
        return {};
    return shares[about].take(problem.isEmpty() ? before + QStringLiteral(" - is over") : problem, "notes",
                              now);
}

QStringList StatusJournal::due(qint64 now) {
    QStringList lines = messages.due(now);
    for (Share& share : shares)
        lines += share.due(now);
    return lines;
}

QStringList StatusJournal::rest() {
    QStringList lines = messages.rest();
    for (Share& share : shares)
        lines += share.rest();
    return lines;
}
