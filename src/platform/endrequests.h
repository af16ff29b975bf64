// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <functional>
#include <memory>

namespace platform {

/// Hears, while it lives, that the system wants the program to end. One per process, on the GUI thread, with
/// the application object alive.
///
/// Posix: SIGTERM, SIGINT and SIGHUP, but for those that the program was started to ignore. A second one
/// within ten seconds of the first is heard like the first; a later one ends the process by its default
/// action, for when the GUI thread hangs. That holds until the process is gone, so that an end in order can't
/// be cut short by repeating it. SIGPIPE is ignored from now on: a desktop or a reader of the log that has
/// gone is no reason to be killed.
///
/// Windows: the end of the session. The question whether it may end goes unheard, since it can be taken back.
class EndRequests {
public:
    /// `asked` is called from whichever event loop runs; the end may take its time. When `sessionEnds`
    /// returns, the process may be killed at any moment. Each may be called again.
    EndRequests(const std::function<void()>& asked, const std::function<void()>& sessionEnds);
    ~EndRequests();
    EndRequests(const EndRequests&) = delete;
    EndRequests& operator=(const EndRequests&) = delete;

private:
    class Listener;
    std::unique_ptr<Listener> listener;
};

/// Within so many seconds the process is gone, whatever it waits for; a later call counts instead of an
/// earlier one. Posix only: Windows sees to that itself where a session ends.
void endInAnyCase(int seconds);

}  // namespace platform
