#pragma once

#include <QCoreApplication>
#include <QProcess>
#include <QtTest>

#include "support/xserver.h"

/// main() of a test whose own windows have to stand on a real desktop: the process starts an X server and a
/// window manager and runs itself again on it, with the same arguments, as an ordinary Qt Test program.
#define TEST_ON_DESKTOP_MAIN(TestClass)                             \
    int main(int argc, char* argv[]) {                              \
        if (qEnvironmentVariableIsSet("BIVISTA_TEST_ON_DESKTOP")) { \
            QApplication application(argc, argv);                   \
            TestClass test;                                         \
            return QTest::qExec(&test, argc, argv);                 \
        }                                                           \
        const QCoreApplication application(argc, argv);             \
        return runOnDesktop();                                      \
    }

inline int runOnDesktop() {
    XServer server;
    if (!server.start()) {
        qCritical("%s", qPrintable(server.errorString()));
        return 1;
    }
    QProcessEnvironment environment = server.environment();
    environment.insert(QStringLiteral("BIVISTA_TEST_ON_DESKTOP"), QStringLiteral("1"));
    ChildProcess test;
    test.setProcessChannelMode(QProcess::ForwardedChannels);
    test.setProcessEnvironment(environment);
    test.start(QCoreApplication::applicationFilePath(), QCoreApplication::arguments().mid(1));
    test.waitForFinished(-1);  // ctest sets the limit
    return test.exitStatus() == QProcess::NormalExit ? test.exitCode() : 1;
}
