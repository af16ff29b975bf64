// SPDX-License-Identifier: Apache-2.0
#include "network.h"

#include <QString>

#include <algorithm>
#include <vector>

// Windows' headers stand in this order only.
// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <iphlpapi.h>
// clang-format on

namespace kvgen {

namespace {

constexpr ULONG kUnknownSpeed = 0xFFFFFFFF;
constexpr ULONG kLargestMtu = 65536;    // bytes; loopback claims to have no limit
constexpr ULONG kFirstTry = 16 * 1024;  // bytes, the size that Microsoft advises
constexpr int kTries = 4;

std::vector<char> adapters() {
    constexpr ULONG kOnly = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
    ULONG bytes = kFirstTry;
    // The list may grow between two questions.
    for (int i = 0; i < kTries; ++i) {
        std::vector<char> memory(bytes);
        const ULONG result = GetAdaptersAddresses(
            AF_INET, kOnly, nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(memory.data()), &bytes);
        if (result == NO_ERROR)
            return memory;
        if (result != ERROR_BUFFER_OVERFLOW)
            break;
    }
    return {};
}

NetworkInterface described(const IP_ADAPTER_ADDRESSES& adapter) {
    NetworkInterface found;
    found.name = QString::fromWCharArray(adapter.FriendlyName).toUtf8();
    found.isLoopback = adapter.IfType == IF_TYPE_SOFTWARE_LOOPBACK;
    if (adapter.Mtu > 0)
        found.mtu = static_cast<int>(std::min<ULONG>(adapter.Mtu, kLargestMtu));
    // An adapter without a link says all ones, in 32 or in 64 bits.
    if (adapter.ReceiveLinkSpeed < static_cast<ULONG64>(INT64_MAX) &&
        adapter.ReceiveLinkSpeed != kUnknownSpeed)
        found.linkSpeed = static_cast<int64_t>(adapter.ReceiveLinkSpeed);
    return found;
}

}  // namespace

QVector<LocalAddress> localAddresses() {
    QVector<LocalAddress> addresses;
    const std::vector<char> memory = adapters();
    if (memory.empty())
        return addresses;
    for (auto adapter = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(memory.data()); adapter;
         adapter = adapter->Next) {
        if (adapter->OperStatus != IfOperStatusUp)
            continue;
        for (const IP_ADAPTER_UNICAST_ADDRESS* entry = adapter->FirstUnicastAddress; entry;
             entry = entry->Next) {
            const sockaddr* address = entry->Address.lpSockaddr;
            if (!address || address->sa_family != AF_INET)
                continue;
            const unsigned prefix = std::min<unsigned>(entry->OnLinkPrefixLength, 32);
            LocalAddress local;
            local.address = ntohl(reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr);
            local.mask = prefix == 0 ? 0 : 0xFFFFFFFFU << (32 - prefix);
            local.network = described(*adapter);
            addresses.append(local);
        }
    }
    return addresses;
}

// Windows grants what is asked for.
std::optional<int64_t> largestSocketBuffer() {
    return std::nullopt;
}

// The system has no list of them.
void setReceiveBuffer(uint16_t, int) {}

}  // namespace kvgen
