// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QTemporaryDir>

#include "support/xserver.h"

/// A Windows PC for the tests of the packages: a desktop with a window manager, and Wine with a "C:" and a
/// registry of its own. GUI thread; what fails is reported by Qt Test or as the result.
class WindowsPc {
public:
    WindowsPc() = default;
    /// Ends Wine, and whatever runs there.
    ~WindowsPc();
    WindowsPc(const WindowsPc&) = delete;
    WindowsPc& operator=(const WindowsPc&) = delete;

    /// Starts the desktop. Wine is not there before something is run.
    bool startDesktop();
    /// Starts Wine's services, or starts them anew: they see what is plugged in only then. Started here they
    /// outlive the programs, and no start has to wait for them. What went wrong; empty: nothing.
    QString startWine() const;

    /// The arguments of tools/run-in-wine that run a Windows program.
    QStringList wine(const QStringList& command) const;
    /// Of this desktop; what Windows calls a user's folders are in `place`.
    QProcessEnvironment environment() const;
    /// The user's language from now on, such as "zh_CN"; empty: that of the tests. False: it cannot be had
    /// here.
    bool setLanguage(const QString& locale);
    /// Runs a Windows program in a folder, else in `place`; its result, or -1.
    int runToItsEnd(const QStringList& command, const QString& folder = {},
                    QByteArray* output = nullptr) const;
    /// Whether a program of that name, with the last folder of its path, runs there: "Bivista.bivista.exe".
    bool isRunning(const char* pattern) const;

    QString unixPath(const QString& windowsPath) const;
    /// What the installer noted for the program; root is "HKCU" or "HKLM". Empty where nothing is.
    QString registered(const QString& root, const QString& value) const;
    /// A value of any key.
    QString registryValue(const QString& key, const QString& value) const;

    XServer server;
    QTemporaryDir place;
    /// Wine's own folder, with "drive_c".
    QString prefix() const { return place.filePath("prefix"); }

private:
    QString language_;  // a locale in the folder "locales" of `place`
};
