// SPDX-License-Identifier: Apache-2.0
#include "support/ondesktop.h"

int runOnDesktop(int argc, char* argv[], int (*test)(int argc, char* argv[])) {
    qputenv("QT_QPA_PLATFORM", "windows");
    return test(argc, argv);
}

bool pressKeys(const QString& keys) {
    return runBeside(QStringLiteral(PRESS_KEYS), {keys});
}
