// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QFont>
#include <optional>

namespace platform {

/// What the system writes its messages with, where Qt's default is another font; nothing where it is that
/// one. Its size is in points, whatever the scale of the screens. GUI thread, with the application object
/// alive.
std::optional<QFont> messageFont();

}  // namespace platform
