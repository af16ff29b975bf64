// SPDX-License-Identifier: Apache-2.0
#include "app/programicon.h"

#include <QString>

// They lie in a static library and have to be asked for. Outside any namespace: the macro needs it.
void initProgramResources() {
    Q_INIT_RESOURCE(bivista);
}

QIcon programIcon() {
    QIcon icon(QStringLiteral(":/icon/app"));
    for (const int size : {16, 24, 32, 48, 64, 128})
        icon.addFile(QStringLiteral(":/icon/app-%1.png").arg(size));
    return icon;
}
