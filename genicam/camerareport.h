// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QSize>
#include <QString>
#include <QVector>

#include <cstdint>
#include <optional>

#include "discovery.h"
#include "network.h"

namespace kvgen {

/// What can be told of a camera without changing anything in it.
struct CameraReport {
    enum class State {
        Free,         ///< opened, looked at, closed
        Held,         ///< another program has control; not opened
        Silent,       ///< answers nothing, although its address is in a subnet of this machine
        OtherSubnet,  ///< answers nothing, and no subnet of this machine has its address
        Refused,      ///< could not be opened, see `trouble`
    };

    int index = 0;     ///< as the operations count
    Found found;       ///< its serial number: whole, where it is known
    QByteArray shown;  ///< the serial number as the operations tell it
    QByteArray vendor, model;
    State state = State::Free;
    QString trouble;

    std::optional<LocalAddress> local;  ///< of this machine, in whose subnet the camera's address lies

    // Where it could be opened:
    QSize full, now;                                    ///< px
    QList<QByteArray> formats;                          ///< GenICam names, the camera's order
    QByteArray format;                                  ///< the one that is set
    int64_t payload = 0;                                ///< bytes of a frame as it is set
    double rate = 0;                                    ///< frames a second as they are set, 0 = not told
    int packetSize = 0;                                 ///< bytes, 0 for USB
    QVector<QPair<QByteArray, QByteArray>> parameters;  ///< ours, and the feature that serves
    QList<QByteArray> lacking;                          ///< ours that the camera has nothing for
    QList<QByteArray> inLibrary;                        ///< those of them that the library can do itself
    bool softwareTrigger = false;
    QList<QByteArray> triggerLines;
    QList<QByteArray> userSets;

    /// Whether there is a camera at all, be it one that cannot be opened.
    bool answers() const {
        return state == State::Free || state == State::Held ||
               (state == State::Refused && !found.address.isEmpty());
    }
    /// Bytes a second that the camera sends as it is set, 0 = not known.
    double bandwidth() const { return double(payload) * rate; }
};

/// Opens the camera that was found, and says all of it but `index` and `shown`. Takes no control away from
/// anybody and writes no register but that of the control, which is given back when its description has been
/// read: until then others are refused. Blocks as long as the camera does: some ms, some seconds for a slow
/// one or one that stops to answer.
CameraReport examined(const Found& found, const QVector<LocalAddress>& locals);

/// For people, lines of at most 110 characters.
QString asText(const CameraReport& report);
/// What all together send, link by link, and where it is too much.
QString linksAsText(const QVector<CameraReport>& reports);
/// A configuration for these cameras, in this order; `program` is who says that it has made it.
QString asConfiguration(const QVector<CameraReport>& reports, const QString& program);
/// What this machine has, for people.
QString asText(const QVector<LocalAddress>& locals);
/// What to look at when no camera answers.
QString whatToCheck(const QVector<LocalAddress>& locals);

}  // namespace kvgen
