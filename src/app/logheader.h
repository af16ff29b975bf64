// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QStringList>

/// What every file of the log begins with, a text for each line: versions of the program, of Qt and of
/// OpenCV, the camera library's file and its date, the system, the processor, the screens (without a desktop:
/// none), the working folder. GUI thread, with the application object alive.
QStringList logHeader();
