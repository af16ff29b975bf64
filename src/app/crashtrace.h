// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

/// Sees to it that a crash of the program leaves a trace in a folder, and that Windows starts it again. Says
/// in the log, once each, which traces earlier runs have left, and keeps the newest of them only.
///
/// Made in main after the log, with the application object alive. Crashes are traced until the process is
/// gone, also when this object is.
class CrashTrace {
public:
    static constexpr int kKept = 20;  // crashes of which the traces stay

    /// `folder` is for the traces of programs that never run at the same time: that of one working folder. It
    /// need not be there. Files of others may be in it and stay; ours are those that have a trace's name and
    /// begin as one. `again` are the arguments of another start,
    /// without the program's own name.
    CrashTrace(const QString& folder, const QStringList& again);
};

/// The arguments for another start in the same working folder and with the same log, wherever it is started:
/// absolute paths, of the log an empty one where none was given.
QStringList restartArguments(const QString& folder, const QString& logFile);
