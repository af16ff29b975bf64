// SPDX-License-Identifier: Apache-2.0
#include "windowspc.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryFile>
#include <algorithm>

#include "support/runningbivista.h"

WindowsPc::~WindowsPc() {
    if (QFile::exists(prefix()))
        QProcess::execute(QStringLiteral(RUN_IN_WINE), {"--stop", prefix()});
}

bool WindowsPc::startDesktop() {
    return place.isValid() && server.start();
}

QString WindowsPc::startWine() const {
    // What makes its folder leaves services behind that end soon, which are in the way of those that stay.
    if (!QFile::exists(prefix()) && runToItsEnd({"cmd", "/c", "exit"}) != 0)
        return QStringLiteral("Wine cannot be set up");
    if (QProcess::execute(QStringLiteral(RUN_IN_WINE), {"--stop", prefix()}) != 0)
        return QStringLiteral("Wine does not end");
    QProcess start;
    start.setProcessEnvironment(environment());
    start.start(QStringLiteral(RUN_IN_WINE), {"--start", prefix()});
    if (!start.waitForFinished(4 * kDesktopLimit) || start.exitCode() != 0)
        return QStringLiteral("Wine does not start: ") + start.readAllStandardError();
    return {};
}

QStringList WindowsPc::wine(const QStringList& command) const {
    return QStringList{QStringLiteral("-"), prefix()} + command;
}

QProcessEnvironment WindowsPc::environment() const {
    QProcessEnvironment result = server.environment();
    result.insert("HOME", place.path());
    if (!language_.isEmpty()) {
        result.insert("LOCPATH", place.filePath("locales"));
        result.insert("LC_ALL", language_);
    }
    return result;
}

bool WindowsPc::setLanguage(const QString& locale) {
    language_.clear();
    if (locale.isEmpty())
        return true;
    // Wine takes the user's language from the locale, which few machines have. Warnings are a result of 1.
    const QString name = locale + ".UTF-8";
    const QString path = place.filePath("locales/" + name);
    if (!QDir(place.path()).mkpath("locales"))
        return false;
    QProcess::execute("localedef", {"-i", locale, "-f", "UTF-8", path});
    if (!QFile::exists(path + "/LC_CTYPE"))
        return false;
    language_ = name;
    return true;
}

int WindowsPc::runToItsEnd(const QStringList& command, const QString& folder, QByteArray* output) const {
    // Its output goes through a file: Wine's services would hold a pipe open. Each has its own, since those
    // that were started by an earlier command go on writing into that one's.
    QTemporaryFile file(place.filePath("output-XXXXXX"));
    if (!file.open())
        return -1;
    ChildProcess process;
    process.setProcessEnvironment(environment());
    process.setStandardOutputFile(file.fileName());
    process.setStandardErrorFile(place.filePath("errors"));
    process.setWorkingDirectory(folder.isEmpty() ? place.path() : folder);
    process.start(QStringLiteral(RUN_IN_WINE), wine(command));
    const bool isOver = process.waitForFinished(4 * kDesktopLimit);
    if (output)
        *output = file.readAll();
    return isOver && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

bool WindowsPc::isRunning(const char* pattern) const {
    QProcess pgrep;
    pgrep.start("pgrep", {"-f", pattern});
    pgrep.waitForFinished(kDesktopLimit);
    const auto ids = pgrep.readAllStandardOutput().simplified().split(' ');
    return std::any_of(ids.begin(), ids.end(), [this](const QByteArray& id) {
        QFile file("/proc/" + id + "/environ");
        return file.open(QIODevice::ReadOnly) && file.readAll().contains("WINEPREFIX=" + prefix().toUtf8());
    });
}

QString WindowsPc::unixPath(const QString& windowsPath) const {
    QByteArray output;
    runToItsEnd({"winepath", "-u", windowsPath}, {}, &output);
    return QString::fromLocal8Bit(output).trimmed();
}

QString WindowsPc::registered(const QString& root, const QString& value) const {
    return registryValue(root + "\\Software\\Bivista", value);
}

QString WindowsPc::registryValue(const QString& key, const QString& value) const {
    QByteArray output;
    runToItsEnd({"reg", "query", key, "/v", value}, {}, &output);
    const QString text = QString::fromLocal8Bit(output);
    return text.section(text.contains("REG_DWORD") ? "REG_DWORD" : "REG_SZ", 1).trimmed();
}
