// SPDX-License-Identifier: Apache-2.0
#include "platform/chosenscale.h"

#include <QByteArray>
#include <QList>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace {

struct Free {
    void operator()(void* p) const { std::free(p); }
};
using Property = std::unique_ptr<xcb_get_property_reply_t, Free>;

xcb_window_t rootWindow(xcb_connection_t* connection, int screen) {
    auto i = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screen > 0 && i.rem > 1; --screen)
        xcb_screen_next(&i);
    return i.rem > 0 ? i.data->root : static_cast<xcb_window_t>(XCB_WINDOW_NONE);
}

/// What the desktop has left at the server for all programs, "Name:\tvalue" lines; empty if nothing.
QByteArray resources(xcb_connection_t* connection, xcb_window_t root) {
    constexpr quint32 kPart = 8192;  // of four bytes
    QByteArray result;
    for (quint32 offset = 0;; offset += kPart) {
        const auto cookie =
            xcb_get_property(connection, 0, root, XCB_ATOM_RESOURCE_MANAGER, XCB_ATOM_STRING, offset, kPart);
        const Property part(xcb_get_property_reply(connection, cookie, nullptr));
        if (part == nullptr || part->type != XCB_ATOM_STRING || part->format != 8)
            return result;
        result.append(static_cast<const char*>(xcb_get_property_value(part.get())),
                      xcb_get_property_value_length(part.get()));
        if (part->bytes_after == 0)
            return result;
    }
}

/// As Qt reads it, so that both mean the same line.
bool namesScale(const QByteArray& resources) {
    const QByteArray name = QByteArrayLiteral("Xft.dpi:\t");
    const auto lines = resources.split('\n');
    for (const QByteArray& line : lines)
        if (line.startsWith(name) && line.mid(name.size()).toInt() > 0)
            return true;
    return false;
}

}  // namespace

bool platform::hasChosenScale() {
    // Where Qt's windows are not an X server's, DISPLAY says nothing of them.
    const QByteArray windows = qgetenv("QT_QPA_PLATFORM");
    if (!windows.isEmpty() && !windows.contains("xcb"))
        return false;
    int screen = 0;
    xcb_connection_t* const connection = xcb_connect(nullptr, &screen);
    const bool chosen = xcb_connection_has_error(connection) == 0 &&
                        namesScale(resources(connection, rootWindow(connection, screen)));
    xcb_disconnect(connection);
    return chosen;
}
