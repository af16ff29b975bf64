// SPDX-License-Identifier: Apache-2.0
#include "platform/endrequests.h"

#include <QDebug>
#include <QSocketNotifier>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <ctime>
#include <unistd.h>

namespace {

constexpr int kEndSignals[] = {SIGTERM, SIGINT, SIGHUP};
constexpr int64_t kPatience = 10'000;  // ms from the first signal to one that ends the process at once

// Both stay as long as the process: signals may come until it is gone.
int readEnd = -1;
int writeEnd = -1;
std::atomic<int64_t> firstAt{0};  // ms of the monotonic clock; 0: no signal yet

/// Nothing in here but what may be called from a signal handler.
void handleSignal(int number) {
    const int errorBefore = errno;
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    const int64_t now = int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000 + 1;
    int64_t first = 0;
    if (!firstAt.compare_exchange_strong(first, now) && now - first >= kPatience) {
        // Held back until the handler returns.
        std::signal(number, SIG_DFL);
        std::raise(number);
    }
    const char byte = 0;
    // A full pipe has all that there is to say.
    static_cast<void>(!write(writeEnd, &byte, 1));
    errno = errorBefore;
}

bool openPipe() {
    int ends[2];
    if (readEnd >= 0)
        return true;
    if (pipe(ends) != 0)
        return false;
    for (const int end : ends) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
        fcntl(end, F_SETFL, O_NONBLOCK);
    }
    readEnd = ends[0];
    writeEnd = ends[1];
    return true;
}

void installHandlers() {
    std::signal(SIGPIPE, SIG_IGN);
    for (const int number : kEndSignals) {
        struct sigaction action {};
        // One that is ignored from the start stays so: that is how a program is made to outlive its terminal.
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN)
            continue;
        action = {};
        action.sa_handler = handleSignal;
        // A system call of the camera library or of a capture thread does not notice.
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        sigaction(number, &action, nullptr);
    }
}

}  // namespace

class platform::EndRequests::Listener {
public:
    explicit Listener(const std::function<void()>& asked) : notifier(readEnd, QSocketNotifier::Read) {
        QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [asked] {
            char bytes[64];
            while (read(readEnd, bytes, sizeof bytes) > 0) {
            }
            asked();
        });
    }

private:
    QSocketNotifier notifier;
};

platform::EndRequests::EndRequests(const std::function<void()>& asked, const std::function<void()>&) {
    if (!openPipe()) {
        qWarning("No pipe for signals: %s", qUtf8Printable(qt_error_string(errno)));
        return;
    }
    listener = std::make_unique<Listener>(asked);
    installHandlers();
}

platform::EndRequests::~EndRequests() = default;

void platform::endInAnyCase(int seconds) {
    alarm(static_cast<unsigned>(seconds));
}
