// SPDX-License-Identifier: Apache-2.0
#include "platform/boxloops.h"

const platform::BoxLoops* platform::boxLoopsSsse3() {
    return nullptr;
}
