#pragma once

#include <QtGlobal>
#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <set>

/// Where the X server's keymap has what the hot key is made of. Only for desktop_x11.cpp.
namespace platform {

struct Free {
    void operator()(void* p) const { std::free(p); }
};
/// Replies, errors and events of xcb belong to the caller and are freed with free().
template <class T>
using Owned = std::unique_ptr<T, Free>;

/// The keys of W and the modifiers that a lock key may add to a press.
struct HotkeyPlaces {
    std::set<xcb_keycode_t> w;  ///< empty: no layout of the keymap has W
    quint16 locks = XCB_MOD_MASK_LOCK;
};

/// Asks the server, which must have XKB and have been told that we use it, where W is in the layout in use. A
/// layout without W (a Cyrillic one, say) borrows the places of the keymap's other layouts, as short cuts
/// within programs do. Nothing if the server does not answer.
std::optional<HotkeyPlaces> readHotkeyPlaces(xcb_connection_t* connection);

}  // namespace platform
