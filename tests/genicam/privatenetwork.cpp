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

/// The largest packet of the loopback interface becomes `wanted`. What it was before, bytes; 0: not done.
int exchangeLargestPacket(int wanted) {
    const int handle = socket(AF_INET, SOCK_DGRAM, 0);
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    const bool isKnown = handle >= 0 && ioctl(handle, SIOCGIFMTU, &request) == 0;
    const int before = isKnown ? request.ifr_mtu : 0;
    request.ifr_mtu = wanted;
    const bool isDone = isKnown && ioctl(handle, SIOCSIFMTU, &request) == 0;
    if (handle >= 0)
        close(handle);
    return isDone ? before : 0;
}

}  // namespace

SmallPackets::SmallPackets(int bytes) : before_(isNetworkPrivate() ? exchangeLargestPacket(bytes) : 0) {}

SmallPackets::~SmallPackets() {
    if (before_ > 0)
        exchangeLargestPacket(before_);
}

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
