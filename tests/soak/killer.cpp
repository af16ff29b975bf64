// SPDX-License-Identifier: Apache-2.0
#include "soak/killer.h"

#include <QFile>
#include <array>
#include <chrono>
#include <cstring>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <utility>

#include "soak/clock.h"

namespace {

constexpr double kPatience = 2500;  // ms

}  // namespace

Killer::Killer(const Workplace& place, KillMoment moment) : workplace(place), when(std::move(moment)) {
    const int descriptor = when.folder.isEmpty() ? -1 : inotify_init1(IN_CLOEXEC);
    if (descriptor >= 0)
        inotify_add_watch(descriptor, QFile::encodeName(when.folder).constData(), IN_CREATE);
    thread = std::thread([this, descriptor] {
        if (descriptor >= 0) {
            waitForFile(descriptor);
            close(descriptor);
        }
        std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(when.after));
        workplace.kill();
        killed = true;
    });
}

Killer::~Killer() {
    thread.join();
}

void Killer::waitForFile(int descriptor) const {
    const double end = nowMs() + kPatience;
    int left = when.skip;
    while (nowMs() < end && workplace.isAlive()) {
        pollfd events{descriptor, POLLIN, 0};
        if (poll(&events, 1, int(end - nowMs()) + 1) <= 0)
            return;
        alignas(inotify_event) std::array<char, 4096> buffer{};
        const ssize_t length = read(descriptor, buffer.data(), buffer.size());
        for (ssize_t at = 0; at < length;) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            const QString name =
                QString::fromLocal8Bit(event.len > 0 ? buffer.data() + at + sizeof event : "");
            at += static_cast<ssize_t>(sizeof event + event.len);
            if (name.startsWith(when.beginning) && left-- <= 0)
                return;
        }
    }
}
