// SPDX-License-Identifier: Apache-2.0
#include "platform/memory.h"

#include <sys/mman.h>

void* platform::takeZeroedMemory(size_t size) {
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return nullptr;
#ifdef MADV_HUGEPAGE
    // In pieces of 4 KiB the system takes longer to hand the memory out than it takes to fill it. Where there
    // are no larger ones, nothing is lost.
    madvise(memory, size, MADV_HUGEPAGE);
#endif
    return memory;
}

void platform::giveZeroedMemoryBack(void* memory, size_t size) {
    munmap(memory, size);
}
