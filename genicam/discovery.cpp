// SPDX-License-Identifier: Apache-2.0
#include "discovery.h"

#include <arv.h>
#include <gio/gio.h>

#include <QDebug>
#include <QMap>
#include <QtEndian>

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <thread>
#include <vector>

#include "framequeue.h"
#include "glibmessages.h"
#include "network.h"

namespace kvgen {

namespace {

constexpr auto kDiscovery = std::chrono::milliseconds(1300);
constexpr auto kBetweenDiscoveries = std::chrono::seconds(10);
constexpr guint16 kControlPort = 3956;
constexpr uint32_t kPrivilege = 0x0a00;  // register: who has control
constexpr uint32_t kHeldBits = 3;        // control, exclusive access
constexpr uint32_t kSerialRegister = 0x00d8;
constexpr uint16_t kSerialSize = 16;  // bytes
constexpr uint16_t kReadRegister = 0x0080;
constexpr uint16_t kReadMemory = 0x0084;
constexpr auto kBetweenLookUps = std::chrono::seconds(30);
constexpr char kWhoIsThere[] = "\x42\x01\x00\x02\x00\x00\xff\xff";
constexpr int kHeaderSize = 8;           // bytes of an answer
constexpr int kAnswerSize = 8 + 0xf8;    // bytes, to who is there
constexpr gint64 kAnswerSlice = 20'000;  // us
constexpr auto kAnswers = std::chrono::milliseconds(1000);
constexpr int kLooks = 2;              // a datagram may be lost
constexpr gint64 kLookTime = 150'000;  // us

/// Owns a GObject.
struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using Object = std::unique_ptr<T, Unref>;

/// A socket that only hears the camera; connecting a datagram socket sends nothing.
Object<GSocket> controlSocket(const QByteArray& address) {
    const Object<GSocketAddress> camera(
        g_inet_socket_address_new_from_string(address.constData(), kControlPort));
    Object<GSocket> socket(
        g_socket_new(G_SOCKET_FAMILY_IPV4, G_SOCKET_TYPE_DATAGRAM, G_SOCKET_PROTOCOL_UDP, nullptr));
    if (!camera || !socket || !g_socket_connect(socket.get(), camera.get(), nullptr, nullptr))
        return nullptr;
    g_socket_set_blocking(socket.get(), FALSE);
    return socket;
}

QByteArray localAddressOf(GSocket* socket) {
    const Object<GSocketAddress> local(g_socket_get_local_address(socket, nullptr));
    if (!local)
        return {};
    gchar* text =
        g_inet_address_to_string(g_inet_socket_address_get_address(G_INET_SOCKET_ADDRESS(local.get())));
    QByteArray address(text);
    g_free(text);
    return address;
}

QByteArray dotted(uint32_t address) {
    QByteArrayList numbers;
    for (const int shift : {24, 16, 8, 0})
        numbers.append(QByteArray::number(address >> shift & 255));
    return numbers.join('.');
}

Found foundAt(const QByteArray& name) {
    Found found;
    found.name = name;
    if (const auto address = ipv4Of(name)) {
        // Without leading zeros, which others take for octal numbers.
        found.address = dotted(*address);
        if (const Object<GSocket> socket = controlSocket(found.address))
            found.localAddress = localAddressOf(socket.get());
    }
    return found;
}

/// What a discovery on a thread of its own has found so far; outlives the wait for it.
struct Discovery {
    std::mutex mutex;
    std::condition_variable changed;
    int running = 0;
    QVector<Found> cameras;
    QVector<Found> heard;
};

/// A text in a fixed place of an answer.
QByteArray textAt(const QByteArray& answer, int offset, int size) {
    const QByteArray text = answer.mid(offset, size);
    return text.left(static_cast<int>(qstrnlen(text.constData(), static_cast<uint>(text.size())))).trimmed();
}

Object<GSocket> askingSocket(const LocalAddress& local) {
    QByteArray bytes(4, '\0');
    qToBigEndian(local.address, bytes.data());
    const Object<GInetAddress> address(g_inet_address_new_from_bytes(
        reinterpret_cast<const guint8*>(bytes.constData()), G_SOCKET_FAMILY_IPV4));
    const Object<GSocketAddress> from(g_inet_socket_address_new(address.get(), 0));
    const Object<GSocketAddress> all(g_inet_socket_address_new_from_string("255.255.255.255", kControlPort));
    Object<GSocket> socket(
        g_socket_new(G_SOCKET_FAMILY_IPV4, G_SOCKET_TYPE_DATAGRAM, G_SOCKET_PROTOCOL_UDP, nullptr));
    if (!socket)
        return nullptr;
    g_socket_set_blocking(socket.get(), FALSE);
    g_socket_set_broadcast(socket.get(), TRUE);
    const bool isSent =
        g_socket_bind(socket.get(), from.get(), FALSE, nullptr) &&
        g_socket_send_to(socket.get(), all.get(), kWhoIsThere, sizeof kWhoIsThere - 1, nullptr, nullptr) > 0;
    return isSent ? std::move(socket) : nullptr;
}

/// Whom a search of our own finds, by address: Aravis has two cameras of one model and one serial number as
/// one.
QVector<Found> heardCameras() {
    const TimePoint deadline = Clock::now() + kAnswers;
    std::vector<Object<GSocket>> sockets;
    for (const LocalAddress& local : localAddresses()) {
        if (Object<GSocket> socket = askingSocket(local))
            sockets.push_back(std::move(socket));
    }
    QMap<uint32_t, Found> cameras;
    while (!sockets.empty() && Clock::now() < deadline) {
        g_socket_condition_timed_wait(sockets.front().get(), G_IO_IN, kAnswerSlice, nullptr, nullptr);
        for (const Object<GSocket>& socket : sockets) {
            QByteArray answer(kAnswerSize, '\0');
            const gssize size = g_socket_receive(socket.get(), answer.data(), kAnswerSize, nullptr, nullptr);
            if (size < kAnswerSize || !answer.startsWith(QByteArray("\0\0\0\3", 4)))
                continue;
            answer.remove(0, kHeaderSize);
            const auto number = qFromBigEndian<uint32_t>(answer.constData() + 0x24);
            Found found = foundAt(dotted(number));
            found.serial = textAt(answer, kSerialRegister, kSerialSize);
            found.model = textAt(answer, 0x68, 32);
            found.aliases = {textAt(answer, 0x48, 32) + '-' + found.serial, found.serial,
                             textAt(answer, 0xe8, 16)};
            found.aliases.removeAll(QByteArray());
            cameras.insert(number, found);
        }
    }
    return cameras.values().toVector();
}

void discover(ArvInterface* interface, Discovery& discovery) {
    QVector<Found> cameras;
    takeMessages(kNoCamera);
    // One that takes too long may still be under way.
    static std::mutex* const network = new std::mutex;
    const std::lock_guard<std::mutex> updating(ARV_IS_GV_INTERFACE(interface) ? *network : openingMutex());
    arv_interface_update_device_list(interface);
    for (guint i = 0; i < arv_interface_get_n_devices(interface); ++i) {
        Found found = foundAt(arv_interface_get_device_address(interface, i));
        if (found.address.isEmpty())
            found.name = arv_interface_get_device_id(interface, i);
        found.serial = arv_interface_get_device_serial_nbr(interface, i);
        found.model = arv_interface_get_device_model(interface, i);
        const QByteArray vendor = arv_interface_get_device_vendor(interface, i);
        found.aliases = {arv_interface_get_device_id(interface, i),
                         arv_interface_get_device_physical_id(interface, i), vendor + '-' + found.serial,
                         found.serial};
        cameras.append(found);
    }
    const std::lock_guard<std::mutex> lock(discovery.mutex);
    discovery.cameras += cameras;
    --discovery.running;
    discovery.changed.notify_all();
}

/// False: not all have come within the time.
bool discover(const std::vector<ArvInterface*>& interfaces, QVector<Found>& cameras) {
    const TimePoint deadline = Clock::now() + kDiscovery;
    const auto discovery = std::make_shared<Discovery>();
    discovery->running = static_cast<int>(interfaces.size());
    // Side by side: they know nothing of each other, and USB may take its time.
    for (ArvInterface* interface : interfaces)
        std::thread([=] { discover(interface, *discovery); }).detach();
    ++discovery->running;
    std::thread([=] {
        takeMessages(kNoCamera);
        const QVector<Found> heard = heardCameras();
        const std::lock_guard<std::mutex> ending(discovery->mutex);
        discovery->heard = heard;
        --discovery->running;
        discovery->changed.notify_all();
    }).detach();
    std::unique_lock<std::mutex> lock(discovery->mutex);
    const bool isDone =
        discovery->changed.wait_until(lock, deadline, [&] { return discovery->running == 0; });
    cameras = discovery->cameras;
    for (const Found& heard : qAsConst(discovery->heard)) {
        const auto known = std::find_if(cameras.begin(), cameras.end(),
                                        [&](const Found& camera) { return camera.address == heard.address; });
        if (known == cameras.end())
            cameras.append(heard);
        else
            known->aliases += heard.aliases;
    }
    return isDone;
}

/// All cameras that answer, by a discovery within the last 10 s.
QVector<Found> recentlyFound() {
    static std::mutex* const mutex = new std::mutex;
    static std::optional<TimePoint> last;
    static QVector<Found>* const cameras = new QVector<Found>;
    const std::lock_guard<std::mutex> lock(*mutex);
    if (!last || Clock::now() - *last >= kBetweenDiscoveries) {
        discover({arv_gv_interface_get_instance(), arv_uv_interface_get_instance()}, *cameras);
        last = Clock::now();
    }
    return *cameras;
}

/// The first IPv4 address of a host; empty: it has none. May take half a minute.
QByteArray addressOfHost(const QByteArray& name) {
    const Object<GResolver> resolver(g_resolver_get_default());
    GList* const addresses = g_resolver_lookup_by_name(resolver.get(), name.constData(), nullptr, nullptr);
    QByteArray result;
    for (const GList* entry = addresses; entry != nullptr && result.isEmpty(); entry = entry->next) {
        gchar* const text = g_inet_address_to_string(static_cast<GInetAddress*>(entry->data));
        if (ipv4Of(text))
            result = text;
        g_free(text);
    }
    g_resolver_free_addresses(addresses);
    return result;
}

/// Looks a host's name up aside, where it may be one and it is time. What is known of it: its address, or
/// empty.
QByteArray beginLookUp(const QByteArray& name) {
    struct LookUp {
        bool isRunning = false;
        std::optional<TimePoint> last;
        QByteArray address;
    };
    static std::mutex* const mutex = new std::mutex;
    static QMap<QByteArray, LookUp>* const lookUps = new QMap<QByteArray, LookUp>;
    const bool mayBeHost = std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' ||
               c == '.';
    });
    const std::lock_guard<std::mutex> lock(*mutex);
    LookUp& lookUp = (*lookUps)[name];
    if (mayBeHost && !lookUp.isRunning && (!lookUp.last || Clock::now() - *lookUp.last >= kBetweenLookUps)) {
        lookUp.isRunning = true;
        std::thread([name] {
            takeMessages(kNoCamera);
            const QByteArray address = addressOfHost(name);
            const std::lock_guard<std::mutex> ending(*mutex);
            LookUp& done = (*lookUps)[name];
            done.isRunning = false;
            done.last = Clock::now();
            if (!address.isEmpty())
                done.address = address;
        }).detach();
    }
    return lookUp.address;
}

}  // namespace

QVector<Found> sorted(QVector<Found> cameras) {
    std::stable_sort(cameras.begin(), cameras.end(), [](const Found& a, const Found& b) {
        if (a.serial != b.serial)
            return a.serial < b.serial;
        const auto addressOfA = ipv4Of(a.address);
        const auto addressOfB = ipv4Of(b.address);
        return addressOfA != addressOfB ? addressOfA < addressOfB : a.name < b.name;
    });
    return cameras;
}

QVector<QByteArray> distinctSerials(const QVector<QByteArray>& serials, int longest) {
    QVector<QByteArray> result;
    for (const QByteArray& serial : serials) {
        const QByteArray plain = serial.right(longest);
        QByteArray one = plain;
        for (int number = 2; !plain.isEmpty() && result.contains(one); ++number) {
            const QByteArray suffix = '~' + QByteArray::number(number);
            one = plain.left(std::max(0, plain.size() - suffix.size())) + suffix;
        }
        result.append(one);
    }
    return result;
}

QVector<Found> findCameras(const Configuration& configuration) {
    QVector<Found> cameras;
    if (configuration.addresses.isEmpty()) {
        if (!discover({arv_gv_interface_get_instance(), arv_uv_interface_get_instance()}, cameras))
            qWarning(
                "KVCap2: looking for cameras takes too long; those that have answered by now are taken. "
                "Addresses in kvcap2-genicam.ini make it unnecessary.");
        cameras = sorted(cameras);
        if (cameras.isEmpty())
            qWarning(
                "KVCap2: no GenICam camera answers. Are they on, in this computer's network, and does the "
                "firewall let their answers in?");
    } else {
        for (const QString& address : configuration.addresses)
            cameras.append(foundAt(address.toUtf8()));
        for (Found& camera : cameras) {
            camera.isName = camera.address.isEmpty();
            if (camera.isName)
                beginLookUp(camera.name);
        }
        for (Found& camera : cameras) {
            const std::optional<Found> named = camera.isName ? byName(camera.name) : std::nullopt;
            if (!named)
                continue;
            camera.address = named->address;
            camera.localAddress = named->localAddress;
            camera.serial = named->serial;
            camera.model = named->model;
        }
    }
    if (cameras.size() > kMaxCameras) {
        qWarning("KVCap2: %d cameras, of which the first %d are used", cameras.size(), kMaxCameras);
        cameras.resize(kMaxCameras);
    }
    for (int i = 0; i < cameras.size(); ++i) {
        const Found& camera = cameras[i];
        if (!camera.address.isEmpty() && !isReachable(camera.address))
            qWarning(
                "KVCap2: camera %d (%s) is at %s, which is in no network of this computer: give both "
                "addresses of one network",
                i, (camera.serial.isEmpty() ? camera.name : camera.serial).constData(),
                camera.address.constData());
    }
    return cameras;
}

std::optional<Found> findAgain(const QByteArray& serial) {
    const QVector<Found> cameras = recentlyFound();
    const auto found = std::find_if(cameras.cbegin(), cameras.cend(), [&](const Found& camera) {
        return camera.serial == serial && !camera.address.isEmpty();
    });
    return found != cameras.cend() ? std::make_optional(*found) : std::nullopt;
}

std::optional<Found> byName(const QByteArray& name) {
    QByteArray address = beginLookUp(name);
    if (address.isEmpty()) {
        const QVector<Found> cameras = recentlyFound();
        const auto found = std::find_if(cameras.cbegin(), cameras.cend(), [&](const Found& camera) {
            return camera.name == name || camera.aliases.contains(name);
        });
        if (found != cameras.cend())
            return *found;
        address = beginLookUp(name);  // which has had the time
    }
    return address.isEmpty() ? std::nullopt : std::make_optional(foundAt(address));
}

namespace {

/// Asks a camera and waits for the answer: what is behind its header. None: it refuses. Null in `answers`: no
/// answer at all.
QByteArray ask(GSocket* socket, uint16_t command, uint16_t request, const QByteArray& question,
               bool& answers) {
    QByteArray packet("\x42\x01", 2);  // an answer is wanted
    packet.resize(8);
    qToBigEndian(command, packet.data() + 2);
    qToBigEndian(static_cast<uint16_t>(question.size()), packet.data() + 4);
    qToBigEndian(request, packet.data() + 6);
    packet += question;
    for (int i = 0; i < kLooks; ++i) {
        const auto size = static_cast<gsize>(packet.size());
        if (g_socket_send(socket, packet.constData(), size, nullptr, nullptr) < 0)
            return {};
        while (g_socket_condition_timed_wait(socket, G_IO_IN, kLookTime, nullptr, nullptr)) {
            char answer[64] = {};
            // Nothing, although there is something: nobody listens there.
            const gssize received = g_socket_receive(socket, answer, sizeof answer, nullptr, nullptr);
            if (received < 8)
                return {};
            answers = true;
            // One that comes late belongs to the question before.
            if (qFromBigEndian<uint16_t>(answer + 6) != request)
                continue;
            const bool isRefused = qFromBigEndian<uint16_t>(answer) != 0;
            return isRefused ? QByteArray() : QByteArray(answer + 8, static_cast<int>(received) - 8);
        }
    }
    return {};
}

QByteArray bytesOf(uint32_t number) {
    QByteArray bytes(4, '\0');
    qToBigEndian(number, bytes.data());
    return bytes;
}

}  // namespace

Look lookAt(const QByteArray& address) {
    Look look;
    const Object<GSocket> socket = controlSocket(address);
    if (!socket)
        return look;
    look.localAddress = localAddressOf(socket.get());
    const QByteArray privilege = ask(socket.get(), kReadRegister, 1, bytesOf(kPrivilege), look.answers);
    look.isHeld = privilege.size() >= 4 && (qFromBigEndian<uint32_t>(privilege.constData()) & kHeldBits) != 0;
    if (!look.isHeld)
        return look;
    // The answer begins with the address again.
    const QByteArray text =
        ask(socket.get(), kReadMemory, 2, bytesOf(kSerialRegister) + bytesOf(kSerialSize), look.answers)
            .mid(4);
    look.serial = text.left(static_cast<int>(qstrnlen(text.constData(), static_cast<uint>(text.size()))));
    const auto end =
        std::remove_if(look.serial.begin(), look.serial.end(), [](char c) { return c <= ' ' || c > '~'; });
    look.serial.truncate(static_cast<int>(end - look.serial.begin()));
    return look;
}

std::mutex& openingMutex() {
    static std::mutex* const mutex = new std::mutex;
    return *mutex;
}

}  // namespace kvgen
