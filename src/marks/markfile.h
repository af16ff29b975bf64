// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QTextStream>
#include <memory>

#include "marks/mark.h"

/// "mark%1.txt" in the working folder.
QString markFileName(int index);

/// The mark of one line, without line end; nothing when the line is short, or its keyword unknown. Text
/// overlays are not in mark files and their lines are skipped too.
std::unique_ptr<Mark> markFromLine(const QString& line, MarkSurface* scene);

/// Writes the marks to their file and returns what went wrong, an empty text if nothing did: then the file is
/// replaced in one step, else the old one is still there and the reason in the log.
QString writeMarkFile(int index, const QList<Mark*>& marks);

/// Reads marks one after the other. Lines end with LF or CR LF; what no mark can be made of is skipped.
class MarkFileReader {
public:
    /// A longer line is skipped: no mark fills a fraction of it, and memory stays bounded whatever the file
    /// holds.
    static constexpr int kLongestLine = 1 << 20;  // characters
    /// Marks beyond this many are left: nobody sees as many, and each one takes its time in every painting.
    static constexpr int kMostMarks = 10000;

    /// The device is open for reading and outlives the reader.
    explicit MarkFileReader(QIODevice* device);

    /// The next mark, not yet in the scene; nothing at the end of the file, or when there were kMostMarks.
    std::unique_ptr<Mark> next(MarkSurface* scene);
    /// next() has come upon a mark beyond kMostMarks.
    bool hasLeftMarks() const { return isFull; }

private:
    QTextStream stream;
    int count = 0;        // marks read
    bool isFull = false;  // and there was another
};

/// The file's content: one line a mark, Latin-1, lines ended by CR LF. Disabled marks are left out.
QByteArray markFileContent(const QList<Mark*>& marks);
