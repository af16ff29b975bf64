// SPDX-License-Identifier: Apache-2.0
#include "support/ondesktop.h"

namespace {

constexpr int kLimit = 20000;  // ms, generous: nothing waits this long unless it fails

}  // namespace

bool runBeside(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    return QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, kLimit) &&
           process.error() == QProcess::UnknownError && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}
