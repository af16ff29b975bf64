// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QMap>
#include <QSet>
#include <QString>

#include <mutex>

namespace kvgen {

/// Which camera was where when it was open last: serial numbers by address, or by what else a camera is
/// opened by. Kept in a file, from one run to the next, so that a camera that is off still has its number.
/// What is wrong with the file is logged, and it counts as empty. Thread-safe.
class KnownCameras {
public:
    /// Reads the file; none is an empty one.
    explicit KnownCameras(QString file);

    /// Whole; empty: not known.
    QByteArray serialOf(const QByteArray& name) const;
    /// A camera has been open. Others with its number have moved away from where they were, but for those at
    /// the places in `here`, which have been open in this run. Replaces the file, if that changes anything.
    void remember(const QByteArray& name, const QByteArray& serial, const QSet<QByteArray>& here);

private:
    void read();
    void write();

    const QString file_;
    mutable std::mutex mutex_;
    QMap<QByteArray, QByteArray> serials_;
    bool isReported_ = false;  // that it cannot be written
};

/// The whole path of "kvcap2-genicam-cameras.json" in the working folder.
QString knownCamerasFile();

}  // namespace kvgen
