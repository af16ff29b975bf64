// SPDX-License-Identifier: Apache-2.0
// OpenCamera: what network cameras have besides: packets, and one who has control.

#include <arv.h>

#include <algorithm>

#include "failure.h"
#include "network.h"
#include "opencamera.h"

namespace kvgen {

namespace {

constexpr int kSafePacket = 1500;                     // bytes, which every network carries
constexpr int kLargestPacket = 16000;                 // bytes
constexpr uint64_t kPrivilege = 0x0a00;               // register of who has control
constexpr uint32_t kHeldBits = 3;                     // control, exclusive access
constexpr uint64_t kHeartbeat = 0x0938;               // register: ms; only who has control may write it
constexpr uint64_t kCapability = 0x0934;              // register, of which
constexpr uint32_t kTellsMaster = uint32_t{1} << 27;  // says that there are the next two registers
constexpr uint64_t kMasterPort = 0x0a10;              // of who has control, as the next
constexpr uint64_t kMasterAddress = 0x0a14;

}  // namespace

void OpenCamera::preparePackets(const QByteArray& localAddress, const Memory& memory) {
    NetworkInterface network;
    if (const auto known = interfaceOf(localAddress))
        network = *known;
    mtu_ = network.mtu;
    isLoopback_ = network.isLoopback;
    linkSpeed_ = network.linkSpeed;

    int wanted = memory.packetSize;
    auto adjustment = ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER;
    if (configuration_.packetSize) {
        wanted = *configuration_.packetSize;
        if (clampedPacketSize(wanted, mtu_) < wanted)
            tell(QStringLiteral(
                     "packets of %1 bytes do not fit through %2; they get %3. For larger ones allow jumbo "
                     "frames (MTU 9000) there and in every switch")
                     .arg(wanted)
                     .arg(QString::fromUtf8(network.name))
                     .arg(clampedPacketSize(wanted, mtu_)));
    } else if (wanted == 0 && has("GevSCPSFireTestPacket")) {
        // The largest first: if that comes through, nothing needs to be searched for.
        wanted = kLargestPacket;
        adjustment = ARV_GV_PACKET_SIZE_ADJUSTMENT_ON_FAILURE_ONCE;
    } else if (wanted == 0) {
        wanted = kSafePacket;
    }
    Failure failure;
    gint64 minimum = 0;
    gint64 maximum = 0;
    arv_camera_get_integer_bounds(camera_, "GevSCPSPacketSize", &minimum, &maximum, &failure);
    wanted = clampedPacketSize(wanted, mtu_);
    if (!failure && maximum > minimum)
        wanted = static_cast<int>(std::clamp<int64_t>(wanted, minimum, maximum));
    arv_camera_gv_set_packet_size(camera_, wanted, &failure);
    if (failure)
        arv_camera_gv_set_packet_size(camera_, std::min(kSafePacket - kSafePacket % 4, wanted), nullptr);
    arv_camera_gv_set_packet_size_adjustment(camera_, adjustment);
}

/// What was settled holds, also when the camera has loaded something else from its own memory.
void OpenCamera::keepPackets() {
    Failure failure;
    if (static_cast<int>(arv_camera_gv_get_packet_size(camera_, &failure)) != packetSize_ && !failure)
        arv_camera_gv_set_packet_size(camera_, packetSize_, &failure);
    if (arv_camera_gv_get_packet_delay(camera_, &failure) != packetDelay_ && !failure)
        arv_camera_gv_set_packet_delay(camera_, packetDelay_, &failure);
}

/// With a stream: what was negotiated holds, but for what the interface cannot carry.
void OpenCamera::settlePackets() {
    if (packetSize_ != 0)
        return;
    const int now = static_cast<int>(arv_camera_gv_get_packet_size(camera_, nullptr));
    packetSize_ = clampedPacketSize(now, mtu_);
    arv_camera_gv_set_packet_size_adjustment(camera_, ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER);
    if (packetSize_ < now) {
        arv_camera_gv_set_packet_size(camera_, packetSize_, nullptr);
        g_clear_object(&stream_);
    }
    const int64_t delay = configuration_.packetDelay.value_or(
        isLoopback_ ? 0 : packetDelayFor(neighbours_, packetSize_, linkSpeed_));
    Failure failure;
    arv_camera_gv_set_packet_delay(camera_, delay, &failure);
    packetDelay_ = arv_camera_gv_get_packet_delay(camera_, &failure);
    if (failure)
        packetDelay_ = delay;
}

OpenCamera::Pulse OpenCamera::pulse() {
    Failure failure;
    if (!arv_camera_is_gv_device(camera_)) {
        arv_camera_get_integer(camera_, "Width", &failure);
        return failure ? Pulse::Silent : Pulse::Alive;
    }
    guint32 privilege = 0;
    arv_device_read_register(arv_camera_get_device(camera_), kPrivilege, &privilege, &failure);
    if (failure)
        return failure.is(ARV_DEVICE_ERROR_TIMEOUT) || failure.is(ARV_DEVICE_ERROR_NOT_CONNECTED)
                   ? Pulse::Silent
                   : Pulse::Alive;
    return (privilege & kHeldBits) != 0 ? Pulse::Alive : Pulse::NotOurs;
}

/// While we have control: how it can be told later that we have.
void OpenCamera::noteMaster() {
    ArvDevice* device = arv_camera_get_device(camera_);
    guint32 capability = 0;
    Failure failure;
    arv_device_read_register(device, kCapability, &capability, &failure);
    if (!failure && (capability & kTellsMaster) != 0) {
        master_ = readMaster();
        if (master_)
            return;
    }
    guint32 heartbeat = 0;
    arv_device_read_register(device, kHeartbeat, &heartbeat, &failure);
    if (failure || heartbeat == 0)
        return;
    arv_device_write_register(device, kHeartbeat, heartbeat, &failure);
    if (!failure)
        heartbeat_ = heartbeat;
}

/// Port and address of who has control; none where the camera does not tell.
std::optional<uint64_t> OpenCamera::readMaster() const {
    ArvDevice* device = arv_camera_get_device(camera_);
    guint32 port = 0;
    guint32 address = 0;
    Failure failure;
    arv_device_read_register(device, kMasterPort, &port, &failure);
    if (failure)
        return std::nullopt;
    arv_device_read_register(device, kMasterAddress, &address, &failure);
    if (failure || address == 0)
        return std::nullopt;
    return uint64_t{port} << 32 | address;
}

bool OpenCamera::isOurs() {
    if (master_) {
        const auto now = readMaster();
        return !now || now == master_;
    }
    if (!heartbeat_)
        return true;
    // It was accepted while we had control, so whatever it says now is that we have not.
    Failure failure;
    arv_device_write_register(arv_camera_get_device(camera_), kHeartbeat, *heartbeat_, &failure);
    return !failure || (failure.is(ARV_DEVICE_ERROR_TIMEOUT) && pulse() == Pulse::Silent);
}

}  // namespace kvgen
