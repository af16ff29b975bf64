#include "platform/keymap_x11.h"

#include <algorithm>

// This header is C and has members of the name "explicit". After all others, so that none sees the macro.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

namespace {

constexpr xcb_keysym_t kSmallW = 0x77;
constexpr xcb_keysym_t kCapitalW = 0x57;
constexpr xcb_keysym_t kNumLock = 0xff7f;
constexpr xcb_keysym_t kScrollLock = 0xff14;

/// The plain (unshifted) symbol of a key in a keyboard group; the key may have fewer groups than the
/// keyboard.
xcb_keysym_t plainSymbol(const xcb_xkb_key_sym_map_t* key, int group) {
    const int groups = key->groupInfo & 0x0f;
    if (groups == 0 || key->width == 0)
        return 0;
    const int policy = key->groupInfo & 0xc0;
    if (group >= groups && policy == XCB_XKB_GROUPS_WRAP_CLAMP_INTO_RANGE)
        group = groups - 1;
    else if (group >= groups && policy == XCB_XKB_GROUPS_WRAP_REDIRECT_INTO_RANGE)
        group = (key->groupInfo & 0x30) >> 4;
    const int index = group % groups * key->width;
    return index < xcb_xkb_key_sym_map_syms_length(key) ? xcb_xkb_key_sym_map_syms(key)[index] : 0;
}

}  // namespace

std::optional<platform::HotkeyPlaces> platform::readHotkeyPlaces(xcb_connection_t* connection) {
    const auto stateCookie = xcb_xkb_get_state(connection, XCB_XKB_ID_USE_CORE_KBD);
    const auto mapCookie = xcb_xkb_get_map(connection, XCB_XKB_ID_USE_CORE_KBD,
                                           XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP, 0, 0, 0,
                                           0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    const Owned<xcb_xkb_get_state_reply_t> state(xcb_xkb_get_state_reply(connection, stateCookie, nullptr));
    const Owned<xcb_xkb_get_map_reply_t> reply(xcb_xkb_get_map_reply(connection, mapCookie, nullptr));
    if (state == nullptr || reply == nullptr)
        return {};

    HotkeyPlaces keys;
    xcb_xkb_get_map_map_t map;
    xcb_xkb_get_map_map_unpack(xcb_xkb_get_map_map(reply.get()), reply->nTypes, reply->nKeySyms,
                               reply->nKeyActions, reply->totalActions, reply->totalKeyBehaviors,
                               reply->virtualMods, reply->totalKeyExplicit, reply->totalModMapKeys,
                               reply->totalVModMapKeys, reply->present, &map);

    std::set<xcb_keycode_t> elsewhere;
    std::set<xcb_keycode_t> lockKeys;
    auto key = xcb_xkb_get_map_map_syms_rtrn_iterator(reply.get(), &map);
    for (int code = reply->firstKeySym; key.rem > 0; ++code, xcb_xkb_key_sym_map_next(&key)) {
        const auto keycode = static_cast<xcb_keycode_t>(code);
        const xcb_keysym_t plain = plainSymbol(key.data, state->group);
        if (plain == kSmallW || plain == kCapitalW)
            keys.w.insert(keycode);
        const xcb_keysym_t* symbols = xcb_xkb_key_sym_map_syms(key.data);
        const xcb_keysym_t* end = symbols + xcb_xkb_key_sym_map_syms_length(key.data);
        if (std::find(symbols, end, kSmallW) != end)
            elsewhere.insert(keycode);
        if (std::any_of(symbols, end,
                        [](auto symbol) { return symbol == kNumLock || symbol == kScrollLock; }))
            lockKeys.insert(keycode);
    }
    if (keys.w.empty())
        keys.w = elsewhere;

    auto modifier = xcb_xkb_get_map_map_modmap_rtrn_iterator(reply.get(), &map);
    for (; modifier.rem > 0; xcb_xkb_key_mod_map_next(&modifier))
        if (lockKeys.count(modifier.data->keycode) != 0)
            keys.locks |= modifier.data->mods;
    // A keymap that calls Control a lock would make plain W ours.
    keys.locks &= static_cast<quint16>(~(XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_SHIFT));
    return keys;
}
