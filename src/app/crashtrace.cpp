// SPDX-License-Identifier: Apache-2.0
#include "app/crashtrace.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QVector>

#include "app/version.h"
#include "platform/crashtrace.h"
#include "platform/files.h"
#include "platform/unattended.h"

namespace {

const QString kToldFile = QStringLiteral("crashes-told.txt");

/// What a crash has left: "crash-20240131-235959-123.dmp", ".txt". At least one, in this order.
using Traces = QStringList;

QString nameOf(const Traces& crash) {
    return crash.first().left(crash.first().size() - 4);
}

/// Anybody may keep files in the folder, and call them what they like. One that is empty a full disk has
/// left.
bool isOurs(const QString& fileName) {
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    constexpr int kLongestLine = 400;
    const QByteArray begin = file.readLine(kLongestLine);
    if (begin.isEmpty())
        return file.size() == 0;
    return fileName.endsWith(QLatin1String(".dmp"))
               ? begin.startsWith("MDMP")
               : begin.startsWith("Bivista ") && begin.contains(" crashed: ");
}

/// The crashes that have left traces, oldest first.
QVector<Traces> crashesIn(const QDir& folder) {
    static const QRegularExpression form(QStringLiteral("^crash-[0-9]{8}-[0-9]{6}-[0-9]+\\.(txt|dmp)$"));
    QVector<Traces> crashes;
    const QStringList files = folder.entryList(QDir::Files | QDir::Hidden | QDir::NoSymLinks, QDir::Name);
    for (const QString& file : files.filter(form)) {
        if (!isOurs(folder.filePath(file)))
            continue;
        if (!crashes.isEmpty() && file.startsWith(nameOf(crashes.last()) + QLatin1Char('.')))
            crashes.last().append(file);
        else
            crashes.append({file});
    }
    return crashes;
}

void removeOldest(QVector<Traces>& crashes, const QDir& folder) {
    while (crashes.size() > CrashTrace::kKept) {
        const Traces files = crashes.takeFirst();
        for (const QString& file : files)
            QFile::remove(folder.filePath(file));
    }
}

/// Which ones were told is in a file beside them: the traces themselves are left as they are.
void tellNewOnes(const QVector<Traces>& crashes, const QDir& folder) {
    const QString toldName = folder.filePath(kToldFile);
    QFile file(toldName);
    QSet<QString> told;
    if (file.open(QIODevice::ReadOnly)) {
        const auto lines = file.readAll().split('\n');
        for (const QByteArray& line : lines)
            told.insert(QString::fromUtf8(line.trimmed()));
        file.close();
    }
    bool isNew = false;
    QStringList names;
    for (const Traces& crash : crashes) {
        names.append(nameOf(crash));
        if (told.contains(names.last()))
            continue;
        isNew = true;
        qWarning("%s run crashed: %s", crash == crashes.last() ? "The last" : "An earlier",
                 qUtf8Printable(QDir::toNativeSeparators(folder.filePath(crash.last()))));
    }
    // Where it cannot be written they are told again, which is no harm.
    if (isNew)
        platform::replaceFile(toldName, names.join(QLatin1Char('\n')).toUtf8() + '\n');
}

}  // namespace

CrashTrace::CrashTrace(const QString& folder, const QStringList& again) {
    platform::traceCrashes(folder, "Bivista " + programVersion().toUtf8());
    platform::restartAfterCrash(again);
    const QDir traces(folder);
    QVector<Traces> crashes = crashesIn(traces);
    removeOldest(crashes, traces);
    tellNewOnes(crashes, traces);
}

QStringList restartArguments(const QString& folder, const QString& logFile) {
    QStringList arguments{QStringLiteral("--folder"), QDir::toNativeSeparators(folder)};
    if (!logFile.isEmpty())
        arguments += {QStringLiteral("--log"), QDir::toNativeSeparators(logFile)};
    return arguments;
}
