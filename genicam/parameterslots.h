// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QSize>
#include <QString>

#include <array>
#include <optional>

#include "mapping.h"
#include "status.h"

namespace kvgen {

class CameraFeatures;

constexpr int kParameterSlots = 4;  ///< 0 ... 3, as the simulated cameras have

/// What somebody wants of a camera, or what a camera was found with: a value where there is one. A plain
/// value.
struct ParameterValues {
    std::array<std::optional<double>, kParameters> values;  ///< ours; accepted() has let them in
    std::optional<int> timeout;                             ///< ms, 0 ... 600000
    std::optional<int> resolution;                          ///< mode, from 0; whoever uses it knows how many
    /// The mode's frames, px, by which it is found again when the modes have changed; empty: not known.
    QSize resolutionSize;

    std::optional<double>& operator[](Parameter parameter) { return values[static_cast<size_t>(parameter)]; }
    const std::optional<double>& operator[](Parameter parameter) const {
        return values[static_cast<size_t>(parameter)];
    }
    /// Takes over what `other` has, keeps the rest.
    void merge(const ParameterValues& other);
};
bool operator==(const ParameterValues& a, const ParameterValues& b);

/// By the names of the operations ("Gamma", "AETarget", "Timeout", "Resolution", and "ResolutionWidth",
/// "ResolutionHeight" beside it); whole numbers, Booleans and numbers as in the operations. Reading drops
/// whatever is of another type or no valid choice, and brings numbers into their range. The mode that is
/// meant, of modes with these frame sizes: that of the size, first the one of the number. None: there is no
/// such mode any more, or `values` has none.
std::optional<int> resolutionOf(const ParameterValues& values, const QVector<QSize>& sizes);

QJsonObject toJson(const ParameterValues& values);
ParameterValues fromJson(const QJsonObject& object);

/// The file in the working folder that keeps the slots of a camera: kvcap2-genicam-SERIAL.json, with the
/// serial number's other bytes than letters, digits and "-" percent-encoded.
QString slotsFile(const QByteArray& serial);

/// Stores the camera's parameters in a slot. Where the camera has UserSet1 ... it keeps slot 0 ... itself;
/// what the library does (time-out, resolution mode, high speed, delay, anti-flicker, tuning), or everything
/// where there is no such set, goes to the file. The file is replaced as a whole; a torn one is given up.
///
/// Only on the thread that has the camera, with acquisition stopped: the caller stops it before and starts it
/// afterwards. `serial` is the whole serial number; `wanted` everything that was set or found.
/// BadArgument: no such slot. StorageFailure: the file cannot be written (a qWarning line says why); else
/// what the camera answers.
Status saveSlot(CameraFeatures& features, const QByteArray& serial, int slot, const ParameterValues& wanted);

struct LoadedSlot {
    /// To be written to the camera, or to be done in the library.
    ParameterValues values;
    /// The camera has loaded a set of its own: whatever `values` does not have is to be read from it anew,
    /// and its size, pixel format and trigger may have changed.
    bool isFromCamera = false;
};

/// Loads a slot; threads and conditions as above. A slot that was never written holds `asOpened`, what the
/// camera had when this process opened it first - except where the camera keeps it: then it holds what the
/// camera has there. Of a slot that was written `values` has what the camera, once it has loaded its set,
/// does not say itself: a set need not hold everything. StorageFailure: the file cannot be read or is torn;
/// then nothing is changed.
Status loadSlot(CameraFeatures& features, const QByteArray& serial, int slot, const ParameterValues& asOpened,
                LoadedSlot& loaded);

}  // namespace kvgen
