#include "platform/desktop.h"

// A desktop that has neither of the two: the window says so once at start and works without them.

bool platform::registerSaveHotkey(WId) {
    return false;
}

void platform::unregisterSaveHotkey(WId) {}

platform::NativeMessage platform::classify(const QByteArray&, const void*) {
    return NativeMessage::None;
}
