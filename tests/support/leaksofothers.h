// SPDX-License-Identifier: Apache-2.0
#pragma once

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

/// While it lives, what is allocated in this thread and never freed is no leak: for what a library loses when
/// an exception passes through it.
class LeaksOfOthers {
public:
#ifdef __SANITIZE_ADDRESS__
    LeaksOfOthers() {
        __lsan_disable();
    }
    ~LeaksOfOthers() {
        __lsan_enable();
    }
#else
    LeaksOfOthers() {}
    ~LeaksOfOthers() {}
#endif
    LeaksOfOthers(const LeaksOfOthers&) = delete;
    LeaksOfOthers& operator=(const LeaksOfOthers&) = delete;
};
