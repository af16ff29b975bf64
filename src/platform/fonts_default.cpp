// SPDX-License-Identifier: Apache-2.0
#include "platform/fonts.h"

// Desktops tell Qt which font is theirs.

std::optional<QFont> platform::messageFont() {
    return {};
}
