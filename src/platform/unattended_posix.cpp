// SPDX-License-Identifier: Apache-2.0
#include "platform/unattended.h"

void platform::keepAwake(bool) {}

void platform::restartAfterCrash(const QStringList&) {}
