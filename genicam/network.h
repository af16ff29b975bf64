// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QVector>

#include <cstdint>
#include <optional>

namespace kvgen {

/// The local network interface that an address belongs to.
struct NetworkInterface {
    QByteArray name;          ///< "eth0"; on Windows the adapter's name
    int mtu = 1500;           ///< bytes
    int64_t linkSpeed = 0;    ///< bit/s, 0 = not known
    bool isLoopback = false;  ///< no wire: nothing to share, so no packet delay is needed
};

/// An IPv4 address of this machine. Numbers are in the machine's byte order: 127.0.0.1 = 0x7F000001.
struct LocalAddress {
    uint32_t address = 0;
    uint32_t mask = 0;  ///< of its subnet
    NetworkInterface network;
};
/// All of interfaces that are up. Empty too where the system does not say.
QVector<LocalAddress> localAddresses();

/// Of four decimal numbers with dots between them, nothing else.
std::optional<uint32_t> ipv4Of(const QByteArray& dotted);

/// The interface with this local IPv4 address (dotted). None: there is none, or the system does not say.
std::optional<NetworkInterface> interfaceOf(const QByteArray& localAddress);

/// Whether a camera's address is in a subnet of one of this machine's interfaces.
bool isReachable(const QByteArray& cameraAddress);

/// The greatest GigE Vision packet, bytes with IP and UDP headers, that an interface carries: its MTU, at
/// most 16000, a multiple of 4, at least 576 (also where the MTU is less, or senseless). `wanted` (of the
/// configuration or negotiated) is clamped to it.
int clampedPacketSize(int wanted, int mtu);

/// Pause between two packets, ns, so that `cameras` together keep to their share of a link: none for one
/// camera; else (cameras - 1) packet times, Ethernet's own bytes included: while one pauses, each of the
/// others has room for a packet. `linkSpeed` bit/s, 0 counts as 1 Gbit/s. Not for loopback, which needs none.
int64_t packetDelayFor(int cameras, int packetSize, int64_t linkSpeed);

/// The largest receive buffer that the system grants, bytes; none: no limit is known.
std::optional<int64_t> largestSocketBuffer();

/// Gives this process's UDP sockets at a local port a receive buffer of `bytes`, as far as the system grants
/// it. Nothing where a program cannot find its own sockets.
void setReceiveBuffer(uint16_t port, int bytes);

}  // namespace kvgen
