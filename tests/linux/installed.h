// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>

/// A folder that "cmake --install" has filled, as the packages would be unpacked into /usr.
class Installed {
public:
    /// What went wrong, empty when nothing did. May be called again.
    QString install();

    QString path(const QString& name) const { return folder.filePath(QStringLiteral("usr 用户/") + name); }
    /// The folder with a folder for each camera library.
    QString libraries() const;
    QByteArray read(const QString& name) const;
    /// What is in a file that is packed by gzip.
    QByteArray readPacked(const QString& name) const;

private:
    QTemporaryDir folder;
};

struct Ended {
    int code = -1;  // -1: it did not start, crashed or did not end
    QByteArray output;
    QByteArray errors;
};

/// Runs a program to its end.
Ended runToEnd(const QString& program, const QStringList& arguments, const QString& folder = {},
               const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());
