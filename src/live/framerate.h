// SPDX-License-Identifier: Apache-2.0
/// Age and rate of frames. Pure functions; any thread.
#pragma once

#include <QString>
#include <QVector>

/// Frames older than this, ms, are not shown: a window that was blocked catches up instead of showing the
/// past.
constexpr quint64 kOldestFrame = 300;

/// Whether a frame stamped `timestamp` is too old at `now` (both ms since the epoch). Computed unsigned on
/// purpose: a time stamp in the future is stale, too.
bool isStale(quint64 now, quint64 timestamp);

/// A picture that appears later than this after its frame has come, ms, is shown late.
constexpr quint64 kLateFrame = 200;

/// Whether a frame stamped `timestamp` is shown late at `now` (both ms since the epoch). Stale ones are.
bool isLate(quint64 now, quint64 timestamp);

/// The smoothed rate (frames per second) after a second in which `frames` frames were shown: an exponential
/// moving average with weight 0.4 for the new second, started with the first count that finds it at 0.
float smoothedRate(float rate, int frames);

/// "Camera fps: ( 15.00 14.98 )", or "Camera fps: ( no device)" without tiles.
QString rateText(const QVector<float>& rates);
