// SPDX-License-Identifier: Apache-2.0
#include "platform/chosenscale.h"

// Of each screen, in the system's settings.

bool platform::hasChosenScale() {
    return true;
}
