// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>
#include <functional>

/// Several files that only make sense together: replaced all or none, whatever happens on the way.
///
/// All contents are written beside the files first, and the old ones kept beside them. Then a note that names
/// them is put into the working folder in one step. From then on the new files count: they are renamed into
/// place, and the note goes. What a killed program leaves is finished, or undone, by the next start.
/// Temporary files are called ".bivista-" and 32 hexadecimal digits. Any thread, one at a time for each note.
/// Nothing is thrown.
namespace platform {

/// A file and what is to be in it.
struct NewFile {
    QString name;
    QByteArray content;
};

/// Called after each step that changes the folder: the tests end the process there.
using FileSetStep = std::function<void()>;

/// Puts all files in place of those that have their names (no name twice). `note` is the name of this kind of
/// set, always the same and no temporary file's. A set that was left unfinished is finished first. Returns
/// what went wrong, in the system's words and with a line in the log, an empty text if nothing did: then all
/// are on the disk. After a problem the old files are all there, and nothing beside them.
QString replaceFileSet(const QString& note, const QVector<NewFile>& files, const FileSetStep& step = {});

/// Finishes what an earlier process left of the sets with this note, if anything; to be called before such
/// files are read, and before old temporary files are cleared away. Afterwards they are all new or all old.
/// Returns what kept it from that, an empty text if nothing did; the note stays then, for the next time.
QString recoverFileSet(const QString& note, const FileSetStep& step = {});

}  // namespace platform
