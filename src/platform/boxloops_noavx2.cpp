#include "platform/boxloops.h"

const platform::BoxLoops* platform::boxLoopsAvx2() {
    return nullptr;
}
