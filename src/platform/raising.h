// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

namespace platform {

/// Brings the windows of another process of this PC to the front, out of the task bar if they are minimised,
/// and gives its main window, or the box that this waits for, the keyboard. True: one of its windows has it
/// now, or is brought to the user's notice where the desktop lets nobody take the keyboard. False: the
/// process has no window that is shown on this desktop, or there is no such thing here. Takes a second at
/// most. GUI thread.
bool raiseWindowsOf(qint64 process);

/// Whether a window of another process answers, as its event loop does at once if nothing keeps it; waits for
/// that as many ms at most. True also where nobody can tell, since it has no window here that could answer or
/// there is no such thing. GUI thread.
bool answers(qint64 process, int patience);

}  // namespace platform
