// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace platform {

/// From now on an exception that nobody catches is remembered for uncaughtException(), before the process is
/// aborted as ever.
void rememberUncaughtExceptions();

/// Type (as the compiler writes it) and text of the exception that ends the process; empty when it is none.
/// May be called from a signal handler.
const char* uncaughtException();

}  // namespace platform
