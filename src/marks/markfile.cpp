// SPDX-License-Identifier: Apache-2.0
#include "marks/markfile.h"

#include <array>

#include "marks/arcmark.h"
#include "marks/circlemark.h"
#include "marks/coordinatesmark.h"
#include "marks/ellipsemark.h"
#include "marks/hlinemark.h"
#include "marks/linemark.h"
#include "marks/polygonmark.h"
#include "marks/rectanglemark.h"
#include "marks/vlinemark.h"
#include "platform/files.h"

namespace {

struct Kind {
    const char* keyword;
    std::unique_ptr<Mark> (*read)(const QString& keyword, const QString& rest, MarkSurface* scene);
};

std::unique_ptr<Mark> readCoordinates(const QString& keyword, const QString& rest, MarkSurface* scene) {
    return CoordinatesMark::fromText(keyword, rest, scene);
}

constexpr std::array<Kind, 9> kKinds{{
    {HLineMark::kKeyword, &HLineMark::fromText},
    {VLineMark::kKeyword, &VLineMark::fromText},
    {LineMark::kKeyword, &LineMark::fromText},
    {ArcMark::kKeyword, &ArcMark::fromText},
    {RectangleMark::kKeyword, &RectangleMark::fromText},
    {CircleMark::kKeyword, &CircleMark::fromText},
    {CoordinatesMark::kKeyword, &readCoordinates},
    {PolygonMark::kKeyword, &PolygonMark::fromText},
    {EllipseMark::kKeyword, &EllipseMark::fromText},
}};

}  // namespace

QString markFileName(int index) {
    return platform::workingFolderFile(QStringLiteral("mark%1.txt").arg(index));
}

std::unique_ptr<Mark> markFromLine(const QString& line, MarkSurface* scene) {
    // A line without a space is both keyword and rest.
    const int space = line.indexOf(QLatin1Char(' '));
    const QString keyword = line.left(space);
    for (const Kind& kind : kKinds) {
        if (keyword == QLatin1String(kind.keyword))
            return kind.read(keyword, line.mid(space + 1), scene);
    }
    return nullptr;
}

MarkFileReader::MarkFileReader(QIODevice* device) : stream(device) {
    // A byte order mark, as editors leave it, still counts.
    stream.setCodec("ISO 8859-1");
}

std::unique_ptr<Mark> MarkFileReader::next(MarkSurface* scene) {
    QString line;
    while (!isFull && stream.readLineInto(&line, kLongestLine)) {
        if (line.size() == kLongestLine) {
            while (line.size() == kLongestLine && stream.readLineInto(&line, kLongestLine)) {
            }
            continue;
        }
        auto mark = markFromLine(line, scene);
        if (!mark)
            continue;
        if (count < kMostMarks) {
            ++count;
            return mark;
        }
        isFull = true;
    }
    return nullptr;
}

QByteArray markFileContent(const QList<Mark*>& marks) {
    QByteArray content;
    for (Mark* mark : marks) {
        if (mark->isEnabled())
            content += mark->toText().toLatin1() + "\r\n";
    }
    return content;
}

QString writeMarkFile(int index, const QList<Mark*>& marks) {
    const QString problem = platform::replaceFile(markFileName(index), markFileContent(marks));
    return problem.isEmpty() ? problem : QStringLiteral("Marks not written: %1").arg(problem);
}
