// SPDX-License-Identifier: Apache-2.0
#include "platform/memory.h"

#include <qt_windows.h>

void* platform::takeZeroedMemory(size_t size) {
    return VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void platform::giveZeroedMemoryBack(void* memory, size_t) {
    VirtualFree(memory, 0, MEM_RELEASE);
}
