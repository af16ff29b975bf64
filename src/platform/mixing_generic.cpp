// SPDX-License-Identifier: Apache-2.0
#include "platform/mixing.h"

bool platform::hasMixRuns() {
    return false;
}

void platform::mixRuns(const MixedPicture&, const PixelRun*, const PixelRun*, MixWeights, unsigned char*,
                       const unsigned char*) {}
