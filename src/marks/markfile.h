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
std::unique_ptr<Mark> markFromLine(const QString& line, InteractiveScene* scene);

/// Reads marks one after the other. Lines end with LF or CR LF; what no mark can be made of is skipped.
class MarkFileReader {
public:
    /// A longer line is skipped: no mark fills a fraction of it, and memory stays bounded whatever the file
    /// holds.
    static constexpr int kLongestLine = 1 << 20;  // characters

    /// The device is open for reading and outlives the reader.
    explicit MarkFileReader(QIODevice* device);

    /// The next mark, not yet in the scene; nothing at the end of the file.
    std::unique_ptr<Mark> next(InteractiveScene* scene);

private:
    QTextStream stream;
};

/// The file's content: one line a mark, Latin-1, lines ended by CR LF. Disabled marks are left out.
QByteArray markFileContent(const QList<Mark*>& marks);
