// SPDX-License-Identifier: Apache-2.0
#include "platform/keymap_x11.h"

#include <QChar>

#include <algorithm>
#include <map>
#include <vector>

// This header is C and has members of the name "explicit". After all others, so that none sees the macro.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

namespace {

using Symbols = std::vector<quint32>;

const Symbols kLockSymbols = {0xff7f, 0xff14};   // Num Lock, Scroll Lock
const Symbols kAltSymbols = {0xffe9, 0xffea};    // left, right
const Symbols kSuperSymbols = {0xffeb, 0xffec};  // left, right
const Symbols kMetaSymbols = {0xffe7, 0xffe8};   // left, right

bool has(const Symbols& symbols, xcb_keysym_t symbol) {
    return std::find(symbols.begin(), symbols.end(), symbol) != symbols.end();
}

/// Whether a key has one of these symbols anywhere.
bool bears(const xcb_xkb_key_sym_map_t* key, const Symbols& symbols) {
    const xcb_keysym_t* first = xcb_xkb_key_sym_map_syms(key);
    return std::any_of(first, first + xcb_xkb_key_sym_map_syms_length(key),
                       [&](xcb_keysym_t symbol) { return has(symbols, symbol); });
}

/// The symbol of a key in a keyboard group, at a level: 0 plain, 1 (of keys that print) with Shift. The key
/// may have fewer groups than the keyboard.
xcb_keysym_t symbolAt(const xcb_xkb_key_sym_map_t* key, int group, int level) {
    const int groups = key->groupInfo & 0x0f;
    if (groups == 0 || level >= key->width)
        return 0;
    const int policy = key->groupInfo & 0xc0;
    if (group >= groups && policy == XCB_XKB_GROUPS_WRAP_CLAMP_INTO_RANGE)
        group = groups - 1;
    else if (group >= groups && policy == XCB_XKB_GROUPS_WRAP_REDIRECT_INTO_RANGE)
        group = (key->groupInfo & 0x30) >> 4;
    const int index = group % groups * key->width + level;
    return index < xcb_xkb_key_sym_map_syms_length(key) ? xcb_xkb_key_sym_map_syms(key)[index] : 0;
}

/// Where a key is, the better places first: what serves is the first set that has any.
struct Places {
    std::set<xcb_keycode_t> plain;      // in the layout in use
    std::set<xcb_keycode_t> shifted;    // there, with Shift
    std::set<xcb_keycode_t> elsewhere;  // in another layout
};

/// Notes what a key of the keyboard says about where the hot key is.
void look(Places& places, const xcb_xkb_key_sym_map_t* key, xcb_keycode_t code, int group, int hotkey) {
    const Symbols symbols = platform::keySymbols(hotkey);
    const bool isLetter = symbols.size() > 1 && hotkey < Qt::Key_Escape && QChar(hotkey).isLetter();
    if (has(symbols, symbolAt(key, group, 0)))
        places.plain.insert(code);
    // The second symbol of other keys is no matter of Shift: that of Print comes with Alt.
    if (hotkey < Qt::Key_Escape && has(symbols, symbolAt(key, group, 1)))
        places.shifted.insert(code);
    bool isElsewhere = isLetter && bears(key, {symbols.front()});
    for (int other = 0; other < (key->groupInfo & 0x0f); ++other)
        isElsewhere = isElsewhere || has(symbols, symbolAt(key, other, 0));
    if (isElsewhere)
        places.elsewhere.insert(code);
}

/// The lowest modifier of a mask that may be Alt or Meta; 0 if there is none.
quint16 lowestOf(quint16 mask) {
    mask &= static_cast<quint16>(~(XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_CONTROL));
    return static_cast<quint16>(mask & -mask);
}

/// What the modifiers of the keymap are.
struct Modifiers {
    quint16 locks = 0;
    quint16 alt = 0;
    quint16 super = 0;
    quint16 meta = 0;

    /// Those of a hot key; nothing if one of them is nowhere.
    std::optional<quint16> of(Qt::KeyboardModifiers modifiers) const {
        const quint16 metaKey = lowestOf(super) != 0 ? lowestOf(super) : lowestOf(meta);
        quint16 mask = 0;
        if (modifiers & Qt::ShiftModifier)
            mask |= XCB_MOD_MASK_SHIFT;
        if (modifiers & Qt::ControlModifier)
            mask |= XCB_MOD_MASK_CONTROL;
        if (modifiers & Qt::AltModifier)
            mask |= lowestOf(alt);
        if (modifiers & Qt::MetaModifier)
            mask |= metaKey;
        const bool isMissing = ((modifiers & Qt::AltModifier) && lowestOf(alt) == 0) ||
                               ((modifiers & Qt::MetaModifier) && metaKey == 0);
        return isMissing ? std::nullopt : std::optional(mask);
    }
};

}  // namespace

std::optional<platform::HotkeyPlaces> platform::readHotkeyPlaces(xcb_connection_t* connection,
                                                                 const Hotkey& hotkey) {
    const auto stateCookie = xcb_xkb_get_state(connection, XCB_XKB_ID_USE_CORE_KBD);
    const auto mapCookie = xcb_xkb_get_map(connection, XCB_XKB_ID_USE_CORE_KBD,
                                           XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP, 0, 0, 0,
                                           0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    const Owned<xcb_xkb_get_state_reply_t> state(xcb_xkb_get_state_reply(connection, stateCookie, nullptr));
    const Owned<xcb_xkb_get_map_reply_t> reply(xcb_xkb_get_map_reply(connection, mapCookie, nullptr));
    if (state == nullptr || reply == nullptr)
        return {};

    xcb_xkb_get_map_map_t map;
    xcb_xkb_get_map_map_unpack(xcb_xkb_get_map_map(reply.get()), reply->nTypes, reply->nKeySyms,
                               reply->nKeyActions, reply->totalActions, reply->totalKeyBehaviors,
                               reply->virtualMods, reply->totalKeyExplicit, reply->totalModMapKeys,
                               reply->totalVModMapKeys, reply->present, &map);

    Places places;
    std::map<xcb_keycode_t, const xcb_xkb_key_sym_map_t*> keys;
    auto key = xcb_xkb_get_map_map_syms_rtrn_iterator(reply.get(), &map);
    for (int code = reply->firstKeySym; key.rem > 0; ++code, xcb_xkb_key_sym_map_next(&key)) {
        keys[static_cast<xcb_keycode_t>(code)] = key.data;
        look(places, key.data, static_cast<xcb_keycode_t>(code), state->group, hotkey.key);
    }

    Modifiers modifiers;
    auto modifier = xcb_xkb_get_map_map_modmap_rtrn_iterator(reply.get(), &map);
    for (; modifier.rem > 0; xcb_xkb_key_mod_map_next(&modifier)) {
        const auto found = keys.find(modifier.data->keycode);
        if (found == keys.end())
            continue;
        for (const auto& [mask, symbols] :
             {std::pair(&modifiers.locks, &kLockSymbols), std::pair(&modifiers.alt, &kAltSymbols),
              std::pair(&modifiers.super, &kSuperSymbols), std::pair(&modifiers.meta, &kMetaSymbols)})
            if (bears(found->second, *symbols))
                *mask |= modifier.data->mods;
    }

    HotkeyPlaces result;
    // A keymap that calls Control a lock would make plain W ours.
    result.locks |= modifiers.locks & static_cast<quint16>(~(XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_SHIFT));
    const std::optional<quint16> held = modifiers.of(hotkey.modifiers);
    if (!held)
        return result;
    // The digits of a French keyboard take Shift, but everybody means the keys that they are written on.
    const bool isDigit = hotkey.key >= Qt::Key_0 && hotkey.key <= Qt::Key_9;
    const bool isShifted = places.plain.empty() && !places.shifted.empty();
    const auto modifierMask = static_cast<quint16>(*held | (isShifted && !isDigit ? XCB_MOD_MASK_SHIFT : 0));
    const auto& elsewhere = isShifted ? places.shifted : places.elsewhere;
    for (const xcb_keycode_t code : places.plain.empty() ? elsewhere : places.plain)
        result.presses.emplace(modifierMask, code);
    return result;
}
