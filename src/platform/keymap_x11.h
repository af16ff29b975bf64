// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>
#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "platform/hotkey.h"

/// Where the X server's keymap has what the hot key is made of. Only for desktop_x11.cpp.
namespace platform {

struct Free {
    void operator()(void* p) const { std::free(p); }
};
/// Replies, errors and events of xcb belong to the caller and are freed with free().
template <class T>
using Owned = std::unique_ptr<T, Free>;

/// How a hot key is pressed on the keyboard, and the modifiers that a lock key may add to a press.
struct HotkeyPlaces {
    /// Modifiers and key. Empty: no layout of the keymap has the key, or one of its modifiers is nowhere.
    std::set<std::pair<quint16, xcb_keycode_t>> presses;
    quint16 locks = XCB_MOD_MASK_LOCK;
};

/// Asks the server, which must have XKB and have been told that we use it, where the key is in the layout in
/// use, and which modifiers Alt and Meta are (Meta is the Super key of today's keyboards). A layout without
/// the key (W in a Cyrillic one, say) borrows the places of the keymap's other layouts, as short cuts within
/// programs do. Nothing if the server does not answer.
std::optional<HotkeyPlaces> readHotkeyPlaces(xcb_connection_t* connection, const Hotkey& hotkey);

}  // namespace platform
