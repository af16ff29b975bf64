// SPDX-License-Identifier: Apache-2.0
#include "soak/report.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>

namespace {

QString valueText(const QJsonValue& value) {
    if (value.isDouble())
        return QString::number(value.toDouble(), 'g', 6);
    if (value.isArray()) {
        QStringList parts;
        const auto array = value.toArray();
        for (const auto& part : array)
            parts.append(valueText(part));
        return parts.join(QStringLiteral(", "));
    }
    return value.isBool() ? QString::fromLatin1(value.toBool() ? "yes" : "no") : value.toString();
}

void addObject(QString& text, const QJsonObject& object, const QString& indent) {
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        if (entry.value().isObject()) {
            text += indent + entry.key() + QLatin1Char('\n');
            addObject(text, entry.value().toObject(), indent + QStringLiteral("    "));
        } else {
            text += indent + entry.key().leftJustified(34 - indent.size()) + QLatin1Char(' ') +
                    valueText(entry.value()) + QLatin1Char('\n');
        }
    }
}

}  // namespace

QString Report::text() const {
    QString result;
    addObject(result, figures, {});
    for (const QString& failure : failures)
        result += QStringLiteral("FAILED: ") + failure + QLatin1Char('\n');
    if (passed())
        result += QStringLiteral("passed\n");
    return result;
}

QString Report::write(const QString& fileName) const {
    if (fileName.isEmpty())
        return {};
    QJsonObject all = figures;
    all[QStringLiteral("failures")] = QJsonArray::fromStringList(failures);
    all[QStringLiteral("passed")] = passed();
    QFile file(fileName);
    const QByteArray bytes = QJsonDocument(all).toJson();
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() ? QString()
                                                                                : file.errorString();
}
