// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace platform {

/// Memory for one large picture, `size` bytes of zeros straight from the system, which the system has back as
/// soon as giveZeroedMemoryBack() gets it. Null if there is not that much. Any thread; neither throws.
void* takeZeroedMemory(size_t size);
void giveZeroedMemoryBack(void* memory, size_t size);

}  // namespace platform
