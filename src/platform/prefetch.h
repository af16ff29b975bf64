// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace platform {

/// Has memory fetched that is read soon. Any address will do: none is touched. Does nothing where the
/// compiler cannot say it.
inline void readSoon(const void* address) {
#if defined(__GNUC__)
    __builtin_prefetch(address);
#else
    static_cast<void>(address);
#endif
}

}  // namespace platform
