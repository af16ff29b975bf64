// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QSet>
#include <QVector>

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "camera.h"
#include "configuration.h"
#include "knowncameras.h"

namespace kvgen {

/// All cameras and what they share. Thread-safe.
class Library {
public:
    /// The one of this process. Made at the first call of any operation, which reads the configuration and
    /// looks for cameras, up to 1.3 s long; opens none. Lives until the process ends, because keepers and
    /// capture threads may still be inside when static objects are destroyed.
    static Library& instance();

    int count() const { return static_cast<int>(cameras_.size()); }
    /// Null if there is no camera of that index.
    Camera* camera(int32_t index) const;
    /// As the operations tell it; empty: not known before the camera has been open. What the configuration
    /// says stands, and before a camera has been open what it had at the last run.
    QByteArray serial(int index) const;

private:
    /// Where a serial number comes from, the surest last.
    enum class Source { None, LastRun, Camera, Configuration };
    struct Identity {
        QByteArray name;    // what the camera is opened by
        QByteArray serial;  // whole
        QByteArray owner;   // of its files: whole, and no two alike
        QByteArray told;    // distinct
        Source source = Source::None;
        bool isContradicted = false;  // the configuration, and the log has it
    };

    explicit Library(const Configuration& configuration);
    void hasOpened(int index, const QByteArray& serial);
    void setSerial(int index, const QByteArray& serial, Source source);
    QByteArray owner(int index) const;

    const QByteArray configurationName_;
    KnownCameras known_;
    std::vector<std::unique_ptr<Camera>> cameras_;
    mutable std::mutex mutex_;  // innermost, held for moments
    QVector<Identity> identities_;
};

}  // namespace kvgen
