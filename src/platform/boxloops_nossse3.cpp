#include "platform/boxloops.h"

const platform::BoxLoops* platform::boxLoopsSsse3() {
    return nullptr;
}
