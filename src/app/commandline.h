// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>
#include <optional>

/// What the program was told when it was started. Qt's own options, as -platform, are passed over: the
/// application object takes them.
struct CommandLine {
    /// What there is to say instead of starting, with its line breaks, and the code to end with: 0 if it is
    /// what was asked for, 2 if the command line makes no sense.
    struct Answer {
        QString text;
        int code;
    };

    QString folder;   ///< --folder as it was given; empty: none was
    QString logFile;  ///< --log, absolute; empty: none was given
    std::optional<Answer> answer;

    /// That of this process, started in the current folder. Needs no application object.
    static CommandLine read(int argc, const char* const* argv);

    /// The first of the arguments is the program's name, which nobody reads; --log is meant relative to
    /// `startedIn`, which is empty where that folder has no name any more.
    static CommandLine parse(const QStringList& arguments, const QString& startedIn);

    /// Says the answer, on standard output or standard error, and returns its code. Windows shows a box where
    /// nobody reads those.
    int giveAnswer() const;
};
