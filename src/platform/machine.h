// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

/// What this machine and this process are made of, for the log. Any thread.
namespace platform {

/// The file of the shared library that is loaded under this name ("KVCap2") and serves `function`: its whole
/// path, with links followed. Empty when there is none.
QString fileOfLibrary(const QString& library, const char* function);

/// What the processor calls itself, "Intel(R) Core(TM) i5-8500 CPU @ 3.00GHz"; where it has no name, its kind
/// ("arm64").
QString processorName();

}  // namespace platform
