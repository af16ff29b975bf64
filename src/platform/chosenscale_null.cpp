// SPDX-License-Identifier: Apache-2.0
#include "platform/chosenscale.h"

bool platform::hasChosenScale() {
    return false;
}
