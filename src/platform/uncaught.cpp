// SPDX-License-Identifier: Apache-2.0
#include "platform/uncaught.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <typeinfo>

namespace {

constexpr size_t kLongest = 500;

char text[kLongest + 1];  // zeros behind the end
std::atomic_flag isTaken = ATOMIC_FLAG_INIT;
std::terminate_handler before = nullptr;

/// Without memory: that may be what there is none of.
void append(const char* piece) {
    size_t end = 0;
    while (text[end] != '\0')
        ++end;
    for (; *piece != '\0' && end < kLongest; ++end, ++piece)
        text[end] = *piece;
}

void remember() {
    const std::exception_ptr thrown = std::current_exception();
    if (!thrown || isTaken.test_and_set())
        return;
    try {
        std::rethrow_exception(thrown);
    } catch (const std::exception& exception) {
        append(typeid(exception).name());
        append(": ");
        append(exception.what());
    } catch (...) {
        append("of no standard type");
    }
}

[[noreturn]] void handleTerminate() {
    remember();
    if (before != nullptr)
        before();
    std::abort();
}

}  // namespace

void platform::rememberUncaughtExceptions() {
    const std::terminate_handler present = std::get_terminate();
    if (present == handleTerminate)
        return;
    before = present;
    std::set_terminate(handleTerminate);
}

const char* platform::uncaughtException() {
    return text;
}
