// SPDX-License-Identifier: Apache-2.0
#include "soak/watches.h"

#include <QDir>
#include <QFile>
#include <QThread>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include "soak/clock.h"
#include "soak/settingstext.h"

namespace {

constexpr int kSettingsPeriod = 100;  // ms between two looks at setting.ini
constexpr int kAnswerPeriod = 200;    // ms between two questions
constexpr int kUsagePeriod = 1000;    // ms
constexpr int kMostFaults = 50;

struct Free {
    void operator()(void* p) const { std::free(p); }
};

}  // namespace

Watch::~Watch() = default;

void Watch::begin(const std::function<void()>& turn) {
    thread = std::thread([this, turn] {
        while (!stopping)
            turn();
    });
}

void Watch::stop() {
    stopping = true;
    if (thread.joinable())
        thread.join();
}

// ---- the working folder --------------------------------------------------------------------------

FolderWatch::FolderWatch(const QString& workingFolder, const QString& pictureFolder)
    : folder(workingFolder), descriptor(inotify_init1(IN_CLOEXEC)) {
    folderWatch = inotify_add_watch(descriptor, QFile::encodeName(folder).constData(),
                                    IN_MOVED_TO | IN_MODIFY | IN_DELETE | IN_MOVED_FROM);
    pictureWatch = inotify_add_watch(descriptor, QFile::encodeName(pictureFolder).constData(),
                                     IN_CREATE | IN_MOVED_FROM | IN_DELETE);
    begin([this] { turn(); });
}

FolderWatch::~FolderWatch() {
    stop();
    close(descriptor);
}

void FolderWatch::turn() {
    pollfd events{descriptor, POLLIN, 0};
    if (poll(&events, 1, kSettingsPeriod) > 0)
        takeEvents();
    checkSettings();
}

void FolderWatch::takeEvents() {
    alignas(inotify_event) std::array<char, 16384> buffer{};
    const ssize_t length = read(descriptor, buffer.data(), buffer.size());
    const double now = nowMs();
    for (ssize_t at = 0; at < length;) {
        inotify_event event{};
        std::memcpy(&event, buffer.data() + at, sizeof event);
        const QString name = QString::fromLocal8Bit(event.len > 0 ? buffer.data() + at + sizeof event : "");
        at += static_cast<ssize_t>(sizeof event + event.len);
        if (event.wd == folderWatch) {
            if (name == QLatin1String("setting.ini") && (event.mask & IN_MOVED_TO) != 0)
                ++written;
            continue;
        }
        if (event.wd != pictureWatch || !name.startsWith(QLatin1String(".bivista-")))
            continue;
        const QMutexLocker locker(&mutex);
        if ((event.mask & IN_CREATE) != 0) {
            intervalsOpen.insert(name, intervals.size());
            intervals.append({now, 0});
        } else if (intervalsOpen.contains(name)) {
            intervals[intervalsOpen.take(name)].end = now;
        }
        openIntervals = intervalsOpen.size();
    }
}

void FolderWatch::checkSettings() {
    const SettingsText text = readSettings(QDir(folder).filePath(QStringLiteral("setting.ini")));
    ++reads;
    QString fault = text.fault;
    for (auto value = text.values.begin(); value != text.values.end() && fault.isEmpty(); ++value) {
        if (!mayVanish(value.key()))
            known.insert(value.key());
    }
    for (const QString& key : qAsConst(known)) {
        if (fault.isEmpty() && !text.values.contains(key))
            fault = QStringLiteral("without ") + key;
    }
    if (fault.isEmpty())
        return;
    const QMutexLocker locker(&mutex);
    if (faultList.size() < kMostFaults)
        faultList.append(fault);
}

QStringList FolderWatch::faults() const {
    const QMutexLocker locker(&mutex);
    return faultList;
}

QVector<Interval> FolderWatch::writing() const {
    const QMutexLocker locker(&mutex);
    return intervals;
}

// ---- answers -------------------------------------------------------------------------------------

struct AnswerWatch::Connection {
    explicit Connection(const QString& display, quint32 mainWindow)
        : to(xcb_connect(display.toLatin1().constData(), nullptr)), window(mainWindow) {
        root = xcb_setup_roots_iterator(xcb_get_setup(to)).data->root;
        // Qt answers those who watch the root window itself.
        const quint32 events = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(to, root, XCB_CW_EVENT_MASK, &events);
        protocols = atom("WM_PROTOCOLS");
        ping = atom("_NET_WM_PING");
    }
    ~Connection() { xcb_disconnect(to); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    quint32 atom(const char* name) const {
        const std::unique_ptr<xcb_intern_atom_reply_t, Free> reply(xcb_intern_atom_reply(
            to, xcb_intern_atom(to, 0, static_cast<quint16>(std::strlen(name)), name), nullptr));
        return reply ? reply->atom : quint32(XCB_ATOM_NONE);
    }

    void ask(quint32 number) const {
        xcb_client_message_event_t message;
        std::memset(&message, 0, sizeof message);
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window;
        message.type = protocols;
        message.data.data32[0] = ping;
        message.data.data32[1] = number;
        message.data.data32[2] = window;
        xcb_send_event(to, 0, window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&message));
        xcb_flush(to);
    }

    /// Takes what has come; true if the answer to this question is among it.
    bool hasAnswer(quint32 number) const {
        bool isThere = false;
        while (const std::unique_ptr<xcb_generic_event_t, Free> event{xcb_poll_for_event(to)}) {
            if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE)
                continue;
            xcb_client_message_event_t message;
            std::memcpy(&message, event.get(), sizeof message);
            isThere = isThere || (message.type == protocols && message.data.data32[0] == ping &&
                                  message.data.data32[1] == number);
        }
        return isThere;
    }

    xcb_connection_t* to;
    quint32 window;
    quint32 root = 0;
    quint32 protocols = 0;
    quint32 ping = 0;
    quint32 asked = 0;
};

AnswerWatch::AnswerWatch(const QString& display, quint32 window)
    : connection(std::make_unique<Connection>(display, window)) {
    begin([this] { turn(); });
}

AnswerWatch::~AnswerWatch() {
    stop();
}

void AnswerWatch::turn() {
    const quint32 number = ++connection->asked;
    {
        const QMutexLocker locker(&mutex);
        list.append({nowMs(), 0});
    }
    connection->ask(number);
    while (!isStopping()) {
        pollfd socket{xcb_get_file_descriptor(connection->to), POLLIN, 0};
        poll(&socket, 1, kAnswerPeriod);
        if (!connection->hasAnswer(number))
            continue;
        const QMutexLocker locker(&mutex);
        list.last().end = nowMs();
        break;
    }
    QThread::msleep(kAnswerPeriod);
}

QVector<Interval> AnswerWatch::answers() const {
    const QMutexLocker locker(&mutex);
    return list;
}

// ---- usage ---------------------------------------------------------------------------------------

UsageWatch::UsageWatch(qint64 process) : root(QStringLiteral("/proc/%1/").arg(process)) {
    begin([this] {
        Usage usage;
        usage.time = nowMs();
        QFile memory(root + QStringLiteral("statm"));
        if (memory.open(QIODevice::ReadOnly))
            usage.memory =
                memory.readAll().split(' ').value(1).toDouble() * double(sysconf(_SC_PAGESIZE)) / 1e6;
        usage.handles = QDir(root + QStringLiteral("fd"))
                            .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
                            .size();
        usage.threads =
            QDir(root + QStringLiteral("task")).entryList(QDir::NoDotAndDotDot | QDir::Dirs).size();
        if (usage.threads > 0) {
            const QMutexLocker locker(&mutex);
            list.append(usage);
        }
        for (int i = 0; i < kUsagePeriod / kSettingsPeriod && !isStopping(); ++i)
            QThread::msleep(kSettingsPeriod);
    });
}

UsageWatch::~UsageWatch() {
    stop();
}

QVector<Usage> UsageWatch::samples() const {
    const QMutexLocker locker(&mutex);
    return list;
}

// ---- arithmetic ----------------------------------------------------------------------------------

double outside(const Interval& interval, const QVector<Interval>& others) {
    // They follow each other, since one thread writes them.
    double covered = 0;
    for (const Interval& other : others) {
        const double end = other.end > 0 ? other.end : interval.end;
        covered += std::max(0.0, std::min(interval.end, end) - std::max(interval.begin, other.begin));
    }
    return std::max(0.0, interval.end - interval.begin - covered);
}
