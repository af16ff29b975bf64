#include "platform/unattended.h"

void platform::keepAwake(bool) {}

void platform::restartAfterCrash(const QStringList&) {}
