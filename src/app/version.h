// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

/// The program's version, as "1.2.3". It stands in CMakeLists.txt and nowhere else.
QString programVersion();
