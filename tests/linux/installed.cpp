// SPDX-License-Identifier: Apache-2.0
#include "linux/installed.h"

#include <QDir>
#include <QFile>
#include <QProcess>

namespace {

constexpr int kWait = 120'000;

}  // namespace

Ended runToEnd(const QString& program, const QStringList& arguments, const QString& folder,
               const QProcessEnvironment& environment) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setStandardInputFile(QProcess::nullDevice());
    if (!folder.isEmpty())
        process.setWorkingDirectory(folder);
    process.start(program, arguments);
    Ended ended;
    if (!process.waitForFinished(kWait)) {
        process.kill();
        process.waitForFinished(kWait);
        return ended;
    }
    ended.output = process.readAllStandardOutput();
    ended.errors = process.readAllStandardError();
    if (process.exitStatus() == QProcess::NormalExit)
        ended.code = process.exitCode();
    return ended;
}

QString Installed::install() {
    for (const auto& component : {QStringLiteral("program"), QStringLiteral("genicam")}) {
        const Ended ended =
            runToEnd(QStringLiteral(CMAKE),
                     {QStringLiteral("--install"), QStringLiteral(BUILD_FOLDER), QStringLiteral("--prefix"),
                      path({}), QStringLiteral("--component"), component});
        if (ended.code != 0)
            return QString::fromUtf8(ended.output + ended.errors);
    }
    return {};
}

QString Installed::libraries() const {
    const QString architecture = QStringLiteral(ARCHITECTURE);
    return path(QDir::cleanPath(QStringLiteral("lib/%1/bivista").arg(architecture)));
}

QByteArray Installed::read(const QString& name) const {
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray Installed::readPacked(const QString& name) const {
    return runToEnd(QStringLiteral("gzip"), {QStringLiteral("-dc"), path(name)}).output;
}
