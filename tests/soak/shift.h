// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QSize>

#include "soak/report.h"

/// How long and how hard the program is worked.
struct ShiftOptions {
    int seconds = 180;
    quint32 seed = 1;
    QSize frame{1280, 720};  ///< px
    int rate = 10;           ///< frames a second
    bool isGentle = false;   ///< never a word while a picture is being written
    bool isShared = false;   ///< on a busy machine one answer may take up to 4 s
    /// A picture is taken away, setting.ini is torn for a moment, the program is stopped for 3 s.
    bool isSabotaged = false;
};

/// Works the real program for a shift and says how that went.
Report runShift(const ShiftOptions& options);
