// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <QVector>
#include <array>
#include <mutex>
#include <optional>

#include "live/frame.h"

/// Where the capture threads hand over their frames and the GUI thread takes them from. Of each tile the
/// newest frame is kept; one that it overtakes is freed at once, whatever keeps the GUI thread busy, so that
/// four tiles never have more than four frames here. What is still here at the end is freed with it.
///
/// All functions may be called from any thread; a mutex guards the frames, for a moment.
class FrameInbox : public QObject {
    Q_OBJECT

public:
    /// What has come for one tile since it was last taken.
    struct Delivery {
        std::optional<Frame> newest;
        QVector<quint64> overtaken;  ///< time stamps of the frames before it, oldest first
    };
    using Deliveries = std::array<Delivery, 4>;

    using QObject::QObject;

    /// Hands over a frame of a tile, 0 ... 3.
    void put(int tile, Frame frame);
    /// All that is there, which is empty then.
    Deliveries take();
    /// Whether a frame of the tile is there.
    bool holds(int tile) const;

signals:
    /// There is something where there was nothing. Emitted by the thread that brings it.
    void filled();

private:
    mutable std::mutex mutex;  // guards the next ones
    Deliveries deliveries;
    bool isFilled = false;
};
