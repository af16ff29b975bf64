// SPDX-License-Identifier: Apache-2.0
#include "marks/markline.h"

QString markNumber(double value) {
    return QStringLiteral("%1").arg(value);
}

MarkFields::MarkFields(const QString& text) {
    int from = 0;
    while (from < text.size() && fields.size() < kMost) {
        int end = text.indexOf(QLatin1Char(' '), from);
        if (end < 0)
            end = text.size();
        if (end > from)
            fields.append(text.mid(from, end - from));
        from = end + 1;
    }
}
