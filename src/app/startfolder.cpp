// SPDX-License-Identifier: Apache-2.0
#include "app/startfolder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

QString registeredStartFolder(const StartPlaces& places) {
    using platform::isSameFolder;
    if (!isSameFolder(places.currentFolder, places.programFolder) &&
        !isSameFolder(places.currentFolder, places.systemFolder))
        return {};
    for (const platform::Installation& installation : places.installations)
        if (isSameFolder(installation.programFolder, places.programFolder))
            return installation.workingFolder;
    return {};
}

QString enterStartFolder(const QString& given) {
    return enterStartFolder(given, {QCoreApplication::applicationDirPath(), QDir::currentPath(),
                                    platform::systemFolder(), platform::registeredInstallations()});
}

QString enterStartFolder(const QString& given, const StartPlaces& places) {
    QString folder = given;
    if (given.isEmpty()) {
        folder = registeredStartFolder(places);
        // Somebody may have removed it to begin anew.
        if (!folder.isEmpty())
            QDir().mkpath(folder);
    }
    if (folder.isEmpty() || QDir::setCurrent(folder))
        return {};
    const QFileInfo info(folder);
    const QString why = !info.exists()  ? QStringLiteral("there is no such folder")
                        : !info.isDir() ? QStringLiteral("it is no folder")
                                        : QStringLiteral("it cannot be entered");
    const QString name = QDir::toNativeSeparators(info.absoluteFilePath());
    if (given.isEmpty())
        return QStringLiteral("The registered working folder cannot be entered: %1: %2.").arg(name, why);
    return QStringLiteral("Bivista cannot work in %1: %2.").arg(name, why);
}
