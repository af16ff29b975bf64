// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QSize>

#include "soak/report.h"

struct KillOptions {
    int kills = 30;
    quint32 seed = 1;
    QSize frame{640, 480};  ///< px
    int rate = 15;          ///< frames a second
};

/// Kills the real program again and again while it writes, and looks each time at what lies there: right
/// after, and once it has started again.
Report runKills(const KillOptions& options);
