// SPDX-License-Identifier: Apache-2.0
#include "app/repeatedlines.h"

#include <algorithm>

LogLine RepeatedLines::summary(const Kind& kind, qint64 now) {
    const qint64 seconds = (std::min(now - kind.since, kPeriod) + 999) / 1000;
    LogLine line = kind.line;
    line.text +=
        QStringLiteral(" (repeated %1 in %2 s)")
            .arg(kind.count == 1 ? QStringLiteral("once") : QStringLiteral("%1 times").arg(kind.count))
            .arg(std::max<qint64>(seconds, 1));
    return line;
}

QVector<LogLine> RepeatedLines::feed(const LogLine& line, qint64 now) {
    QVector<LogLine> told = due(now);
    const auto known = std::find_if(kinds.begin(), kinds.end(), [&](const Kind& kind) {
        return kind.line.type == line.type && kind.line.text == line.text &&
               kind.line.category == line.category;
    });
    if (known == kinds.end()) {
        if (kinds.size() >= kKinds) {
            if (kinds.first().count > 0)
                told.append(summary(kinds.first(), now));
            kinds.removeFirst();
        }
        kinds.append({line, now, 1});
    } else if (known->told >= kToldAtOnce) {
        ++known->count;
        return told;
    } else {
        ++known->told;
    }
    told.append(line);
    return told;
}

QVector<LogLine> RepeatedLines::due(qint64 now) {
    QVector<LogLine> told;
    // Its next period begins behind all others.
    while (!kinds.isEmpty() && now - kinds.first().since >= kPeriod) {
        const Kind over = kinds.takeFirst();
        if (over.count == 0)
            continue;
        told.append(summary(over, now));
        kinds.append({over.line, now, kToldAtOnce});
    }
    return told;
}

QVector<LogLine> RepeatedLines::rest(qint64 now) {
    QVector<LogLine> told;
    for (const Kind& kind : qAsConst(kinds)) {
        if (kind.count > 0)
            told.append(summary(kind, now));
    }
    kinds.clear();
    return told;
}
