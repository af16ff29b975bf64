// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QLockFile>
#include <QString>
#include <QTimer>
#include <functional>
#include <memory>

#include "platform/process.h"

/// Sees to it that one program works in a folder: whoever comes second finds the lock file of the first,
/// bivista.lock, held by a living process, whatever path it came by. A file that a killed program left, with
/// whatever in it, stops nobody. Where no lock file can be made or held, the program runs without.
///
/// A file that is removed while the program runs, by hand or with its folder, is made anew within kLookTime,
/// while the event loop runs. If another program has taken the folder by then, both run on, with a line in
/// the log, and neither removes the other's file.
///
/// Made on the GUI thread, before anything of the folder is opened, and the last to go. The file goes with
/// the object, or in exit().
class OnlyProgram {
public:
    /// What the process of a second start ends with.
    static constexpr int kTakenCode = 3;
    /// ms between two looks whether the file is still there.
    static constexpr int kLookTime = 30'000;

    /// What a second start does to the windows of the first, by its process, and to the operator.
    struct Ways {
        std::function<bool(qint64 process)> raise;                  ///< whether there are any
        std::function<bool(qint64 process, int patience)> answers;  ///< within so many ms
        std::function<void(const QString& text)> show;
    };

    /// An empty name stands for a folder that has none any more: nobody can be kept out of that.
    explicit OnlyProgram(const QString& workingFolder);
    ~OnlyProgram();
    OnlyProgram(const OnlyProgram&) = delete;
    OnlyProgram& operator=(const OnlyProgram&) = delete;

    /// Whether another program works in the folder.
    bool isTaken() const { return taken; }
    /// The process that does, if it is one of this PC; otherwise 0.
    qint64 holder() const;
    /// Why nothing keeps a second program out, for the log, which is not there yet; empty if something does.
    QString problem() const { return problemText; }

    /// What a second start has to do: has the other program's windows raised, and says on standard error that
    /// it is running; where no window can be raised, or none answers, in a box too, which closes itself after
    /// ten seconds. True: this program has nothing more to do here. False: the other one was just ending, and
    /// the folder is this one's now. Takes some seconds, since the other may be starting, too, and have no
    /// window yet.
    bool giveWay();
    /// The same in other ways.
    bool giveWay(const Ways& ways);

    /// Looks whether the file is still there and this program's, and sees to it. Also done by itself.
    void look();

private:
    bool take();
    bool takeOver(bool hasTurn);
    void release();
    static void releaseAtExit();
    QString turnFile() const;

    const QString folder;    // absolute; empty: it has no name
    const QString lockFile;  // absolute
    std::unique_ptr<QLockFile> lock;
    platform::FileNumber held;  // while the lock is locked: of its file
    QTimer watch;
    QString problemText;
    bool taken = false;
    bool isLost = false;  // another program has the folder, too, and that was said
};
