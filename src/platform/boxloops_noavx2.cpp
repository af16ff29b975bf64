// SPDX-License-Identifier: Apache-2.0
#include "platform/boxloops.h"

const platform::BoxLoops* platform::boxLoopsAvx2() {
    return nullptr;
}
