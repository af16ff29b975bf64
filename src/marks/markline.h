// SPDX-License-Identifier: Apache-2.0
/// One line of the mark file: fields between spaces. Pure; any thread.
#pragma once

#include <QPointF>
#include <QString>
#include <QStringList>

/// A number as the mark file holds it: at most six significant digits ("123.457", "1e+06", "-0.5").
QString markNumber(double value);

/// The fields of a line, for reading. Empty fields are skipped, so spaces may be doubled. A field that is
/// missing or no number reads as 0.
class MarkFields {
public:
    /// Fields beyond this many are not kept: no mark has more, and a damaged file may.
    static constexpr int kMost = 128;

    explicit MarkFields(const QString& text);

    int count() const { return fields.size(); }
    QString text(int field) const { return fields.value(field); }
    int integer(int field) const { return text(field).toInt(); }
    double number(int field) const { return text(field).toDouble(); }
    /// x in the given field, y in the next, scene px.
    QPointF point(int field) const { return {number(field), number(field + 1)}; }

private:
    QStringList fields;
};
