// SPDX-License-Identifier: Apache-2.0
// The note that an unfinished writing of calibration files leaves, and the folder that it speaks of.
//
// First byte 'n': the rest is the note, in a folder with what such notes name. Any other first byte is the
// step at which the program was killed while it wrote; what follows damages what it left, four bytes a time:
// file, kind of damage, place, value.
#include <QCryptographicHash>
#include <algorithm>
#include <set>

#include "calibration/calibrationfile.h"
#include "fuzz/fuzzgui.h"
#include "platform/fileset.h"

namespace {

const QString kNote = QStringLiteral(".Cal.commit");

struct Killed {};

QStringList filesHere() {
    return QDir().entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
}

std::multiset<QByteArray> contentsHere() {
    std::multiset<QByteArray> contents;
    const auto files = filesHere();
    for (const QString& file : files)
        contents.insert(contentOfFile(file));
    return contents;
}

/// The note's own text apart, nothing is in any file that was not there before.
void recover() {
    const auto before = contentsHere();
    const QString problem = recoverCalibrations();
    if (problem.isEmpty())
        must(!QFile::exists(kNote), "a note that is dealt with goes");
    const auto after = contentsHere();
    for (const QByteArray& content : after)
        must(before.count(content) > 0, "recovering makes no new content");
    recoverCalibrations();
    must(contentsHere() == after, "recovering twice is recovering once");
}

void useNote(const QByteArray& text) {
    // As the notes of the corpus have it: names of one digit, and hashes of these texts.
    writeFile(QStringLiteral("Cal0.xml"), "old0");
    writeFile(QStringLiteral("Cal1.xml"), "old1");
    const QByteArray contents[] = {"new0", "new1", "old0", "old1"};
    for (int i = 0; i < 4; ++i)
        writeFile(QStringLiteral(".bivista-") + QString(32, QChar(u'0' + i)), contents[i]);
    writeFile(kNote, text);
    recover();
}

/// The files in an order that does not depend on the random names of temporary ones.
QStringList filesByContent() {
    QStringList files = filesHere();
    std::stable_sort(files.begin(), files.end(), [](const QString& a, const QString& b) {
        return contentOfFile(a).left(20) < contentOfFile(b).left(20);
    });
    return files;
}

void damage(const uint8_t* what) {
    const QStringList files = filesByContent();
    if (files.isEmpty())
        return;
    const QString file = files[what[0] % files.size()];
    QByteArray content = contentOfFile(file);
    switch (what[1] % 5) {
        case 0:
            QFile::remove(file);
            return;
        case 1:
            content.truncate(what[2]);
            break;
        case 2:
            if (!content.isEmpty())
                content[what[2] % content.size()] = static_cast<char>(what[3]);
            break;
        case 3:
            content = contentOfFile(files[what[3] % files.size()]);
            break;
        default:
            content += content.mid(what[2]);
            break;
    }
    writeFile(file, content);
}

void useKilled(const uint8_t* data, size_t size) {
    const int hasOld = data[0] & 1;
    int steps = data[0] >> 1;
    if (hasOld) {
        writeFile(QStringLiteral("Cal0.xml"), "old0");
        writeFile(QStringLiteral("Cal1.xml"), "old1");
    }
    try {
        platform::replaceFileSet(
            kNote, {{QStringLiteral("Cal0.xml"), "new0"}, {QStringLiteral("Cal1.xml"), "new1"}}, [&steps] {
                if (--steps < 0)
                    throw Killed();
            });
    } catch (const Killed&) {
    }
    if (size < 5) {
        must(recoverCalibrations().isEmpty(), "what was only cut off can be finished");
        const QByteArray first = contentOfFile(QStringLiteral("Cal0.xml"));
        const QByteArray second = contentOfFile(QStringLiteral("Cal1.xml"));
        must((first == "new0" && second == "new1") ||
                 (first == (hasOld ? "old0" : "") && second == (hasOld ? "old1" : "")),
             "all files are new, or all old");
        return;
    }
    for (size_t at = 1; at + 4 <= std::min<size_t>(size, 41); at += 4)
        damage(data + at);
    recover();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    startApplication();
    if (size == 0)
        return 0;
    const InputFolder folder;
    if (data[0] == 'n')
        useNote(bytesOf(data + 1, size - 1));
    else
        useKilled(data, size);
    return 0;
}
