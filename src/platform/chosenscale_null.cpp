#include "platform/chosenscale.h"

bool platform::hasChosenScale() {
    return false;
}
