// SPDX-License-Identifier: Apache-2.0
#include "control/snapshotname.h"

#include <QRegularExpression>

QString snapshotName(const QDateTime& time) {
    return QStringLiteral("snapshot-%1").arg(time.toString(QStringLiteral("yyyyMMddhhmmsszzz")));
}

bool isSnapshotName(const QString& name) {
    static const QRegularExpression pattern(QStringLiteral("^snapshot-[0-9]{17}$"));
    return pattern.match(name).hasMatch();
}

QString snapshotSuffix(int type) {
    switch (type) {
        case 0:
            return QStringLiteral(".bmp");
        case 1:
            return QStringLiteral(".jpg");
        case 2:
            return QStringLiteral(".png");
        default:
            return {};
    }
}

QString snapshotFileName(const QString& folder, QChar separator, const QString& baseName, int type) {
    return folder.isEmpty() ? QString() : folder + separator + baseName + snapshotSuffix(type);
}
