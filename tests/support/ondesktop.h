// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QApplication>
#include <QProcess>
#include <QtTest>

/// main() of a test whose own windows have to stand on a real desktop.
#define TEST_ON_DESKTOP_MAIN(TestClass)                                 \
    int main(int argc, char* argv[]) {                                  \
        return runOnDesktop(argc, argv, [](int count, char* values[]) { \
            QApplication application(count, values);                    \
            TestClass test;                                             \
            return QTest::qExec(&test, count, values);                  \
        });                                                             \
    }

/// Runs a test on a real desktop and returns what it returns. Where X servers are to be had, the process
/// starts one and a window manager and runs itself again on it, with the same arguments, as an ordinary Qt
/// Test program; on Windows the desktop is the one that is there, and nobody should touch its keyboard
/// meanwhile.
int runOnDesktop(int argc, char* argv[], int (*test)(int argc, char* argv[]));

/// Runs another program while the windows of this process go on. True: it has ended with 0 within the limit.
bool runBeside(const QString& program, const QStringList& arguments);

/// Has another process press and release keys wherever the keyboard is: "ctrl+w", "F4". True: pressed, which
/// need not have been noticed yet.
bool pressKeys(const QString& keys);
