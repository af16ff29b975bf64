// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QMutex>

#include <optional>

namespace kvsim {

constexpr int kParameterSlots = 4;  ///< memory slots of a camera, 0 ... 3

/// The cameras' own memory: one JSON file `kvcap2-slots.json` in the working directory, serial number -> slot
/// -> parameters. A change replaces the file as a whole, so a crash leaves the old or the new one.
/// Thread-safe within one process.
class ParameterStore {
public:
    enum class Result { Ok, Failed };

    /// The content of a slot; an empty object if nothing was ever stored there. Nothing if the file cannot be
    /// read or is none of ours.
    std::optional<QJsonObject> load(const QByteArray& serial, int slot);
    Result save(const QByteArray& serial, int slot, const QJsonObject& content);

private:
    QMutex mutex_;
};

}  // namespace kvsim
