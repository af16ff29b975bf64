// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <functional>

/// The files of the log: one that grows, and older ones beside it: "bivista.log", "bivista.1.log" (the
/// latest of them) ... "bivista.4.log". One that has no room for what comes gets the next number, and the
/// oldest goes.
///
/// No file is open between two calls, so it may be read, renamed and removed by anybody, and is made again.
/// Two programs may write to one file: their lines come in the order in which they are written. One thread.
class LogFile {
public:
    struct Limits {
        qint64 bytes = 2'000'000;  ///< of one file
        int files = 5;             ///< with the one that grows
    };
    /// The lines that begin each file and each start of the program; called when they are written.
    using Header = std::function<QByteArray()>;

    /// `file` with its folder, absolute. Nothing is touched yet.
    LogFile(const QString& file, Header header);
    LogFile(const QString& file, Header header, const Limits& limits);

    /// Writes whole lines, fewer bytes than a file may have. Makes the folder. Returns what went wrong, in
    /// the disk's words, and an empty text when all is written; otherwise nothing is. A file that cannot be
    /// renamed, since somebody keeps it open, goes on growing, up to the size of all.
    QString append(const QByteArray& lines);

    /// The name of the file that is `age` steps old; 0: that of the one that grows.
    static QString nameOf(const QString& file, int age);

private:
    QString makeRoom() const;

    QString name;
    Header makeHeader;
    Limits limit;
    bool hasHeader = false;  // from this start
};
