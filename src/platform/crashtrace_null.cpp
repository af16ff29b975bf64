// SPDX-License-Identifier: Apache-2.0
#include "platform/crashtrace.h"

bool platform::canTraceCrashes() {
    return false;
}

void platform::traceCrashes(const QString&, const QByteArray&) {}

platform::CrashStack::CrashStack() = default;

platform::CrashStack::~CrashStack() = default;
