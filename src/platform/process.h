// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

/// The process and what is around it before there is a window. GUI thread; no application object is needed.
namespace platform {

/// First of all in main. Posix: the process takes the encoding of its environment, as the application object
/// would a moment later. Windows: a library is no longer looked for in the current folder, which is the
/// working folder and may hold anything.
void prepareProcess();

/// main's arguments, the program's name included, whatever letters are in them.
QStringList arguments(int argc, const char* const* argv);

// ---- what is said without a window --------------------------------------------------------------

enum class Channel { Output, Error };

/// Writes a text, which brings its line breaks, to standard output or standard error. On Windows, where a
/// program with windows often has neither, it goes to the console that the program was started in. False:
/// there is nobody to read it.
bool write(Channel channel, const QString& text);

/// The same, and where there is nobody to read it, in a box that waits for an answer.
void tell(Channel channel, const QString& text);

// ---- folders -------------------------------------------------------------------------------------

/// An installation of the program that its installer has registered.
struct Installation {
    QString programFolder;
    QString workingFolder;
};

/// The user's own first, then that of all users; none where there is no such thing.
QVector<Installation> registeredInstallations();

/// Where the system starts programs for which nobody said a folder; empty where that is no folder of its
/// own.
QString systemFolder();

/// Whether two names mean the same folder: letter case, links, short names make no difference where the
/// system makes none. False if one of them is not there.
bool isSameFolder(const QString& one, const QString& other);

// ---- lock files ----------------------------------------------------------------------------------

/// Whether a living process holds this file as QLockFile does. False if it is not there, if it was left by a
/// process that has ended, whatever is written in it, or if nobody can tell.
/// Takes it for a moment where nobody has it, so that one who is about to take it may fail: whoever takes or
/// asks does so in turn with others, or looks afterwards whether he has it.
bool isHeld(const QString& lockFile);

/// A file as the file system knows it, whatever its name is by now.
struct FileNumber {
    quint64 device = 0;
    quint64 file = 0;
};

/// Who a file is that this process holds, so that the number is not given again. Windows has none: there a
/// file that is held keeps its name.
FileNumber numberOfHeld(const QString& lockFile);

enum class HeldName {
    Ours,     ///< the name means the file with this number, or nobody can tell
    Gone,     ///< nothing has the name
    Another,  ///< another file has it
};

/// What the name of a file that is held means now; on Windows always that file. Where the disk is away, as
/// long as that takes.
HeldName meaningOf(const QString& lockFile, const FileNumber& held);

}  // namespace platform
