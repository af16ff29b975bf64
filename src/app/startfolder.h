// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QVector>

#include "platform/process.h"

/// Where the program was started and what there is to choose from.
struct StartPlaces {
    QString programFolder;  ///< of the program's file
    QString currentFolder;
    QString
        systemFolder;  ///< where the system starts what nobody gave a folder; empty: nowhere in particular
    QVector<platform::Installation> installations;  ///< the one that counts most first
};

/// The working folder that an installer has registered for the program in this folder, if that is the one to
/// take: the program was started in its own folder (a double click there) or in the system's (Task Scheduler,
/// a Run key), so nobody has chosen where. Empty: the current folder it is. A program that lies elsewhere
/// than the installed one, unpacked from an archive, has no part in what is registered. Reads the file system
/// to tell whether folders are the same; changes nothing.
QString registeredStartFolder(const StartPlaces& places);

/// Makes the working folder the current one, before anything is read: the given one, relative to the current,
/// or with an empty name the registered one, which is made if it is not there. Returns what keeps the program
/// from it, empty if nothing does: the current folder in its place would be another station. With the
/// application object alive.
QString enterStartFolder(const QString& given);
/// The same with other places to choose from.
QString enterStartFolder(const QString& given, const StartPlaces& places);
