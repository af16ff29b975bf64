// SPDX-License-Identifier: Apache-2.0
#include "platform/raising.h"

#include <QElapsedTimer>
#include <QThread>
#include <QVector>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct Free {
    void operator()(void* p) const { std::free(p); }
};
/// Replies of xcb belong to the caller and are freed with free().
template <class T>
using Owned = std::unique_ptr<T, Free>;

constexpr int kPatience = 1000;  // ms for the window manager
constexpr int kPause = 20;       // ms

/// The server that DISPLAY names, by a connection of its own: it also serves before there is any window.
class Server {
public:
    Server() : connection(xcb_connect(nullptr, nullptr)) {}
    ~Server() { xcb_disconnect(connection); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    bool isThere() const { return xcb_connection_has_error(connection) == 0; }
    QVector<xcb_window_t> roots() const;
    /// A property of 32-bit values; empty if there is none.
    QVector<quint32> numbers(xcb_window_t window, const char* name) const;
    bool isIn(xcb_window_t window, const char* state) const;
    QVector<xcb_window_t> children(xcb_window_t window) const;
    xcb_window_t focus() const;
    /// Has the window manager give a window the keyboard, as a task list does.
    void activate(xcb_window_t root, xcb_window_t window) const;
    /// The same where no window manager is.
    void bringUp(xcb_window_t window) const;
    /// Hears from now on what windows answer to the window manager.
    void listen(xcb_window_t root) const;
    /// Whether a window says that it answers.
    bool knowsPing(xcb_window_t window) const;
    /// Asks a window as the window manager does: whoever runs an event loop answers.
    void ping(xcb_window_t window) const;
    /// Whether one of these has answered since the last look.
    bool hasAnswer(const QVector<xcb_window_t>& windows) const;

private:
    xcb_atom_t atom(const char* name) const;

    xcb_connection_t* const connection;
};

QVector<xcb_window_t> Server::roots() const {
    QVector<xcb_window_t> result;
    for (auto screen = xcb_setup_roots_iterator(xcb_get_setup(connection)); screen.rem > 0;
         xcb_screen_next(&screen))
        result.append(screen.data->root);
    return result;
}

xcb_atom_t Server::atom(const char* name) const {
    const auto length = static_cast<quint16>(std::strlen(name));
    const Owned<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, length, name), nullptr));
    return reply != nullptr ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

QVector<quint32> Server::numbers(xcb_window_t window, const char* name) const {
    constexpr quint32 kMost = 4096;
    const auto cookie =
        xcb_get_property(connection, 0, window, atom(name), XCB_GET_PROPERTY_TYPE_ANY, 0, kMost);
    const Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, nullptr));
    if (reply == nullptr || reply->format != 32)
        return {};
    QVector<quint32> result(static_cast<int>(reply->value_len));
    std::memcpy(result.data(), xcb_get_property_value(reply.get()),
                static_cast<std::size_t>(result.size()) * sizeof(quint32));
    return result;
}

bool Server::isIn(xcb_window_t window, const char* state) const {
    return numbers(window, "_NET_WM_STATE").contains(atom(state));
}

QVector<xcb_window_t> Server::children(xcb_window_t window) const {
    const Owned<xcb_query_tree_reply_t> reply(
        xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr));
    QVector<xcb_window_t> result;
    for (int i = 0; reply != nullptr && i < xcb_query_tree_children_length(reply.get()); ++i)
        result.append(xcb_query_tree_children(reply.get())[i]);
    return result;
}

xcb_window_t Server::focus() const {
    const Owned<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    return reply != nullptr ? reply->focus : static_cast<xcb_window_t>(XCB_WINDOW_NONE);
}

void Server::activate(xcb_window_t root, xcb_window_t window) const {
    constexpr quint32 kFromTaskList = 2;  // a program's own wish may be declined
    xcb_client_message_event_t message;
    std::memset(&message, 0, sizeof message);
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom("_NET_ACTIVE_WINDOW");
    message.data.data32[0] = kFromTaskList;
    xcb_send_event(connection, 0, root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(connection);
}

void Server::bringUp(xcb_window_t window) const {
    const quint32 above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(connection, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    xcb_set_input_focus(connection, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
    xcb_flush(connection);
}

void Server::listen(xcb_window_t root) const {
    // By the rules answers go to those with the first; Qt sends them to those with the second.
    const quint32 mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection, root, XCB_CW_EVENT_MASK, &mask);
}

bool Server::knowsPing(xcb_window_t window) const {
    return numbers(window, "WM_PROTOCOLS").contains(atom("_NET_WM_PING"));
}

void Server::ping(xcb_window_t window) const {
    xcb_client_message_event_t message;
    std::memset(&message, 0, sizeof message);
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom("WM_PROTOCOLS");
    message.data.data32[0] = atom("_NET_WM_PING");
    message.data.data32[2] = window;
    xcb_send_event(connection, 0, window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&message));
    xcb_flush(connection);
}

bool Server::hasAnswer(const QVector<xcb_window_t>& windows) const {
    constexpr int kSentByAProgram = 0x80;
    const xcb_atom_t wanted = atom("_NET_WM_PING");
    bool isThere = false;
    while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(connection)}) {
        if ((event->response_type & ~kSentByAProgram) != XCB_CLIENT_MESSAGE)
            continue;
        const auto* const message = reinterpret_cast<const xcb_client_message_event_t*>(event.get());
        if (message->format == 32 && message->data.data32[0] == wanted)
            isThere = isThere || windows.contains(message->data.data32[2]);
    }
    return isThere;
}

/// Those of the process, in their order.
QVector<xcb_window_t> ownedBy(quint32 process, const QVector<xcb_window_t>& windows, const Server& server) {
    QVector<xcb_window_t> result;
    for (const xcb_window_t window : windows)
        if (server.numbers(window, "_NET_WM_PID") == QVector<quint32>{process})
            result.append(window);
    return result;
}

/// What is to be activated, one after the other: the main window, which comes out of the task bar with its
/// dialogs, then a box that it waits for. A box of the start belongs to a window that is not shown yet.
QVector<xcb_window_t> inTurn(const QVector<xcb_window_t>& windows, const Server& server) {
    QVector<xcb_window_t> result;
    for (const xcb_window_t window : windows)
        if (server.numbers(window, "WM_TRANSIENT_FOR").isEmpty())
            result.append(window);
    for (const xcb_window_t window : windows)
        if (!result.contains(window) && server.isIn(window, "_NET_WM_STATE_MODAL"))
            result.append(window);
    return result.isEmpty() ? windows : result;
}

bool isActive(const QVector<xcb_window_t>& windows, xcb_window_t root, const Server& server) {
    const QVector<quint32> active = server.numbers(root, "_NET_ACTIVE_WINDOW");
    return !active.isEmpty() && windows.contains(active.first());
}

/// One that was killed leaves its properties at the root window.
bool hasWindowManager(xcb_window_t root, const Server& server) {
    const QVector<quint32> check = server.numbers(root, "_NET_SUPPORTING_WM_CHECK");
    return !check.isEmpty() && server.numbers(check.first(), "_NET_SUPPORTING_WM_CHECK") == check;
}

/// Those that it shows on this screen.
QVector<xcb_window_t> windowsOn(xcb_window_t root, quint32 process, const Server& server) {
    return ownedBy(
        process,
        hasWindowManager(root, server) ? server.numbers(root, "_NET_CLIENT_LIST") : server.children(root),
        server);
}

bool raiseOn(xcb_window_t root, quint32 process, const Server& server) {
    const QVector<xcb_window_t> windows = windowsOn(root, process, server);
    if (!hasWindowManager(root, server)) {
        for (const xcb_window_t window : windows)
            server.bringUp(window);
        return windows.contains(server.focus());
    }
    if (windows.isEmpty())
        return false;
    for (const xcb_window_t window : inTurn(windows, server))
        server.activate(root, window);
    QElapsedTimer time;
    time.start();
    while (!isActive(windows, root, server)) {
        if (time.elapsed() > kPatience || !server.isThere())
            return false;
        QThread::msleep(kPause);
    }
    return true;
}

}  // namespace

bool platform::raiseWindowsOf(qint64 process) {
    const Server server;
    if (!server.isThere())
        return false;
    for (const xcb_window_t root : server.roots())
        if (raiseOn(root, static_cast<quint32>(process), server))
            return true;
    return false;
}

bool platform::answers(qint64 process, int patience) {
    const Server server;
    if (!server.isThere())
        return true;
    QVector<xcb_window_t> windows;
    for (const xcb_window_t root : server.roots()) {
        server.listen(root);
        windows += windowsOn(root, static_cast<quint32>(process), server);
    }
    QVector<xcb_window_t> asked;
    for (const xcb_window_t window : windows)
        if (server.knowsPing(window)) {
            server.ping(window);
            asked.append(window);
        }
    QElapsedTimer time;
    time.start();
    while (!asked.isEmpty() && !server.hasAnswer(asked)) {
        if (time.elapsed() > patience)
            return false;
        if (!server.isThere())
            break;
        QThread::msleep(kPause);
    }
    return true;
}
