// SPDX-License-Identifier: Apache-2.0
// Functions of Aravis and of the C library that our program has under the same names, so that Aravis's fake
// camera calls these: a write acts before it is answered, shots are counted one by one, and a camera can have
// any loopback address although the system only names 127.0.0.1.
#include "fakehooks.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <ifaddrs.h>
#include <net/if.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "fakecamera.h"
#include "fakeregisters.h"

namespace {

thread_local bool isRefused = false;  // what came last, which is answered next

QByteArray interfaceAddress = "127.0.0.1";

template <typename Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

/// One block that freeifaddrs() gives back in one go.
struct Loopback {
    ifaddrs interface;
    sockaddr_in address;
    sockaddr_in mask;
    sockaddr_in broadcast;
    char name[3];
};

void setAddress(sockaddr_in& target, const char* address) {
    target.sin_family = AF_INET;
    inet_pton(AF_INET, address, &target.sin_addr);
}

/// Only our own features are slow: the description has many parts, and some registers the fake itself reads.
void waitBeforeAnswer(uint32_t address) {
    const fake::FakeCamera* one = fake::FakeCamera::theOne();
    if (one && one->options().slowAnswers > 0 && address >= fake::reg::kUserBegin &&
        address < ARV_FAKE_CAMERA_MEMORY_SIZE)
        std::this_thread::sleep_for(std::chrono::milliseconds(one->options().slowAnswers));
}

}  // namespace

namespace fake {

void setInterface(const QByteArray& address) {
    interfaceAddress = address;
}

bool readRegisters(ArvFakeCamera* camera, uint32_t address, uint32_t size, void* data) {
    static const auto function = next<decltype(&arv_fake_camera_read_memory)>("arv_fake_camera_read_memory");
    return function(camera, address, size, data) != FALSE;
}

bool writeRegisters(ArvFakeCamera* camera, uint32_t address, uint32_t size, const void* data) {
    static const auto function =
        next<decltype(&arv_fake_camera_write_memory)>("arv_fake_camera_write_memory");
    return function(camera, address, size, data) != FALSE;
}

}  // namespace fake

extern "C" {

int getifaddrs(ifaddrs** list) {
    auto* loopback = static_cast<Loopback*>(std::calloc(1, sizeof(Loopback)));
    setAddress(loopback->address, interfaceAddress.constData());
    setAddress(loopback->mask, "255.0.0.0");
    setAddress(loopback->broadcast, "127.255.255.255");
    std::strcpy(loopback->name, "lo");
    ifaddrs& interface = loopback->interface;
    interface.ifa_name = loopback->name;
    interface.ifa_flags = IFF_UP | IFF_RUNNING | IFF_LOOPBACK;
    interface.ifa_addr = reinterpret_cast<sockaddr*>(&loopback->address);
    interface.ifa_netmask = reinterpret_cast<sockaddr*>(&loopback->mask);
    interface.ifa_broadaddr = reinterpret_cast<sockaddr*>(&loopback->broadcast);
    *list = &interface;
    return 0;
}

void freeifaddrs(ifaddrs* list) {
    std::free(list);
}

gboolean arv_fake_camera_write_memory(ArvFakeCamera* camera, guint32 address, guint32 size,
                                      const void* buffer) {
    fake::FakeCamera* one = fake::FakeCamera::theOne();
    waitBeforeAnswer(address);
    if (!one)
        return fake::writeRegisters(camera, address, size, buffer) ? TRUE : FALSE;
    const bool isDone = !isRefused && one->write(address, size, static_cast<const uint8_t*>(buffer));
    isRefused = isRefused || !isDone;
    return isDone ? TRUE : FALSE;
}

gboolean arv_fake_camera_read_memory(ArvFakeCamera* camera, guint32 address, guint32 size, void* buffer) {
    waitBeforeAnswer(address);
    fake::FakeCamera* one = fake::FakeCamera::theOne();
    if (!one)
        return fake::readRegisters(camera, address, size, buffer) ? TRUE : FALSE;
    return one->read(address, size, buffer) ? TRUE : FALSE;
}

// Who asks, which Aravis's fake keeps to itself; and what it does not get it does not answer.
gssize g_socket_receive_message(GSocket* socket, GSocketAddress** address, GInputVector* vectors, gint count,
                                GSocketControlMessage*** messages, gint* messageCount, gint* flags,
                                GCancellable* cancellable, GError** error) {
    static const auto receive = next<decltype(&g_socket_receive_message)>("g_socket_receive_message");
    const gssize size =
        receive(socket, address, vectors, count, messages, messageCount, flags, cancellable, error);
    fake::FakeCamera* one = fake::FakeCamera::theOne();
    if (size <= 0 || !one || !address || !G_IS_INET_SOCKET_ADDRESS(*address))
        return size;
    fake::Asker asker;
    asker.port = g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(*address));
    uint32_t bytes = 0;
    std::memcpy(&bytes,
                g_inet_address_to_bytes(g_inet_socket_address_get_address(G_INET_SOCKET_ADDRESS(*address))),
                sizeof bytes);
    asker.address = ntohl(bytes);
    const auto answer = one->answerTo(asker);
    isRefused = answer == fake::FakeCamera::Answer::Refusal;
    return answer == fake::FakeCamera::Answer::None ? 0 : size;
}

// Aravis's fake acknowledges everything, also what was refused.
gssize g_socket_send_to(GSocket* socket, GSocketAddress* address, const gchar* data, gsize size,
                        GCancellable* cancellable, GError** error) {
    static const auto send = next<decltype(&g_socket_send_to)>("g_socket_send_to");
    constexpr std::array<uint8_t, 4> kAnswers{0x81, 0x83, 0x85, 0x87};  // to a read or a write
    const uint8_t command = size >= 8 ? static_cast<uint8_t>(data[3]) : 0;
    if (std::find(kAnswers.begin(), kAnswers.end(), command) == kAnswers.end())
        return send(socket, address, data, size, cancellable, error);
    fake::FakeCamera* one = fake::FakeCamera::theOne();
    if (one && (one->takeOwed() || one->isSilent()))
        return static_cast<gssize>(size);
    if (!isRefused)
        return send(socket, address, data, size, cancellable, error);
    isRefused = false;
    QByteArray refusal(data, static_cast<int>(size));
    refusal[0] = static_cast<gchar>(0x80);  // an error:
    refusal[1] = 0x06;                      // access denied
    return send(socket, address, refusal.constData(), size, cancellable, error);
}

gboolean arv_fake_camera_is_in_software_trigger_mode(ArvFakeCamera* camera) {
    uint8_t mode[4] = {};
    fake::readRegisters(camera, fake::reg::kTriggerMode, sizeof mode, mode);
    const fake::FakeCamera* one = fake::FakeCamera::theOne();
    return mode[3] == 1 || (one && one->isHeldBack()) ? TRUE : FALSE;
}

gboolean arv_fake_camera_check_and_acknowledge_software_trigger(ArvFakeCamera*) {
    fake::FakeCamera* one = fake::FakeCamera::theOne();
    return one && one->takeTrigger() ? TRUE : FALSE;
}

}  // extern "C"
