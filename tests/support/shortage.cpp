// SPDX-License-Identifier: Apache-2.0
#include "support/shortage.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <new>
#include <pthread.h>

namespace {

std::atomic<bool> hasNoThreads{false};
thread_local bool hasNoNews = false;

}  // namespace

shortage::Threads::Threads() {
    hasNoThreads = true;
}

shortage::Threads::~Threads() {
    hasNoThreads = false;
}

shortage::News::News() {
    hasNoNews = true;
}

shortage::News::~News() {
    hasNoNews = false;
}

// In place of the system's, for the program and the libraries that it is linked to.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                              void* argument) noexcept {
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    return hasNoThreads ? EAGAIN : create(thread, attributes, function, argument);
}

// In pairs: what one of ours gives, none of a sanitizer's may take back. Arrays come by these where nobody
// else has replaced theirs.
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return hasNoNews ? nullptr : std::malloc(size > 0 ? size : 1);
}

void* operator new(size_t size) {
    void* memory = operator new(size, std::nothrow);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
