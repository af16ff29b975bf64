// SPDX-License-Identifier: Apache-2.0
#include "measure/measuretable.h"

#include <QStringList>
#include <algorithm>

#include "marks/figuremark.h"
#include "marks/markgeometry.h"
#include "marks/markline.h"

namespace {

constexpr auto kByteOrderMark = "\xEF\xBB\xBF";

QString coordinateText(double value) {
    // What a damaged mark file can hold would fill a page.
    return isDrawable(QPointF(value, 0.0)) ? QString::number(value, 'f', 2) : markNumber(value);
}

QString pointsText(const QVector<QPointF>& points) {
    QStringList texts;
    for (const QPointF point : points)
        texts << coordinateText(point.x()) << coordinateText(point.y());
    return texts.join(QLatin1Char(' '));
}

QString valuesText(const QVector<Measure>& measures) {
    if (measures.size() == 1)
        return valueText(measures.first());
    QStringList texts;
    for (const Measure& measure : measures)
        texts << measure.name + QLatin1Char(':') + valueText(measure);
    return texts.join(QLatin1Char(' '));
}

QStringList header() {
    return {QStringLiteral("kind"), QStringLiteral("points"), QStringLiteral("values"),
            QStringLiteral("unit")};
}

QStringList cells(const MeasureRow& row) {
    return {row.kind, row.points, row.values, row.unit};
}

QString quoted(QString text) {
    text.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + text + QLatin1Char('"');
}

QString csvCell(const QString& text) {
    const bool needsQuotes = std::any_of(text.cbegin(), text.cend(), [](QChar letter) {
        return letter == QLatin1Char(',') || letter == QLatin1Char('"') || letter == QLatin1Char('\r') ||
               letter == QLatin1Char('\n');
    });
    return needsQuotes ? quoted(text) : text;
}

/// In quotes, too, where it begins as formulas do. Its letters stay as they are, since programs read them:
/// who opens the file in a spreadsheet takes the column as text.
QString barcodeCell(const QString& text) {
    const bool isLikeAFormula = !text.isEmpty() && QStringLiteral("=+-@").contains(text.front());
    return isLikeAFormula ? quoted(text) : csvCell(text);
}

QByteArray csvLine(const QString& time, const QString& barcode, const QStringList& others) {
    QStringList line{csvCell(time), barcodeCell(barcode)};
    for (const QString& text : others)
        line << csvCell(text);
    return line.join(QLatin1Char(',')).toUtf8() + "\r\n";
}

}  // namespace

QVector<MeasureRow> measureRows(const QList<Mark*>& marks) {
    QVector<MeasureRow> rows;
    for (const Mark* mark : marks) {
        const auto* figure = dynamic_cast<const FigureMark*>(mark);
        if (!figure || !figure->isComplete())
            continue;
        const QVector<Measure> measures = figure->measures();
        rows.append({keywordOf(figure->kind()), pointsText(figure->figure().points), valuesText(measures),
                     measures.isEmpty() ? QString() : measures.first().unit});
    }
    return rows;
}

QString tabTable(const QVector<MeasureRow>& rows) {
    QString table = header().join(QLatin1Char('\t')) + QLatin1Char('\n');
    for (const MeasureRow& row : rows)
        table += cells(row).join(QLatin1Char('\t')) + QLatin1Char('\n');
    return table;
}

QByteArray csvTable(const QVector<MeasureRow>& rows, const QString& time, const QString& barcode) {
    QByteArray table = kByteOrderMark;
    table += csvLine(QStringLiteral("time"), QStringLiteral("barcode"), header());
    for (const MeasureRow& row : rows)
        table += csvLine(time, barcode, cells(row));
    return table;
}
