// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QVector>

#include <mutex>
#include <optional>

#include "configuration.h"

namespace kvgen {

constexpr int kMaxCameras = 8;

/// A camera that there may be.
struct Found {
    QByteArray name;          ///< what Aravis opens it by
    QByteArray address;       ///< IPv4, dotted; empty: not a network camera, or a host name
    QByteArray localAddress;  ///< of the interface that leads there; empty: not known
    QByteArray serial;        ///< whole; empty: known when it is open
    QByteArray model;
    QVector<QByteArray> aliases;  ///< what else a discovery calls it
    /// The name is one of the configuration and no address: byName() tells which camera it means just now.
    bool isName = false;
};

/// By serial number, then by address, 9 before 10.
QVector<Found> sorted(QVector<Found> cameras);

constexpr int kToldSerial = 12;     ///< bytes that the operations tell
constexpr int kLongestSerial = 80;  ///< bytes, more than any has
/// The serial numbers as the operations tell them, in the cameras' order: at most `longest` bytes, the last
/// ones, and no two alike: the second of its kind ends in "~2". Those that are empty stay so.
QVector<QByteArray> distinctSerials(const QVector<QByteArray>& serials, int longest = kToldSerial);

/// The addresses of the configuration, or else what a discovery finds within 1.3 s; at most 8. Logs what is
/// wrong with them. Names among the addresses take a discovery, too. Opens no camera.
QVector<Found> findCameras(const Configuration& configuration);

/// Where the network camera with this serial number is now, by a discovery of up to 1.3 s. All who ask share
/// one, of which there is none within 10 s of the last. None: not found. Any thread.
std::optional<Found> findAgain(const QByteArray& serial);

/// What a GigE Vision camera shows to anybody, without being opened.
struct Look {
    bool answers = false;
    bool isHeld = false;      ///< somebody has control; each look may prolong that by a heartbeat
    QByteArray serial;        ///< of one that is held: whole; empty if it does not tell
    QByteArray localAddress;  ///< of the interface that leads there; also without an answer
};
/// Waits at most 0.3 s for one that does not answer, 0.6 s for one that ceases to. Any thread.
Look lookAt(const QByteArray& address);

/// The camera that a host's name or a device's means: by a look-up that goes on aside, once in 30 s, or by
/// the same discovery as above. None: not known (yet). Any thread; takes up to 1.3 s.
std::optional<Found> byName(const QByteArray& name);

/// Held while Aravis opens, which it does not do side by side, or discovers what it opens by its own lists:
/// USB cameras. Network cameras are opened by address, of which their discovery knows nothing. Innermost
/// lock.
std::mutex& openingMutex();

}  // namespace kvgen
