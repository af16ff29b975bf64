// SPDX-License-Identifier: Apache-2.0
#include "network.h"

#include <QDir>
#include <QFile>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace kvgen {

namespace {

std::optional<int64_t> numberIn(const QString& file) {
    QFile source(file);
    if (!source.open(QIODevice::ReadOnly))
        return std::nullopt;
    bool isNumber = false;
    const int64_t number = source.readAll().trimmed().toLongLong(&isNumber);
    return isNumber ? std::optional<int64_t>(number) : std::nullopt;
}

uint32_t ipv4Of(const sockaddr* address) {
    sockaddr_in ipv4;
    std::memcpy(&ipv4, address, sizeof ipv4);
    return ntohl(ipv4.sin_addr.s_addr);
}

NetworkInterface described(const char* name, unsigned flags, int socket) {
    NetworkInterface found;
    found.name = name;
    found.isLoopback = (flags & IFF_LOOPBACK) != 0;
    ifreq request{};
    qstrncpy(request.ifr_name, name, sizeof request.ifr_name);
    if (socket >= 0 && ioctl(socket, SIOCGIFMTU, &request) == 0)
        found.mtu = request.ifr_mtu;
    // In Mbit/s; loopback and Wi-Fi refuse or say -1.
    const int64_t speed = numberIn("/sys/class/net/" + QFile::decodeName(name) + "/speed").value_or(0);
    found.linkSpeed = speed > 0 ? speed * 1'000'000 : 0;
    return found;
}

}  // namespace

QVector<LocalAddress> localAddresses() {
    QVector<LocalAddress> addresses;
    ifaddrs* all = nullptr;
    if (getifaddrs(&all) != 0)
        return addresses;
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    for (const ifaddrs* entry = all; entry; entry = entry->ifa_next) {
        if (!entry->ifa_addr || !entry->ifa_netmask || entry->ifa_addr->sa_family != AF_INET ||
            !(entry->ifa_flags & IFF_UP)) {
            continue;
        }
        addresses.append({ipv4Of(entry->ifa_addr), ipv4Of(entry->ifa_netmask),
                          described(entry->ifa_name, entry->ifa_flags, socket)});
    }
    if (socket >= 0)
        close(socket);
    freeifaddrs(all);
    return addresses;
}

std::optional<int64_t> largestSocketBuffer() {
    return numberIn(QStringLiteral("/proc/sys/net/core/rmem_max"));
}

void setReceiveBuffer(uint16_t port, int bytes) {
    const QStringList files = QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System);
    for (const QString& file : files) {
        const int socket = file.toInt();
        sockaddr_in address{};
        socklen_t length = sizeof address;
        int type = 0;
        socklen_t typeLength = sizeof type;
        // Others that another thread opens and closes meanwhile answer as those that are none.
        if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
            address.sin_family == AF_INET && ntohs(address.sin_port) == port &&
            getsockopt(socket, SOL_SOCKET, SO_TYPE, &type, &typeLength) == 0 && type == SOCK_DGRAM) {
            setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
        }
    }
}

}  // namespace kvgen
