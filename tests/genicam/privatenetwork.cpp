// SPDX-License-Identifier: Apache-2.0
#include "privatenetwork.h"

#include <QByteArray>

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

const char* const kMark = "BIVISTA_TEST_PRIVATE_NETWORK";

QString reasonFor(const char* what) {
    return QStringLiteral("%1: %2").arg(QLatin1String(what), QString::fromLocal8Bit(std::strerror(errno)));
}

bool write(const char* file, const QByteArray& text) {
    FILE* target = std::fopen(file, "w");
    if (!target)
        return false;
    const bool isWritten = std::fputs(text.constData(), target) >= 0;
    return std::fclose(target) == 0 && isWritten;
}

/// A namespace of users allows one of networks; who we are stays the same in it.
bool unshareAsUser() {
    const QByteArray user = QByteArray::number(getuid());
    const QByteArray group = QByteArray::number(getgid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
        return false;
    return write("/proc/self/setgroups", "deny") && write("/proc/self/uid_map", user + ' ' + user + " 1") &&
           write("/proc/self/gid_map", group + ' ' + group + " 1");
}

}  // namespace

bool isNetworkPrivate() {
    return qEnvironmentVariableIsSet(kMark);
}

QString enterPrivateNetwork() {
    if (isNetworkPrivate())
        return {};
    if (unshare(CLONE_NEWNET) != 0 && !unshareAsUser())
        return reasonFor("unshare");
    const int handle = socket(AF_INET, SOCK_DGRAM, 0);
    if (handle < 0)
        return reasonFor("socket");
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    const bool isUp = ioctl(handle, SIOCSIFFLAGS, &request) == 0;
    const QString reason = isUp ? QString() : reasonFor("loopback interface");
    close(handle);
    if (isUp)
        qputenv(kMark, "1");
    return reason;
}
