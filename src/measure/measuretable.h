// SPDX-License-Identifier: Apache-2.0
/// The measures of figures as a table, to be taken along. Texts are the same in all languages, numbers have a
/// point. GUI thread, as the marks are.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVector>

class Mark;

/// One figure.
struct MeasureRow {
    QString kind;    ///< the keyword of the mark file
    QString points;  ///< "x y x y", scene px, two decimals
    /// As its caption has them: one value alone is a number ("123.4"), several have their names
    /// ("W:30.1 H:12.4"). Empty for what cannot be measured.
    QString values;
    QString unit;  ///< empty with the values
};

/// The complete figures among the marks, in their order; cross-hairs and texts are no measures.
QVector<MeasureRow> measureRows(const QList<Mark*>& marks);

/// A header and a line a figure, columns parted by tabs, lines ended by LF: for the clipboard.
QString tabTable(const QVector<MeasureRow>& rows);

/// The same for a file, as RFC 4180 has it: UTF-8 with a byte order mark, by which spreadsheets know it,
/// lines ended by CR LF. Time and barcode are the first columns of every row; a picture without figures has
/// the header alone.
QByteArray csvTable(const QVector<MeasureRow>& rows, const QString& time, const QString& barcode);
