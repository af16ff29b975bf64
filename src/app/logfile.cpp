// SPDX-License-Identifier: Apache-2.0
#include "app/logfile.h"

#include <QDir>
#include <QFileInfo>
#include <utility>

#include "platform/files.h"

namespace {

/// The folder, and those above it that are missing.
QString makePath(const QString& folder) {
    const QFileInfo info(folder);
    if (info.isDir())
        return {};
    if (!info.isRoot()) {
        QString problem = makePath(info.path());
        if (!problem.isEmpty())
            return problem;
    }
    return platform::makeFolder(folder);
}

}  // namespace

LogFile::LogFile(const QString& file, Header header) : LogFile(file, std::move(header), Limits()) {}

LogFile::LogFile(const QString& file, Header header, const Limits& limits)
    : name(file), makeHeader(std::move(header)), limit(limits) {}

QString LogFile::nameOf(const QString& file, int age) {
    if (age == 0)
        return file;
    const QFileInfo info(file);
    const QString ending = info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix();
    return info.dir().filePath(QStringLiteral("%1.%2%3").arg(info.completeBaseName()).arg(age).arg(ending));
}

QString LogFile::append(const QByteArray& lines) {
    QFileInfo info(name);
    const QDir folder = info.dir();
    if (!folder.exists()) {
        // Only at the start the folders above it, too: later they may be on their way back.
        QString problem = hasHeader ? platform::makeFolder(folder.path()) : makePath(folder.path());
        if (!problem.isEmpty())
            return problem;
    }
    if (info.isFile() && info.size() > 0 && info.size() + lines.size() > limit.bytes) {
        QString problem = makeRoom();
        if (!problem.isEmpty() && info.size() + lines.size() > limit.bytes * limit.files)
            return problem;
        info.refresh();
    }
    const bool isNew = !info.exists() || (info.isFile() && info.size() == 0);
    const bool needsHeader = !hasHeader || isNew;
    QString problem = platform::appendLines(name, needsHeader ? makeHeader() + lines : lines);
    hasHeader = hasHeader || problem.isEmpty();
    return problem;
}

/// From the oldest that has to move on. Where the last step fails, nothing has to move at the next try.
QString LogFile::makeRoom() const {
    int age = 1;
    while (age < limit.files - 1 && QFileInfo::exists(nameOf(name, age)))
        ++age;
    for (; age > 0; --age) {
        QString problem = platform::replaceByRename(nameOf(name, age - 1), nameOf(name, age));
        if (!problem.isEmpty())
            return problem;
    }
    return {};
}
