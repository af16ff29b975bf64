// SPDX-License-Identifier: Apache-2.0
#include "platform/desktop.h"

// A desktop that has neither of the two: the window says so once at the start and works without them.

QString platform::registerSaveHotkey(WId, const Hotkey&) {
    return QStringLiteral("there are no hot keys here");
}

void platform::unregisterSaveHotkey(WId) {}

platform::NativeMessage platform::classify(const QByteArray&, const void*) {
    return NativeMessage::None;
}
