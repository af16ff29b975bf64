// SPDX-License-Identifier: Apache-2.0
#include "app/version.h"

QString programVersion() {
    return QStringLiteral(BIVISTA_VERSION);
}
