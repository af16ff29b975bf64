// SPDX-License-Identifier: Apache-2.0
#include "support/ondesktop.h"

#include <QCoreApplication>

#include "support/xserver.h"

int runOnDesktop(int argc, char* argv[], int (*test)(int argc, char* argv[])) {
    if (qEnvironmentVariableIsSet("BIVISTA_TEST_ON_DESKTOP"))
        return test(argc, argv);
    const QCoreApplication application(argc, argv);
    XServer server;
    if (!server.start()) {
        qCritical("%s", qPrintable(server.errorString()));
        return 1;
    }
    QProcessEnvironment environment = server.environment();
    environment.insert(QStringLiteral("BIVISTA_TEST_ON_DESKTOP"), QStringLiteral("1"));
    ChildProcess again;
    again.setProcessChannelMode(QProcess::ForwardedChannels);
    again.setProcessEnvironment(environment);
    again.start(QCoreApplication::applicationFilePath(), QCoreApplication::arguments().mid(1));
    again.waitForFinished(-1);  // ctest sets the limit
    return again.exitStatus() == QProcess::NormalExit ? again.exitCode() : 1;
}

bool pressKeys(const QString& keys) {
    return runBeside(QStringLiteral("xdotool"), {QStringLiteral("key"), keys});
}
