// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QSize>
#include <QString>
#include <QVector>

#include <cstdint>
#include <functional>

#include "faults.h"

namespace kvsim {

constexpr int kMaxCameras = 8;

enum class Arrangement {
    Row,   ///< all cameras side by side
    Grid,  ///< two columns: 0 1 above 2 3
};

/// What the configuration says about one camera.
struct CameraConfiguration {
    QByteArray serial;     ///< at most kSerialNumberLength bytes
    double rate = 15;      ///< frames a second; 0 = a frame whenever one is asked for
    double phase = 0;      ///< the beat begins so long after CameraInit, ms
    double jitter = 0;     ///< frames come up to so much late, ms
    QVector<QSize> modes;  ///< resolution modes, px; never empty
    int mode = 0;          ///< the mode after CameraInit, a valid index of `modes`
    bool autoExposure = false;
    bool autoGain = false;
    FaultPlan faults;
};

/// Everything that can be set from outside, with every value in its range. A plain value, read once per
/// process.
struct Configuration {
    Arrangement arrangement = Arrangement::Row;
    uint32_t seed = 1;                     ///< of the sensor noise
    QString groundTruth;                   ///< file to write the ground truth to; empty = none
    QString image;                         ///< picture file to show in place of the test chart; empty = none
    bool moving = true;                    ///< clock, frame numbers and the runner on the rail
    double noise = 1.2;                    ///< standard deviation of the noise at neutral gain, grey levels
    int mainsFrequency = 50;               ///< Hz; the light pulses at twice that
    double flicker = 0.3;                  ///< depth of the light's pulsing, 0 ... 1
    double perspective = 1;                ///< how far the cameras are off the perpendicular, 0 = not at all
    QVector<CameraConfiguration> cameras;  ///< 0 ... kMaxCameras
};

/// Looks up an environment variable by its full name; a null string where it is not set.
using Environment = std::function<QString(const char* name)>;

/// Reads the INI file (which may be missing) and the variables, which override it. Whatever cannot be
/// understood is reported by qWarning and takes its default.
Configuration readConfiguration(const QString& iniFile, const Environment& environment);

/// The same for this process: `KVCAP2_CONFIG` or else kvcap2.ini in the working directory, and its
/// environment.
Configuration readConfiguration();

}  // namespace kvsim
