// SPDX-License-Identifier: Apache-2.0
// bivista_press_keys [--own-window] KEYS...
//
// Another process that presses and releases keys, one after the other: "ctrl+w", "F4". They go wherever the
// keyboard is; with --own-window a plain window of this process takes the keyboard first, and is gone at the
// end. Returns 0 when all keys have been pressed, 1 when they could not be, 2 when the window did not get the
// keyboard or did not keep it, and 3 when the window heard one of the keys, modifiers apart: keys that are
// somebody's hot key never reach it.

#include <windows.h>

#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr ULONGLONG kWait = 10000;  // ms, limit of every wait
constexpr WORD kFence = VK_F24;     // comes after all other keys, and is on no keyboard

int failed(int result, const char* what) {
    std::fprintf(stderr, "bivista_press_keys: %s\n", what);
    return result;
}

/// The virtual key of a name; 0 if there is none.
WORD keyOf(const std::string& name) {
    static const struct {
        const char* name;
        WORD key;
    } kNames[] = {{"ctrl", VK_CONTROL},  {"shift", VK_SHIFT},   {"alt", VK_MENU},
                  {"Return", VK_RETURN}, {"Escape", VK_ESCAPE}, {"space", VK_SPACE}};
    for (const auto& known : kNames) {
        if (name == known.name)
            return known.key;
    }
    for (WORD number = 1; number <= 24; ++number) {
        if (name == "F" + std::to_string(number))
            return static_cast<WORD>(VK_F1 + number - 1);
    }
    if (name.size() != 1)
        return 0;
    // The keys of letters and digits are called by their capitals.
    if (name[0] >= 'a' && name[0] <= 'z')
        return static_cast<WORD>(name[0] - 'a' + 'A');
    return (name[0] >= '0' && name[0] <= '9') ? static_cast<WORD>(name[0]) : WORD(0);
}

/// The keys of "ctrl+w" in the order of their names; empty if one has no key.
std::vector<WORD> keysOf(const std::string& text) {
    std::vector<WORD> keys;
    std::istringstream names(text);
    for (std::string name; std::getline(names, name, '+');) {
        keys.push_back(keyOf(name));
        if (keys.back() == 0)
            return {};
    }
    return keys;
}

INPUT event(WORD key, DWORD flags) {
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = key;
    input.ki.wScan = static_cast<WORD>(MapVirtualKeyW(key, MAPVK_VK_TO_VSC));
    input.ki.dwFlags = flags;
    return input;
}

/// Presses the keys in their order and lets go of them in the opposite one, as one piece of input.
bool press(const std::vector<WORD>& keys) {
    std::vector<INPUT> inputs;
    for (auto key = keys.begin(); key != keys.end(); ++key)
        inputs.push_back(event(*key, 0));
    for (auto key = keys.rbegin(); key != keys.rend(); ++key)
        inputs.push_back(event(*key, KEYEVENTF_KEYUP));
    const auto count = static_cast<UINT>(inputs.size());
    return SendInput(count, inputs.data(), sizeof(INPUT)) == count;
}

/// What the window of this process has heard.
bool heardKey = false;
bool heardFence = false;

LRESULT CALLBACK hear(HWND window, UINT message, WPARAM first, LPARAM second) {
    if (message == WM_KEYDOWN || message == WM_SYSKEYDOWN) {
        if (first == kFence)
            heardFence = true;
        else if (first != VK_CONTROL && first != VK_SHIFT && first != VK_MENU)
            heardKey = true;
    }
    return DefWindowProcW(window, message, first, second);
}

/// Lets the window live until the condition holds or the limit has passed. Every condition here changes with
/// a message.
template <typename Condition>
bool waitFor(const Condition& holds) {
    const ULONGLONG end = GetTickCount64() + kWait;
    while (!holds()) {
        const ULONGLONG now = GetTickCount64();
        if (now >= end)
            return false;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE)
            DispatchMessageW(&message);
    }
    return true;
}

HWND makeWindow() {
    WNDCLASSW kind{};
    kind.lpfnWndProc = hear;
    kind.hInstance = GetModuleHandleW(nullptr);
    kind.lpszClassName = L"bivista_press_keys";
    RegisterClassW(&kind);
    return CreateWindowExW(0, kind.lpszClassName, L"Editor", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 50, 50, 300,
                           200, nullptr, nullptr, kind.hInstance, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
    const bool ownWindow = argc > 1 && std::strcmp(argv[1], "--own-window") == 0;
    std::vector<std::vector<WORD>> presses;
    for (int i = ownWindow ? 2 : 1; i < argc; ++i)
        presses.push_back(keysOf(argv[i]));
    if (presses.empty())
        return failed(1, "no keys given");

    HWND window = nullptr;
    const auto hasKeyboard = [&] { return GetForegroundWindow() == window && GetFocus() == window; };
    if (ownWindow) {
        window = makeWindow();
        SetForegroundWindow(window);
        if (window == nullptr || !waitFor(hasKeyboard))
            return failed(2, "the window did not get the keyboard");
    }
    for (const auto& keys : presses) {
        if (keys.empty() || !press(keys))
            return failed(1, "a key could not be pressed");
    }
    if (ownWindow) {
        if (!press({kFence}) || !waitFor([] { return heardFence; }) || !hasKeyboard())
            return failed(2, "the window did not keep the keyboard");
        DestroyWindow(window);
    }
    return heardKey ? failed(3, "a key has reached the window") : 0;
}
