// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtTest>

/// The warnings of the program's own while it lives.
class Warnings {
public:
    Warnings() {
        seen.clear();
        before = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
            if (type == QtWarningMsg)
                seen.append(text);
        });
    }
    ~Warnings() { qInstallMessageHandler(before); }
    Warnings(const Warnings&) = delete;
    Warnings& operator=(const Warnings&) = delete;

    static QStringList all() { return seen; }

private:
    inline static QStringList seen;
    QtMessageHandler before;
};
