// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QtGlobal>

#include "app/repeatedlines.h"

/// A line of the log's file, with all that stands before it.
struct LogRecord {
    qint64 time = 0;    ///< ms since the epoch, as the wall clock says
    QByteArray thread;  ///< who said it; "-" where it may have been several
    LogLine line;
};

/// The record as the file has it, UTF-8, with its line end:
///
///     2026-11-22 15:47:31.123 +01:00  warning   main         qt.qpa: text
///
/// local time and how far it is from UTC, level, thread, category unless it is the default one, text. Each
/// further line of a text begins with four spaces, which no record does. What would break a line or a
/// terminal - control characters, other line ends - stands as "\x1b".
QByteArray fileText(const LogRecord& record);

/// The text, cut off after kLongestText letters (of UTF-16); then it says how many there were.
QString shortText(const QString& text);
constexpr int kLongestText = 4000;
