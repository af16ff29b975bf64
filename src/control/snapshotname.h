// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QChar>
#include <QDateTime>
#include <QString>

/// What saved pictures are called. Pure; any thread.

/// "snapshot-" and the time as 17 digits, down to the millisecond.
QString snapshotName(const QDateTime& time);
/// Whether a name could be one of those.
bool isSnapshotName(const QString& name);

/// ".bmp", ".jpg" or ".png" for the types 0, 1, 2; nothing for any other type, and then only a name that has
/// such an ending of its own can be written.
QString snapshotSuffix(int type);

/// The whole name: folder, separator, base name and the type's ending, each as it is given. An empty name for
/// an empty folder, which is none: the file would be in the root of the drive.
QString snapshotFileName(const QString& folder, QChar separator, const QString& baseName, int type);
