// SPDX-License-Identifier: Apache-2.0
#include "network.h"

#include <QList>

#include <algorithm>

namespace kvgen {

namespace {

constexpr int kLargestPacket = 16000;  // bytes
constexpr int kSmallestPacket = 576;   // bytes, what every IPv4 host takes
constexpr int kWireBytes = 38;         // around a packet: preamble 8, Ethernet header 14, checksum 4, gap 12
constexpr int64_t kUsualSpeed = 1'000'000'000;  // bit/s

}  // namespace

std::optional<uint32_t> ipv4Of(const QByteArray& dotted) {
    const QList<QByteArray> parts = dotted.split('.');
    if (parts.size() != 4)
        return std::nullopt;
    uint32_t address = 0;
    for (const QByteArray& part : parts) {
        const bool isNumber =
            !part.isEmpty() && part.size() <= 3 &&
            std::all_of(part.begin(), part.end(), [](char c) { return c >= '0' && c <= '9'; });
        if (!isNumber || part.toUInt() > 255)
            return std::nullopt;
        address = address << 8 | part.toUInt();
    }
    return address;
}

std::optional<NetworkInterface> interfaceOf(const QByteArray& localAddress) {
    const std::optional<uint32_t> wanted = ipv4Of(localAddress);
    if (!wanted)
        return std::nullopt;
    const QVector<LocalAddress> all = localAddresses();
    // Not every address of loopback is listed, but all of its subnet are this machine's.
    for (const LocalAddress& local : all) {
        if (local.address == *wanted)
            return local.network;
    }
    for (const LocalAddress& local : all) {
        if (local.network.isLoopback && ((local.address ^ *wanted) & local.mask) == 0)
            return local.network;
    }
    return std::nullopt;
}

bool isReachable(const QByteArray& cameraAddress) {
    const std::optional<uint32_t> wanted = ipv4Of(cameraAddress);
    if (!wanted)
        return false;
    const QVector<LocalAddress> all = localAddresses();
    return std::any_of(all.begin(), all.end(), [&](const LocalAddress& local) {
        return ((local.address ^ *wanted) & local.mask) == 0;
    });
}

int clampedPacketSize(int wanted, int mtu) {
    const int fits = std::min({wanted, mtu, kLargestPacket}) / 4 * 4;
    return std::max(fits, kSmallestPacket);
}

int64_t packetDelayFor(int cameras, int packetSize, int64_t linkSpeed) {
    if (cameras <= 1)
        return 0;
    const int64_t speed = linkSpeed > 0 ? linkSpeed : kUsualSpeed;
    const int64_t bits = (static_cast<int64_t>(std::clamp(packetSize, 0, kLargestPacket)) + kWireBytes) * 8;
    const int64_t packetTime = (bits * 1'000'000'000 + speed - 1) / speed;
    return (cameras - 1) * packetTime;
}

}  // namespace kvgen
