// SPDX-License-Identifier: Apache-2.0
#include "support/shortmemory.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <utility>

#include "platform/memory.h"

namespace {

std::mutex mutex;
size_t allowed = std::numeric_limits<size_t>::max();
size_t givenOut = 0;
size_t most = 0;

}  // namespace

void* platform::takeZeroedMemory(size_t size) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (size > allowed || givenOut > allowed - size)
        return nullptr;
    void* memory = std::calloc(1, size);
    if (memory) {
        givenOut += size;
        most = std::max(most, givenOut);
    }
    return memory;
}

void platform::giveZeroedMemoryBack(void* memory, size_t size) {
    const std::lock_guard<std::mutex> lock(mutex);
    givenOut -= size;
    std::free(memory);
}

void shortmemory::allow(size_t bytes) {
    const std::lock_guard<std::mutex> lock(mutex);
    allowed = bytes;
}

size_t shortmemory::given() {
    const std::lock_guard<std::mutex> lock(mutex);
    return givenOut;
}

size_t shortmemory::takeMost() {
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(most, givenOut);
}
