// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QFileDevice>
#include <QString>
#include <chrono>
#include <functional>

/// Files that are replaced whole or not at all, and what that takes of the system. Any thread, each file by
/// one at a time. What can fail returns what went wrong, in the disk's words ("No space left on device"), and
/// an empty text when nothing did.
namespace platform {

/// A file of the working folder as this system writes it: ".\name" on Windows, "./name" elsewhere.
QString workingFolderFile(const QString& name);

/// Where a process stays in a working folder that was removed, and one of the same path is there again: goes
/// to that one. Called by the functions that write and by workingFolderFile(), and remembers the path
/// meanwhile. Any thread.
void returnToWorkingFolder();

// ---- one file in place of another ---------------------------------------------------------------

/// Writes a whole file into the device, which cannot be read, and returns what went wrong, an empty text if
/// nothing did. A disk that is full is not its business: the device then takes the rest and forgets it.
using FileWriter = std::function<QString(QIODevice& file)>;

/// Whether a new file is on the disk when it is done.
enum class Disk {
    WaitForIt,    ///< it is; for the few bytes that the next start needs
    LetItFollow,  ///< every program sees it, and it is on the disk as soon as the disk can; for pictures
};

/// Puts a file of this content in place of whatever has the name, in one step: readers see the old file or
/// the new one. When it fails (folder gone or not writable, disk full) the old one is still there, nothing
/// else is left behind, and the log has a line. A link is written through; the new file has the old one's
/// permissions. What `write` throws is passed on, with nothing left behind either.
QString replaceFile(const QString& fileName, const FileWriter& write, Disk disk = Disk::WaitForIt);
QString replaceFile(const QString& fileName, const QByteArray& content);

// ---- its steps, for several files that belong together ------------------------------------------

/// A new name in the folder of `fileName` for a file that is to take its place: what removeLeftOvers() knows
/// again. Short, since a name with an ending more can be too long.
QString temporaryNameFor(const QString& fileName);

/// Writes a new file of this name. When it fails, or `write` throws, there is none.
QString writeNewFile(const QString& fileName, const FileWriter& write, Disk disk = Disk::WaitForIt);

/// Gives a file another name in one step, in place of the file that has it. The rename is on the disk after
/// syncFolder().
QString replaceByRename(const QString& from, const QString& to);

/// Waits until what was renamed, made or removed in a folder is on the disk. Where the system or the disk has
/// no such thing, it has been done.
QString syncFolder(const QString& folder);

// ---- a file that grows by lines ------------------------------------------------------------------

/// Appends whole lines, UTF-8 with their line ends, to a file that is made when it is missing; the folder has
/// to be there. The file is opened and closed for it, and shared with whoever reads, renames or removes it
/// meanwhile. Several programs may append to one file: each call's bytes stay together. Where the last line
/// there has no end, it gets one first. When it fails, nothing of `lines` stays in the file where the system
/// lets that be undone. May take as long as the disk.
QString appendLines(const QString& fileName, const QByteArray& lines);

// ---- what a program that was killed leaves behind -----------------------------------------------

/// Removes the temporary files of temporaryNameFor() that are older than this from a folder: files only, no
/// links, nothing of any other name, and not from sub-folders. Returns how many; one that cannot be removed
/// gets a line in the log. An empty name is no folder.
int removeLeftOvers(const QString& folder, std::chrono::milliseconds age = std::chrono::hours(1));

// ---- what each system does in its own way, for the functions above ------------------------------

/// Waits until an open file, which has been flushed, is on the disk. Where the disk has no such thing, it has
/// been done.
QString syncFile(const QFileDevice& file);

/// Makes a folder in one that is there. One that is there already is all right.
QString makeFolder(const QString& folder);

/// What one of the error numbers of <cerrno> means ("Permission denied"), the same on every system.
QString errorText(int number);

/// Has the disk take an open file, without waiting for it; the file may be closed at once. A few at a time
/// are pushed on by threads of their own, which touch nothing but the file and which the end of the program
/// does not wait for; beyond that the system writes when it likes.
void startSync(const QFileDevice& file);
/// Number of files that startSync() is pushing on now.
int syncsUnderWay();

}  // namespace platform
