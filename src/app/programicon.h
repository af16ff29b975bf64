// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QIcon>

/// Makes the resources known (icons, logo); comes before anything that shows one.
void initProgramResources();

/// The program's icon, in all sizes that it was drawn in.
QIcon programIcon();
