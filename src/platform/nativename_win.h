// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDir>
#include <QFileInfo>
#include <QString>

namespace platform {

/// The name as Windows takes it whatever its length, also where long paths are not switched on: as Qt names
/// the files that it opens. Any thread.
inline QString nativeName(const QString& name) {
    constexpr int kLongName = 240;  // of the 260 letters that Windows has for a path
    const QString path = QDir::toNativeSeparators(QDir::cleanPath(QFileInfo(name).absoluteFilePath()));
    if (path.size() < kLongName)
        return path;
    return path.startsWith(QLatin1String("\\\\")) ? QStringLiteral("\\\\?\\UNC") + path.mid(1)
                                                  : QStringLiteral("\\\\?\\") + path;
}

}  // namespace platform
