// SPDX-License-Identifier: Apache-2.0
#include "platform/hotkey.h"

#include <QChar>
#include <QKeySequence>

#include <algorithm>
#include <iterator>

namespace {

/// A key that prints nothing, as X11 and Windows have it; 0: there it is no key.
struct NamedKey {
    int key;
    quint32 symbol;
    quint32 virtualKey;
};

constexpr NamedKey kNamedKeys[] = {
    {Qt::Key_Escape, 0xff1b, 0x1b},
    {Qt::Key_Tab, 0xff09, 0x09},
    {Qt::Key_Backspace, 0xff08, 0x08},
    {Qt::Key_Return, 0xff0d, 0x0d},
    {Qt::Key_Return, 0xff8d, 0x0d},
    {Qt::Key_Insert, 0xff63, 0x2d},
    {Qt::Key_Delete, 0xffff, 0x2e},
    {Qt::Key_Pause, 0xff13, 0x13},
    {Qt::Key_Print, 0xff61, 0x2c},
    {Qt::Key_Clear, 0xff0b, 0x0c},
    {Qt::Key_Home, 0xff50, 0x24},
    {Qt::Key_End, 0xff57, 0x23},
    {Qt::Key_Left, 0xff51, 0x25},
    {Qt::Key_Up, 0xff52, 0x26},
    {Qt::Key_Right, 0xff53, 0x27},
    {Qt::Key_Down, 0xff54, 0x28},
    {Qt::Key_PageUp, 0xff55, 0x21},
    {Qt::Key_PageDown, 0xff56, 0x22},
    {Qt::Key_Menu, 0xff67, 0x5d},
    {Qt::Key_Help, 0xff6a, 0x2f},
    {Qt::Key_Back, 0x1008ff26, 0xa6},
    {Qt::Key_Forward, 0x1008ff27, 0xa7},
    {Qt::Key_Refresh, 0x1008ff29, 0xa8},
    {Qt::Key_Refresh, 0x1008ff73, 0xa8},
    {Qt::Key_Stop, 0x1008ff28, 0xa9},
    {Qt::Key_Search, 0x1008ff1b, 0xaa},
    {Qt::Key_Favorites, 0x1008ff30, 0xab},
    {Qt::Key_HomePage, 0x1008ff18, 0xac},
    {Qt::Key_VolumeMute, 0x1008ff12, 0xad},
    {Qt::Key_VolumeDown, 0x1008ff11, 0xae},
    {Qt::Key_VolumeUp, 0x1008ff13, 0xaf},
    {Qt::Key_MediaNext, 0x1008ff17, 0xb0},
    {Qt::Key_MediaPrevious, 0x1008ff16, 0xb1},
    {Qt::Key_MediaStop, 0x1008ff15, 0xb2},
    // One key has both on it.
    {Qt::Key_MediaPlay, 0x1008ff14, 0xb3},
    {Qt::Key_MediaTogglePlayPause, 0x1008ff14, 0xb3},
    {Qt::Key_LaunchMail, 0x1008ff19, 0xb4},
    {Qt::Key_LaunchMedia, 0x1008ff32, 0xb5},
};

/// Characters that some layouts have as a dead key only.
constexpr NamedKey kDeadKeys[] = {
    {'`', 0xfe50, 0}, {0xb4, 0xfe51, 0}, {'^', 0xfe52, 0}, {'~', 0xfe53, 0}, {0xa8, 0xfe57, 0},
};

constexpr quint32 kFirstFunctionSymbol = 0xffbe;
constexpr quint32 kFirstFunctionKey = 0x70;
constexpr int kWindowsFunctionKeys = 24;
constexpr quint32 kCancelKey = 0x03;
constexpr quint32 kUnicodeSymbols = 0x01000000;

constexpr quint32 kModAlt = 0x0001;
constexpr quint32 kModControl = 0x0002;
constexpr quint32 kModShift = 0x0004;
constexpr quint32 kModWin = 0x0008;
constexpr quint32 kModNoRepeat = 0x4000;

bool isCharacter(int key) {
    return key > 0 && key < Qt::Key_Escape;
}

bool isFunctionKey(int key) {
    return key >= Qt::Key_F1 && key <= Qt::Key_F35;
}

bool isLetterOrDigit(int key) {
    return (key >= Qt::Key_A && key <= Qt::Key_Z) || (key >= Qt::Key_0 && key <= Qt::Key_9);
}

/// Without Ctrl, Alt or Meta such a key cannot be taken from all programs of the desktop.
bool operatesPrograms(int key) {
    return isCharacter(key) || (key >= Qt::Key_Escape && key <= Qt::Key_Delete) || key == Qt::Key_Clear ||
           (key >= Qt::Key_Home && key <= Qt::Key_PageDown);
}

void addSymbol(std::vector<quint32>& symbols, ushort character) {
    const bool isLatin1 = (character >= 0x20 && character < 0x7f) || (character >= 0xa0 && character <= 0xff);
    if (isLatin1)
        symbols.push_back(character);
    else if (character > 0xff)
        symbols.push_back(kUnicodeSymbols | character);
}

}  // namespace

QString platform::Hotkey::text() const {
    return QKeySequence(key | static_cast<int>(modifiers)).toString(QKeySequence::PortableText);
}

platform::HotkeyReading platform::readHotkey(const QString& text) {
    const QKeySequence sequence = QKeySequence::fromString(text.trimmed(), QKeySequence::PortableText);
    if (sequence.count() > 1)
        return {{}, QStringLiteral("is more than one key")};
    const int combination = sequence.count() == 1 ? sequence[0] : int(Qt::Key_unknown);
    HotkeyReading reading;
    Hotkey& hotkey = reading.hotkey;
    hotkey.key = combination & ~static_cast<int>(Qt::KeyboardModifierMask);
    hotkey.modifiers = Qt::KeyboardModifiers(combination & static_cast<int>(Qt::KeyboardModifierMask));
    if (hotkey.key == Qt::Key_unknown)
        return {{}, QStringLiteral("is no key, as Ctrl+Shift+S or F9 are")};
    if (hotkey.modifiers & Qt::KeypadModifier)
        return {{}, QStringLiteral("is a key of the number pad, which cannot be had by itself")};
    // Windows has one key for both, and two names for one key are of no use.
    if (hotkey.key == Qt::Key_Enter)
        hotkey.key = Qt::Key_Return;
    if (hotkey.key == Qt::Key_Backtab) {
        hotkey.key = Qt::Key_Tab;
        hotkey.modifiers |= Qt::ShiftModifier;
    }
    if (keySymbols(hotkey.key).empty())
        return {{}, QStringLiteral("is no key that can be had from the desktop")};
    constexpr auto kNeeded = Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier;
    if (operatesPrograms(hotkey.key) && !(hotkey.modifiers & kNeeded))
        return {{}, QStringLiteral("would be taken from all programs; it needs Ctrl, Alt or Meta")};
    return reading;
}

std::vector<quint32> platform::keySymbols(int key) {
    std::vector<quint32> symbols;
    if (isFunctionKey(key))
        symbols.push_back(kFirstFunctionSymbol + static_cast<quint32>(key - Qt::Key_F1));
    if (isCharacter(key) && key <= 0xffff) {
        const auto character = static_cast<ushort>(key);
        const ushort small = QChar(character).toLower().unicode();
        addSymbol(symbols, small);
        if (small != character)
            addSymbol(symbols, character);
        for (const NamedKey& dead : kDeadKeys) {
            if (dead.key == key)
                symbols.push_back(dead.symbol);
        }
    }
    for (const NamedKey& named : kNamedKeys) {
        if (named.key == key)
            symbols.push_back(named.symbol);
    }
    return symbols;
}

platform::WindowsHotkey platform::windowsHotkey(const Hotkey& hotkey,
                                                const std::function<int(ushort)>& scan) {
    constexpr int kShiftState = 0x100;
    WindowsHotkey result;
    result.modifiers = kModNoRepeat;
    if (hotkey.modifiers & Qt::AltModifier)
        result.modifiers |= kModAlt;
    if (hotkey.modifiers & Qt::ControlModifier)
        result.modifiers |= kModControl;
    if (hotkey.modifiers & Qt::ShiftModifier)
        result.modifiers |= kModShift;
    if (hotkey.modifiers & Qt::MetaModifier)
        result.modifiers |= kModWin;

    const int key = hotkey.key;
    if (isLetterOrDigit(key) || key == Qt::Key_Space) {
        result.key = static_cast<quint32>(key);
    } else if (isFunctionKey(key)) {
        if (key < Qt::Key_F1 + kWindowsFunctionKeys)
            result.key = kFirstFunctionKey + static_cast<quint32>(key - Qt::Key_F1);
    } else if (key == Qt::Key_Pause && (hotkey.modifiers & Qt::ControlModifier)) {
        result.key = kCancelKey;  // what the keyboard makes of it
    } else if (isCharacter(key) && key <= 0xffff) {
        const int answer = scan(QChar(static_cast<ushort>(key)).toLower().unicode());
        if (answer >= 0 && (answer & ~(kShiftState | 0xff)) == 0 && (answer & 0xff) != 0xff) {
            result.key = static_cast<quint32>(answer & 0xff);
            if (answer & kShiftState)
                result.modifiers |= kModShift;
        }
    } else {
        const auto* named = std::find_if(std::begin(kNamedKeys), std::end(kNamedKeys),
                                         [key](const NamedKey& candidate) { return candidate.key == key; });
        if (named != std::end(kNamedKeys))
            result.key = named->virtualKey;
    }
    return result;
}
