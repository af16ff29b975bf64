// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QVector>

#include <cstdint>
#include <optional>

namespace kvgen {

/// What the library does itself to the pixels it copies, where the configuration asks for it. Everything is
/// off by default: then a camera that lacks a feature says so.
struct InLibrary {
    bool gamma = false;
    bool contrast = false;
    bool saturation = false;
    bool blackLevel = false;
    bool mirrors = false;
};

/// One camera's part of the configuration.
struct CameraConfiguration {
    std::optional<int> packetSize;       ///< bytes with IP and UDP headers, 576 ... 16000; none: negotiated
    std::optional<int64_t> packetDelay;  ///< ns between packets; none: chosen for the cameras on a link
    int socketBuffer = 8 * 1024 * 1024;  ///< bytes
    std::optional<double> frameRate;     ///< frames a second; none: what the camera has
    QByteArray pixelFormat;              ///< a GenICam name such as "BayerRG8"; empty: chosen
    QByteArray triggerSource = "Software";  ///< or a line, such as "Line1"
    QVector<QRect> regions;    ///< further resolution modes, sensor px; empty corner = centred: x, y < 0
    double exposureUnit = 10;  ///< µs in one step of the exposure
    QByteArray serial;         ///< of the camera at this place in `addresses`, whole; empty: not told
    InLibrary inLibrary;
};

/// The file kvcap2-genicam.ini, all of it optional.
struct Configuration {
    QString file;             ///< that was read, its name without the folder
    QStringList addresses;    ///< IP addresses or device names in order; then nothing is discovered
    int answerWithin = 100;   ///< ms that a parameter call waits at most for a camera's answer
    CameraConfiguration all;  ///< for every camera
    QVector<CameraConfiguration> cameras;  ///< camera 0 ... 7, each `all` with its own changes

    const CameraConfiguration& of(int index) const {
        return index >= 0 && index < cameras.size() ? cameras[index] : all;
    }
};

/// Whether a camera may have it as its serial number: up to 64 printable ASCII characters without blanks.
bool isSerial(const QByteArray& text);

/// Reads a configuration. Unknown keys and values that make no sense are reported by qWarning, one line each,
/// and are left out: [Camera]'s value or the default holds. A file that is missing gives the defaults,
/// silently. Any thread, does not throw.
Configuration readConfiguration(const QString& file);
/// The whole path of "kvcap2-genicam.ini" in the working folder, or of what the environment variable
/// KVCAP2_GENICAM_CONFIG names. A named file that is not there is reported by qWarning.
QString configurationFile();

}  // namespace kvgen
