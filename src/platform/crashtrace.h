// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

namespace platform {

/// Whether this build leaves traces: not with a sanitizer, which has the signals for itself, and on no system
/// but Linux and Windows. Where it does not, what follows does nothing.
bool canTraceCrashes();

/// From now on until the process is gone, a crash leaves a file of text in `folder`, and the same without the
/// list of modules on standard error: `program` (a line, name and version), what happened, the thread, its
/// frames, all modules with their addresses. On Windows there is a minidump of the same name beside it. The
/// names are crash-YYYYMMDD-HHMMSS-PID.txt and .dmp, UTC, so that they sort as the crashes came. The folder
/// may have any length that the system takes, and is made at the crash where it is missing, its last step
/// only; nothing is written before.
///
/// The crash then takes its course as it would have without: the process ends by the same signal, leaves a
/// core where the system keeps them, Windows hears of it. What hangs on the way is cut off after 10 s, on
/// Windows after 30 s. Uncaught exceptions and abort() are
/// crashes too; fatal messages of Qt's only where their handler ends by abort(), since on Windows Qt does
/// not. A stack that overflows leaves a trace on this thread, and wherever there is a CrashStack.
///
/// Called by main, again for another folder; `folder` is taken as it is named now, whatever becomes of the
/// working folder's name.
void traceCrashes(const QString& folder, const QByteArray& program);

/// While it lives, a stack that overflows on the thread that made it leaves a trace: there is another stack
/// to write it on. First thing on a thread, and gone before it ends. Other crashes need none.
class CrashStack {
public:
    CrashStack();
    ~CrashStack();  // NOLINT(performance-trivially-destructible): only where no crash is traced
    CrashStack(const CrashStack&) = delete;
    CrashStack& operator=(const CrashStack&) = delete;

private:
    void* memory = nullptr;  // owned; none when the thread had one before, and on Windows
};

}  // namespace platform
