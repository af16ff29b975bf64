// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

#include "support/xserver.h"

/// A first value that makes the window report a message as a fence.
constexpr quint32 kReportedFence = 20;

/// A process of bivista_key_window, as the test program's KEY_WINDOW, and its X window.
struct Window {
    Window(XServer& desktop, const QString& title)
        : server(desktop),
          program(server, QStringLiteral(KEY_WINDOW), {title}),
          id(server.waitForWindow(title)) {}

    /// The answer to a command; empty if there was none. What was reported before it is dropped.
    QString ask(const QString& command, const QStringList& answers) {
        program.write(command);
        const QStringList lines = program.waitForAnyLine(answers);
        return lines.isEmpty() ? QString() : lines.last();
    }
    QByteArray whyNoWindow() {
        return "running: " + QByteArray::number(program.isRunning()) +
               ", windows: " + server.titles().join(", ").toUtf8() + ", said: " + program.errors();
    }

    /// "Ctrl+W" if no key is named.
    QString doRegister(const QString& key = {}) {
        return ask(key.isEmpty() ? QStringLiteral("register") : "register " + key, {"registered", "refused"});
    }

    /// What was reported since the last question, everything pressed or sent so far included. A press of the
    /// hot key goes from the server to the process and from there through the server to the window: after the
    /// first fence it has come as far as the process, with the answer it is on its way back, before the
    /// second fence it arrives.
    QStringList reports() {
        QStringList result = upToFence();
        program.write("ping");
        result += program.waitForLine("pong");
        if (result.isEmpty() || result.takeLast() != "pong")
            return {"no answer"};
        return result + upToFence();
    }

    /// The reports of what was on its way from the server to the window.
    QStringList upToFence() {
        server.sendMessage(id, "TEST FENCE", kReportedFence);
        QStringList lines = program.waitForLine("fence");
        if (lines.isEmpty())
            return {"no fence"};
        lines.removeLast();
        return lines;
    }

    XServer& server;
    DesktopProgram program;
    quint32 id;
};
