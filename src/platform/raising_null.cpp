// SPDX-License-Identifier: Apache-2.0
#include "platform/raising.h"

bool platform::raiseWindowsOf(qint64) {
    return false;
}

bool platform::answers(qint64, int) {
    return true;
}
