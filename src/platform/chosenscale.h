// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace platform {

/// Whether the scale of this desktop's screens is a person's choice, in whatever steps, and is to be taken as
/// it is. Else it follows from what screens say of their millimetres, if anything, and is best rounded. Asks
/// the desktop; before the application object is made.
bool hasChosenScale();

}  // namespace platform
