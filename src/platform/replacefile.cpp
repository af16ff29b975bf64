#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QUuid>
#include <algorithm>
#include <cerrno>

#include "platform/platform.h"

namespace {

/// A file that knows how much was written to it.
template <typename File>
class OutgoingFile : public File {
public:
    using File::File;

    // The size is asked of the disk: a full one can take the bytes into a buffer and lose them afterwards.
    bool isComplete() { return this->flush() && this->size() == end; }

protected:
    qint64 writeData(const char* data, qint64 length) override {
        const qint64 written = File::writeData(data, length);
        end = std::max(end, this->pos() + std::max<qint64>(written, 0));
        return written;
    }

private:
    qint64 end = 0;
};

/// What the disk says is more to the point than what the writer made of it.
QString problemOf(const QFileDevice& file, const QString& writersProblem) {
    return file.error() != QFileDevice::NoError || writersProblem.isEmpty() ? file.errorString()
                                                                            : writersProblem;
}

/// Written beside under a short name, since one with an ending more can be too long, then put in place. What
/// went wrong is returned.
QString replaceWithoutWaiting(const QString& fileName, const platform::FileWriter& write) {
    QFileInfo target(fileName);
    if (target.isSymLink())
        target.setFile(target.symLinkTarget());
    OutgoingFile<QFile> file(
        target.dir().filePath(QStringLiteral(".bivista-") + QUuid::createUuid().toString(QUuid::Id128)));
    // A file that must not be written to is not replaced either, although its folder would allow it.
    if (target.exists() && !target.isWritable())
        return qt_error_string(EACCES);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return file.errorString();
    QString problem = write(file);
    if (!problem.isEmpty() || !file.isComplete()) {
        problem = problemOf(file, problem);
        file.remove();
        return problem;
    }
    platform::startSync(file);
    file.close();
    problem = platform::replaceByRename(file.fileName(), target.filePath());
    if (!problem.isEmpty())
        file.remove();
    return problem;
}

QString replaceAndWait(const QString& fileName, const platform::FileWriter& write) {
    OutgoingFile<QSaveFile> file(fileName);
    if (!file.open(QIODevice::WriteOnly))
        return QFileInfo(fileName).isDir() ? file.errorString() : replaceWithoutWaiting(fileName, write);
    const QString problem = write(file);
    if (problem.isEmpty() && file.isComplete()) {
        if (file.commit())
            return {};
        // Something holds one of the two files for a moment; the other way has the patience.
        return replaceWithoutWaiting(fileName, write);
    }
    file.cancelWriting();
    return problemOf(file, problem);
}

}  // namespace

bool platform::replaceFile(const QString& fileName, const FileWriter& write, Disk disk) {
    if (fileName.isEmpty()) {
        qWarning("A file without a name was not written");
        return false;
    }
    const QString problem =
        disk == Disk::WaitForIt ? replaceAndWait(fileName, write) : replaceWithoutWaiting(fileName, write);
    if (!problem.isEmpty())
        qWarning("%s was not written: %s", qUtf8Printable(fileName), qUtf8Printable(problem));
    return problem.isEmpty();
}

bool platform::replaceFile(const QString& fileName, const QByteArray& content) {
    return replaceFile(fileName, [&](QIODevice& file) {
        return file.write(content) == content.size() ? QString() : file.errorString();
    });
}
