// SPDX-License-Identifier: Apache-2.0
#include "platform/files.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QUuid>
#include <algorithm>
#include <cerrno>
#include <system_error>

namespace {

constexpr int kMostLinks = 40;  // in a row, as systems follow them

/// A new file that removes itself again unless it is kept.
class OutgoingFile final : public QFile {
public:
    using QFile::QFile;
    ~OutgoingFile() override {
        if (isKept || !isOpen())
            return;
        close();
        // By its name: a file whose closing failed refuses to be removed.
        QFile::remove(fileName());
    }
    OutgoingFile(const OutgoingFile&) = delete;
    OutgoingFile& operator=(const OutgoingFile&) = delete;

    /// What the disk has to say about what was written so far.
    QString problem() {
        if (!trouble.isEmpty())
            return trouble;
        // The size is asked of the disk: a full one can take the bytes into a buffer and lose them
        // afterwards.
        return flush() && size() == end ? QString() : reason();
    }

    /// Closes the file, which stays; unless the disk says only now that it does not.
    QString keep() {
        isKept = true;
        close();
        if (error() == NoError)
            return {};
        QString problem = errorString();
        QFile::remove(fileName());
        return problem;
    }

protected:
    /// On a disk that takes a part, the rest once more: only then it says why. The writer is not told:
    /// encoders that are stopped lose memory and print lines of their own.
    qint64 writeData(const char* data, qint64 length) override {
        if (!trouble.isEmpty())
            return length;
        qint64 done = 0;
        qint64 written = 0;
        while (done < length && (written = QFile::writeData(data + done, length - done)) > 0)
            done += written;
        end = std::max(end, pos() + done);
        if (done < length)
            trouble = reason();
        return length;
    }

private:
    /// Once more: a disk that took a part says why only when it takes nothing.
    QString reason() {
        flush();
        return error() != NoError ? errorString() : platform::errorText(ENOSPC);
    }

    QString trouble;
    qint64 end = 0;
    bool isKept = false;
};

/// Where a file of this name is, through links; also where the last of them leads nowhere yet.
QFileInfo targetOf(const QString& fileName) {
    QFileInfo target(fileName);
    for (int links = 0; links < kMostLinks && target.isSymLink(); ++links)
        target.setFile(target.symLinkTarget());
    return target;
}

QString replaceTarget(const QString& fileName, const platform::FileWriter& write, platform::Disk disk) {
    const QFileInfo target = targetOf(fileName);
    if (target.isDir())
        return platform::errorText(EISDIR);
    // A file that must not be written to is not replaced either, although its folder would allow it.
    if (target.exists() && !target.isWritable())
        return platform::errorText(EACCES);
    const QString temporary = platform::temporaryNameFor(target.filePath());
    QString problem = platform::writeNewFile(temporary, write, disk);
    if (!problem.isEmpty())
        return problem;
    if (target.exists())
        QFile::setPermissions(temporary, target.permissions());
    problem = platform::replaceByRename(temporary, target.filePath());
    if (!problem.isEmpty())
        QFile::remove(temporary);
    else if (disk == platform::Disk::WaitForIt)
        platform::syncFolder(target.path());  // the file is in place whatever comes of it
    return problem;
}

const QString& temporaryPrefix() {
    static const QString prefix = QStringLiteral(".bivista-");
    return prefix;
}

}  // namespace

QString platform::errorText(int number) {
    // Not by Qt, which takes numbers for the system's own: on Windows those are others.
    return QString::fromLocal8Bit(std::generic_category().message(number).c_str());
}

QString platform::temporaryNameFor(const QString& fileName) {
    const QString name = temporaryPrefix() + QUuid::createUuid().toString(QUuid::Id128);
    return QFileInfo(fileName).dir().filePath(name);
}

QString platform::writeNewFile(const QString& fileName, const FileWriter& write, Disk disk) {
    OutgoingFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return file.errorString();
    const QString writersProblem = write(file);
    // What the disk says is more to the point than what the writer made of it.
    QString problem = file.problem();
    if (problem.isEmpty())
        problem = writersProblem;
    if (problem.isEmpty() && disk == Disk::WaitForIt)
        problem = syncFile(file);
    if (!problem.isEmpty())
        return problem;
    if (disk == Disk::LetItFollow)
        startSync(file);
    return file.keep();
}

QString platform::replaceFile(const QString& fileName, const FileWriter& write, Disk disk) {
    if (fileName.isEmpty()) {
        qWarning("A file without a name was not written");
        return QStringLiteral("No file name");
    }
    returnToWorkingFolder();
    QString problem = replaceTarget(fileName, write, disk);
    if (!problem.isEmpty())
        qWarning("%s was not written: %s", qUtf8Printable(fileName), qUtf8Printable(problem));
    return problem;
}

QString platform::replaceFile(const QString& fileName, const QByteArray& content) {
    return replaceFile(fileName, [&](QIODevice& file) {
        return file.write(content) == content.size() ? QString() : file.errorString();
    });
}

int platform::removeLeftOvers(const QString& folder, std::chrono::milliseconds age) {
    if (folder.isEmpty())
        return 0;
    static const QRegularExpression ours(QRegularExpression::anchoredPattern(
        QRegularExpression::escape(temporaryPrefix()) + QStringLiteral("[0-9a-f]{32}")));
    const QDateTime oldest = QDateTime::currentDateTimeUtc().addMSecs(-age.count());
    int removed = 0;
    QDirIterator files(folder, {temporaryPrefix() + QLatin1Char('*')},
                       QDir::Files | QDir::Hidden | QDir::NoSymLinks);
    while (files.hasNext()) {
        QFile file(files.next());
        const QFileInfo info = files.fileInfo();
        if (info.isSymLink() || !info.isFile() || !ours.match(files.fileName()).hasMatch() ||
            info.lastModified() > oldest)
            continue;
        if (file.remove())
            ++removed;
        else
            qWarning("%s was not removed: %s", qUtf8Printable(file.fileName()),
                     qUtf8Printable(file.errorString()));
    }
    return removed;
}
