// SPDX-License-Identifier: Apache-2.0
// bivista_send_message WINDOW [NAME]
//
// Another process that sends a message to a window: a client message of the atom NAME ("KV CAMERA" if none is
// given), to the X window of the given number (decimal, or hexadecimal with 0x). Returns 0 when the server
// has taken it.

#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct Free {
    void operator()(void* p) const { std::free(p); }
};
struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};

int failed(const char* what) {
    std::fprintf(stderr, "bivista_send_message: %s\n", what);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2)
        return failed("no window given");
    const char* name = argc > 2 ? argv[2] : "KV CAMERA";
    const std::unique_ptr<xcb_connection_t, Disconnect> connection(xcb_connect(nullptr, nullptr));
    if (xcb_connection_has_error(connection.get()) != 0)
        return failed("no X server");

    const auto atomCookie =
        xcb_intern_atom(connection.get(), 0, static_cast<uint16_t>(std::strlen(name)), name);
    const std::unique_ptr<xcb_intern_atom_reply_t, Free> atom(
        xcb_intern_atom_reply(connection.get(), atomCookie, nullptr));
    if (atom == nullptr)
        return failed("no atom");

    xcb_client_message_event_t message;
    std::memset(&message, 0, sizeof message);
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = static_cast<xcb_window_t>(std::strtoul(argv[1], nullptr, 0));
    message.type = atom->atom;
    const auto sendCookie =
        xcb_send_event_checked(connection.get(), 0, message.window, XCB_EVENT_MASK_NO_EVENT,
                               reinterpret_cast<const char*>(&message));
    const std::unique_ptr<xcb_generic_error_t, Free> error(xcb_request_check(connection.get(), sendCookie));
    return error == nullptr ? 0 : failed("no such window");
}
