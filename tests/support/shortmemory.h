// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

/// Pictures' memory that is not unlimited. A test program that has shortmemory.cpp among its sources gets the
/// memory of platform/memory.h from there instead of from the system. Any thread.
namespace shortmemory {

/// No more than this is given out at a time, in bytes; as much as there is at the start.
void allow(size_t bytes);
/// What is given out now, in bytes.
size_t given();
/// The most that was given out at a time since the last call.
size_t takeMost();

}  // namespace shortmemory
