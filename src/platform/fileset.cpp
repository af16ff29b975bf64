// SPDX-License-Identifier: Apache-2.0
#include "platform/fileset.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <cerrno>
#include <optional>

#include "platform/files.h"

namespace {

constexpr char kFirstLine[] = "Bivista file set 1";
constexpr char kLastLine[] = "end";
constexpr char kNone[] = "-";

/// One file of a set, as the note has it.
struct Entry {
    QString target;   ///< the file itself, no link to it
    QString fresh;    ///< its new content, beside it
    QString old;      ///< its old content, beside it; empty when there was no such file
    QByteArray hash;  ///< of the new content

    bool isInPlace() const { return hashOf(target) == hash; }
    bool isWaiting() const { return hashOf(fresh) == hash; }

    /// Empty where there is no such file. A damaged note may name a device, whose reading has no end.
    static QByteArray hashOf(const QString& name) {
        QFile file(name);
        if (!QFileInfo(name).isFile())
            return {};
        QCryptographicHash sum(QCryptographicHash::Sha1);
        return file.open(QIODevice::ReadOnly) && sum.addData(&file) ? sum.result().toHex() : QByteArray();
    }
};

QString beside(const QString& target, const QString& name) {
    return QFileInfo(target).dir().filePath(name);
}

QString nameOf(const QString& path) {
    return path.isEmpty() ? QLatin1String(kNone) : QFileInfo(path).fileName();
}

/// A new file of this content, on the disk at the return, with the permissions of another one if that is
/// there. What went wrong is returned, and no file is left then.
QString writeNew(const QString& name, const QByteArray& content, const QString& like) {
    QString problem = platform::writeNewFile(name, [&](QIODevice& file) {
        return file.write(content) == content.size() ? QString() : file.errorString();
    });
    if (problem.isEmpty() && QFile::exists(like))
        QFile::setPermissions(name, QFile::permissions(like));
    return problem;
}

void syncFolders(const QString& note, const QVector<Entry>& entries) {
    QStringList folders{QFileInfo(note).path()};
    for (const Entry& entry : entries)
        folders.append(QFileInfo(entry.target).path());
    folders.removeDuplicates();
    for (const QString& folder : qAsConst(folders))
        platform::syncFolder(folder);
}

QByteArray noteText(const QVector<Entry>& entries) {
    QByteArray text = QByteArray(kFirstLine) + '\n';
    for (const Entry& entry : entries) {
        text += nameOf(entry.fresh).toLatin1() + ' ' + nameOf(entry.old).toLatin1() + ' ' + entry.hash + ' ' +
                entry.target.toUtf8().toPercentEncoding() + '\n';
    }
    return text + kLastLine + '\n';
}

/// Nothing if it is none of ours: then nothing is renamed because of it.
std::optional<QVector<Entry>> parseNote(const QByteArray& text) {
    static const QRegularExpression line(
        QStringLiteral("^(\\.bivista-[0-9a-f]{32}) (-|\\.bivista-[0-9a-f]{32}) ([0-9a-f]{40}) (\\S+)$"));
    QList<QByteArray> lines = text.split('\n');
    if (lines.size() < 3 || lines.takeFirst() != kFirstLine || !lines.takeLast().isEmpty() ||
        lines.takeLast() != kLastLine)
        return {};
    QVector<Entry> entries;
    for (const QByteArray& one : qAsConst(lines)) {
        const auto match = line.match(QString::fromLatin1(one));
        if (!match.hasMatch())
            return {};
        Entry entry;
        entry.target = QString::fromUtf8(QByteArray::fromPercentEncoding(match.captured(4).toLatin1()));
        entry.fresh = beside(entry.target, match.captured(1));
        if (match.captured(2) != QLatin1String(kNone))
            entry.old = beside(entry.target, match.captured(2));
        entry.hash = match.captured(3).toLatin1();
        entries.append(entry);
    }
    return entries;
}

/// The work on one set, step by step.
class FileSet {
public:
    FileSet(QString noteName, QVector<Entry> noted, const platform::FileSetStep& observer)
        : note(std::move(noteName)), entries(std::move(noted)), step(observer) {}

    /// Everything beside the files, then the note.
    QString prepare(const QVector<platform::NewFile>& files) {
        for (const platform::NewFile& file : files) {
            QString problem = add(file);
            if (!problem.isEmpty()) {
                qWarning("%s was not written: %s", qUtf8Printable(file.name), qUtf8Printable(problem));
                clear();
                return problem;
            }
        }
        const QString fresh = platform::temporaryNameFor(note);
        QString problem = writeNew(fresh, noteText(entries), {});
        done();
        if (problem.isEmpty()) {
            // Otherwise the note could outlive what it names.
            syncFolders(note, entries);
            problem = platform::replaceByRename(fresh, note);
        }
        if (!problem.isEmpty()) {
            qWarning("%s was not written: %s", qUtf8Printable(note), qUtf8Printable(problem));
            QFile::remove(fresh);
            clear();
            return problem;
        }
        done();
        syncFolders(note, {});
        return {};
    }

    /// From the note on: forward if everything for that is there, else back. Both can be done again wherever
    /// they were cut off, and nothing more has to be noted for it: a set that goes back has lost a new
    /// content, so that it never goes forward any more. Returns what kept the files from being new;
    /// `isSettled()` afterwards says whether they are all new or all old.
    QString finish() {
        QString problem;
        for (const Entry& entry : qAsConst(entries)) {
            if (!entry.isWaiting() && !entry.isInPlace())
                problem = platform::errorText(ENOENT);
        }
        for (int i = 0; i < entries.size() && problem.isEmpty(); ++i) {
            const Entry& entry = entries[i];
            if (!entry.isWaiting())
                continue;
            problem = platform::replaceByRename(entry.fresh, entry.target);
            if (!problem.isEmpty())
                qWarning("%s was not written: %s", qUtf8Printable(entry.target), qUtf8Printable(problem));
            done();
        }
        settled = problem.isEmpty() || undo();
        if (!settled)
            return problem;
        syncFolders(note, entries);
        clear();
        // By a new name, since that has the patience with whoever holds the note for a moment. One that stays
        // all the same does no harm: what it names is in place, or back.
        const QString gone = platform::temporaryNameFor(note);
        platform::replaceByRename(note, gone);
        QFile::remove(gone);
        done();
        syncFolders(note, {});
        return problem;
    }

    bool isSettled() const { return settled; }

private:
    QString add(const platform::NewFile& file) {
        QFileInfo target(file.name);
        if (target.isSymLink())
            target.setFile(target.symLinkTarget());
        if (file.name.isEmpty() || target.isDir())
            return platform::errorText(file.name.isEmpty() ? ENOENT : EISDIR);
        // A file that must not be written to is not replaced either, although its folder would allow it.
        if (target.exists() && !target.isWritable())
            return platform::errorText(EACCES);
        Entry entry;
        entry.target = target.filePath();
        entry.hash = QCryptographicHash::hash(file.content, QCryptographicHash::Sha1).toHex();
        entry.fresh = platform::temporaryNameFor(entry.target);
        QString problem = writeNew(entry.fresh, file.content, entry.target);
        if (!problem.isEmpty())
            return problem;
        entries.append(entry);
        done();
        QFile before(entry.target);
        if (!before.exists())
            return {};
        if (!before.open(QIODevice::ReadOnly))
            return before.errorString();
        const QByteArray content = before.readAll();
        if (before.error() != QFileDevice::NoError)
            return before.errorString();
        const QString old = platform::temporaryNameFor(entry.target);
        problem = writeNew(old, content, entry.target);
        if (problem.isEmpty())
            entries.last().old = old;
        done();
        return problem;
    }

    /// A file whose new content still waits was never touched. One whose old content is gone was put back
    /// before.
    bool undo() {
        bool isUndone = true;
        for (const Entry& entry : qAsConst(entries)) {
            if (QFile::exists(entry.fresh)) {
                isUndone = QFile::remove(entry.fresh) && isUndone;
            } else if (entry.old.isEmpty()) {
                if (entry.isInPlace())  // what somebody else has put there stays
                    isUndone = QFile::remove(entry.target) && isUndone;
            } else if (QFile::exists(entry.old)) {
                const QString problem = platform::replaceByRename(entry.old, entry.target);
                if (!problem.isEmpty())
                    qWarning("%s was not put back: %s", qUtf8Printable(entry.target),
                             qUtf8Printable(problem));
                isUndone = problem.isEmpty() && isUndone;
            }
            done();
        }
        return isUndone;
    }

    /// Takes away what lies beside the files.
    void clear() {
        for (const Entry& entry : qAsConst(entries)) {
            QFile::remove(entry.fresh);
            if (!entry.old.isEmpty())
                QFile::remove(entry.old);
            done();
        }
    }

    void done() const {
        if (step)
            step();
    }

    QString note;
    QVector<Entry> entries;
    const platform::FileSetStep& step;
    bool settled = false;
};

}  // namespace

QString platform::replaceFileSet(const QString& note, const QVector<NewFile>& files,
                                 const FileSetStep& step) {
    returnToWorkingFolder();
    QString problem = recoverFileSet(note, step);
    if (!problem.isEmpty())
        return problem;
    FileSet set(note, {}, step);
    const QString unprepared = set.prepare(files);
    return unprepared.isEmpty() ? set.finish() : unprepared;
}

QString platform::recoverFileSet(const QString& note, const FileSetStep& step) {
    QFile file(note);
    if (!file.exists())
        return {};
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning("%s cannot be read: %s", qUtf8Printable(note), qUtf8Printable(file.errorString()));
        return file.errorString();
    }
    const auto entries = parseNote(file.readAll());
    file.close();
    if (!entries) {
        qWarning("%s says nothing that can be finished; taken away", qUtf8Printable(note));
        return file.remove() ? QString() : file.errorString();
    }
    FileSet set(note, *entries, step);
    const QString problem = set.finish();
    qInfo("An unfinished set of files: %s", problem.isEmpty() ? "finished"
                                            : set.isSettled() ? "undone"
                                                              : qUtf8Printable(problem));
    return set.isSettled() ? QString() : problem;
}
